// The Windows side of Watchdog.h; its twin is ../linux/Watchdog.cpp.

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <new>
#include <windows.h>

namespace kr_platform {

namespace {

constexpr SIZE_T stack_size = 64 * 1024;

constexpr DWORD longest_wait = 1000; // milliseconds until the watchdog runs

std::atomic<DWORD> watchdog{0}; // the numbers of the two threads
std::atomic<DWORD> last_thread{0};

struct Order {
    DWORD milliseconds;
    int exit_code;
    HANDLE is_running;
};

DWORD WINAPI end_in_time(void* argument)
{
    const Order& order = *static_cast<const Order*>(argument);
    SetEvent(order.is_running);
    Sleep(order.milliseconds);
    end_process(order.exit_code);
}

bool start_watchdog(const Order& given) noexcept
{
    static const Order order = given; // as long as the process
    DWORD id = 0;
    const HANDLE thread =
        CreateThread(nullptr, stack_size, &end_in_time, const_cast<Order*>(&order),
                     CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, &id);
    if (thread == nullptr || order.is_running == nullptr)
        return true;
    watchdog = id; // known before the entry routine sees the thread
    ResumeThread(thread);
    const DWORD wait = order.milliseconds < longest_wait ? order.milliseconds : longest_wait;
    return WaitForSingleObject(order.is_running, wait) == WAIT_OBJECT_0;
}

void (*last_function)() = nullptr;

DWORD WINAPI run_last(void*)
{
    last_function();
    return 0;
}

// Numbers of the threads that are beginning to stand in; 0: free. Those that run are not asked for.
std::array<std::atomic<DWORD>, 16> beginners{};
constexpr DWORD is_being_made = ~DWORD{0}; // the number of no thread

std::atomic<DWORD>* new_beginner() noexcept
{
    for (std::atomic<DWORD>& beginner : beginners) {
        DWORD free = 0;
        if (beginner.compare_exchange_strong(free, is_being_made))
            return &beginner;
    }
    return nullptr;
}

// Leaves the thread's errors as they were.
class Kept_Errors {
public:
    Kept_Errors() noexcept = default;
    ~Kept_Errors()
    {
        SetLastError(error_);
        errno = runtime_error_;
    }
    Kept_Errors(const Kept_Errors&) = delete;
    Kept_Errors& operator=(const Kept_Errors&) = delete;

private:
    int runtime_error_ = errno;
    DWORD error_ = GetLastError();
};

} // namespace

bool end_process_after(std::int64_t milliseconds, int exit_code) noexcept
{
    const Kept_Errors errors;
    static const bool is_certain = start_watchdog(
        {static_cast<DWORD>(milliseconds), exit_code, CreateEventA(nullptr, TRUE, FALSE, nullptr)});
    return is_certain;
}

bool start_last_thread(void (*function)()) noexcept
{
    const Kept_Errors errors;
    last_function = function;
    DWORD id = 0;
    const HANDLE thread = CreateThread(nullptr, 0, &run_last, nullptr, CREATE_SUSPENDED, &id);
    if (thread != nullptr) {
        last_thread = id; // known before the entry routine sees the thread
        ResumeThread(thread);
        CloseHandle(thread);
    }
    return thread != nullptr;
}

struct Stand_In::Thread {
    Thread(DWORD milliseconds, Function function, void* argument) noexcept
        : milliseconds_(milliseconds), function_(function), argument_(argument)
    {
    }
    ~Thread()
    {
        for (const HANDLE handle : {handle_, is_over_, is_running_})
            if (handle != nullptr)
                CloseHandle(handle);
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    bool start() noexcept
    {
        is_over_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        is_running_ = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        if (is_over_ == nullptr || is_running_ == nullptr)
            return false;
        beginner_ = new_beginner();
        if (beginner_ == nullptr)
            return false;
        DWORD id = 0;
        handle_ = CreateThread(nullptr, 0, &run, this, CREATE_SUSPENDED, &id);
        *beginner_ = handle_ != nullptr ? id : 0; // known before the entry routine sees the thread
        if (handle_ == nullptr)
            return false;
        ResumeThread(handle_);
        WaitForSingleObject(is_running_, longest_wait);
        return true;
    }

    bool is_running() const noexcept
    {
        return WaitForSingleObject(is_running_, 0) == WAIT_OBJECT_0;
    }

    // False: the thread waits for the loader's lock, which may be the caller's, and needs this object
    // once it runs.
    bool end() noexcept
    {
        SetEvent(is_over_);
        while (WaitForSingleObject(handle_, longest_wait) != WAIT_OBJECT_0)
            if (!is_calling_)
                return false;
        return true;
    }

private:
    static DWORD WINAPI run(void* thread)
    {
        auto& self = *static_cast<Thread*>(thread);
        *self.beginner_ = 0;
        SetEvent(self.is_running_);
        while (self.wait())
            self.call();
        return 0;
    }

    bool wait() noexcept { return WaitForSingleObject(is_over_, milliseconds_) == WAIT_TIMEOUT; }

    void call() noexcept
    {
        is_calling_ = true;
        if (WaitForSingleObject(is_over_, 0) == WAIT_TIMEOUT)
            function_(argument_);
        is_calling_ = false;
    }

    const DWORD milliseconds_;
    const Function function_;
    void* const argument_;
    std::atomic<bool> is_calling_{false};
    std::atomic<DWORD>* beginner_ = nullptr;
    HANDLE handle_ = nullptr;
    HANDLE is_over_ = nullptr;
    HANDLE is_running_ = nullptr;
};

Stand_In::Stand_In(std::int64_t milliseconds, Function function, void* argument) noexcept
{
    const Kept_Errors errors;
    std::unique_ptr<Thread> thread(
        new (std::nothrow) Thread(static_cast<DWORD>(milliseconds), function, argument));
    const bool has_started = thread != nullptr && thread->start();
    thread_ = has_started ? thread.release() : nullptr;
}

Stand_In::~Stand_In()
{
    const Kept_Errors errors;
    if (thread_ != nullptr && thread_->end())
        delete thread_;
}

bool Stand_In::is_ready() const noexcept
{
    const Kept_Errors errors;
    return thread_ == nullptr || thread_->is_running();
}

bool is_watchdog() noexcept
{
    const DWORD id = GetCurrentThreadId();
    return id == watchdog || id == last_thread ||
           std::find(beginners.begin(), beginners.end(), id) != beginners.end();
}

} // namespace kr_platform
