// A folder of its own for a test that needs files, and what stands in them.

#ifndef ORVANE_TESTS_SUPPORT_TEMPORARYFOLDER_H
#define ORVANE_TESTS_SUPPORT_TEMPORARYFOLDER_H

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

// Made empty, with a name that no other process has; removed with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path())
    {
    }

    explicit TemporaryFolder(std::filesystem::path const& parent)
    {
        auto number = std::chrono::system_clock::now().time_since_epoch().count();
        do
        {
            m_path = parent / ("orvane-test-" + std::to_string(number++));
        } while (!std::filesystem::create_directory(m_path));
    }

    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::filesystem::path const& path() const
    {
        return m_path;
    }

private:
    std::filesystem::path m_path;
};

// The bytes of a file; empty where there is none.
inline std::string readFile(std::filesystem::path const& path)
{
    std::ifstream const file(path, std::ios::binary);
    std::ostringstream contents;
    if (file)
    {
        contents << file.rdbuf();
    }
    return contents.str();
}

#endif // ORVANE_TESTS_SUPPORT_TEMPORARYFOLDER_H
