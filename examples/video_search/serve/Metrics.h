#pragma once

/// \file
/// What the service counts, as text for Prometheus (exposition format 0.0.4). Threads: all functions may
/// be called from any at once.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace video_search {

class Metrics {
public:
    /// route  as it is written in the list of routes, so that there are not many
    void add(std::string_view route, int status, std::chrono::microseconds duration);

    [[nodiscard]] std::string text() const;

private:
    static constexpr std::array<double, 9> bounds{0.001, 0.005, 0.01, 0.025, 0.05,
                                                  0.1,   0.25,  1.0,  10.0}; // seconds

    struct Durations {
        std::array<std::uint64_t, bounds.size() + 1> counts{}; ///< the last one: longer than all
        std::chrono::microseconds sum{0};
    };

    mutable std::mutex mutex_; // guards the next two
    std::map<std::pair<std::string, int>, std::uint64_t, std::less<>> requests_;
    std::map<std::string, Durations, std::less<>> durations_;
};

/// Lines of one number: its description, its type and itself.
[[nodiscard]] std::string metric(const std::string& name, const std::string& help,
                                 const std::string& type, std::size_t value);

} // namespace video_search
