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
    std::thread thread([end, function = std::move(function)] {
        function();
        end->set_value();
    });
    const bool in_time = end->get_future().wait_for(limit) == std::future_status::ready;
    // Joined where it can be: under Wine, a thread that starts while a detached one ends may hang.
    if (in_time)
        thread.join();
    else
        thread.detach();
    return in_time;
}
