#pragma once

/// \file
/// The one logging helper: every diagnostic line of the library, and of a host that wants its
/// lines to look the same, goes through kr_log(). Also the assertion rule, kr_assert().
///
/// A line is "%T T%04t", the severity, a blank, the message and a line feed:
///
///     12:30:01.250000 T0042 INF camera-7: connected
///
/// | severity | priority     | for                                                       |
/// |----------|--------------|-----------------------------------------------------------|
/// | " DBG"   | LM_DEBUG     | progress and state changes                                |
/// | " INF"   | LM_INFO      | reports meant for operators                               |
/// | "*ERR"   | LM_ERROR     | failures the caller survives                              |
/// | "*EMR"   | LM_EMERGENCY | failed assertions, failures that end the process          |
///
/// The severity is part of the format's text and must match the priority.
///
/// The end: the line before the process ends, of a failed assertion or a dead lock, is waited for no
/// longer than a second. When the log is stuck by then (a thread writes to a pipe that nobody reads),
/// or no other thread gets to run (Windows: somebody holds the loader's lock), it is lost, and the
/// process ends with exit code 1 without it.
///
/// Threads: everything here may be called from any thread at any time. A line that passes the
/// priority mask is written under ACE's log lock; a masked line takes no lock.
///
/// The end of a thread: lines of destructors and of the system's own exit routines go where the
/// thread's lines went before.
///
/// The end of the process: threads may be logging when main() returns or exit() is called. When the
/// library's own objects are destroyed (Linux), lines that are being written are waited for, one
/// second at most; from then on lines of other threads are dropped. Those of the thread that ends the
/// process are logged to the last, unless a line was still stuck after that second. Windows has ended
/// all other threads by then.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Log_Check.h>

#include <ace/Log_Msg.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

/// Where a line comes from and how important it is.
struct KR_Log_Site {
    const char* file;          ///< bare name of the source file; must live as long as the process
    int line;                  ///< line of the log statement
    ACE_Log_Priority priority; ///< decides whether the mask lets the line through
};

namespace kr_internal {

/// The part of a path after the last '/' or '\'.
constexpr const char* bare_file_name(const char* path) noexcept
{
    const char* name = path;
    for (const char* c = path; *c != '\0'; ++c)
        if (*c == '/' || *c == '\\')
            name = c + 1;
    return name;
}

/// A text argument as it goes into a line: at most `room` characters, control characters
/// replaced by visible escapes ("\n", "\t", "\x1b"), so that no argument can end the line or
/// begin another. A longer text is cut and ends in "...". Null becomes "(null)".
class KRCOMMON_EXPORT Log_Text {
public:
    Log_Text(const char* text, std::size_t room);
    Log_Text(const std::string& text, std::size_t room);
    Log_Text(std::string_view text, std::size_t room);
    Log_Text(const Log_Text&) = delete;
    Log_Text& operator=(const Log_Text&) = delete;

    /// Valid as long as this object and the original text.
    const char* value() const noexcept { return text_; }

private:
    void use_escaped(std::string_view text, std::size_t room);

    const char* text_; // the original where it is harmless and ends in a zero, else escaped_
    std::string escaped_;
};

/// An argument that is no text goes into the line as it is, an enumeration as its number.
template <typename T>
class Log_Number {
public:
    Log_Number(T number, std::size_t) : number_(number) {}
    auto value() const noexcept
    {
        if constexpr (std::is_enum_v<T>)
            return static_cast<std::underlying_type_t<T>>(number_);
        else
            return number_;
    }

private:
    T number_;
};

template <typename T>
using Log_Argument = std::conditional_t<is_log_text<T>, Log_Text, Log_Number<std::decay_t<T>>>;

/// ACE cuts a line at 4,096 characters and its line feed with it. So the format, its widths and the
/// numbers get the room that they can need at most, and the texts share what is left.
template <std::size_t format_room, typename... Arguments>
constexpr std::size_t room_per_text() noexcept
{
    constexpr std::size_t for_stamp_and_error = 384; // %T, %t, %N, %l, the error text of %p
    constexpr std::size_t for_integer = 24;
    constexpr std::size_t for_float = 330; // %f of the largest double
    constexpr std::size_t texts = (0 + ... + (is_log_text<Arguments> ? 1 : 0));
    constexpr std::size_t numbers = (0 + ... +
                                     (is_log_text<Arguments>                ? 0
                                      : std::is_floating_point_v<Arguments> ? for_float
                                                                            : for_integer));
    static_assert(format_room + for_stamp_and_error + numbers + 64 * texts < ACE_MAXLOGMSGLEN,
                  "too much for one line");
    return (ACE_MAXLOGMSGLEN - format_room - for_stamp_and_error - numbers) /
           (texts > 0 ? texts : 1);
}

/// When a site of kr_log_limited() had its last line, and how many it has held back since.
class Log_Rate {
public:
    constexpr Log_Rate() noexcept = default;

    /// Whether a line may come now, in milliseconds of a clock that is never set. Then `held_back`
    /// are those that were refused since the line before; otherwise it stays. No lock.
    bool admits(std::int64_t now, std::uint64_t& held_back) noexcept
    {
        std::int64_t next = next_.load(std::memory_order_relaxed);
        if (now < next || !next_.compare_exchange_strong(next, now + 1000)) {
            held_back_.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        held_back = held_back_.exchange(0, std::memory_order_relaxed);
        return true;
    }

private:
    std::atomic<std::int64_t> next_{INT64_MIN};
    std::atomic<std::uint64_t> held_back_{0};
};

/// admits() at the present time.
KRCOMMON_EXPORT bool is_admitted(Log_Rate& rate, std::uint64_t& held_back) noexcept;

/// Priorities of which no line is wanted, as far as that is sure: those that the level drops, when the host
/// has promised KR_Log_Options::only_manager_sets_level. Else 0.
extern KRCOMMON_EXPORT std::atomic<std::uint32_t> dropped_priorities;

/// What becomes of a line, and the error number to log with it.
struct Log_Answer {
    ACE_Log_Msg* log; ///< where the line goes; null: nowhere
    int error;
    bool is_kept; ///< without a log: wanted all the same, for the lines that lead up to an error
};

/// ACE's log of the calling thread, when it lets lines of this priority through. Null where it does
/// not, where there is none for the thread any more, since another thread is ending the process, and
/// where there is no memory for it. First of all it takes the error number, as last_error_adapter()
/// does. errno is the same after the call.
KRCOMMON_EXPORT Log_Answer log_for(ACE_Log_Priority priority) noexcept;

/// The steps of a log site after the priority check: join the thread to the log stream,
/// set the source location, log. `error` is what log_for() gave. Before its line
/// feed the line tells how many were held back, unless it is 0. Without a log the line is kept.
KRCOMMON_EXPORT void log_line(ACE_Log_Msg* log, const KR_Log_Site& site, int error,
                              std::uint64_t held_back, const char* format, ...);

/// For sites that log as often as they are called.
struct No_Rate {};
inline bool is_admitted(No_Rate, std::uint64_t&) noexcept
{
    return true;
}

/// What kr_log() calls. `text` gives the format once more, for the compiler to read.
template <typename Text, typename Rate, std::size_t size, typename... Arguments>
void log_checked(Text text, Rate&& rate, const KR_Log_Site& site, const char (&format)[size],
                 const Arguments&... arguments)
{
    static_assert(((is_log_text<Arguments> || is_log_number<Arguments>)&&...),
                  "kr_log: an argument is a number, an enumeration or a text");
    constexpr Format_Check check = check_format_for<Arguments...>(text());
    require_good_format<check.fault, check.argument>();

    if ((dropped_priorities.load(std::memory_order_relaxed) & site.priority) != 0)
        return;
    const Log_Answer answer = log_for(site.priority);
    // A flood is not kept: it would leave room for nothing else.
    if (answer.log == nullptr && !(answer.is_kept && std::is_same_v<Rate, No_Rate>))
        return;
    const int saved_errno = errno;
    std::uint64_t held_back = 0;
    if (is_admitted(rate, held_back)) {
        constexpr std::size_t for_held_back = 48;
        [[maybe_unused]] constexpr std::size_t room =
            room_per_text<size + check.padding + for_held_back, Arguments...>();
        log_line(answer.log, site, answer.error, held_back, format,
                 Log_Argument<Arguments>(arguments, room).value()...);
    }
    errno = saved_errno;
}

} // namespace kr_internal

/// The first of its arguments; for kr_log() alone.
#define KR_LOG_FIRST(first, ...) first

/// kr_log(site, format, arguments...): logs one line at the site's priority, or nothing when the
/// priority mask stops it.
///
/// site       a KR_Log_Site: file, line and priority; the record's status is -1 from LM_ERROR
///            upward, else 0. One that is written out in braces wants parentheses around it
/// format     a literal, in ACE's directives, ending in "\n". "%04t" is the thread's number
///            with at least four digits on both systems
/// arguments  numbers, enumerations and texts (const char*, std::string, std::string_view), each
///            evaluated once. Texts are bounded and escaped, see docs/log_format.md: whatever they
///            hold, the line ends with the format's own line feed and holds no other.
///
/// | directive              | argument                                                         |
/// |------------------------|------------------------------------------------------------------|
/// | %s %C                  | text; %p: text, followed by the text of the error number         |
/// | %d %i %c, %u           | int, unsigned int, and under both all narrower ones and enumerations |
/// | %x %X %o               | either of them                                                   |
/// | %q, %Q                 | a signed, an unsigned integer of 64 bits                         |
/// | %Ld %Li, %Lu %Lx %LX %Lo | long, unsigned long                                            |
/// | %b, %B                 | ssize_t, size_t                                                  |
/// | %e %E %f %F %g %G      | float, double; with L a long double                              |
/// | %T %D %t %N %l %M %m %n %P %R %% | none                                                   |
///
/// Widths and precisions are numbers, not "*". The compiler checks directives and arguments
/// against each other, and refuses what does not fit and every other directive. That needs the
/// literal itself, so this is a macro; it is used like a function that returns nothing.
///
/// The system's error number, taken first of all, is kept for "%p" and for log callbacks. errno
/// is the same after the call. Never throws and never reports failure: when memory runs out a line is
/// lost, or a text in it.
///
///     kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s: %d frames\n", camera_name, frames);
#define kr_log(site, ...)                                                                          \
    kr_internal::log_checked([] { return KR_LOG_FIRST(__VA_ARGS__, 0); }, kr_internal::No_Rate(),  \
                             (site), __VA_ARGS__)

/// The same for lines that may come in floods: at most one within a second from each place where it
/// is written, from whatever thread. The next one that comes tells how many were held back since:
///
///     12:30:01.250000 T0042*ERR camera-7: frame lost (319 held back)
///
/// A line that is held back takes no lock, and its texts are not looked at. Lines that the mask stops
/// neither come nor count. What is held back after the last line of a flood, no line tells of until
/// the next one comes.
///
///     kr_log_limited(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s: frame lost\n", camera_name);
#define kr_log_limited(site, ...)                                                                  \
    kr_internal::log_checked([] { return KR_LOG_FIRST(__VA_ARGS__, 0); },                          \
                             []() -> kr_internal::Log_Rate& {                                      \
                                 static kr_internal::Log_Rate rate;                                \
                                 return rate;                                                      \
                             }(),                                                                  \
                             (site), __VA_ARGS__)

/// The place where it is written, as a KR_Log_Site of the given priority.
#define KR_LOG_SITE(priority)                                                                      \
    (KR_Log_Site{kr_internal::bare_file_name(__FILE__), __LINE__, (priority)})

/// What a failed assertion does: logs
/// "%T T%04t*EMR Assertion failed for '%s' in %N:%l.\n" at LM_EMERGENCY with the expression's
/// text and ends the process with exit code 1: at once, or after a second when the log is stuck. No
/// clean-up runs, nothing is thrown.
[[noreturn]] KRCOMMON_EXPORT void kr_assertion_failed(const char* expression, const char* file,
                                                      int line);

/// Checks an invariant, in release builds too.
///
/// expression  the checked expression's text, as it is to be read in the log
/// file, line  bare name of the source file and line of the check
inline void kr_assert(bool holds, const char* expression, const char* file, int line)
{
    if (!holds)
        kr_assertion_failed(expression, file, line);
}

/// kr_assert() of an expression at the place where it is written.
#define KR_ASSERT(expression)                                                                      \
    kr_assert(static_cast<bool>(expression), #expression, kr_internal::bare_file_name(__FILE__),   \
              __LINE__)
