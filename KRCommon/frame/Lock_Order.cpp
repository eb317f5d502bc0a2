#include <KRCommon/frame/Lock_Order.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

namespace kr_internal {

namespace {

constexpr std::size_t nothing = Lock_Order::capacity;
constexpr std::size_t not_found = Lock_Order::capacity + 1;

std::string text_of(const Lock_Order::Taken& taken)
{
    return (taken.file != nullptr ? taken.file : "?") + (':' + std::to_string(taken.line));
}

} // namespace

std::string Lock_Order::reverse(std::uint32_t first, std::uint32_t second)
{
    const std::lock_guard<kr_platform::Short_Lock> hold(lock_);
    if (is_known(first, second))
        return {};
    std::string text;
    for (std::size_t i = find_way(second, first); i != nothing; i = came_by_[i]) {
        std::string step = "at " + text_of(orders_[i].second);
        step.append(" while holding the lock of ").append(text_of(orders_[i].first));
        if (!text.empty())
            step.append(", ").append(text);
        text = std::move(step);
    }
    return text;
}

void Lock_Order::add(const Taken& first, const Taken& second) noexcept
{
    const std::lock_guard<kr_platform::Short_Lock> hold(lock_);
    if (is_known(first.lock, second.lock))
        return;
    orders_[next_] = {first, second};
    next_ = (next_ + 1) % capacity;
}

void Lock_Order::forget() noexcept
{
    new (&lock_) kr_platform::Short_Lock;
    orders_.fill({});
    next_ = 0;
}

bool Lock_Order::is_known(std::uint32_t first, std::uint32_t second) const noexcept
{
    return std::any_of(orders_.begin(), orders_.end(), [&](const Order& order) {
        return order.first.lock == first && order.second.lock == second;
    });
}

// The last order of the shortest way; those before it in came_by_. `nothing` when there is no way.
std::size_t Lock_Order::find_way(std::uint32_t from, std::uint32_t to) noexcept
{
    came_by_.fill(not_found);
    found_count_ = 0;
    search_from(from, nothing);
    for (std::size_t i = 0; i < found_count_; ++i) {
        const std::uint32_t reached = orders_[found_[i]].second.lock;
        if (reached == to)
            return found_[i];
        search_from(reached, found_[i]);
    }
    return nothing;
}

void Lock_Order::search_from(std::uint32_t lock, std::size_t came_by) noexcept
{
    for (std::size_t i = 0; i < capacity; ++i)
        if (orders_[i].first.lock == lock && came_by_[i] == not_found) {
            came_by_[i] = came_by;
            found_[found_count_++] = i;
        }
}

} // namespace kr_internal
