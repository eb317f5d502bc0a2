#pragma once

#include "Test_File.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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
