#include "Explain.h"

#include "Configuration_File.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace krtool {

namespace {

std::string in_quotes(std::string_view text)
{
    constexpr std::size_t most = 40;
    const std::string shown = printable(text.substr(0, most));
    return "'" + shown + (text.size() > most ? "..." : "") + "'";
}

std::string in_tag(std::string_view name)
{
    return "<" + printable(name) + ">";
}

// As people write the same: "Light Blue", "light-blue", "light_blue".
std::string folded(std::string_view text)
{
    std::string result;
    for (const char c : text)
        if (c != ' ' && c != '-' && c != '_')
            result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

// How many characters to insert, drop, change or swap with a neighbour.
std::size_t edits_between(const std::string& a, const std::string& b)
{
    std::vector<std::vector<std::size_t>> cost(a.size() + 1,
                                               std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i)
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1,
                                   cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    return cost[a.size()][b.size()];
}

// "; did you mean 'x'?"
std::string did_you_mean(std::string_view text, const std::vector<std::string_view>& words)
{
    const std::string_view word = nearest_word(text, words);
    return word.empty() ? "" : "; did you mean '" + std::string(word) + "'?";
}

std::string list_of(const std::vector<std::string_view>& words)
{
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + std::string(words[i]);
    return text;
}

// The value of an attribute as it stands, between its quotes.
std::string value_of(std::string_view attribute)
{
    const std::size_t open = attribute.find_first_of("\"'");
    if (open == std::string_view::npos)
        return std::string(attribute.substr(std::min(attribute.find('=') + 1, attribute.size())));
    const std::size_t close = attribute.find(attribute[open], open + 1);
    return std::string(attribute.substr(open + 1, close - std::min(close, open + 1)));
}

bool is_hue(std::string_view name)
{
    return name == "hue_from" || name == "hue_to";
}

bool lacks_quote(std::string_view attribute)
{
    return std::count(attribute.begin(), attribute.end(), '=') > 1;
}

std::string missing_quote(const KR_Configuration_Error& error)
{
    return "the closing quote of '" + printable(error.name) + "' is missing";
}

std::string bad_color(const std::string& value)
{
    if (value.empty())
        return "the colour is empty; write one of " + list_of(color_names());
    const std::string folded_value = folded(value);
    if (folded_value == "blue" || folded_value == "green")
        return in_quotes(value) + " is no colour name here: write 'light_" + folded_value +
               "' or 'dark_" + folded_value + "'";
    if (value == "grey" || folded_value == "grey")
        return in_quotes(value) + " is no colour name; it is written 'gray'";
    const std::string hint = did_you_mean(value, color_names());
    return in_quotes(value) + " is no colour name" +
           (hint.empty() ? "; write one of " + list_of(color_names()) : hint);
}

std::string bad_number(const std::string& name, const std::string& value)
{
    const std::string kind =
        is_hue(name) ? " is no whole number of degrees" : " is no number from 0 to 1";
    std::string text = "the value " + in_quotes(value) + " of '" + name + "'" + kind;
    if (value.find_first_not_of(" \t\r\n") == std::string::npos)
        return "'" + name + "' has no value; write " +
               (is_hue(name) ? "degrees from 0 to 360" : "a number from 0 to 1") +
               ", or leave the attribute out for 0";
    if (value.back() == '%')
        return text + "; write 50 % as 0.5";
    if (value.find(',') != std::string::npos) {
        std::string with_point = value;
        std::replace(with_point.begin(), with_point.end(), ',', '.');
        return text + "; decimals are written with a point: " + in_quotes(with_point);
    }
    if (folded(value) == "nan" || folded(value) == "inf" || folded(value) == "+inf")
        return text + "; and it would hold no colour";
    if (is_hue(name) && value.find('.') != std::string::npos)
        return text + "; hues have no decimals";
    if (std::any_of(value.begin(), value.end(),
                    [](unsigned char c) { return std::isalpha(c) || c >= 0x80; }))
        return text + "; only digits may stand here, no letters and no unit";
    return text;
}

std::string unexpected_attribute(const KR_Configuration_Error& error, std::string_view tag)
{
    if (tag != "preset")
        return in_tag(tag) + " has no attributes; remove '" + printable(error.name) + "'";
    const std::string hint = did_you_mean(error.name, attribute_names());
    return "<preset> has no attribute '" + printable(error.name) + "'" +
           (hint.empty() ? "; it has " + list_of(attribute_names()) : hint);
}

std::string unreadable_attribute(const KR_Configuration_Error& error, const std::string& fault)
{
    const std::string name = "'" + printable(error.name) + "'";
    if (fault.find('=') == std::string::npos && fault.find_first_of("\"'") != std::string::npos)
        return "a '=' is missing behind " + name;
    if (fault.find('=') == std::string::npos)
        return name + " has no value; an attribute is written " + printable(error.name) +
               "=\"...\"";
    const std::string value = value_of(fault);
    const std::size_t quote = fault.find_first_of("\"'");
    const std::size_t equals = fault.find('=');
    const bool begins_with_quote =
        quote != std::string::npos && fault.find_first_not_of(" \t\r\n", equals + 1) == quote;
    if (!begins_with_quote)
        return "the value of " + name +
               " has no opening quote; write it between quotes: " + printable(error.name) +
               "=\"...\"";
    if (fault.find('<') != std::string::npos)
        return "the value of " + name +
               " holds a '<', which may not stand in a value; or its "
               "closing quote is missing";
    return missing_quote(error);
}

std::string bad_start_tag(const KR_Configuration_Error& error, const std::string& fault)
{
    if (!fault.empty() && fault[0] == '<')
        return "the end of this tag is missing: '/>' must stand before the next '<'";
    if (fault == "/")
        return "this '/' does not stand before '>'";
    if (lacks_quote(fault))
        return "a closing quote is missing here";
    const std::vector<std::string_view> names = attribute_names();
    if (std::find(names.begin(), names.end(), fault) != names.end())
        return "a blank is missing before '" + printable(fault) +
               "', or the closing quote of what stands before it";
    return in_quotes(fault) + " may not stand in the tag of " + in_tag(error.name);
}

std::string wrong_element(const KR_Configuration_Error& error, std::string_view fault)
{
    if (error.name == "preset" && fault.size() > 1 && fault.back() == '>' &&
        fault[fault.size() - 2] != '/')
        return "the '/' at the end of this <preset ...> is missing: write '/>'";
    if (error.name == "preset")
        return "this <preset> stands outside <presets>";
    const std::string hint =
        did_you_mean(error.name, {"configuration", "colors", "presets", "preset"});
    return "there is no element " + in_tag(error.name) + " here" +
           (hint.empty() ? "; only <preset .../> may stand in <presets>" : hint);
}

std::string wrong_end(const KR_Configuration_Error& error, const std::string& fault)
{
    if (fault.rfind("</", 0) != 0)
        return "the '/' at the end of this <preset ...> is missing: write '/>'";
    const std::string tag = fault.substr(2, fault.find_first_of(" \t\r\n>", 2) - 2);
    if (tag == error.name)
        return "this end tag fits no element that is open; it is misspelt, or one too many, or the "
               "beginning of its element is missing";
    return "the end tag </" + printable(error.name) + "> is missing before this";
}

std::string badly_formed(const std::string& fault)
{
    if (!fault.empty() && fault[0] == '&')
        return "a '&' cannot stand by itself; write '&amp;'";
    if (!fault.empty() && fault[0] == '<')
        return "this '<' begins no element and no comment; write '&lt;' in a text";
    if (fault == "]]>")
        return "']]>' may not stand here";
    return "a character that may not stand in the file, such as a control character";
}

std::string not_alone(const std::string& fault)
{
    if (fault.rfind("<?xml", 0) == 0)
        return "the XML declaration must be the very first thing in the file; nothing, not even a "
               "blank line, may stand before it";
    if (fault.rfind("</", 0) == 0)
        return "an end tag too many: </configuration> stands before it already";
    if (fault.rfind('<', 0) == 0)
        return "a second element beside <configuration>; there is only one in a file";
    return in_quotes(fault) + " stands outside <configuration>; only comments may";
}

std::string missing_element(const KR_Configuration_Error& error)
{
    if (error.name == "preset")
        return "there is no <preset .../> in <presets>: without one there are no colours";
    return "the element " + in_tag(error.name) +
           " is missing here; a file is built like this: "
           "<configuration><colors><presets><preset .../>...</presets></colors></configuration>";
}

std::string ended(const KR_Configuration_Error& error, const std::string& fault,
                  const KR_Configuration_Report& report)
{
    if (report.text.find_first_not_of(" \t\r\n") == std::string::npos)
        return "the file is empty";
    if (fault.rfind("<!--", 0) == 0)
        return "the end of this comment, '-->', is missing";
    if (fault.rfind('<', 0) == 0 && fault.find('>') == std::string::npos)
        return "the end of this tag, '>', is missing; the file ends in it";
    const bool is_attribute = [&] {
        const std::vector<std::string_view> names = attribute_names();
        return std::find(names.begin(), names.end(), error.name) != names.end();
    }();
    if (is_attribute)
        return "the closing quote of '" + error.name + "' is missing, or the file was cut off";
    return "the file ends too early" + (error.name.empty()
                                            ? std::string("; it has no <configuration>")
                                            : ": the end tag </" + printable(error.name) +
                                                  "> is missing, or the file was cut off");
}

// The name of the tag that a place lies in.
std::string_view tag_around(std::string_view text, std::size_t place)
{
    const std::size_t begin = text.rfind('<', place);
    if (begin == std::string_view::npos)
        return {};
    const std::size_t end = std::min(text.find_first_of(" \t\r\n/>", begin), text.size());
    return text.substr(begin + 1, end - begin - 1);
}

std::string message_for(const KR_Configuration_Error& error, const KR_Configuration_Report& report)
{
    const std::string fault = report.text.substr(error.begin, error.end - error.begin);
    const bool has_message_of_its_own =
        error.code == 17 && error.message.find("Entity") != std::string::npos;
    switch (error.code) {
    case 1: return "the file cannot be opened";
    case 3:
        return "'" + printable(error.name) + "' stands twice in this <preset>; remove one of them";
    case 5: return badly_formed(fault);
    case 6:
        return "the encoding that the first line declares is not supported; save the file as UTF-8 "
               "and "
               "write encoding=\"UTF-8\"";
    case 8:
        if (fault.rfind("<!--", 0) == 0)
            return "the end of this comment, '-->', is missing before the next comment";
        if (fault.rfind("<!", 0) == 0)
            return "a comment begins with '<!--'";
        return "'--' may not stand within a comment, nor '---' at its end";
    case 9:
        return "a mistake in the document type (<!DOCTYPE ...>); the file needs none: remove it";
    case 10: return wrong_end(error, fault);
    case 11: return bad_start_tag(error, fault);
    case 12:
        return "an end tag is written </name>, without blanks before the name and attributes, and "
               "with '>'";
    case 13: return "a mistake in the first line; write <?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    case 14: return "only XML version 1.0 is supported; write version=\"1.0\" in the first line";
    case 15:
        if (error.name == "encoding")
            return "the file is not in the encoding that its first line declares; save it as UTF-8";
        return "a character here is not in the file's encoding, which is UTF-8 unless the first "
               "line "
               "says otherwise; save the file as UTF-8";
    case 16: return "the outermost element must be <configuration>";
    case 17:
        return has_message_of_its_own
                   ? "entities from other files are not supported; remove this declaration"
                   : "a document type from another file is not supported; remove <!DOCTYPE ...>";
    case 19:
        return report.text.empty() ? "the file has more than 16 MiB"
                                   : "this is longer than the library takes, or expands to more";
    case 21: return missing_element(error);
    case 23: return not_alone(fault);
    case 24: return "the entity '" + printable(error.name) + "' holds itself";
    case 26:
        return error.name == "preset"
                   ? "more than 1000 <preset .../>"
                   : in_tag(error.name) + " stands a second time; put all into the first";
    case 28: return unreadable_attribute(error, fault);
    case 29:
        return "the text " + in_quotes(fault) +
               " may not stand here; was it meant as a comment, "
               "<!-- ... -->, or is a '<' missing?";
    case 31: return wrong_element(error, fault);
    case 33:
        return "the entity '&" + printable(error.name) +
               ";' is not known; only &amp; &lt; &gt; &quot; and "
               "&apos; are";
    case 34: return ended(error, fault, report);
    case 35:
        return lacks_quote(fault) ? missing_quote(error) : bad_number(error.name, value_of(fault));
    case 36:
    case 37:
        return "the hue " + in_quotes(value_of(fault)) +
               " is beyond all bounds; degrees go from 0 to 360";
    case 38: return lacks_quote(fault) ? missing_quote(error) : bad_color(value_of(fault));
    case 39: return unexpected_attribute(error, tag_around(report.text, error.begin));
    default: return error.message;
    }
}

} // namespace

std::string_view nearest_word(std::string_view text, const std::vector<std::string_view>& words)
{
    constexpr std::size_t longest = 64;
    if (text.size() > longest)
        return {};
    std::string_view nearest;
    std::size_t least = 3;
    const std::string folded_text = folded(text);
    for (const std::string_view word : words) {
        const std::size_t edits = edits_between(folded_text, folded(word));
        if (edits < least && edits * 2 < word.size()) {
            least = edits;
            nearest = word;
        }
    }
    return nearest;
}

std::vector<std::string_view> color_names()
{
    std::vector<std::string_view> names;
    for (std::int32_t n = ns__ColorPreset__white; n <= ns__ColorPreset__purple; ++n)
        names.push_back(kr_color_preset_name(static_cast<ns__ColorPreset>(n)));
    return names;
}

std::vector<std::string_view> attribute_names()
{
    std::vector<std::string_view> names;
    for (std::size_t n = 0; n < KR_PRESET_ATTRIBUTES; ++n)
        names.push_back(kr_preset_attribute_name(static_cast<KR_Preset_Attribute>(n)));
    return names;
}

Finding explained(const KR_Configuration_Error& error, const KR_Configuration_Report& report)
{
    Finding finding;
    finding.code = "refused-" + std::to_string(error.code);
    finding.message = message_for(error, report);
    finding.has_place = error.line != 0;
    finding.begin = error.begin;
    finding.end = error.end;
    finding.reader_text = error.text;
    finding.reader_line = error.line;
    return finding;
}

} // namespace krtool
