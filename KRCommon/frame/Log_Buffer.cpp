#include <KRCommon/frame/Log_Buffer.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Clock.h>
#include <KRCommon/frame/Log_Format.h>
#include <KRCommon/platform/Platform.h>

#include <ace/OS_NS_sys_time.h>
#include <ace/OS_NS_unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

namespace kr_internal {

using kr_platform::Append_File;

namespace {

// Never destroyed: threads may write until the process's very end.
Log_Disk& disk() noexcept
{
    alignas(Log_Disk) static unsigned char place[sizeof(Log_Disk)];
    static Log_Disk& real = *new (place) Log_Disk;
    return log_disk.in_use(real);
}

std::int64_t lines_in(std::string_view text) noexcept
{
    std::int64_t lines = 0; // one as a rule, at the end: the library's own search is fastest there
    for (std::size_t at = text.find('\n'); at != std::string_view::npos;
         at = text.find('\n', at + 1))
        ++lines;
    return lines;
}

// A line of the log's own, in the one shape. It is written where it belongs, past ACE.
class Own_Line {
public:
    template <typename... Arguments>
    Own_Line(const char* severity, const char* format, Arguments... arguments) noexcept
    {
        const ACE_Time_Value now = ACE_OS::gettimeofday();
        const std::int64_t us = static_cast<std::int64_t>(now.sec()) * 1'000'000 + now.usec();
        add("%s T%04u%s KR_LOG_MANAGER: ", local_stamp(us).data(), kr_platform::thread_id(),
            severity);
        add(format, arguments...);
        add("\n");
    }

    const char* text() const noexcept { return text_.data(); }

private:
    void add(const char* text) noexcept { add("%s", text); }

    template <typename... Arguments>
    void add(const char* format, Arguments... arguments) noexcept
    {
        const int length =
            std::snprintf(text_.data() + size_, text_.size() - size_, format, arguments...);
        size_ = std::min(size_ + static_cast<std::size_t>(std::max(length, 0)), text_.size() - 1);
    }

    std::array<char, 4096> text_{};
    std::size_t size_ = 0;
};

constexpr std::size_t room_for_path = 1'000;

// "+01:30"
std::string offset_text(int minutes)
{
    char text[24];
    std::snprintf(text, sizeof text, "%c%02d:%02d", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                  std::abs(minutes) % 60);
    return text;
}

} // namespace

Seam<Log_Disk> log_disk;

bool Log_Disk::open(Append_File& file, const std::string& path,
                    Append_File::Sharing sharing) noexcept
{
    return file.open(path, sharing);
}

std::size_t Log_Disk::write(Append_File& file, std::string_view text) noexcept
{
    return file.write(text);
}

int Log_Disk::error(const Append_File& file) noexcept
{
    return file.error();
}

bool Log_Buffer::open(std::string path, Old_File old_file) noexcept
{
    write_out();
    const bool may_stay = policy_.retries && old_file == Old_File::stays;
    if (!finish_rest() && may_stay)
        return false; // the disk is full still
    const auto sharing =
        policy_.gives_name ? Append_File::Sharing::give_name : Append_File::Sharing::keep_name;
    Append_File file;
    if (!disk().open(file, path, sharing)) {
        if (may_stay && is_good_) {
            begin_failure(path, disk().error(file));
            return false;
        }
        file_.close(); // its descriptor may be what is missing, or its deletion what is waited for
        disk().open(file, path, sharing);
    }
    rest_size_ = 0;
    file_ = std::move(file);
    path_ = std::move(path);
    is_good_ = file_.is_open();
    Log_Health::of_process().set_good(is_good_);
    if (is_good_)
        put_first_lines();
    else
        begin_failure(path_, disk().error(file_));
    return true;
}

void Log_Buffer::keep_early_lines(std::size_t bytes)
{
    early_.reserve(bytes);
    early_room_ = bytes;
}

void Log_Buffer::write_kept_lines(Log_Ring& ring) noexcept
{
    if (!is_good_)
        return;
    write_out();
    int count = 0;
    ring.take([&](std::string_view line) {
        if (++count == 1)
            put(Own_Line(" INF", "Lines that the level held back:").text(), true);
        if (is_good_)
            put(line, true);
    });
    if (count > 0 && is_good_)
        put(Own_Line(" INF", "End of %d lines that the level held back.", count).text(), true);
}

Log_Buffer::int_type Log_Buffer::overflow(int_type c)
{
    if (!write_out())
        return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof()))
        sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

int Log_Buffer::sync()
{
    return write_out() ? 0 : -1;
}

Log_Buffer::pos_type Log_Buffer::seekoff(off_type offset, std::ios::seekdir from,
                                         std::ios::openmode which)
{
    const std::int64_t size = file_.size();
    if (!is_good_ || size < 0 || offset != 0 || from != std::ios::cur ||
        (which & std::ios::out) == 0)
        return off_type(-1);
    return size + (pptr() - pbase());
}

// False: the stream is to fail.
bool Log_Buffer::write_out() noexcept
{
    const std::string_view text(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    empty();
    return text.empty() || hand_on(text);
}

// To the file, or to where its lines go while there is none. False: the stream is to fail.
bool Log_Buffer::hand_on(std::string_view text) noexcept
{
    if (is_good_)
        put(text, true);
    else if (early_.size() + text.size() <= early_room_)
        early_.append(text); // within what is reserved
    else
        Log_Health::of_process().count_lost(lines_in(text));
    if (accepts())
        return true;
    Log_Health::of_process().set_stream_failed(true);
    return false;
}

// Writes to the file that is good, and keeps the end of a line that stays without it. How much needs
// no other try.
std::size_t Log_Buffer::put(std::string_view text, bool is_counted) noexcept
{
    const std::size_t written = disk().write(file_, text);
    Log_Health& health = Log_Health::of_process();
    if (written == text.size()) {
        if (is_counted)
            health.count_written(lines_in(text));
        return written;
    }
    begin_failure(path_, disk().error(file_));
    is_good_ = false;
    health.set_good(false);
    const std::string_view missing = text.substr(written);
    const bool is_torn = written > 0 && text[written - 1] != '\n';
    const std::string_view rest =
        is_torn ? missing.substr(0, std::min(missing.find('\n'), missing.size() - 1) + 1)
                : std::string_view();
    rest_size_ = rest.copy(rest_.data(), rest_.size());
    is_rest_counted_ = is_counted;
    if (is_counted) {
        health.count_written(lines_in(text.substr(0, written)));
        health.count_lost(lines_in(missing));
    }
    return written + rest.size();
}

// A line of which the file has the begin gets its end, so that it is neither torn nor lost.
bool Log_Buffer::finish_rest() noexcept
{
    if (rest_size_ == 0)
        return true;
    const std::string_view rest(rest_.data(), rest_size_);
    const std::int64_t lines = is_rest_counted_ ? lines_in(rest) : 0;
    const std::size_t written = disk().write(file_, rest);
    rest_size_ -= written;
    std::memmove(rest_.data(), rest_.data() + written, rest_size_);
    if (rest_size_ > 0)
        return false;
    Log_Health::of_process().count_lost(-lines);
    Log_Health::of_process().count_written(lines);
    return true;
}

void Log_Buffer::put_first_lines() noexcept
{
    if (!policy_.header.empty())
        put_header();
    if (is_good_ && early_room_ > 0)
        put_early_lines();
    if (is_good_ && is_failure_open_)
        put_end_of_failure();
}

void Log_Buffer::put_header() noexcept
{
    try {
        const kr_platform::Local_Date date = kr_platform::local_date(ACE_OS::gettimeofday().sec());
        const Own_Line line(" INF", "Log of %.1500s, process %d, %04d-%02d-%02d, UTC%s.",
                            policy_.header.c_str(), static_cast<int>(ACE_OS::getpid()), date.year,
                            date.month, date.day, offset_text(date.offset_minutes).c_str());
        put(line.text(), false);
    } catch (const std::bad_alloc&) {
        // a part without it
    }
}

void Log_Buffer::put_early_lines() noexcept
{
    const std::size_t done = put(early_, true);
    const std::string_view missing = std::string_view(early_).substr(done);
    if (!missing.empty())
        Log_Health::of_process().count_lost(-lines_in(missing)); // they wait for another file
    early_.erase(0, done);
    if (early_.empty()) {
        early_.shrink_to_fit();
        early_room_ = 0;
    }
}

void Log_Buffer::put_end_of_failure() noexcept
{
    const std::int64_t seconds = (kr_platform::steady_milliseconds() - failure_.began) / 1'000;
    const std::int64_t lost = Log_Health::of_process().lost() - failure_.lost;
    const Own_Line line("*ERR", "The log file is back after %lld seconds, %lld lines are lost.",
                        static_cast<long long>(seconds), static_cast<long long>(lost));
    put(line.text(), false);
    is_failure_open_ = !is_good_;
}

void Log_Buffer::begin_failure(const std::string& path, int error) noexcept
{
    Log_Health& health = Log_Health::of_process();
    health.set_error(error);
    if (is_failure_open_ || !policy_.reports)
        return;
    is_failure_open_ = true;
    failure_ = {kr_platform::steady_milliseconds(), health.lost()};
    try {
        const Log_Text path_text(path, room_for_path);
        const std::string error_text = std::system_category().message(error);
        const Own_Line line("*ERR", "The log file '%s' failed: %s.", path_text.value(),
                            Log_Text(error_text, room_for_path).value());
        std::fputs(line.text(), stderr);
        std::fflush(stderr);
    } catch (const std::bad_alloc&) {
        // the file tells when it is back
    }
}

} // namespace kr_internal
