#include <KRCommon/frame/Log_Gate.h>

#include <KRCommon/platform/Platform.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>

namespace kr_internal {

namespace {

// Stacks of different threads lie megabytes apart, or 64 KiB at least.
std::size_t number_of_stack(const void* where) noexcept
{
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(where));
    return static_cast<std::size_t>((address >> 16) * 0x9E37'79B9'7F4A'7C15 >> 60);
}

} // namespace

// Never destroyed: threads pass it until the process's very end.
Log_Gate process_gate;

Log_Gate& Log_Gate::of_process() noexcept
{
    return process_gate;
}

Log_Gate::Counter* Log_Gate::enter(const void* where) noexcept
{
    // First of all, so that threads which go on logging do not look like threads inside.
    if (is_closed_for_caller())
        return nullptr;
    Counter& counter = counters_[number_of_stack(where)].inside;
    counter.fetch_add(1); // in one order with the gate's closing: one of the two sees the other
    if (!is_closed_for_caller())
        return &counter;
    leave(counter);
    return nullptr;
}

bool Log_Gate::close(int milliseconds) noexcept
{
    ending_thread_ = kr_platform::thread_id();
    const std::int64_t deadline = kr_platform::steady_milliseconds() + milliseconds;
    // Who has just found the gate open and only asks for the mask is not counted, and long gone
    // after this.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    while (is_anybody_inside()) {
        if (kr_platform::steady_milliseconds() >= deadline) {
            is_somebody_stuck_ = true;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void Log_Gate::forget_other_threads() noexcept
{
    for (Padded_Counter& counter : counters_)
        counter.inside = 0;
}

bool Log_Gate::is_closed_by(unsigned ending_thread) const noexcept
{
    return ending_thread != kr_platform::thread_id() || is_somebody_stuck_;
}

bool Log_Gate::is_anybody_inside() const noexcept
{
    return std::any_of(counters_.begin(), counters_.end(),
                       [](const Padded_Counter& counter) { return counter.inside > 0; });
}

Log_Passage::Log_Passage() noexcept : counter_(process_gate.enter(this)) {}

Log_Passage::~Log_Passage()
{
    if (counter_ != nullptr)
        Log_Gate::leave(*counter_);
}

} // namespace kr_internal
