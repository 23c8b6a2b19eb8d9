#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <unistd.h>

// A fresh, empty folder for one test's files, removed with the object.
class XScratchFolder
{
public:
    XScratchFolder()
    {
        const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
        const std::string name = std::string("voltrace-apps-") +
                                 (test != nullptr ? test->name() : "test") + "-" +
                                 std::to_string(getpid());
        itsPath = std::filesystem::temp_directory_path() / name;
        std::filesystem::remove_all(itsPath);
        std::filesystem::create_directories(itsPath);
    }
    ~XScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(itsPath, ignored);
    }
    XScratchFolder(const XScratchFolder&) = delete;
    XScratchFolder& operator=(const XScratchFolder&) = delete;

    const std::filesystem::path& GetPath() const { return itsPath; }
    std::filesystem::path operator/(const std::string& inName) const { return itsPath / inName; }

private:
    std::filesystem::path itsPath;
};

inline std::string XReadWholeFile(const std::filesystem::path& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void XWriteWholeFile(const std::filesystem::path& inPath, const std::string& inText)
{
    std::ofstream file(inPath, std::ios::binary);
    file << inText;
}
