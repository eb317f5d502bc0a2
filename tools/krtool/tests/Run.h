#pragma once

#include "../host/Program.h"
#include "Test_File.h"

#include <gtest/gtest.h>

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
    const Output_File out;
    testing::internal::CaptureStderr();
    result.code = krtool::Program().run(static_cast<int>(argv.size()), argv.data(), out.stream());
    result.errors = testing::internal::GetCapturedStderr();
    result.out = out.text();
    return result;
}
