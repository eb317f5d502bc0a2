#include <KRCommon/colors/Range_Lists.h>

#include <map>

namespace kr_internal {

namespace {

constexpr std::size_t lanes = 4;

constexpr std::size_t groups_for(std::size_t ranges) noexcept
{
    return (ranges + lanes - 1) / lanes;
}

// Quirk: equal bounds run through 0 and accept every hue; 0 to 360 is such a range.
bool accepts_hue(const color_range& range, double hue) noexcept
{
    if (range.hue_to > range.hue_from)
        return range.hue_from <= hue && hue <= range.hue_to;
    return hue >= range.hue_from || hue <= range.hue_to;
}

// The ranges that accept a hue, by their numbers.
std::vector<std::size_t> accepting(const std::vector<Preset_Range>& ranges, std::size_t degree)
{
    std::vector<std::size_t> numbers;
    for (std::size_t n = 0; n < ranges.size(); ++n)
        if (accepts_hue(ranges[n].range, static_cast<double>(degree)))
            numbers.push_back(n);
    return numbers;
}

} // namespace

void Range_Lists::Four_Ranges::set(std::size_t lane, const Preset_Range& range) noexcept
{
    sat_from[lane] = range.range.sat_from;
    sat_to[lane] = range.range.sat_to;
    val_from[lane] = range.range.val_from;
    val_to[lane] = range.range.val_to;
    for (std::size_t set = 0; set < 16; ++set)
        if ((set >> lane & 1U) != 0)
            presets[set] = static_cast<std::uint16_t>(presets[set] | 1U << range.preset);
}

// The groups of one list, as they are filled.
struct Range_Lists::New_List {
    // Takes ranges of one preset. If a group can hold them all, one does.
    void add(const std::vector<Preset_Range>& ranges)
    {
        std::size_t group = 0;
        while (group < groups.size() && used[group] + ranges.size() > lanes)
            ++group;
        first_of_preset[static_cast<std::size_t>(ranges.front().preset)] = group;
        for (const Preset_Range& range : ranges) {
            if (group < groups.size() && used[group] == lanes)
                ++group;
            if (group == groups.size()) {
                groups.push_back({});
                used.push_back(0);
            }
            groups[group].set(used[group]++, range);
        }
        groups_per_preset = std::max(groups_per_preset, groups_for(ranges.size()));
    }

    std::vector<Four_Ranges> groups;
    std::vector<std::size_t> used; // lanes per group
    std::array<std::size_t, preset_count> first_of_preset{};
    std::size_t groups_per_preset = 0;
};

Range_Lists::New_List Range_Lists::new_list(const std::vector<Preset_Range>& ranges,
                                            const std::vector<std::size_t>& numbers)
{
    std::array<std::vector<Preset_Range>, preset_count> by_preset;
    for (const std::size_t n : numbers)
        by_preset[static_cast<std::size_t>(ranges[n].preset)].push_back(ranges[n]);
    New_List list;
    for (const std::vector<Preset_Range>& of_preset : by_preset)
        if (!of_preset.empty())
            list.add(of_preset);
    return list;
}

void Range_Lists::rebuild(const std::vector<Preset_Range>& ranges)
{
    std::map<std::vector<std::size_t>, std::vector<std::size_t>> degrees_by_ranges;
    for (std::size_t degree = 0; degree < lists_.size(); ++degree)
        degrees_by_ranges[accepting(ranges, degree)].push_back(degree);

    std::vector<New_List> lists;
    groups_per_list_ = 0;
    groups_per_preset_ = 0;
    for (const auto& [numbers, degrees] : degrees_by_ranges) {
        const New_List& list = lists.emplace_back(new_list(ranges, numbers));
        groups_per_list_ = std::max(groups_per_list_, list.groups.size());
        groups_per_preset_ = std::max(groups_per_preset_, list.groups_per_preset);
    }

    groups_.clear();
    groups_.reserve(lists.size() * groups_per_list_);
    auto list = lists.begin();
    for (const auto& [numbers, degrees] : degrees_by_ranges) {
        const Hue_List placed = append(*list++);
        for (const std::size_t degree : degrees)
            lists_[degree] = placed;
    }
}

// All lists become equally long. Where less than groups_per_preset_ would be left of one, a preset
// begins earlier.
Range_Lists::Hue_List Range_Lists::append(const New_List& list)
{
    Hue_List placed;
    placed.first = static_cast<std::uint32_t>(groups_.size());
    const std::size_t last = groups_per_list_ - groups_per_preset_;
    for (std::size_t preset = 0; preset < preset_count; ++preset)
        placed.first_of_preset[preset] =
            static_cast<std::uint16_t>(std::min(last, list.first_of_preset[preset]));
    groups_.insert(groups_.end(), list.groups.begin(), list.groups.end());
    groups_.resize(placed.first + groups_per_list_);
    return placed;
}

} // namespace kr_internal
