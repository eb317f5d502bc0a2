#pragma once

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>

/// An empty folder that goes with the object, files and all.
class Temp_Folder {
public:
    Temp_Folder()
    {
        std::random_device random;
        do
            path_ = std::filesystem::temp_directory_path() /
                    ("kr test " + std::to_string(random()) + std::to_string(random()));
        while (!std::filesystem::create_directory(path_));
    }

    ~Temp_Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    Temp_Folder(const Temp_Folder&) = delete;
    Temp_Folder& operator=(const Temp_Folder&) = delete;

    std::string path() const { return path_.string(); }
    std::string path(const std::string& name) const { return (path_ / name).string(); }

    /// Makes a file; the text is written as it stands, without line end conversion.
    std::string write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

    std::set<std::string> names() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            names.insert(entry.path().filename().string());
        return names;
    }

private:
    std::filesystem::path path_;
};

/// A file's bytes with "\r\n" as "\n"; empty when there is no such file.
inline std::string read_text(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    std::string::size_type at = 0;
    while ((at = text.find("\r\n", at)) != std::string::npos)
        text.erase(at, 1);
    return text;
}
