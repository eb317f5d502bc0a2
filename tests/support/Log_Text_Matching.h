#pragma once

#include <KRCommon/platform/Platform.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <regex>
#include <string>

/// The whole text, in the standard library's expressions: gMock's own know no groups and no
/// classes on Windows.
MATCHER_P(FullyMatches, pattern, "")
{
    return std::regex_match(std::string(arg), std::regex(std::string(pattern)));
}

/// " T0042" of the calling thread, as a line has it after its stamp.
inline std::string thread_mark()
{
    char text[16];
    std::snprintf(text, sizeof text, " T%04u", kr_platform::thread_id());
    return text;
}
