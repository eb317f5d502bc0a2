#pragma once

#include "../host/Program.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

/// What a run of krtool gives.
struct Ran {
    int code = -1;
    std::string out;
    std::string errors;
};

/// Runs krtool in this process with these arguments.
inline Ran run(const std::vector<std::string>& arguments)
{
    std::vector<const char*> argv{"krtool"};
    for (const std::string& argument : arguments)
        argv.push_back(argument.c_str());
    Ran result;
    std::FILE* out = std::tmpfile();
    testing::internal::CaptureStderr();
    result.code = krtool::Program().run(static_cast<int>(argv.size()), argv.data(), out);
    result.errors = testing::internal::GetCapturedStderr();
    std::rewind(out);
    char buffer[4096];
    for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, out)) > 0;)
        result.out.append(buffer, got);
    std::fclose(out);
    return result;
}
