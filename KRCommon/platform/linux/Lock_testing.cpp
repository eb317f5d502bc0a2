#include <KRCommon/platform/Lock_testing.h>

#include <csignal>
#include <pthread.h>
#include <sys/syscall.h>
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

} // namespace kr_platform_testing
