#pragma once

/// \file
/// Which records a command is to look at: the filters of kr_search, and some more.
/// Threads: a value; one thread at a time.

#include "Record_Source.h"

#include <KRCommon/objects/Object_Scan.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace CLI {
class App;
}

namespace krtool {

class Record_Filter {
public:
    /// Gives the command the options. The object must live until it has run.
    void add_options(CLI::App& command);

    /// To be called once, after the command line has been read. Throws Failure for a text that means
    /// nothing, and for a colour when the library has read no names of colours.
    void read();

    /// Whether records are left out at all.
    [[nodiscard]] bool is_any() const noexcept { return !asks_ && !number_; }
    /// Whether the item is to be looked at. Damage matches where nothing of a record is asked for.
    [[nodiscard]] bool matches(const Record_Item& item) const;
    /// Whether neither the item nor what follows it in its file matches.
    [[nodiscard]] bool is_past(const Record_Item& item) const noexcept
    {
        return number_ && item.number > *number_;
    }

private:
    [[nodiscard]] bool has_score(const KR_Object_View& record) const;

    struct Texts {
        std::optional<std::string> from, to, object_class, color, sensor;
        std::optional<float> min_score, min_area, min_duration;
        std::optional<std::int32_t> detector;
    };

    Texts texts_;
    std::optional<std::uint64_t> number_;
    std::optional<std::uint64_t> object_id_;
    std::optional<std::pair<std::int32_t, std::optional<std::int32_t>>> sensor_;
    KR_Object_Filter filter_;
    bool asks_ = false; // for something that stands in the record
};

} // namespace krtool
