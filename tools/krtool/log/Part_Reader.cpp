#include "Part_Reader.h"

#include "../host/Program.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace krtool {

namespace {

constexpr std::size_t block = std::size_t{256} * 1024;
constexpr std::uint64_t near_end = std::uint64_t{1024} * 1024;
constexpr std::size_t lines_looked_at = 16;

// Calls for the lines of a text, without their ends, until it says false.
template <typename Look>
void for_each_line(std::string_view text, Look look)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (!look(text.substr(0, end)))
            return;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// So many bytes are searched for line feeds at once.
constexpr std::ptrdiff_t feed_bits = 64;

// Bit i tells whether text[i] is a line feed. The compiler makes vectors of the first loop; a search for one
// feed after the other would cost a wrong guess of the processor for nearly every line.
std::uint64_t feeds_of(const char* text) noexcept
{
    unsigned char are_feeds[feed_bits];
    for (std::ptrdiff_t i = 0; i < feed_bits; ++i)
        are_feeds[i] = text[i] == '\n' ? 1 : 0;
    std::uint64_t bits = 0;
    for (std::ptrdiff_t i = 0; i < 8; ++i) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, are_feeds + 8 * i, 8);
        bits |= (eight * 0x0102040810204080 >> 56) << 8 * i; // the lowest bit of each byte
    }
    return bits;
}

// The number of the lowest bit that is set; 63 when there is none.
int first_bit(std::uint64_t bits) noexcept
{
    constexpr std::uint64_t highest = std::uint64_t{1} << 63; // for none
    return __builtin_ctzll(bits | highest);
}

struct Begin_Of_File {
    std::vector<std::int64_t> stamps; // the first ones
    std::optional<std::int64_t> date; // as a header tells it
};

Begin_Of_File look_at_begin(std::string_view text)
{
    Begin_Of_File begin;
    for_each_line(text, [&begin](std::string_view line) {
        const std::int64_t stamp = stamp_of(line.data(), line.size());
        if (stamp >= 0)
            begin.stamps.push_back(stamp);
        if (stamp >= 0 && !begin.date)
            begin.date = date_of_header(without_end(line));
        return begin.stamps.size() < lines_looked_at;
    });
    return begin;
}

// A line that was made in the last second of a day may come first in the file of the next. So may a file
// that was begun then, but it ends some seconds later.
bool begins_on_the_day_before(const std::vector<std::int64_t>& stamps, std::string_view text)
{
    if (stamps.empty() || stamps.front() < one_day - one_second ||
        *std::min_element(stamps.begin(), stamps.end()) >= one_minute)
        return false;
    std::int64_t last = 0;
    for_each_line(text, [&last](std::string_view line) {
        const std::int64_t stamp = stamp_of(line.data(), line.size());
        last = stamp >= 0 ? stamp : last;
        return true;
    });
    return last > one_minute || text.size() >= block;
}

} // namespace

void Line_Clock::begin_part(std::int64_t date, std::int64_t stamp) noexcept
{
    constexpr Local_Time longest_step = 2 * one_hour;
    day_ = date * one_day;
    const Local_Time time = day_ + stamp;
    if (time >= last_.place || last_.place - time > longest_step)
        last_ = {time, time};
    else
        follow(time);
}

// The place of a line that does not simply come after the one before.
Line_Place Line_Clock::place_of_step(Local_Time time) noexcept
{
    constexpr Local_Time late = one_minute;
    if (last_.time - time > one_day / 2) { // over midnight
        day_ += one_day;
        time += one_day;
    } else if (time - last_.time >= one_day / 2 && last_.time - day_ < late &&
               day_ + one_day - time < late) { // made before midnight
        time -= one_day;
    }
    follow(time);
    return last_;
}

void Line_Clock::follow(Local_Time time) noexcept
{
    const Local_Time back = last_.place - time;
    if (back <= 0)
        last_.place = time;
    else if (back >= 15 * one_minute && back <= one_hour)
        last_.place = (last_.place / one_hour + 1) * one_hour - 1;
    last_.time = time;
}

Part_Reader::Part_Reader(const std::string& path, const Begin& begin)
    : source_(path), clock_(begin.clock), is_growing_(begin.is_growing),
      gives_lines_(begin.gives_lines), buffer_(2 * block)
{
    if (begin.is_at_end) {
        source_.skip_to_end();
        clock_.begin_part(begin.date, 0);
        return;
    }
    fill();
    begin_clock(begin);
}

void Part_Reader::begin_clock(const Begin& begin)
{
    const std::string_view text(buffer_.data(), end_);
    const Begin_Of_File file = look_at_begin(text);
    std::int64_t date = !begin.is_exact && file.date ? *file.date : begin.date;
    if (begins_on_the_day_before(file.stamps, text))
        --date;
    clock_.begin_part(date, file.stamps.empty() ? 0 : file.stamps.front());
}

// Makes room and reads a block; false when there is no more. What begins at begin_ moves to the
// buffer's begin.
bool Part_Reader::fill()
{
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        next_ -= begin_;
        begin_ = 0;
    }
    if (buffer_.size() - end_ < block)
        buffer_.resize(buffer_.size() * 2);
    const std::size_t got = source_.read(buffer_.data() + end_, block);
    end_ += got;
    const std::optional<std::uint64_t> left = source_.left();
    is_near_end_ = left && *left <= near_end;
    return got > 0;
}

// Whether what stands there is no part of the record before; reads on where that is to be seen.
// The line's begin moves with the record's.
bool Part_Reader::is_line_over(std::size_t next_line)
{
    const std::size_t offset = next_line - begin_;
    while (end_ - begin_ - offset < least_head && fill())
        ;
    const std::size_t rest = end_ - begin_ - offset;
    next_stamp_ = stamp_of(buffer_.data() + begin_ + offset, rest);
    return next_stamp_ >= 0 || rest == 0 || (is_growing_ && rest < least_head);
}

// One past the record, counted from begin_; 0 when there is none yet.
std::size_t Part_Reader::find_end()
{
    std::size_t scanned = 0; // from begin_
    for (;;) {
        const char* const from = buffer_.data() + begin_ + scanned;
        const auto* const feed =
            static_cast<const char*>(std::memchr(from, '\n', end_ - begin_ - scanned));
        if (feed == nullptr) {
            scanned = end_ - begin_;
            if (scanned >= record_limit)
                return scanned;
            if (fill())
                continue;
            return is_growing_ ? 0 : scanned;
        }
        scanned = static_cast<std::size_t>(feed - (buffer_.data() + begin_)) + 1;
        if (gives_lines_ || !record_.has_head || is_line_over(begin_ + scanned) ||
            scanned >= record_limit)
            return scanned;
    }
}

bool Part_Reader::read_next()
{
    return gives_lines_ ? next_line() : next_record();
}

bool Part_Reader::next_record()
{
    if (next_stamp_ < 0) {
        while (end_ - begin_ < least_head && fill())
            ;
        next_stamp_ = stamp_of(buffer_.data() + begin_, end_ - begin_);
    }
    if (begin_ == end_)
        return false;
    const std::int64_t stamp = std::exchange(next_stamp_, -1);
    record_.has_head = stamp >= 0;
    const std::size_t size = find_end();
    if (size == 0)
        return false;
    take(stamp, size);
    return true;
}

bool Part_Reader::next_line()
{
    for (std::size_t searched = 0; !find_lines(searched);) {
        searched = end_ - begin_;
        if (searched < record_limit && fill())
            continue;
        if (searched == 0 || (is_growing_ && searched < record_limit))
            return false;
        take(stamp_of(buffer_.data() + begin_, searched), searched);
        return true;
    }
    return next();
}

// Finds lines from next_ on, behind those that are known; false when no end of one is there. So many
// bytes were searched for that already.
bool Part_Reader::find_lines(std::size_t searched)
{
    const char* const begin = buffer_.data();
    const char* const end = begin + end_;
    const char* from = begin + next_ + searched;
    std::size_t count = 0;
    const auto add = [&](const char* feed) {
        lines_[count].end = static_cast<std::size_t>(feed + 1 - begin);
    };
    const auto has_room = [&] { return count + feed_bits <= lines_.size(); };
    for (; end - from >= feed_bits && has_room(); from += feed_bits) {
        std::uint64_t feeds = feeds_of(from);
        // Two without a decision: whether there is one depends on the lengths of lines.
        for (int i = 0; i < 2; ++i) {
            add(from + first_bit(feeds));
            count += feeds != 0 ? 1 : 0;
            feeds &= feeds - 1;
        }
        for (; feeds != 0; feeds &= feeds - 1) {
            add(from + first_bit(feeds));
            ++count;
        }
    }
    if (has_room())
        for (; from < end; ++from) // the last bytes
            if (*from == '\n') {
                add(from);
                ++count;
            }
    std::size_t line = next_;
    for (std::size_t i = 0; i < count; ++i) {
        lines_[i].stamp = stamp_of(begin + line, lines_[i].end - line);
        line = lines_[i].end;
    }
    line_ = 0;
    line_count_ = count;
    return count > 0;
}

// Moves next_ over the lines that come before the time and in order.
void Part_Reader::pass_lines_before(Local_Time limit)
{
    const Local_Time day = clock_.day();
    Local_Time last = clock_.last().place;
    if (clock_.last().time != last) // a clock that was set back
        return;
    while (line_ < line_count_ || find_lines()) {
        const Line& line = lines_[line_];
        if (line.stamp >= 0) {
            const Local_Time time = day + line.stamp;
            if (time < last || time >= limit)
                break;
            last = time;
        }
        next_ = line.end;
        ++line_;
    }
    static_cast<void>(clock_.place(last - day));
}

// Moves next_ over all lines that are whole.
void Part_Reader::pass_whole_lines()
{
    const std::string_view text(buffer_.data() + next_, end_ - next_);
    const std::size_t size = text.rfind('\n') + 1; // 0 without one
    std::size_t line = size;
    std::int64_t stamp = -1;
    while (line > 0 && stamp < 0) { // of the last line that has one
        const std::size_t feed = line > 1 ? text.rfind('\n', line - 2) : std::string_view::npos;
        line = feed == std::string_view::npos ? 0 : feed + 1;
        stamp = stamp_of(text.data() + line, size - line);
    }
    if (stamp >= 0)
        static_cast<void>(clock_.place(stamp));
    next_ += size;
    line_ = line_count_ = 0;
}

void Part_Reader::extend(Local_Time limit)
{
    if (limit == no_limit)
        pass_whole_lines();
    else
        pass_lines_before(limit);
    record_.text = {buffer_.data() + begin_, next_ - begin_};
}

bool do_overlap(const std::string& first, const std::string& second)
{
    constexpr std::uint64_t looked_at = std::uint64_t{16} * 1024;
    constexpr std::int64_t longest = 10 * one_minute;
    const auto read_from = [](const std::string& path, bool is_end) {
        Shared_File file;
        File_Facts facts;
        std::string text(looked_at, '\0');
        if (file.open(path) != 0 || file.facts(facts) != 0)
            return std::string();
        const std::uint64_t place = is_end && facts.size > looked_at ? facts.size - looked_at : 0;
        if (file.seek(place) != 0)
            return std::string();
        text.resize(static_cast<std::size_t>(
            std::max<std::ptrdiff_t>(file.read(text.data(), text.size()), 0)));
        return text;
    };
    std::int64_t last = -1;
    for_each_line(read_from(first, true), [&last](std::string_view line) {
        const std::int64_t stamp = stamp_of(line.data(), line.size());
        last = stamp >= 0 ? stamp : last;
        return true;
    });
    const std::vector<std::int64_t> begin = look_at_begin(read_from(second, false)).stamps;
    if (last < 0 || begin.empty())
        return false;
    return (last - begin.front() + one_day) % one_day <= longest;
}

} // namespace krtool
