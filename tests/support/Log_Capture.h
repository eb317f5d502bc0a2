#pragma once

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>

#include <string>
#include <vector>

/// Collects what the calling thread logs from construction to destruction. stderr is silent
/// meanwhile; the flags of before come back at the end.
class Log_Capture : public ACE_Log_Msg_Callback {
public:
    struct Line {
        ACE_Log_Priority priority;
        std::string file;
        int line;
        int status;
        int error;
        std::string text; ///< as printed, with stamp and line feed
    };

    Log_Capture() : log_(*ACE_Log_Msg::instance()), flags_(log_.flags())
    {
        log_.clr_flags(ACE_Log_Msg::STDERR);
        log_.set_flags(ACE_Log_Msg::MSG_CALLBACK);
        previous_ = log_.msg_callback(this);
    }

    ~Log_Capture() override
    {
        log_.msg_callback(previous_);
        log_.clr_flags(ACE_Log_Msg::MSG_CALLBACK);
        log_.set_flags(flags_);
    }

    Log_Capture(const Log_Capture&) = delete;
    Log_Capture& operator=(const Log_Capture&) = delete;

    void log(ACE_Log_Record& record) override
    {
        lines_.push_back({static_cast<ACE_Log_Priority>(record.type()), text_of(log_.file()),
                          log_.linenum(), log_.op_status(), log_.errnum(),
                          text_of(record.msg_data())});
    }

    const std::vector<Line>& lines() const { return lines_; }

    /// A line's text after the time stamp, which is "hh:mm:ss.uuuuuu".
    std::string unstamped(std::size_t index) const { return lines_.at(index).text.substr(15); }

private:
    static std::string text_of(const char* text) { return text != nullptr ? text : ""; }

    ACE_Log_Msg& log_;
    unsigned long flags_;
    ACE_Log_Msg_Callback* previous_ = nullptr;
    std::vector<Line> lines_;
};
