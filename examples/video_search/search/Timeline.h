#pragma once

/// \file
/// Where things stand on the time line of a recording. Threads: no state.

#include "../store/Object_Store.h"

#include <ace/Time_Value.h>

#include <cstddef>
#include <vector>

namespace video_search {

/// From the start to the end; the end is later.
struct Time_Span {
    ACE_Time_Value start;
    ACE_Time_Value end;
};

/// The part of the span that lies before the time, in percent: 0 to 100, also for times outside.
[[nodiscard]] double position(const ACE_Time_Value& time, const Time_Span& span);

/// A round distance between two marks of the axis, seconds: the smallest that gives at most so many
/// of them.
[[nodiscard]] int mark_step(const Time_Span& span, int most);

/// The multiples of the step that lie in the span.
[[nodiscard]] std::vector<ACE_Time_Value> marks(const Time_Span& span, int step);

/// A bar on the line, positions in percent.
struct Bar {
    double start = 0;
    double end = 0;
};

/// A lane for each bar, 0 first, so that bars of one lane are at least `gap` percent apart; as few
/// lanes as there must be when the bars come in the order of their start.
[[nodiscard]] std::vector<std::size_t> lanes(const std::vector<Bar>& bars, double gap);

/// Pictures for a strip of at most so many equal places: for each place the one whose time is
/// nearest to the middle of the place. No more places than pictures.
[[nodiscard]] std::vector<const Picture*> strip(const std::vector<Picture>& pictures,
                                                const Time_Span& span, std::size_t most);

} // namespace video_search
