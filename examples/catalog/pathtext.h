// Names of files as text, whatever the system keeps them in.

#ifndef ORVANE_EXAMPLES_CATALOG_PATHTEXT_H
#define ORVANE_EXAMPLES_CATALOG_PATHTEXT_H

#include <filesystem>
#include <string>

/// The path that an argument of main names.
std::filesystem::path PathOf(char const* argument);

/// The path with the system's own separators, as the library's calls take it.
/// Raises: std::filesystem::filesystem_error where the name is no text.
std::wstring WideTextOf(std::filesystem::path const& path);

/// The same with forward slashes on every system.
std::wstring GenericTextOf(std::filesystem::path const& path);

/// For people: what is no text is shown as question marks, and that is said.
std::wstring ShownTextOf(std::filesystem::path const& path);

/// The same for narrow output.
std::string NarrowTextOf(std::filesystem::path const& path);

#endif // ORVANE_EXAMPLES_CATALOG_PATHTEXT_H
