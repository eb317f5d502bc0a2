#pragma once

#include <KRCommon/platform/Platform.h>
#include <tests/support/Temp_Folder.h>

#include <ace/Init_ACE.h>
#include <ace/OS_NS_fcntl.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Process.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/// What a finished child process left behind.
struct Child_Result {
    int exit_code = -1; ///< -1: it did not end in time
    std::string output; ///< stdout and stderr, with "\n" as line end
};

/// The folder of the running test program, with a separator at its end.
inline std::string program_folder()
{
    const std::string path = kr_platform::module_path();
    return path.substr(0, path.rfind(kr_platform::path_separator()) + 1);
}

/// Waits for the end of a process, at most so long, and ends it then.
inline bool ends_in_time(ACE_Process& process, std::chrono::seconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (process.wait(ACE_Time_Value::zero) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            process.terminate();
            process.wait();
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Runs a program of the test program's folder and waits for its end. No argument may hold a
/// quotation mark or end in a backslash.
inline Child_Result run_child(const std::string& program, const std::vector<std::string>& arguments,
                              std::chrono::seconds limit = std::chrono::seconds(110))
{
    ACE::init(); // on Windows nothing has done so yet in a program that only runs children
    const Temp_Folder folder;
    const std::string log = folder.write("output", "");
    std::string line = '"' + program_folder() + program + '"';
    for (const std::string& argument : arguments)
        line += " \"" + argument + '"';

    ACE_Process_Options options(true, 32'768);
    if (options.command_line("%s", line.c_str()) != 0)
        throw std::runtime_error("command line too long");
    const ACE_HANDLE handle = ACE_OS::open(log.c_str(), O_WRONLY | O_APPEND);
    options.set_handles(ACE_INVALID_HANDLE, handle, handle);
    ACE_Process process;
    if (process.spawn(options) == ACE_INVALID_PID)
        throw std::runtime_error("cannot run " + line);
    const bool has_ended = ends_in_time(process, limit);
    options.release_handles();
    ACE_OS::close(handle);
    return {has_ended ? static_cast<int>(process.return_value()) : -1, read_text(log)};
}
