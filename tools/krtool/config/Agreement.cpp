#include "Agreement.h"

#include "../host/Input.h"
#include "../host/Program.h"

#include <nlohmann/json.hpp>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace krtool {

namespace {

using Json = nlohmann::json;

double encoded(double linear) noexcept
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

std::uint8_t level(double linear) noexcept
{
    const double rounded =
        std::nearbyint(255 * encoded(linear)); // to even, as in config/presets.py
    return static_cast<std::uint8_t>(std::clamp(rounded, 0.0, 255.0));
}

// CIE L*a*b* under D65 to sRGB (IEC 61966-2-1), limited to 0-255.
ns__RgbColor rgb_of_lab(int lightness, int a, int b) noexcept
{
    const auto cubed = [](double t) {
        return t > 6.0 / 29 ? t * t * t : 3 * (6.0 / 29) * (6.0 / 29) * (t - 4.0 / 29);
    };
    const double middle = (lightness + 16.0) / 116;
    const double x = 0.95047 * cubed(middle + a / 500.0);
    const double y = cubed(middle);
    const double z = 1.08883 * cubed(middle - b / 200.0);
    ns__RgbColor color;
    color.red = level(3.2404542 * x - 1.5371385 * y - 0.4985314 * z);
    color.green = level(-0.9692660 * x + 1.8760108 * y + 0.0415560 * z);
    color.blue = level(0.0556434 * x - 0.2040259 * y + 1.0572252 * z);
    return color;
}

bool ends_with(const std::string& text, std::string_view end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool has_one_of(const std::string& text, std::initializer_list<const char*> words)
{
    return std::any_of(words.begin(), words.end(),
                       [&](const char* word) { return text.find(word) != std::string::npos; });
}

// The preset that a term means for a colour of that lightness (config/survey/README.md); 0 for none.
std::size_t preset_of(const std::string& term, int lightness)
{
    struct Word {
        const char* text;
        ns__ColorPreset preset;
    };
    for (const Word& word : {Word{"white", ns__ColorPreset__white},
                             {"black", ns__ColorPreset__black},
                             {"gray", ns__ColorPreset__gray},
                             {"grey", ns__ColorPreset__gray},
                             {"brown", ns__ColorPreset__brown},
                             {"yellow", ns__ColorPreset__yellow},
                             {"orange", ns__ColorPreset__orange},
                             {"red", ns__ColorPreset__red},
                             {"pink", ns__ColorPreset__pink},
                             {"purple", ns__ColorPreset__purple}})
        if (ends_with(term, word.text))
            return static_cast<std::size_t>(word.preset);
    const bool is_blue = ends_with(term, "blue");
    if (!is_blue && !ends_with(term, "green"))
        return 0;
    bool is_light = lightness >= 60;
    if (has_one_of(term, {"light", "pale", "pastel", "baby", "sky", "powder", "bright"}))
        is_light = true;
    else if (has_one_of(term, {"dark", "deep", "navy", "midnight", "forest", "hunter", "royal"}))
        is_light = false;
    return static_cast<std::size_t>(is_blue    ? is_light ? ns__ColorPreset__light_blue
                                                          : ns__ColorPreset__dark_blue
                                    : is_light ? ns__ColorPreset__light_green
                                               : ns__ColorPreset__dark_green);
}

// The colours whose answers only measure: by a checksum of their numbers.
bool is_measuring(int lightness, int a, int b)
{
    const std::string key =
        std::to_string(lightness) + "," + std::to_string(a) + "," + std::to_string(b);
    return crc32(0, reinterpret_cast<const Bytef*>(key.data()), static_cast<uInt>(key.size())) %
               2 ==
           1;
}

} // namespace

Survey::Survey(const std::string& path)
{
    Input input(path);
    const Json data = Json::parse(input.rest(std::size_t{64} << 20), nullptr, false);
    try {
        if (data.is_discarded())
            throw Failure(input.name() + " is no survey: it is no JSON");
        const auto terms = data.at("terms").get<std::vector<std::string>>();
        const auto labs = data.at("color").get<std::vector<int>>();
        const auto counts = data.at("T").get<std::vector<std::uint64_t>>();
        std::vector<Color> colors(labs.size() / 3);
        const KR_Colors& converter = *KR_Colors::instance();
        for (std::size_t k = 0; k < colors.size(); ++k)
            converter.rgb_to_hsv(rgb_of_lab(labs[3 * k], labs[3 * k + 1], labs[3 * k + 2]),
                                 colors[k].hsv);
        if (terms.empty())
            throw Failure(input.name() + " is no survey: it has no terms");
        for (std::size_t i = 0; i + 1 < counts.size(); i += 2) {
            const auto color = static_cast<std::size_t>(counts[i] / terms.size());
            const auto term = static_cast<std::size_t>(counts[i] % terms.size());
            if (color < colors.size())
                colors[color].answers[preset_of(terms[term], labs[3 * color])] += counts[i + 1];
        }
        for (std::size_t k = 0; k < colors.size(); ++k)
            if (is_measuring(labs[3 * k], labs[3 * k + 1], labs[3 * k + 2]))
                colors_.push_back(colors[k]);
    } catch (const Json::exception&) {
        throw Failure(input.name() + " is no survey: it has no lists 'terms', 'color' and 'T'");
    }
}

Agreement Survey::agreement_of(const KR_Colors& colors) const
{
    std::uint64_t hit = 0;
    std::uint64_t exact = 0;
    std::uint64_t answers = 0;
    for (const Color& color : colors_) {
        std::uint32_t mask = 0;
        colors.get_color_preset_masks(KR_Hsv_Source::of(&color.hsv), 1, &mask);
        std::uint64_t named = 0;
        for (std::size_t n = 1; n < color.answers.size(); ++n) {
            answers += color.answers[n];
            named += (mask >> n & 1U) != 0 ? color.answers[n] : 0;
        }
        hit += named;
        exact += (mask & (mask - 1)) == 0 ? named : 0;
    }
    const auto share = [answers](std::uint64_t count) {
        return answers == 0 ? 0.0 : static_cast<double>(count) / static_cast<double>(answers);
    };
    return {share(hit), share(exact)};
}

} // namespace krtool
