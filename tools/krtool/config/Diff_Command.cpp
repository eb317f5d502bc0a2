#include "Diff_Command.h"

#include "../host/Output.h"
#include "../host/Program.h"
#include "Agreement.h"
#include "Configuration_File.h"
#include "Coverage.h"
#include "Pages.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t most_examples = 24;

// Colours that go from one set of names to another.
struct Change {
    std::uint32_t before = 0;
    std::uint32_t after = 0;
    std::size_t count = 0;
    std::vector<ns__RgbColor> examples{};
};

// Each of the colours so far is an example with the same chance; the same ones in each run.
class Examples {
public:
    void offer(Change& change, const ns__RgbColor& color)
    {
        ++change.count;
        if (change.examples.size() < most_examples) {
            change.examples.push_back(color);
            return;
        }
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        const std::size_t place = static_cast<std::size_t>(state_ >> 33U) % change.count;
        if (place < most_examples)
            change.examples[place] = color;
    }

private:
    std::uint64_t state_ = 1;
};

// Largest first.
std::vector<Change> changes_between(const KR_Colors& before, const KR_Colors& after)
{
    std::vector<std::uint16_t> old_masks;
    old_masks.reserve(all_colors);
    for_all_colors(before, [&](std::uint8_t, std::uint8_t, const std::uint32_t* masks) {
        for (std::size_t blue = 0; blue < 256; ++blue)
            old_masks.push_back(static_cast<std::uint16_t>(masks[blue]));
    });
    std::map<std::pair<std::uint32_t, std::uint32_t>, Change> changes;
    Examples examples;
    std::size_t index = 0;
    for_all_colors(after, [&](std::uint8_t red, std::uint8_t green, const std::uint32_t* masks) {
        for (std::size_t blue = 0; blue < 256; ++blue, ++index) {
            if (old_masks[index] == masks[blue])
                continue;
            Change& change = changes[{old_masks[index], masks[blue]}];
            change.before = old_masks[index];
            change.after = masks[blue];
            ns__RgbColor color;
            color.red = red;
            color.green = green;
            color.blue = static_cast<std::uint8_t>(blue);
            examples.offer(change, color);
        }
    });
    std::vector<Change> list;
    list.reserve(changes.size());
    for (auto& [names, change] : changes)
        list.push_back(std::move(change));
    std::stable_sort(list.begin(), list.end(),
                     [](const Change& a, const Change& b) { return a.count > b.count; });
    return list;
}

double share_of(std::size_t count)
{
    return static_cast<double>(count) / static_cast<double>(all_colors);
}

struct Side {
    Configuration_File file;
    Coverage coverage;
    std::optional<Agreement> agreement;
};

Side side_of(const std::string& path, const std::optional<Survey>& survey)
{
    Side side{read_accepted_configuration(path), {}, {}};
    side.coverage = coverage_of(*side.file.report.colors);
    if (survey)
        side.agreement = survey->agreement_of(*side.file.report.colors);
    return side;
}

Json names_of(std::uint32_t mask)
{
    Json names = Json::array();
    for (std::uint32_t n = 0; n < 14; ++n)
        if ((mask >> n & 1U) != 0)
            names.push_back(preset_text(static_cast<ns__ColorPreset>(n)));
    return names;
}

Json json_of(const Side& side)
{
    Json json = {{"file", side.file.path},
                 {"ranges", side.file.report.ranges.size()},
                 {"without_name", side.coverage.unnamed},
                 {"with_several", side.coverage.several}};
    if (side.agreement)
        json["agreement"] = {{"hit", side.agreement->hit}, {"exact", side.agreement->exact}};
    return json;
}

Json json_of(const Side& before, const Side& after, const std::vector<Change>& changes)
{
    std::size_t changed = 0;
    Json list = Json::array();
    for (const Change& change : changes) {
        changed += change.count;
        Json examples = Json::array();
        for (const ns__RgbColor& color : change.examples)
            examples.push_back(rgb_text(color));
        list.push_back({{"from", names_of(change.before)},
                        {"to", names_of(change.after)},
                        {"share", share_of(change.count)},
                        {"colors", change.count},
                        {"examples", examples}});
    }
    return {{"command", "config diff"},
            {"old", json_of(before)},
            {"new", json_of(after)},
            {"same_share", 1 - share_of(changed)},
            {"changed_share", share_of(changed)},
            {"changes", list}};
}

std::string blocks(const Output& out, const Change& change)
{
    constexpr std::size_t most = 8;
    std::string text;
    for (std::size_t i = 0; i < std::min(change.examples.size(), out.is_colored() ? most : 3);
         ++i) {
        const ns__RgbColor& color = change.examples[i];
        char block[48];
        std::snprintf(block, sizeof block, "\033[48;2;%d;%d;%dm  \033[0m", color.red, color.green,
                      color.blue);
        text += out.is_colored() ? std::string(block) : " " + rgb_text(color);
    }
    return text;
}

void print(Output& out, const Side& side)
{
    std::string text = out.painted(Paint::bold, side.file.path) + ": " +
                       std::to_string(side.file.report.ranges.size()) + " ranges; " +
                       percent_text(side.coverage.unnamed) + " of all colours have no name, " +
                       percent_text(side.coverage.several) + " several";
    if (side.agreement)
        text += "; hit " + percent_text(side.agreement->hit) + ", exact " +
                percent_text(side.agreement->exact);
    out.text(text + "\n");
}

void print(Output& out, const Side& before, const Side& after, const std::vector<Change>& changes)
{
    print(out, before);
    print(out, after);
    std::size_t changed = 0;
    for (const Change& change : changes)
        changed += change.count;
    out.text(percent_text(1 - share_of(changed)) + " of all colours keep their names, " +
             percent_text(share_of(changed)) + " change" + (changed == 0 ? "\n" : ":\n"));
    for (const Change& change : changes) {
        std::string share = percent_text(share_of(change.count));
        share.insert(0, 9 - std::min<std::size_t>(share.size(), 9), ' ');
        out.text("  " + share + "  " + names_text(change.before) + " -> " +
                 names_text(change.after) + "  " + blocks(out, change) + "\n");
    }
}

} // namespace

int compare_configurations(Output& out, const Diff_Options& options)
{
    std::optional<Survey> survey;
    if (!options.survey.empty())
        survey.emplace(options.survey);
    const Side before = side_of(options.old_file, survey);
    const Side after = side_of(options.new_file, survey);
    const std::vector<Change> changes =
        changes_between(*before.file.report.colors, *after.file.report.colors);
    if (!options.html.empty()) {
        Json data = json_of(before, after, changes);
        data["old"]["list"] = ranges_json(before.file.report);
        data["new"]["list"] = ranges_json(after.file.report);
        write_file(options.html, page_with(diff_page, data));
    }
    if (out.is_json())
        out.json(json_of(before, after, changes));
    else
        print(out, before, after, changes);
    return changes.empty() ? good : findings;
}

} // namespace krtool
