#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

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

inline std::string content_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// config/KRCommon.xml.
inline const std::string& default_path()
{
    static const std::string path = KRTOOL_CONFIG_DIR "/KRCommon.xml";
    return path;
}

/// The default file with one change: the first occurrence of a text.
inline std::string default_with(const std::string& text, const std::string& replacement)
{
    std::string content = content_of(default_path());
    const std::size_t at = content.find(text);
    EXPECT_NE(std::string::npos, at) << text;
    return at == std::string::npos ? content : content.replace(at, text.size(), replacement);
}
