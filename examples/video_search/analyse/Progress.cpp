#include "Progress.h"

#include <ace/OS_NS_stropts.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Reactor.h>

#include <sys/ioctl.h>

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <ios>
#include <sstream>
#include <utility>

namespace video_search {

namespace {

constexpr ACE_HANDLE standard_error = 2;
constexpr int usual_width = 80;

int terminal_width()
{
    winsize size = {};
    if (ACE_OS::ioctl(standard_error, TIOCGWINSZ, &size) == -1 || size.ws_col == 0)
        return usual_width;
    return size.ws_col;
}

int percent_done(const Status& status)
{
    const double share = static_cast<double>(status.frames) / std::max(1, *status.total);
    return static_cast<int>(100.0 * std::min(1.0, share));
}

std::string bar(int percent, int columns)
{
    const int done = (columns - 2) * percent / 100;
    return '[' + std::string(static_cast<std::size_t>(done), '#') +
           std::string(static_cast<std::size_t>(columns - 2 - done), '-') + ']';
}

std::string text_of(const Status& status, double seconds)
{
    const double rate = seconds > 0.0 ? status.frames / seconds : 0.0;
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed;
    if (status.total)
        text << std::setw(3) << percent_done(status) << " %  ";
    text << status.frames;
    if (status.total)
        text << " of " << *status.total;
    text << " frames, " << std::setprecision(1) << rate << " frames/s, ";
    if (status.total && rate > 0.0)
        text << std::setprecision(0) << std::max(0, *status.total - status.frames) / rate
             << " s left, ";
    text << status.objects << (status.objects == 1 ? " object" : " objects");
    if (status.away > 0)
        text << ", " << status.away << (status.away == 1 ? " camera away" : " cameras away");
    return text.str();
}

} // namespace

std::string progress_line(const Status& status, double seconds, int width)
{
    constexpr int least_bar = 10;
    constexpr int most_bar = 40;
    const std::string text = text_of(status, seconds);
    const int room = std::min(most_bar, width - static_cast<int>(text.size()) - 1);
    if (status.total && room >= least_bar)
        return bar(percent_done(status), room) + ' ' + text;
    return text.substr(0, static_cast<std::size_t>(std::max(0, width)));
}

Progress::Progress(std::function<Status()> source)
    : source_(std::move(source)), is_terminal_(ACE_OS::isatty(standard_error) != 0)
{
}

Progress::~Progress()
{
    stop();
}

bool Progress::start(ACE_Reactor* reactor)
{
    const ACE_Time_Value period(0, 250'000);
    begin_ = std::chrono::steady_clock::now();
    lines_ = 0;
    this->reactor(reactor);
    timer_ = reactor != nullptr ? reactor->schedule_timer(this, nullptr, period, period) : -1;
    return timer_ != -1;
}

void Progress::stop()
{
    if (timer_ == -1)
        return;
    reactor()->cancel_timer(timer_);
    timer_ = -1;
    if (is_terminal_)
        std::fprintf(stderr, "\r%*s\r", terminal_width() - 1, "");
    else
        print_line_when_due(source_(), true);
}

int Progress::handle_timeout(const ACE_Time_Value& /*now*/, const void* /*act*/)
{
    const Status status = source_();
    if (is_terminal_) { // a full last column would begin a new line
        const int width = terminal_width() - 1;
        std::fprintf(stderr, "\r%-*s", width, progress_line(status, seconds(), width).c_str());
    } else {
        print_line_when_due(status, false);
    }
    std::fflush(stderr);
    return 0; // the timer stays
}

// Each 10 %, or once a minute where the total is not known. That of 100 % comes at the end, when the
// last objects are counted.
void Progress::print_line_when_due(const Status& status, bool is_end)
{
    constexpr double seconds_per_line = 60.0;
    const int most = is_end ? 10 : 9;
    const int due = status.total ? std::min(most, percent_done(status) / 10)
                                 : static_cast<int>(seconds() / seconds_per_line);
    if (std::exchange(lines_, due) < due)
        std::fprintf(stderr, "%s\n", text_of(status, seconds()).c_str());
}

double Progress::seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
}

} // namespace video_search
