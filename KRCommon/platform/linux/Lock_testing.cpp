#include <KRCommon/platform/Lock_testing.h>

#include <csignal>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kr_platform_testing {

struct Mortal_Thread::System {
    pthread_t thread;
};

Mortal_Thread::Mortal_Thread(std::function<void()> function)
    : function_(std::move(function)), system_(std::make_unique<System>())
{
    struct sigaction action {};
    action.sa_handler = [](int) { syscall(SYS_exit, 0); }; // of this thread alone
    sigaction(SIGUSR2, &action, nullptr);
    pthread_create(
        &system_->thread, nullptr,
        [](void* self) -> void* {
            static_cast<Mortal_Thread*>(self)->function_();
            return nullptr;
        },
        this);
}

Mortal_Thread::~Mortal_Thread()
{
    if (system_ != nullptr)
        join();
}

void Mortal_Thread::kill()
{
    pthread_kill(system_->thread, SIGUSR2);
    join();
}

void Mortal_Thread::join()
{
    pthread_join(system_->thread, nullptr);
    system_ = nullptr;
}

bool can_fork()
{
    return true;
}

int run_in_fork(const std::function<int()>& function)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(function());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace kr_platform_testing
