#pragma once

/// \file
/// Shows on stderr how far the work is: a bar that is written over again and again on a terminal,
/// else a line now and then.
///
/// Threads: start, stop and the upcalls on the reactor's thread.

#include <ace/Event_Handler.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

class ACE_Reactor;

namespace video_search {

/// How far the work is.
struct Status {
    int frames = 0;           ///< done
    std::optional<int> total; ///< when known
    int objects = 0;          ///< found so far
    int away = 0;             ///< cameras that give no pictures now
};

/// One line without a line feed, like
/// "[#######-----]  58 %  464 of 795 frames, 71.3 frames/s, 5 s left, 12 objects", and
/// ", 1 camera away" after it where that is so. The bar takes
/// what the text leaves of the width; there is none where less than ten columns are left or the
/// total is not known. A longer text is cut at the width.
///
/// seconds  since the begin
/// width    columns
std::string progress_line(const Status& status, double seconds, int width);

class Progress : private ACE_Event_Handler {
public:
    /// source  is asked for the status at each step
    explicit Progress(std::function<Status()> source);
    ~Progress() override;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Starts to show, four times a second. False when the reactor has no timer to give.
    bool start(ACE_Reactor* reactor);

    /// Clears the bar. Nothing happens when not started.
    void stop();

private:
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;
    void print_line_when_due(const Status& status, bool is_end);
    double seconds() const;

    const std::function<Status()> source_;
    const bool is_terminal_;
    std::chrono::steady_clock::time_point begin_;
    long timer_ = -1;
    int lines_ = 0; // that were due until now, not on a terminal
};

} // namespace video_search
