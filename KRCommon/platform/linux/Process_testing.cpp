#include <KRCommon/platform/Process_testing.h>

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kr_platform_testing {

unsigned inheritable_handle_count()
{
    unsigned count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFD);
        count += flags != -1 && (flags & FD_CLOEXEC) == 0 ? 1 : 0;
    }
    return count;
}

std::vector<std::string> files_open_in(std::int64_t process)
{
    std::vector<std::string> paths;
    std::error_code gone;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd"))
        paths.push_back(std::filesystem::read_symlink(entry, gone).string());
    return paths;
}

void close_standard_file(int descriptor)
{
    close(descriptor);
}

void write_to_standard_files(const std::string& text)
{
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        static_cast<void>(!write(descriptor, text.data(), text.size()));
}

void make_pipe(Pipe& pipe)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return;
    pipe.read = ends[0];
    pipe.write = ends[1];
}

void close_pipe(const Pipe& pipe)
{
    close(static_cast<int>(pipe.read));
    close(static_cast<int>(pipe.write));
}

bool forbid_file_growth(bool is_forbidden)
{
    signal(SIGXFSZ, SIG_IGN); // the write fails instead
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0)
        return false;
    limit.rlim_cur = is_forbidden ? 0 : limit.rlim_max;
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

bool can_fork()
{
    return true;
}

std::int64_t fork_process(const std::function<int()>& child)
{
    const pid_t process = fork();
    if (process == 0)
        _exit(child());
    return process;
}

int wait_for_process(std::int64_t process, int milliseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    int status = 0;
    while (waitpid(static_cast<pid_t>(process), &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            kill(static_cast<pid_t>(process), SIGKILL);
            waitpid(static_cast<pid_t>(process), &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace kr_platform_testing
