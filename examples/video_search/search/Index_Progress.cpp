#include "Index_Progress.h"

#include <ace/OS_NS_stdio.h>
#include <ace/OS_NS_unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace video_search {

namespace {

// Of objects that have come meanwhile there may be more than all.
std::size_t percent_of(std::size_t done, std::size_t total)
{
    if (total == 0)
        return 100;
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(100, std::uint64_t{done} * 100 / total));
}

} // namespace

std::string index_line(std::size_t done, std::size_t total)
{
    constexpr std::size_t columns = 20;
    const std::size_t percent = percent_of(done, total);
    const std::size_t filled = columns * percent / 100;
    const std::string number = std::to_string(percent);
    return "making the index  [" + std::string(filled, '#') + std::string(columns - filled, '-') +
           "]  " + std::string(3 - number.size(), ' ') + number + " %  " + std::to_string(done) +
           " of " + std::to_string(total) + " objects";
}

Index_Progress::Index_Progress(std::FILE* out)
    : out_(out), is_terminal_(ACE_OS::isatty(ACE_OS::fileno(out)) != 0)
{
}

Index_Progress::~Index_Progress()
{
    if (width_ > 0)
        std::fprintf(out_, "\r%s\r", std::string(width_, ' ').c_str());
}

void Index_Progress::show(std::size_t done, std::size_t total)
{
    if (std::chrono::steady_clock::now() - begin_ < std::chrono::seconds(1))
        return;
    const std::string line = index_line(done, total);
    if (is_terminal_) {
        std::fprintf(out_, "\r%s", line.c_str());
        width_ = line.size();
        std::fflush(out_);
    } else if (const std::size_t tenths = percent_of(done, total) / 10;
               std::exchange(tenths_, tenths) < tenths) {
        std::fprintf(out_, "%s\n", line.c_str());
    }
}

} // namespace video_search
