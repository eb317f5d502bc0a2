#include "Timeline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace video_search {

namespace {

double seconds(const ACE_Time_Value& time)
{
    return static_cast<double>(time.sec()) + static_cast<double>(time.usec()) * 1e-6;
}

double length(const Time_Span& span)
{
    return seconds(span.end - span.start);
}

} // namespace

double position(const ACE_Time_Value& time, const Time_Span& span)
{
    const double part = seconds(time - span.start) / length(span);
    return 100 * std::clamp(part, 0.0, 1.0);
}

int mark_step(const Time_Span& span, int most)
{
    constexpr std::array steps{1,   2,    5,    10,   15,    30,    60,    120,   300,    600,
                               900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800, 604800};
    for (const int step : steps)
        if (length(span) / step <= most - 1)
            return step;
    const double weeks = std::ceil(length(span) / (most - 1) / steps.back());
    return static_cast<int>(std::min(weeks, 3000.0)) * steps.back();
}

std::vector<ACE_Time_Value> marks(const Time_Span& span, int step)
{
    std::vector<ACE_Time_Value> marks;
    const std::int64_t first = (span.start.sec() + step - 1) / step * step;
    for (std::int64_t time = first; ACE_Time_Value(static_cast<time_t>(time)) <= span.end;
         time += step)
        if (ACE_Time_Value(static_cast<time_t>(time)) >= span.start)
            marks.emplace_back(static_cast<time_t>(time));
    return marks;
}

std::vector<std::size_t> lanes(const std::vector<Bar>& bars, double gap)
{
    std::vector<double> ends; // of the last bar of each lane
    std::vector<std::size_t> lanes;
    for (const Bar& bar : bars) {
        const auto free = std::find_if(ends.begin(), ends.end(),
                                       [&](double end) { return end + gap <= bar.start; });
        lanes.push_back(static_cast<std::size_t>(free - ends.begin()));
        if (free == ends.end())
            ends.push_back(bar.end);
        else
            *free = bar.end;
    }
    return lanes;
}

std::vector<const Picture*> strip(const std::vector<Picture>& pictures, const Time_Span& span,
                                  std::size_t most)
{
    std::vector<const Picture*> strip;
    const std::size_t places = std::min(most, pictures.size());
    for (std::size_t k = 0; k < places; ++k) {
        const double middle = 100 * (static_cast<double>(k) + 0.5) / static_cast<double>(places);
        const auto distance = [&](const Picture& picture) {
            return std::abs(position(picture.time, span) - middle);
        };
        strip.push_back(&*std::min_element(pictures.begin(), pictures.end(),
                                           [&](const Picture& left, const Picture& right) {
                                               return distance(left) < distance(right);
                                           }));
    }
    return strip;
}

} // namespace video_search
