#include <KRCommon/colors/Configuration_Reader.h>

#include <KRCommon/platform/Regular_File.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/xml/Xml_Characters.h>
#include <KRCommon/xml/Xml_Parser.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <system_error>

namespace kr_internal {

namespace {

using Event = Xml_Parser::Event;
using XML_preset = KRCMN::XML_configuration::XML_colors::XML_presets::XML_preset;

// The document's four kinds of element. Each one's only child is the next.
enum Element : std::size_t {
    configuration_element,
    colors_element,
    presets_element,
    preset_element,
    element_kinds
};

constexpr std::array<std::string_view, element_kinds> element_names{"configuration", "colors",
                                                                    "presets", "preset"};
constexpr std::array<std::size_t, element_kinds> most_elements{1, 1, 1, max_presets};

bool is_known(std::string_view element) noexcept
{
    return std::find(element_names.begin(), element_names.end(), element) != element_names.end();
}

// The attributes of a preset, as bits.
enum Preset_Attribute : unsigned {
    no_attribute = 0,
    color = 1,
    rgb = 2,
    hue_from = 4,
    hue_to = 8,
    sat_from = 16,
    sat_to = 32,
    val_from = 64,
    val_to = 128,
};

Preset_Attribute preset_attribute(std::string_view name) noexcept
{
    switch (name.size()) {
    case 3: return name == "rgb" ? rgb : no_attribute;
    case 5: return name == "color" ? color : no_attribute;
    case 6:
        if (name == "hue_to")
            return hue_to;
        if (name == "sat_to")
            return sat_to;
        return name == "val_to" ? val_to : no_attribute;
    case 8:
        if (name == "hue_from")
            return hue_from;
        if (name == "sat_from")
            return sat_from;
        return name == "val_from" ? val_from : no_attribute;
    default: return no_attribute;
    }
}

std::string_view trimmed(std::string_view text) noexcept
{
    while (!text.empty() && is_xml_space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_xml_space(text.back()))
        text.remove_suffix(1);
    return text;
}

// std::from_chars knows no '+'. What follows one must not be another sign.
std::string_view without_plus(std::string_view text) noexcept
{
    const bool has_plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    return has_plus ? text.substr(1) : text;
}

// An xs:int. The number is set on success only.
Xml_Code read_number(std::string_view text, std::int32_t& number) noexcept
{
    text = without_plus(trimmed(text));
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (stop != end || error == std::errc::invalid_argument)
        return Xml_Code::invalid_format;
    if (error == std::errc::result_out_of_range)
        return text[0] == '-' ? Xml_Code::below_minimum : Xml_Code::above_maximum;
    return Xml_Code::no_error;
}

// The exponent of a decimal number; a million, or less one, stands for what lies beyond.
int exponent_of(std::string_view decimal) noexcept
{
    constexpr int limit = 1'000'000;
    const std::size_t mark = decimal.find_first_of("eE");
    if (mark == std::string_view::npos)
        return 0;
    const std::string_view digits = without_plus(decimal.substr(mark + 1));
    int exponent = digits[0] == '-' ? -limit : limit;
    std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    return std::clamp(exponent, -limit, limit);
}

// What a decimal beyond float's range is read as: std::from_chars does not tell which end it is.
float beyond_range(std::string_view decimal) noexcept
{
    const std::size_t point = std::min(decimal.find_first_of(".eE"), decimal.size());
    const std::size_t first = decimal.find_first_of("123456789");
    const auto places = static_cast<std::ptrdiff_t>(point) - static_cast<std::ptrdiff_t>(first);
    const bool is_large = places + exponent_of(decimal) > 0;
    const float magnitude = is_large ? std::numeric_limits<float>::infinity() : 0.0F;
    return decimal[0] == '-' ? -magnitude : magnitude;
}

Xml_Code read_named_number(std::string_view text, float& number) noexcept
{
    if (text == "INF")
        number = std::numeric_limits<float>::infinity();
    else if (text == "-INF")
        number = -std::numeric_limits<float>::infinity();
    else if (text == "NaN")
        number = std::numeric_limits<float>::quiet_NaN();
    else
        return Xml_Code::invalid_format;
    return Xml_Code::no_error;
}

bool begins_with_digits(std::string_view text) noexcept
{
    const std::size_t sign = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    return text.size() > sign && (text[sign] == '.' || is_decimal_digit(text[sign]));
}

// A plain decimal of at most seven digits, as bounds are. They and the power of ten are floats
// without rounding, so that their quotient is the nearest float. False for every other text.
bool read_short_decimal(std::string_view text, float& number) noexcept
{
    constexpr std::array<float, 8> powers{1, 1e1F, 1e2F, 1e3F, 1e4F, 1e5F, 1e6F, 1e7F};
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::size_t digits = text.size() - (point < text.size() ? 1 : 0);
    if (digits == 0 || digits >= powers.size())
        return false;
    std::int32_t whole = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == point)
            continue;
        if (!is_decimal_digit(text[i]))
            return false;
        whole = whole * 10 + (text[i] - '0');
    }
    number = static_cast<float>(whole) / powers[digits - point];
    return true;
}

// An xs:float, rounded to the nearest. The number is set on success only.
Xml_Code read_number(std::string_view text, float& number) noexcept
{
    text = trimmed(text);
    if (read_short_decimal(text, number))
        return Xml_Code::no_error;
    if (!begins_with_digits(text)) // std::from_chars would take "inf" and "nan(1)"
        return read_named_number(text, number);
    text = without_plus(text);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (stop != end || error == std::errc::invalid_argument)
        return Xml_Code::invalid_format;
    if (error == std::errc::result_out_of_range)
        number = beyond_range(text);
    return Xml_Code::no_error;
}

Xml_Code set_color(XML_preset& preset, std::string_view text)
{
    if (KRCMN::color_enumeration(text) == 0)
        return Xml_Code::not_in_enumeration;
    preset.set_color(text);
    return Xml_Code::no_error;
}

template <typename Number>
Xml_Code set_number(XML_preset& preset, void (XML_preset::*set)(Number), std::string_view text)
{
    Number number = 0;
    const Xml_Code code = read_number(text, number);
    if (code == Xml_Code::no_error)
        (preset.*set)(number);
    return code;
}

Xml_Code set_attribute(XML_preset& preset, Preset_Attribute attribute, std::string_view text)
{
    switch (attribute) {
    case color: return set_color(preset, text);
    case rgb: preset.set_rgb(text); return Xml_Code::no_error;
    case hue_from: return set_number(preset, &XML_preset::set_hue_from, text);
    case hue_to: return set_number(preset, &XML_preset::set_hue_to, text);
    case sat_from: return set_number(preset, &XML_preset::set_sat_from, text);
    case sat_to: return set_number(preset, &XML_preset::set_sat_to, text);
    case val_from: return set_number(preset, &XML_preset::set_val_from, text);
    case val_to: return set_number(preset, &XML_preset::set_val_to, text);
    case no_attribute: break;
    }
    return Xml_Code::unexpected_attribute;
}

class Reader {
public:
    Reader(std::string_view document, KRCMN::XML_configuration& configuration)
        : parser_(document), configuration_(configuration)
    {
    }

    Xml_Error read()
    {
        while (!error_) {
            switch (parser_.next()) {
            case Event::start_element: start_element(); break;
            case Event::end_element: end_element(); break;
            case Event::text: check_text(); break;
            case Event::end_of_document: return {};
            case Event::error: return parser_.error();
            }
        }
        return error_;
    }

private:
    void start_element()
    {
        if (!check_place(parser_.name()))
            return;
        const std::size_t element = open_++;
        const std::size_t index = counts_[element]++;
        switch (element) {
        case colors_element: configuration_.mark_colors(); break;
        case presets_element: configuration_.get_colors().mark_presets(); break;
        case preset_element: read_preset(index); return;
        default: break;
        }
        Xml_Parser::Attribute attribute;
        if (parser_.next_attribute(attribute))
            fail(Xml_Code::unexpected_attribute, attribute.name);
    }

    bool check_place(std::string_view name)
    {
        const bool is_due = open_ < element_kinds && name == element_names[open_];
        if (is_due && counts_[open_] < most_elements[open_])
            return true;
        if (open_ == 0)
            return fail(Xml_Code::element_not_found, element_names[configuration_element]);
        if (is_due)
            return fail(Xml_Code::too_many_elements, name);
        if (open_ < element_kinds && counts_[open_] == 0 && is_known(name))
            return fail(Xml_Code::mandatory_element_missing, element_names[open_]);
        if (open_ == element_kinds && name == element_names[preset_element]) // it lacks its "/"
            return fail_at(parser_.parent_position(), Xml_Code::unknown_element, name);
        return fail(Xml_Code::unknown_element, name);
    }

    void read_preset(std::size_t index)
    {
        XML_preset& preset = configuration_.get_colors().get_presets().get_preset(index);
        unsigned seen = no_attribute;
        Xml_Parser::Attribute attribute;
        while (parser_.next_attribute(attribute)) {
            const Preset_Attribute known = preset_attribute(attribute.name);
            Xml_Code code = Xml_Code::attribute_already_read;
            if ((seen & known) == 0)
                code = set_attribute(preset, known, attribute.value);
            if (code != Xml_Code::no_error) {
                fail(code, attribute.name);
                return;
            }
            seen |= known;
        }
    }

    void end_element()
    {
        if (open_ < element_kinds && counts_[open_] == 0)
            fail(Xml_Code::mandatory_element_missing, element_names[open_]);
        --open_;
    }

    void check_text()
    {
        const std::string_view text = parser_.text();
        const auto offending = std::find_if_not(text.begin(), text.end(), is_xml_space);
        if (offending == text.end())
            return;
        const auto offset = static_cast<std::size_t>(offending - text.begin());
        fail_at(parser_.text_position(offset), Xml_Code::unreadable_element,
                element_names[open_ - 1]);
    }

    bool fail(Xml_Code code, std::string_view name)
    {
        return fail_at(parser_.position(), code, name);
    }

    bool fail_at(std::size_t position, Xml_Code code, std::string_view name)
    {
        error_ = {code,     parser_.line_at(position), std::string(name), {},
                  position, parser_.cursor()};
        return false;
    }

    Xml_Parser parser_;
    KRCMN::XML_configuration& configuration_;
    std::size_t open_ = 0; // elements; the innermost is of kind open_ - 1
    std::array<std::size_t, element_kinds> counts_{}; // met so far, by kind
    Xml_Error error_;
};

// The file's bytes, up to the block with which they are more than allowed.
bool load_file(const std::string& path, std::string& bytes)
{
    constexpr std::size_t block_size = 16'384;
    const kr_platform::Regular_File file(path);
    for (;;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + block_size);
        const auto count = file.read_at(size, bytes.data() + size, block_size);
        bytes.resize(size + count.value_or(0));
        if (!count)
            return false;
        if (*count < block_size || bytes.size() > max_configuration_size)
            return true;
    }
}

} // namespace

Xml_Error read_configuration(std::string_view document, KRCMN::XML_configuration& configuration)
{
    return Reader(document, configuration).read();
}

Xml_Error read_configuration_file(const std::string& path, KRCMN::XML_configuration& configuration)
{
    std::string bytes;
    if (!load_file(path, bytes))
        return {Xml_Code::cannot_open_file, 0, {}, {}};
    if (bytes.size() > max_configuration_size)
        return {Xml_Code::too_long, 0, {}, {}};
    return read_configuration(bytes, configuration);
}

} // namespace kr_internal
