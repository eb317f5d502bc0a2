#pragma once

/// \file
/// The lines of one log file, each with its place in time. Threads: one at a time.

#include "Log_Line.h"
#include "Log_Source.h"

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace krtool {

/// Where a line belongs among those of other files.
struct Line_Place {
    Local_Time place = 0; ///< never falls within a file
    Local_Time time = 0;  ///< what the line itself tells

    friend bool operator<(const Line_Place& a, const Line_Place& b) noexcept
    {
        return a.place != b.place ? a.place < b.place : a.time < b.time;
    }
};

/// Gives the stamps of consecutive lines, which tell the time of day alone, their date and place.
///
/// A stamp more than 12 hours before the one of the line before is of the next day. Else lines keep the
/// order of their file: a line whose stamp goes back gets the place of the line before. When stamps
/// go back by 15 minutes to an hour, an hour has come twice, or somebody has set the clock: the lines
/// until the next full hour belong behind whatever other files have of that hour, and among
/// themselves in the order of their stamps.
class Line_Clock {
public:
    /// Goes on with a file of this date. `stamp` is that of its first line.
    void begin_part(std::int64_t date, std::int64_t stamp) noexcept;

    [[nodiscard]] Line_Place place(std::int64_t stamp) noexcept
    {
        const Local_Time time = day_ + stamp;
        if (time >= last_.place && time - last_.time < one_day / 2) { // as nearly every line
            last_ = {time, time};
            return last_;
        }
        return place_of_step(time);
    }

    /// That of the last line.
    [[nodiscard]] const Line_Place& last() const noexcept { return last_; }

    /// The begin of the day in which stamps are, as long as they do not go back.
    [[nodiscard]] Local_Time day() const noexcept { return day_; }

private:
    Line_Place place_of_step(Local_Time time) noexcept;
    void follow(Local_Time time) noexcept;

    Local_Time day_ = 0; // its begin
    Line_Place last_;
};

/// A line that begins with a stamp, with all that follows up to the next such line; or a line without a
/// stamp at the file's begin. What is longer than the limit comes in pieces.
struct Log_Record {
    std::string_view text; ///< with its line ends, of which the last may be missing
    Line_Place place;
    bool has_head = false;
};

/// Memory is that of the longest record, at most the limit and a block.
class Part_Reader {
public:
    static constexpr std::size_t record_limit = 4 * 1024 * 1024;

    /// clock    as the part before has left it; a new one without a part before
    /// date     of the file; days since 1970
    /// is_exact the date is the name's; otherwise a header line, where there is one, tells it
    struct Begin {
        Line_Clock clock;
        std::int64_t date = 0;
        bool is_exact = true;
        bool is_at_end = false; ///< reads only what comes from now on
        bool is_growing = false;
        bool gives_lines = false; ///< a record is one line, with what extend() adds
    };
    Part_Reader(const std::string& path, const Begin& begin);

    /// Reads the next record, whose text lasts until the next call. False at the end; later there may
    /// be more. Of a growing file only whole lines are given. Throws Failure.
    [[nodiscard]] bool next()
    {
        begin_ = next_;
        if (line_ == line_count_)
            return read_next();
        const Line& line = lines_[line_++];
        take(line.stamp, line.end - begin_);
        return true;
    }

    /// Adds to the record those behind it that were read already and come before the time, so that many
    /// lines go out at once. The clock may not notice that it was set, when nothing comes after them.
    void extend(Local_Time limit);
    static constexpr Local_Time no_limit = INT64_MAX;

    [[nodiscard]] const Log_Record& record() const noexcept { return record_; }
    [[nodiscard]] const Line_Clock& clock() const noexcept { return clock_; }
    [[nodiscard]] const Log_Source& source() const noexcept { return source_; }

    /// Whether at most a MiB is left to be read of a file that is not compressed.
    [[nodiscard]] bool is_near_end() const noexcept { return is_near_end_; }

    /// From now on a line without its end counts as one: there will be no more.
    void stop_growing() noexcept { is_growing_ = false; }

private:
    struct Line {
        std::int64_t stamp = -1;
        std::size_t end = 0; // one past it, in the buffer
    };

    bool fill();
    void begin_clock(const Begin& begin);
    [[nodiscard]] bool read_next();
    [[nodiscard]] bool next_line();
    bool find_lines(std::size_t searched = 0);
    void pass_lines_before(Local_Time limit);
    void pass_whole_lines();
    [[nodiscard]] bool next_record();
    [[nodiscard]] std::size_t find_end();
    [[nodiscard]] bool is_line_over(std::size_t next_line);

    void take(std::int64_t stamp, std::size_t size) noexcept
    {
        record_.has_head = stamp >= 0;
        record_.place = record_.has_head ? clock_.place(stamp) : clock_.last();
        record_.text = {buffer_.data() + begin_, size};
        next_ = begin_ + size;
    }

    Log_Source source_;
    Line_Clock clock_;
    Log_Record record_;
    bool is_growing_;
    bool gives_lines_;
    bool is_near_end_ = false;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;        // of the record
    std::size_t next_ = 0;         // of the record after it
    std::size_t end_ = 0;          // of what was read
    std::int64_t next_stamp_ = -1; // of the line there; -1: none, or it was not looked at

    // Whole lines from next_ on. Found so many at once, they cost less than one by one between
    // decisions that the processor cannot foresee.
    std::array<Line, 128> lines_;
    std::size_t line_ = 0; // the one at next_
    std::size_t line_count_ = 0;
};

/// Whether the second of two parts begins before the first one ends, as when two processes write them.
[[nodiscard]] bool do_overlap(const std::string& first, const std::string& second);

} // namespace krtool
