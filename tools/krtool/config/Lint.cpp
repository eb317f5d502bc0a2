#include "Lint.h"

#include "../host/Number_Text.h"

#include "Configuration_File.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <set>
#include <tuple>

namespace krtool {

namespace {

using Range = KR_Configured_Range;

constexpr int full_circle = 360;

bool is_grey_name(ns__ColorPreset preset) noexcept
{
    return preset <= ns__ColorPreset__gray; // white, black, gray, and none
}

// Degrees from the first hue of a range up to its last.
int hue_width(const Range& range) noexcept
{
    const int width =
        ((range.hue_to % full_circle - range.hue_from % full_circle) % full_circle + full_circle) %
        full_circle;
    return width == 0 ? full_circle : width;
}

int first_hue(const Range& range) noexcept
{
    return (range.hue_from % full_circle + full_circle) % full_circle;
}

bool holds_hues_of(const Range& outer, const Range& inner) noexcept
{
    if (hue_width(outer) == full_circle)
        return true;
    const int offset =
        ((first_hue(inner) - first_hue(outer)) % full_circle + full_circle) % full_circle;
    return offset + hue_width(inner) <= hue_width(outer);
}

bool is_inside(const Range& inner, const Range& outer) noexcept
{
    return outer.sat_from <= inner.sat_from && inner.sat_to <= outer.sat_to &&
           outer.val_from <= inner.val_from && inner.val_to <= outer.val_to &&
           holds_hues_of(outer, inner);
}

struct Bound {
    KR_Preset_Attribute attribute;
    float Range::*number;
};
constexpr std::array<Bound, 4> bounds{{{KR_PRESET_SAT_FROM, &Range::sat_from},
                                       {KR_PRESET_SAT_TO, &Range::sat_to},
                                       {KR_PRESET_VAL_FROM, &Range::val_from},
                                       {KR_PRESET_VAL_TO, &Range::val_to}}};

std::string name_of(KR_Preset_Attribute attribute)
{
    return std::string(kr_preset_attribute_name(attribute));
}

class Range_Linter {
public:
    explicit Range_Linter(const KR_Configuration_Report& report) : report_(report) {}

    std::vector<Finding> run()
    {
        for (std::size_t i = 0; i < report_.ranges.size(); ++i) {
            range_ = &report_.ranges[i];
            holds_nothing_ = false;
            lint_missing();
            lint_numbers();
            lint_order();
            lint_hues();
            lint_rgb();
            if (!holds_nothing_) {
                lint_greys();
                lint_others(i);
            }
        }
        return std::move(findings_);
    }

private:
    // A mistake in the same tag may be why something is not as it was meant.
    bool is_at_fault() const
    {
        return std::any_of(report_.errors.begin(), report_.errors.end(), [this](const auto& error) {
            return error.begin >= range_->begin && error.begin < range_->end;
        });
    }

    bool is_present(KR_Preset_Attribute attribute) const
    {
        return range_->attributes[attribute].is_present;
    }

    void add(const char* code, Level level, std::size_t begin, std::size_t end,
             const std::string& message)
    {
        Finding finding;
        finding.code = code;
        finding.level = level;
        finding.message = message;
        finding.has_place = true;
        finding.begin = begin;
        finding.end = end;
        findings_.push_back(std::move(finding));
    }

    void add(const char* code, Level level, KR_Preset_Attribute attribute,
             const std::string& message)
    {
        const auto& at = range_->attributes[attribute];
        if (at.is_present)
            add(code, level, at.begin, at.end, message);
        else
            add(code, level, message);
    }

    // At the tag's name.
    void add(const char* code, Level level, const std::string& message)
    {
        add(code, level, range_->begin, std::min(range_->begin + 7, range_->end), message);
    }

    void lint_missing()
    {
        if (is_at_fault())
            return;
        if (!is_present(KR_PRESET_COLOR))
            add("missing-color", Level::error,
                "'color' is missing: the range belongs to no colour, and no search finds what is "
                "in it");
        if (!is_present(KR_PRESET_RGB))
            add("missing-attribute", Level::warning,
                "'rgb' is missing and becomes black (#000000) in colour pickers");
        for (const KR_Preset_Attribute hue : {KR_PRESET_HUE_FROM, KR_PRESET_HUE_TO})
            if (!is_present(hue))
                add("missing-attribute", Level::warning,
                    "'" + name_of(hue) + "' is missing and becomes 0" +
                        (hue_width(*range_) == full_circle ? ": the range holds every hue" : ""));
        for (const Bound& bound : bounds)
            if (!is_present(bound.attribute))
                add("missing-attribute", Level::warning,
                    "'" + name_of(bound.attribute) + "' is missing and becomes 0" +
                        (bound.attribute == KR_PRESET_SAT_TO   ? ": the range holds greys at most"
                         : bound.attribute == KR_PRESET_VAL_TO ? ": the range holds black at most"
                                                               : ""));
    }

    void lint_numbers()
    {
        float most = 0;
        for (const Bound& bound : bounds)
            if (std::isfinite(range_->*bound.number))
                most = std::max(most, range_->*bound.number);
        for (const Bound& bound : bounds)
            lint_number(bound, most);
    }

    void lint_number(const Bound& bound, float most)
    {
        const float number = range_->*bound.number;
        const std::string what = "'" + name_of(bound.attribute) + "' is " + number_text(number);
        if (std::isnan(number)) {
            holds_nothing_ = true;
            add("not-a-number", Level::error, bound.attribute,
                "'" + name_of(bound.attribute) +
                    "' is not a number (NaN): the range holds no colour at all");
        } else if (number > 2 && number <= 255) { // 1.5 is a slip, 40 a scale
            const float scale = most > 100 ? 255.0F : 100.0F;
            char meant[16];
            std::snprintf(meant, sizeof meant, "%.3g", static_cast<double>(number / scale));
            add(most > 100 ? "scale-255" : "scale-percent", Level::error, bound.attribute,
                what + ", but the scale ends at 1; " +
                    (most > 100 ? "was it meant from 0 to 255? Write "
                                : "was it meant in percent? Write ") +
                    meant);
        } else if (number < 0 || number > 1) {
            const bool is_upper =
                bound.attribute == KR_PRESET_SAT_TO || bound.attribute == KR_PRESET_VAL_TO;
            const bool does_nothing = (number > 1) == is_upper;
            add("out-of-range", does_nothing ? Level::warning : Level::error, bound.attribute,
                what + ", outside 0 to 1; it " +
                    (does_nothing ? std::string("does the same as ") + (number > 1 ? "1" : "0")
                                  : "leaves no colour in the range"));
        }
    }

    void lint_order()
    {
        lint_order(KR_PRESET_SAT_FROM, range_->sat_from, KR_PRESET_SAT_TO, range_->sat_to);
        lint_order(KR_PRESET_VAL_FROM, range_->val_from, KR_PRESET_VAL_TO, range_->val_to);
        const bool is_beyond = range_->sat_from > 1 || range_->val_from > 1 || range_->sat_to < 0 ||
                               range_->val_to < 0;
        holds_nothing_ = holds_nothing_ || is_beyond;
    }

    void lint_order(KR_Preset_Attribute from, float lower, KR_Preset_Attribute to, float upper)
    {
        if (!(lower > upper))
            return;
        holds_nothing_ = true;
        if (!is_at_fault() || (is_present(from) && is_present(to)))
            add("from-above-to", Level::error, is_present(from) ? from : to,
                "'" + name_of(from) + "' (" + number_text(lower) + ") is above '" + name_of(to) +
                    "' (" + number_text(upper) + "): the range holds no colour at all" +
                    (is_present(from) && is_present(to) ? "; are the two swapped?" : ""));
    }

    void lint_hues()
    {
        for (const KR_Preset_Attribute hue : {KR_PRESET_HUE_FROM, KR_PRESET_HUE_TO}) {
            const int degrees = hue == KR_PRESET_HUE_FROM ? range_->hue_from : range_->hue_to;
            if (degrees < -full_circle || degrees > full_circle)
                add("hue-out-of-circle", Level::warning, hue,
                    "'" + name_of(hue) + "' is " + std::to_string(degrees) +
                        ", more than once round the circle; it is taken as " +
                        std::to_string((degrees % full_circle + full_circle) % full_circle));
        }
        if (!is_present(KR_PRESET_HUE_FROM) || !is_present(KR_PRESET_HUE_TO))
            return;
        if (range_->hue_from == range_->hue_to) {
            add("hue-equal", Level::warning, KR_PRESET_HUE_FROM,
                "'hue_from' and 'hue_to' are equal (" + std::to_string(range_->hue_from) +
                    "): the range holds every hue, not this one alone; if all are meant, write 0 "
                    "to 360");
            return;
        }
        if (is_grey_name(range_->preset))
            return;
        if (hue_width(*range_) == full_circle)
            add("hue-full", Level::warning, KR_PRESET_HUE_FROM,
                "the range of " + preset_text(range_->preset) + " holds every hue");
        else if (hue_width(*range_) > full_circle / 2)
            add("hue-looks-swapped", Level::warning, KR_PRESET_HUE_FROM,
                "the range of " + preset_text(range_->preset) + " goes from hue " +
                    std::to_string(range_->hue_from) + " up to " + std::to_string(range_->hue_to) +
                    ", " + std::to_string(hue_width(*range_)) +
                    " degrees, the long way round the circle; are the two swapped?");
    }

    void lint_rgb()
    {
        const auto& rgb = range_->attributes[KR_PRESET_RGB];
        if (!rgb.is_present)
            return;
        const bool is_hex = std::all_of(rgb.value.begin(), rgb.value.end(),
                                        [](unsigned char c) { return std::isxdigit(c) != 0; });
        if (!is_hex || rgb.value.size() != 6) {
            add("rgb-not-six-digits", Level::warning, KR_PRESET_RGB,
                "rgb '" + printable(rgb.value.substr(0, 40)) +
                    "' is not six hexadecimal digits RRGGBB; it becomes " + rgb_text(range_->rgb) +
                    " in colour pickers" +
                    (rgb.value.rfind('#', 0) == 0 ? "; write it without '#'" : ""));
            return;
        }
        ns__HsvColor hsv;
        report_.colors->rgb_to_hsv(range_->rgb, hsv);
        if (holds_nothing_ || range_->holds(hsv))
            return;
        const std::string distance = distance_text(distance_of(*range_, hsv));
        add("rgb-outside-range", Level::warning, KR_PRESET_RGB,
            "the typical colour " + rgb_text(range_->rgb) + " lies outside its own range (" +
                distance + "): hue " + std::to_string(hsv.hue) + ", saturation " +
                rounded(hsv.saturation) + ", value " + rounded(hsv.value));
    }

    static std::string rounded(float number)
    {
        char text[16];
        std::snprintf(text, sizeof text, "%.3g", static_cast<double>(number));
        return text;
    }

    void lint_greys()
    {
        if (is_grey_name(range_->preset) || range_->sat_to <= 0)
            return;
        ns__HsvColor grey;
        grey.hue = -1;
        grey.saturation = 0;
        int first = -1;
        int last = -1;
        for (int level = 0; level < 256; ++level) {
            grey.value = static_cast<float>(level) / 255.0F;
            if (!range_->holds(grey))
                continue;
            first = first < 0 ? level : first;
            last = level;
        }
        if (first < 0)
            return;
        ns__RgbColor from;
        from.red = from.green = from.blue = static_cast<std::uint8_t>(first);
        ns__RgbColor to;
        to.red = to.green = to.blue = static_cast<std::uint8_t>(last);
        add("holds-greys", Level::warning, KR_PRESET_SAT_FROM,
            "the range of " + preset_text(range_->preset) + " holds greys, " + rgb_text(from) +
                " to " + rgb_text(to) +
                ", because it holds hue 0 and saturation 0; begin its saturation above 0");
    }

    // Each pair once: at the one that is inside, or at the later of two that are the same.
    void lint_others(std::size_t index)
    {
        for (std::size_t i = 0; i < report_.ranges.size(); ++i) {
            const Range& other = report_.ranges[i];
            if (i == index || !is_inside(*range_, other))
                continue;
            const bool is_same = is_inside(other, *range_);
            if (is_same && i > index)
                continue;
            const std::string line = std::to_string(place_of(report_.text, other.begin).line);
            if (other.preset == range_->preset) {
                add("range-inside-another", Level::warning,
                    "the range does nothing: the one of " + preset_text(other.preset) +
                        " in line " + line + (is_same ? " is the same" : " holds all of it"));
                return;
            }
            if (is_same)
                add("same-as-another", Level::warning,
                    "the range is the same as that of " + preset_text(other.preset) + " in line " +
                        line);
        }
    }

    const KR_Configuration_Report& report_;
    const Range* range_ = nullptr;
    bool holds_nothing_ = false;
    std::vector<Finding> findings_;
};

Finding about_all(const char* code, Level level, const std::string& message)
{
    Finding finding;
    finding.code = code;
    finding.level = level;
    finding.message = message;
    return finding;
}

void lint_palette(const KR_Configuration_Report& report, std::vector<Finding>& findings)
{
    std::set<std::tuple<int, int, int>> seen;
    for (const Range& range : report.ranges) {
        const auto& rgb = range.attributes[KR_PRESET_RGB];
        if (!rgb.is_present || seen.emplace(range.rgb.red, range.rgb.green, range.rgb.blue).second)
            continue;
        Finding finding = about_all("rgb-twice", Level::note,
                                    "colour pickers offer " + rgb_text(range.rgb) +
                                        " a second time; is this line a copy?");
        finding.has_place = true;
        finding.begin = rgb.begin;
        finding.end = rgb.end;
        findings.push_back(finding);
    }
}

} // namespace

std::vector<Finding> lint_ranges(const KR_Configuration_Report& report)
{
    std::vector<Finding> findings = Range_Linter(report).run();
    lint_palette(report, findings);
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.begin < b.begin; });
    return findings;
}

std::vector<Finding> lint_coverage(const KR_Configuration_Report& report, const Coverage& coverage)
{
    std::vector<Finding> findings;
    std::array<bool, 14> has_range{};
    for (const Range& range : report.ranges)
        has_range[static_cast<std::size_t>(range.preset)] = true;
    for (std::size_t n = 1; n < has_range.size(); ++n)
        if (const auto preset = static_cast<ns__ColorPreset>(n); !has_range[n])
            findings.push_back(
                about_all("color-without-range", Level::warning,
                          preset_text(preset) + " has no range: a search for it finds nothing"));
        else if (coverage.shares[n] == 0)
            findings.push_back(about_all("color-holds-nothing", Level::error,
                                         "no colour that a screen shows is in a range of " +
                                             preset_text(preset) +
                                             ": a search for it finds nothing"));
    if (coverage.unnamed > 0) {
        std::string examples;
        for (std::size_t i = 0; i < std::min<std::size_t>(coverage.gaps.size(), 3); ++i) {
            const Color_Gap& gap = coverage.gaps[i];
            ns__HsvColor hsv;
            report.colors->rgb_to_hsv(gap.example, hsv);
            examples += (i == 0 ? "; such as " : ", ") + rgb_text(gap.example);
            if (const Range* nearest = nearest_range(report.ranges, hsv))
                examples += " (nearest: " + preset_text(nearest->preset) + " in line " +
                            std::to_string(place_of(report.text, nearest->begin).line) + ", " +
                            distance_text(distance_of(*nearest, hsv)) + ")";
        }
        findings.push_back(about_all("colors-without-name", Level::warning,
                                     percent_text(coverage.unnamed) +
                                         " of all colours have no name, and no search finds them" +
                                         examples));
    }
    if (coverage.several > 0)
        findings.push_back(
            about_all("colors-with-several", Level::note,
                      percent_text(coverage.several) + " of all colours have several names"));
    for (const Color_Overlap& overlap : coverage.overlaps)
        findings.push_back(about_all("overlap", Level::note,
                                     percent_text(overlap.share) + " of all colours are both " +
                                         preset_text(overlap.first) + " and " +
                                         preset_text(overlap.second)));
    return findings;
}

} // namespace krtool
