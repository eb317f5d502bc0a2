#include <KRCommon/frame/Log.h>

#include <KRCommon/frame/Last_Line.h>
#include <KRCommon/frame/Log_Clock.h>
#include <KRCommon/frame/Log_Format.h>
#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/frame/Log_Line.h>
#include <KRCommon/frame/Log_Ring.h>
#include <KRCommon/frame/Log_Stream.h>
#include <KRCommon/platform/Platform.h>

#include <ace/Log_Record.h>
#include <ace/OS_NS_sys_time.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <new>

namespace kr_internal {

namespace {

int status_of(ACE_Log_Priority priority) noexcept
{
    return priority >= LM_ERROR ? -1 : 0;
}

std::int64_t microseconds_of(const ACE_Time_Value& time) noexcept
{
    return static_cast<std::int64_t>(time.sec()) * 1'000'000 + time.usec();
}

// What a line needs besides its arguments, taken at one moment.
struct Moment {
    ACE_Time_Value time = ACE_OS::gettimeofday();
    Stamp_Text stamp = local_stamp(microseconds_of(time));
};

std::atomic<bool> are_lines_fast{false};

// Formats the line and hands it to ACE's sinks as a finished record, as ACE's own log() does after its
// formatting. False: the line is to go ACE's way from the beginning.
bool log_finished(ACE_Log_Msg& log, const Line_Facts& facts, const ACE_Time_Value& time,
                  const char* format, std::va_list arguments)
{
    const unsigned long flags = log.flags();
    // In verbose lines the program's name comes first.
    if ((flags & ACE_Log_Msg::VERBOSE) != 0)
        return false;
    char* const text = const_cast<char*>(log.msg()); // where ACE formats its lines too
    const std::size_t size = format_as_ace(text, ACE_MAXLOGMSGLEN, format, facts, arguments);
    if (size == 0)
        return false;
    log.file(facts.site.file);
    log.linenum(facts.site.line);
    log.op_status(status_of(facts.site.priority));
    log.errnum(facts.error);
    // ACE copies the record and calls the system twice, to keep signals away, before it gets there.
    if (flags == ACE_Log_Msg::OSTREAM && write_line(log, {text, size}))
        return true;
    ACE_Log_Record record(facts.site.priority, time, kr_platform::process_id());
    if (record.msg_data(text) == 0)
        log.log(record);
    return true;
}

void keep_line(const Line_Facts& facts, const char* format, std::va_list arguments) noexcept
{
    if (Log_Ring* const ring = log_ring())
        ring->keep([&](Log_Ring::Text& text) {
            return format_plainly(text.data(), text.size(), format, facts, arguments);
        });
}

// A masked line does not enter the gate, which would cost three times what the line does. But a thread's
// first line does: ACE takes its log lock to make the thread's object.
[[gnu::noinline]] ACE_Log_Msg* log_of_new_thread() noexcept
{
    const Log_Passage passage;
    return passage ? ACE_Log_Msg::instance() : nullptr;
}

} // namespace

Log_Text::Log_Text(const char* text, std::size_t room) : text_(text != nullptr ? text : "(null)")
{
    if (!is_harmless(text_, room))
        use_escaped(text_, room);
}

Log_Text::Log_Text(const std::string& text, std::size_t room) : text_(text.c_str())
{
    if (!is_harmless(text, room))
        use_escaped(text, room);
}

Log_Text::Log_Text(std::string_view text, std::size_t room) : text_("")
{
    use_escaped(text, room); // harmless or not: a view need not end in a zero
}

void Log_Text::use_escaped(std::string_view text, std::size_t room)
{
    try {
        escaped_ = escape(text, room);
        text_ = escaped_.c_str();
    } catch (const std::bad_alloc&) {
        text_ = "(no memory for this text)";
    }
}

void set_fast_lines(bool are_fast) noexcept
{
    are_lines_fast = are_fast;
}

std::atomic<std::uint32_t> dropped_priorities{0};

Log_Answer log_for(ACE_Log_Priority priority) noexcept
{
    const int saved_errno = errno;
    const int error = saved_errno != 0 ? saved_errno : kr_platform::system_error();
    if (is_log_closed())
        return {nullptr, error, false};
    ACE_Log_Msg* const log = has_joined_log() ? ACE_Log_Msg::instance() : log_of_new_thread();
    errno = saved_errno; // ACE may have made the thread's log
    if (log == nullptr || log->log_priority_enabled(priority))
        return {log, error, false};
    return {nullptr, error, log_ring() != nullptr};
}

bool is_admitted(Log_Rate& rate, std::uint64_t& held_back) noexcept
{
    return rate.admits(kr_platform::steady_milliseconds(), held_back);
}

void log_line(ACE_Log_Msg* log, const KR_Log_Site& site, int error, std::uint64_t held_back,
              const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const Moment now;
    const Line_Facts facts{now.stamp.data(), kr_platform::thread_id(), site, error};
    const Log_Passage passage;
    if (log == nullptr) {
        keep_line(facts, format, arguments);
    } else if (passage && log->msg() != nullptr) { // else ACE had no memory for the thread's line
        join_log_stream(*log);
        count_line(*log);
        if (site.priority >= LM_ERROR)
            write_kept_lines(*log);
        Format_Buffer other;
        const char* const whole = with_held_back(format, held_back, other);
        if (!are_lines_fast.load(std::memory_order_relaxed) ||
            !log_finished(*log, facts, now.time, whole, arguments)) {
            Format_Buffer buffer;
            log->conditional_set(site.file, site.line, status_of(site.priority), error);
            log->log(with_stamp(whole, facts.stamp, facts.thread, buffer), site.priority,
                     arguments);
        }
    }
    va_end(arguments);
}

} // namespace kr_internal

void kr_assertion_failed(const char* expression, const char* file, int line)
{
    if (kr_internal::may_log_last_line())
        kr_log((KR_Log_Site{file, line, LM_EMERGENCY}),
               "%T T%04t*EMR Assertion failed for '%s' in %N:%l.\n", expression);
    kr_platform::end_process(1);
}
