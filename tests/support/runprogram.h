// Runs another test program, for what can be seen from outside only: standard error, and what happens after main.

#ifndef ORVANE_TESTS_SUPPORT_RUNPROGRAM_H
#define ORVANE_TESTS_SUPPORT_RUNPROGRAM_H

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temporaryfolder.h"

struct SProgramRun
{
    bool succeeded;     // exit code 0
    std::string output; // standard output
    std::string errors; // standard error
};

// `program` as the build file names it ($<TARGET_FILE:...>); `argument` is one plain word.
inline SProgramRun runProgram(char const* program, std::string const& argument = "")
{
    TemporaryFolder const folder;
    auto const before = std::filesystem::current_path();
    // Plain names for the files: the two command interpreters agree on one pair of quotes and no more.
    std::filesystem::current_path(folder.path());
    auto const file = std::filesystem::absolute(program).make_preferred().string();
    bool const succeeded = std::system(('"' + file + "\" " + argument + " >output 2>errors").c_str()) == 0;
    std::filesystem::current_path(before);

    return {succeeded, readFile(folder.path() / "output"), readFile(folder.path() / "errors")};
}

#endif // ORVANE_TESTS_SUPPORT_RUNPROGRAM_H
