#include <KRCommon/platform/Lock_testing.h>

#include <utility>
#include <windows.h>

namespace kr_platform_testing {

struct Mortal_Thread::System {
    HANDLE thread;
};

Mortal_Thread::Mortal_Thread(std::function<void()> function)
    : function_(std::move(function)), system_(std::make_unique<System>())
{
    struct Call {
        static DWORD WINAPI run(void* self)
        {
            static_cast<Mortal_Thread*>(self)->function_();
            return 0;
        }
    };
    system_->thread = CreateThread(nullptr, 0, &Call::run, this, 0, nullptr);
}

Mortal_Thread::~Mortal_Thread()
{
    if (system_ != nullptr)
        join();
}

void Mortal_Thread::kill()
{
    TerminateThread(system_->thread, 1);
    join();
}

void Mortal_Thread::join()
{
    WaitForSingleObject(system_->thread, INFINITE);
    CloseHandle(system_->thread);
    system_ = nullptr;
}

} // namespace kr_platform_testing
