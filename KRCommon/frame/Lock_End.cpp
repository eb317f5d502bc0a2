#include <KRCommon/frame/Lock_End.h>

#include <KRCommon/frame/Lock_Report.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Watchdog.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <thread>

namespace kr_internal {

namespace {

constexpr std::int64_t line_milliseconds = 1000;
constexpr std::uint32_t longest_hook = 600'000;

// The last one counts. Those of before stay, as a guard may be reading them.
struct Wishes {
    KR_Lock_End end;
    const Wishes* previous;
};

std::atomic<const Wishes*> wishes{nullptr};

KR_Lock_End end_in_use() noexcept
{
    const Wishes* const last = wishes;
    return last != nullptr ? last->end : KR_Lock_End();
}

enum class Hook { idle, running, over };

std::atomic<Hook> hook{Hook::idle};
std::atomic<bool> is_line_over{false};

void sleep_a_little()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void run_hook()
{
    const KR_Lock_End end = end_in_use();
    const std::int64_t start = kr_platform::steady_milliseconds();
    while (!is_line_over && kr_platform::steady_milliseconds() - start < line_milliseconds)
        sleep_a_little();
    try {
        if (end.hook != nullptr)
            end.hook(end.argument);
    } catch (...) { // the process ends
    }
    hook = Hook::over;
}

void wait_for_hook()
{
    is_line_over = true;
    while (hook == Hook::running)
        sleep_a_little();
}

} // namespace

bool begin_lock_end() noexcept
{
    const KR_Lock_End end = end_in_use();
    Hook before = Hook::idle;
    const bool is_hook_due =
        end.hook != nullptr && hook.compare_exchange_strong(before, Hook::running);
    const std::int64_t hook_milliseconds =
        end.hook != nullptr ? std::min(end.hook_milliseconds, longest_hook) : 0;
    const bool may_log = kr_platform::end_process_after(line_milliseconds + hook_milliseconds, 1);
    if (is_hook_due && !(may_log && kr_platform::start_last_thread(&run_hook)))
        hook = Hook::over;
    return may_log;
}

void finish_lock_end() noexcept
{
    if (end_in_use().reports_locks)
        kr_report_locks(LM_ERROR);
    wait_for_hook();
}

void end_without_line() noexcept
{
    static_cast<void>(begin_lock_end());
    wait_for_hook();
    kr_platform::end_process(1);
}

} // namespace kr_internal

bool kr_set_lock_end(const KR_Lock_End& end) noexcept
{
    using namespace kr_internal;
    auto* const last = new (std::nothrow) Wishes{end, wishes.load()};
    if (last == nullptr)
        return false;
    while (!wishes.compare_exchange_weak(last->previous, last))
        ;
    return true;
}
