#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

/// A file of a test's own, removed at the end.
class Test_File {
public:
    explicit Test_File(const std::string& content, const std::string& ending = ".xml")
        : path_((std::filesystem::temp_directory_path() /
                 ("krtool_" + std::to_string(std::random_device()()) +
                  std::to_string(std::random_device()()) + ending))
                    .string())
    {
        std::ofstream(path_, std::ios::binary) << content;
    }
    ~Test_File()
    {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    Test_File(const Test_File&) = delete;
    Test_File& operator=(const Test_File&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};
