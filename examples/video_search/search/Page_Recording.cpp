// The panel of a recording: what it is, and its time line.

#include "Format.h"
#include "Page_Data.h"
#include "Timeline.h"

#include <KRCommon/util/Time_Text.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace video_search {

namespace {

constexpr std::size_t lane_height = 22; // pixels

// A hit of the recording and its index in the result.
struct Placed_Hit {
    const Hit* hit;
    std::size_t index;
};

std::vector<Placed_Hit> hits_of(const Recording& recording, const Result& result)
{
    std::vector<Placed_Hit> hits;
    for (std::size_t k = 0; k < result.hits.size(); ++k)
        if (result.hits[k].run == recording.run)
            hits.push_back({&result.hits[k], k});
    std::stable_sort(hits.begin(), hits.end(), [](const auto& left, const auto& right) {
        return left.hit->first_seen < right.hit->first_seen;
    });
    return hits;
}

ACE_Time_Value last_seen(const Hit& hit)
{
    return hit.first_seen + ACE_Time_Value(static_cast<time_t>(hit.result.duration));
}

// Of a recording that is being analysed still, the end may lie before what was found.
Time_Span span_of(const Recording& recording, const std::vector<Placed_Hit>& hits)
{
    Time_Span span{recording.start, recording.end};
    if (recording.end > recording.start)
        return span;
    for (const Placed_Hit& each : hits)
        span.end = std::max(span.end, last_seen(*each.hit));
    span.end = std::max(span.end, span.start + ACE_Time_Value(1));
    return span;
}

std::string percent(double value)
{
    return decimal(value, 2);
}

std::string name_of_file(const std::string& path)
{
    return path.substr(path.find_last_of("/\\") + 1);
}

std::string tally(std::size_t hits)
{
    if (hits == 0)
        return "no object shown";
    return std::to_string(hits) + (hits == 1 ? " object shown" : " objects shown");
}

void set_facts(Page_Data& data, const Recording& recording, std::size_t hits)
{
    data.set("video", stored_text(recording.video));
    data.set("video_name", stored_text(name_of_file(recording.video)));
    data.set("state", stored_text(recording.state));
    data.set("tally", tally(hits));
    data.set("sensor", sensor_text(recording.sensor));
    data.set("start", time_text(recording.start));
    data.set("end", time_text(recording.end));
    data.set("size",
             std::to_string(recording.width) + " \u00D7 " + std::to_string(recording.height));
    data.set("frames", std::to_string(recording.frames));
    data.set("run", stored_text(recording.run));
}

void set_strip(Page_Data& data, const Scene& scene, const Time_Span& span)
{
    constexpr std::size_t most = 10;
    Page_List places;
    for (const Picture* const picture : strip(scene.pictures, span, most)) {
        Page_Data place;
        place.set("time", clock_text(picture->time));
        const std::string uri = picture_uri(picture->jpeg);
        if (!uri.empty())
            place.set("picture", uri);
        places.push_back(std::move(place));
    }
    data.set("has_strip", !places.empty());
    data.set("ratio", std::to_string(std::max(scene.recording.width, 1)) + " / " +
                          std::to_string(std::max(scene.recording.height, 1)));
    data.set("strip", places);
}

void set_axis(Page_Data& data, const Time_Span& span)
{
    constexpr int most = 10;
    constexpr int day = 86'400;
    constexpr double room = 93; // where a label to the right of its mark would leave the panel
    const int step = mark_step(span, most);
    Page_List list;
    for (const ACE_Time_Value& time : marks(span, step)) {
        const double left = position(time, span);
        Page_Data mark;
        mark.set("left", percent(left));
        mark.set("label", step < day ? clock_text(time) : kr_to_string(time).substr(0, 10));
        mark.set("is_last", left > room);
        list.push_back(std::move(mark));
    }
    data.set("marks", list);
}

Bar bar_of(const Hit& hit, const Time_Span& span)
{
    constexpr double least = 0.6; // percent; what can still be seen and clicked
    Bar bar{position(hit.first_seen, span), position(last_seen(hit), span)};
    bar.start = std::min(bar.start, 100 - least);
    bar.end = std::max(bar.end, bar.start + least);
    return bar;
}

Page_Data bar_data(const Placed_Hit& placed, const Bar& bar, std::size_t lane)
{
    constexpr double room = 3; // percent that a label needs
    const Hit& hit = *placed.hit;
    const std::string id = "#" + std::to_string(hit.result.objectId);
    const bool is_short = bar.end - bar.start < room;
    Page_Data data;
    data.set("class", name_of(hit.object_class));
    data.set("number", std::to_string(placed.index + 1));
    data.set("left", percent(bar.start));
    data.set("width", percent(bar.end - bar.start));
    data.set("top", std::to_string(lane * lane_height));
    data.set("is_short", is_short);
    data.set("label", is_short ? "" : id);
    data.set("tip", id + ", " + name_of(hit.object_class) + ", " + clock_text(hit.first_seen) +
                        ", " + duration_text(hit.result.duration));
    return data;
}

void set_bars(Page_Data& data, const std::vector<Placed_Hit>& hits, const Time_Span& span)
{
    constexpr double gap = 0.3; // percent
    std::vector<Bar> bars;
    bars.reserve(hits.size());
    for (const Placed_Hit& each : hits)
        bars.push_back(bar_of(*each.hit, span));
    const std::vector<std::size_t> lane = lanes(bars, gap);
    std::size_t lane_count = 0;
    Page_List list;
    for (std::size_t k = 0; k < bars.size(); ++k) {
        list.push_back(bar_data(hits[k], bars[k], lane[k]));
        lane_count = std::max(lane_count, lane[k] + 1);
    }
    data.set("bars", list);
    data.set("lanes_height", std::to_string(lane_count * lane_height));
}

// What lies outside the time that was searched.
void set_outside(Page_Data& data, const Criteria& criteria, const Time_Span& span)
{
    const double before = position(from_time(criteria), span);
    const double after = 100 - position(to_time(criteria), span);
    if (before > 0)
        data.set("before", percent(before));
    if (after > 0)
        data.set("after", percent(after));
}

void set_legend(Page_Data& data, const std::vector<Placed_Hit>& hits)
{
    constexpr std::array classes{ns__ObjectClass__person, ns__ObjectClass__vehicle,
                                 ns__ObjectClass__object, ns__ObjectClass__unknown};
    Page_List list;
    for (const ns__ObjectClass each : classes)
        if (std::any_of(hits.begin(), hits.end(),
                        [&](const Placed_Hit& placed) { return placed.hit->object_class == each; }))
            list.emplace_back("class", name_of(each));
    data.set("legend", list);
}

} // namespace

Page_Data recording_data(const Scene& scene, const Page& page)
{
    const std::vector<Placed_Hit> hits = hits_of(scene.recording, page.result);
    const Time_Span span = span_of(scene.recording, hits);
    Page_Data data;
    set_facts(data, scene.recording, hits.size());
    set_strip(data, scene, span);
    set_axis(data, span);
    set_bars(data, hits, span);
    set_outside(data, page.criteria, span);
    set_legend(data, hits);
    return data;
}

} // namespace video_search
