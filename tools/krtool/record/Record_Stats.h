#pragma once

/// \file
/// What many records are like together: counts, sizes, times, classes, colours, durations. Needs the
/// same memory for any number of them. Threads: one at a time.

#include "../host/Output.h"
#include "Record_Source.h"

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <array>
#include <cstdint>
#include <map>
#include <utility>

namespace krtool {

/// The least, the most and the sum of some numbers.
struct Number_Range {
    std::uint64_t count = 0;
    std::uint64_t least = 0;
    std::uint64_t most = 0;
    std::uint64_t sum = 0;

    void add(std::uint64_t number) noexcept
    {
        least = count == 0 || number < least ? number : least;
        most = number > most ? number : most;
        sum += number;
        ++count;
    }
    [[nodiscard]] double mean() const noexcept
    {
        return count == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(count);
    }
};

class Record_Stats {
public:
    /// with_colors  whether to name the colours, which takes half of the time
    explicit Record_Stats(bool with_colors);

    /// Counts an item; `is_match` where the record is one of those that are asked for.
    void add(const Record_Item& item, bool is_match);
    void add_file() noexcept { ++files_; }

    [[nodiscard]] std::uint64_t damaged() const noexcept { return damaged_; }
    [[nodiscard]] std::uint64_t matches() const noexcept { return sizes_.count; }

    /// As text or, where that is asked for, as JSON. Throws Output_Lost.
    void write(Output& output) const;

private:
    static constexpr std::size_t durations = 12; // bounds of the histogram

    void add_record(const Record_Item& item);
    void add_instances(const KR_Object_View& record);
    void add_colors(const KR_Object_View& record);
    void write_text(Output& output) const;
    void write_json(Output& output) const;

    struct Class {
        std::uint64_t sure = 0; // records with a score of 0.5 and more
        double score_sum = 0;   // of scores that are numbers
    };
    struct Color {
        std::uint64_t records = 0; // that have 20 percent and more
        double percent_sum = 0;
    };
    using Sensor = std::pair<std::int32_t, std::int32_t>;

    bool has_names_; // of colours
    std::uint64_t files_ = 0;
    std::uint64_t records_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t damaged_ = 0;
    std::uint64_t damaged_bytes_ = 0;
    std::uint64_t without_instances_ = 0;
    Number_Range sizes_; // of the records that match
    Number_Range instances_;
    Number_Range colors_;    // of the instances
    Number_Range auxiliary_; // of those that have some
    Number_Range durations_;
    std::array<std::uint64_t, durations + 1> duration_counts_{};
    ACE_Time_Value first_seen_;
    ACE_Time_Value last_seen_;
    std::array<std::uint64_t, 24> hours_{}; // of the day, UTC
    std::array<Class, 3> classes_{};
    std::array<Color, KR_Color_Shares::preset_count> shares_{};
    std::map<std::int32_t, std::uint64_t> detectors_;
    std::map<Sensor, std::uint64_t> sensors_;
    std::uint64_t other_detectors_ = 0; // that are too many to be told apart
    std::uint64_t other_sensors_ = 0;
};

} // namespace krtool
