#pragma once

/// \file
/// Shows how far a store's index is: a bar that is written over again and again on a terminal, else
/// a line at each tenth; nothing in the first second, in which most are done. Threads: one at a time.

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

namespace video_search {

/// "making the index  [#####-----]  50 %  500 of 1000 objects".
[[nodiscard]] std::string index_line(std::size_t done, std::size_t total);

class Index_Progress {
public:
    explicit Index_Progress(std::FILE* out);
    /// Clears the bar.
    ~Index_Progress();
    Index_Progress(const Index_Progress&) = delete;
    Index_Progress& operator=(const Index_Progress&) = delete;

    void show(std::size_t done, std::size_t total);

private:
    std::FILE* const out_;
    const bool is_terminal_;
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::size_t width_ = 0; ///< of what stands on the terminal
    std::size_t tenths_ = 0;
};

} // namespace video_search
