#include <KRCommon/frame/Log.h>

#include <KRCommon/frame/Last_Line.h>
#include <KRCommon/frame/Log_Clock.h>
#include <KRCommon/frame/Log_Format.h>
#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/frame/Log_Stream.h>
#include <KRCommon/platform/Platform.h>

#include <ace/OS_NS_sys_time.h>

#include <cstdarg>
#include <new>

namespace kr_internal {

namespace {

int status_of(ACE_Log_Priority priority) noexcept
{
    return priority >= LM_ERROR ? -1 : 0;
}

std::int64_t present_microseconds() noexcept
{
    const ACE_Time_Value now = ACE_OS::gettimeofday();
    return static_cast<std::int64_t>(now.sec()) * 1'000'000 + now.usec();
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

// A masked line does not enter the gate, which would cost three times what the line does. But a thread's
// first line does: ACE takes its log lock to make the thread's object.
ACE_Log_Msg* log_of_thread() noexcept
{
    if (is_log_closed())
        return nullptr;
    if (has_joined_log())
        return ACE_Log_Msg::instance();
    const Log_Passage passage;
    return passage ? ACE_Log_Msg::instance() : nullptr;
}

bool is_admitted(Log_Rate& rate, std::uint64_t& held_back) noexcept
{
    return rate.admits(kr_platform::steady_milliseconds(), held_back);
}

void log_line(ACE_Log_Msg& log, const KR_Log_Site& site, int error, std::uint64_t held_back,
              const char* format, ...)
{
    const Log_Passage passage;
    if (!passage)
        return;
    if (log.msg() == nullptr)
        return; // ACE had no memory for the thread's line, and would write it to nowhere
    join_log_stream(log);
    count_line(log);
    log.conditional_set(site.file, site.line, status_of(site.priority), error);
    Format_Buffer buffer;
    Format_Buffer other;
    const char* const stamped = with_stamp(format, local_stamp(present_microseconds()).data(),
                                           kr_platform::thread_id(), buffer);
    std::va_list arguments;
    va_start(arguments, format);
    log.log(with_held_back(stamped, held_back, other), site.priority, arguments);
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
