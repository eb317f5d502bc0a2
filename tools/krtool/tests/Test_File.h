#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
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

/// What a program writes instead of its standard output. Not std::tmpfile(): on Windows that runs out of
/// names.
class Output_File {
public:
    Output_File() : file_("", ".out"), stream_(std::fopen(file_.path().c_str(), "w+b"))
    {
        if (!stream_)
            throw std::runtime_error("cannot open " + file_.path());
    }
    ~Output_File() { std::fclose(stream_); }
    Output_File(const Output_File&) = delete;
    Output_File& operator=(const Output_File&) = delete;

    std::FILE* stream() const noexcept { return stream_; }

    /// All that was written. Nothing may be written afterwards.
    std::string text() const
    {
        std::rewind(stream_);
        std::string text;
        char buffer[4096];
        for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, stream_)) > 0;)
            text.append(buffer, got);
        return text;
    }

private:
    Test_File file_;
    std::FILE* stream_;
};
