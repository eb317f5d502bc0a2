#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

/// Whether the function ends within that time; it runs on a thread of its own. One that does not
/// goes on beside the test, so it must own what it uses.
inline bool ends_within(std::chrono::seconds limit, std::function<void()> function)
{
    const auto end = std::make_shared<std::promise<void>>();
    std::thread([end, function = std::move(function)] {
        function();
        end->set_value();
    }).detach();
    return end->get_future().wait_for(limit) == std::future_status::ready;
}
