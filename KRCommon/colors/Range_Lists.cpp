#include <KRCommon/colors/Range_Lists.h>

#include <limits>
#include <map>

namespace kr_internal {

namespace {

constexpr std::size_t lanes = 4;

constexpr std::size_t groups_for(std::size_t ranges) noexcept
{
    return (ranges + lanes - 1) / lanes;
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

// Appends lists; of equal ones there is one.
class Range_Lists::Builder {
public:
    explicit Builder(const std::vector<Preset_Range>& ranges) : ranges_(ranges) {}

    // numbers  which ranges
    List list_of(const std::vector<std::size_t>& numbers)
    {
        const auto [place, is_new] = lists_.try_emplace(numbers);
        if (is_new)
            place->second = append(numbers);
        return place->second;
    }

    std::vector<Four_Ranges> groups;

private:
    List append(const std::vector<std::size_t>& numbers)
    {
        const std::size_t first = groups.size();
        groups.resize(first + groups_for(numbers.size()));
        for (std::size_t i = 0; i < numbers.size(); ++i)
            groups[first + i / lanes].set(i % lanes, ranges_[numbers[i]]);
        return {static_cast<std::uint32_t>(first),
                static_cast<std::uint32_t>(groups.size() - first)};
    }

    const std::vector<Preset_Range>& ranges_;
    std::map<std::vector<std::size_t>, List> lists_;
};

void Range_Lists::rebuild(const std::vector<Preset_Range>& ranges)
{
    constexpr std::size_t most_groups = 65'536;
    if (!rebuild(ranges, true, most_groups))
        rebuild(ranges, false, std::numeric_limits<std::size_t>::max());
}

// by_cell  whether a list has the ranges of its cell alone, not all of the hue
// Returns false, and must be called again, when there are more groups than that.
bool Range_Lists::rebuild(const std::vector<Preset_Range>& ranges, bool by_cell,
                          std::size_t most_groups)
{
    cells_.clear();
    Builder builder(ranges);
    std::map<std::vector<std::size_t>, std::size_t> first_cells; // by the ranges of the hue
    for (std::size_t degree = 0; degree < first_cells_.size(); ++degree) {
        const auto [place, is_new] =
            first_cells.try_emplace(accepting(ranges, degree), cells_.size());
        for (std::size_t cell = 0; is_new && cell < steps * steps; ++cell)
            cells_.push_back(
                builder.list_of(by_cell ? reaching(ranges, place->first, cell) : place->first));
        first_cells_[degree] = static_cast<std::uint32_t>(place->second);
        if (builder.groups.size() > most_groups)
            return false;
    }
    groups_.assign(builder.groups.begin(), builder.groups.end()); // without the room for more
    return true;
}

bool Range_Lists::reaches(float from, float to, std::size_t step) noexcept
{
    constexpr float width = 1.0F / steps;
    const float begin = static_cast<float>(step) * width;
    if (step == 0)
        return from < width && to > -width;
    if (step == steps - 1)
        return to >= begin || from <= -width;
    return from < begin + width && to >= begin;
}

// Those of the ranges that reach into the cell.
std::vector<std::size_t> Range_Lists::reaching(const std::vector<Preset_Range>& ranges,
                                               const std::vector<std::size_t>& numbers,
                                               std::size_t cell)
{
    std::vector<std::size_t> result;
    for (const std::size_t n : numbers) {
        const color_range& range = ranges[n].range;
        if (reaches(range.sat_from, range.sat_to, cell / steps) &&
            reaches(range.val_from, range.val_to, cell % steps))
            result.push_back(n);
    }
    return result;
}

} // namespace kr_internal
