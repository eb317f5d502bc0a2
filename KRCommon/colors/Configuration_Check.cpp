#include <KRCommon/colors/Configuration_Check.h>

#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Configuration_Reader.h>
#include <KRCommon/xml/Xml_Characters.h>
#include <KRCommon/xml/Xml_Parser.h>
#include <KRCommon/xml/Xml_Text.h>

#include <algorithm>
#include <utility>

namespace kr_internal {

using XML_preset = KRCMN::XML_configuration::XML_colors::XML_presets::XML_preset;

class Configured_Colors {
public:
    static std::shared_ptr<const KR_Colors> of(KRCMN::XML_configuration& configuration)
    {
        const std::shared_ptr<KR_Colors> colors(new KR_Colors);
        colors->init(configuration.get_colors());
        return colors;
    }
};

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t most_errors = 100;

constexpr std::array<std::string_view, KR_PRESET_ATTRIBUTES> attribute_names{
    "color", "rgb", "hue_from", "hue_to", "sat_from", "sat_to", "val_from", "val_to"};

struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
};

struct Insertion {
    std::size_t at;
    std::string text;
};

// What of the document is at fault, and what to change so that the reader goes on. Nothing to change
// where there is no way to go on.
struct Remedy {
    Span fault;
    std::vector<Span> cuts{};
    std::vector<Insertion> insertions{};
};

Remedy cut(Span fault)
{
    return {fault, {fault}};
}

// Steps in the text. All take any position, beyond the end too.

char at(std::string_view text, std::size_t position) noexcept
{
    return position < text.size() ? text[position] : '\0';
}

std::size_t skip_space(std::string_view text, std::size_t position) noexcept
{
    while (position < text.size() && is_xml_space(text[position]))
        ++position;
    return position;
}

std::size_t name_end(std::string_view text, std::size_t position) noexcept
{
    if (position >= text.size())
        return text.size();
    const char* const end = text.data() + text.size();
    return static_cast<std::size_t>(skip_name(text.data() + position, end) - text.data());
}

std::string_view name_at(std::string_view text, std::size_t position) noexcept
{
    const std::size_t end = name_end(text, position);
    return text.substr(std::min(position, end), end - std::min(position, end));
}

// Where the mark begins, or the text's end.
std::size_t find(std::string_view text, std::string_view mark, std::size_t position) noexcept
{
    return std::min(text.find(mark, position), text.size());
}

// Where the last mark at or before the position begins, or the position.
std::size_t find_back(std::string_view text, std::string_view mark, std::size_t position) noexcept
{
    const std::size_t found = text.rfind(mark, position);
    return found == npos ? position : found;
}

std::size_t behind(std::string_view text, std::string_view mark, std::size_t position) noexcept
{
    return std::min(find(text, mark, position) + mark.size(), text.size());
}

// Without the white space at its end.
Span trimmed(std::string_view text, Span span) noexcept
{
    while (span.end > span.begin && is_xml_space(at(text, span.end - 1)))
        --span.end;
    return span;
}

// The end of a tag, ">" or "/>", as a person sees it: quotes may be missing.
std::size_t visible_tag_end(std::string_view text, std::size_t position) noexcept
{
    const std::size_t end = find(text, ">", position);
    return end > position && at(text, end - 1) == '/' ? end - 1 : end;
}

// The ">" of a tag whose values have their quotes, or the text's end.
std::size_t tag_end(std::string_view text, std::size_t position) noexcept
{
    for (; position < text.size() && text[position] != '>'; ++position)
        if (text[position] == '"' || text[position] == '\'')
            position = find(text, text.substr(position, 1), position + 1);
    return std::min(position, text.size());
}

// Whether the attribute's value has run on into others: its closing quote is missing.
bool has_run_on(std::string_view attribute) noexcept
{
    return std::count(attribute.begin(), attribute.end(), '=') > 1 || attribute.find('>') != npos ||
           attribute.find('\n') != npos;
}

// The names of the elements that are open at a position which the reader reaches.
std::string innermost_at(std::string_view text, std::size_t position)
{
    Xml_Parser parser(text);
    std::vector<std::string> open;
    for (;;) {
        const Xml_Parser::Event event = parser.next();
        const bool is_over =
            event == Xml_Parser::Event::error || event == Xml_Parser::Event::end_of_document;
        if (is_over || parser.position() >= position)
            return open.empty() ? std::string() : open.back();
        if (event == Xml_Parser::Event::start_element)
            open.emplace_back(parser.name());
        else if (event == Xml_Parser::Event::end_element)
            open.pop_back();
    }
}

// The whole attribute around a position in its value, if there is one.
Span attribute_around(std::string_view text, std::size_t position) noexcept
{
    const std::size_t equals = text.rfind('=', position);
    const std::size_t tag = text.rfind('<', position);
    if (equals == npos || tag == npos || equals < tag || find(text, ">", tag) < position)
        return {position, position};
    const std::size_t quote = skip_space(text, equals + 1);
    std::size_t begin = equals;
    while (begin > tag && is_xml_space(text[begin - 1]))
        --begin;
    while (begin > tag + 1 && !is_xml_space(text[begin - 1]))
        --begin;
    return {begin, behind(text, text.substr(quote, 1), std::max(quote + 1, position))};
}

// Remedies, by kind of mistake. error.place and error.stop are positions in the text.

Remedy without_attribute(const Xml_Error& error, std::string_view text)
{
    if (has_run_on(text.substr(error.place, error.stop - error.place)))
        return cut({error.place, visible_tag_end(text, error.place)});
    return cut({error.place, error.stop});
}

Remedy without_unreadable_attribute(const Xml_Error& error, std::string_view text)
{
    const std::size_t begin = error.place;
    const std::size_t equals = skip_space(text, name_end(text, begin));
    const bool lacks_equals_alone = at(text, equals) == '"' || at(text, equals) == '\'';
    if (lacks_equals_alone)
        return cut({begin, std::min(behind(text, text.substr(equals, 1), equals + 1),
                                    visible_tag_end(text, begin))});
    if (at(text, equals) != '=')
        return cut({begin, name_end(text, begin)});
    const std::size_t value = skip_space(text, equals + 1);
    const std::size_t end_of_tag = visible_tag_end(text, begin);
    if (at(text, value) != '"' && at(text, value) != '\'') {
        const std::size_t end = std::min(text.find_first_of(" \t\r\n\"'", value), text.size());
        const bool has_closing = at(text, end) == '"' || at(text, end) == '\'';
        return cut({begin, std::min(end + (has_closing ? 1 : 0), end_of_tag)});
    }
    if (end_of_tag < error.stop) // its closing quote is missing
        return cut({begin, end_of_tag});
    const std::size_t closing = behind(text, text.substr(value, 1), error.stop);
    return cut({begin, std::min(closing, find(text, "\n", begin))});
}

Remedy mended_start_tag(const Xml_Error& error, std::string_view text)
{
    const std::size_t stop = error.stop;
    if (at(text, stop) == '<') { // its end is missing
        const Span tag = trimmed(text, {error.place, stop});
        const bool is_preset = name_at(text, tag.begin + 1) == "preset";
        return {tag, {}, {{tag.end, is_preset ? "/>" : ">"}}};
    }
    if (stop > 0 && at(text, stop - 1) == '/') {
        if (at(text, skip_space(text, stop)) == '<') // it is the ">" that is missing
            return {{stop - 1, stop}, {}, {{stop, ">"}}};
        return cut({stop - 1, stop});
    }
    if (text.substr(stop, 2) == "\\>")
        return {{stop, stop + 1}, {{stop, stop + 1}}, {{stop + 1, "/"}}};
    if (has_run_on(text.substr(error.place, stop - error.place)))
        return cut({error.place, visible_tag_end(text, error.place)});
    if (name_end(text, stop) > stop) // no white space before it
        return {{stop, name_end(text, stop)}, {}, {{stop, " "}}};
    return cut({stop, std::min(stop + 1, text.size())});
}

// An end tag in a preset's own tag.
Remedy closed_preset(std::size_t begin, std::string_view text)
{
    const std::size_t end = tag_end(text, begin);
    return {{begin, std::min(end + 1, text.size())}, {}, {{end, "/"}}};
}

Remedy without_element(const Xml_Error& error, std::string_view text)
{
    if (error.name == "preset" && error.place < error.stop &&
        innermost_at(text, error.place + 1) == "preset")
        return closed_preset(error.place, text);
    const std::size_t end = tag_end(text, error.place);
    Remedy remedy = cut({error.place, std::min(end + 1, text.size())});
    const std::size_t end_tag = find(text, "</" + error.name, end);
    if (at(text, end - 1) != '/' && end_tag != text.size())
        remedy.cuts.push_back({end_tag, behind(text, ">", end_tag)});
    return remedy;
}

Remedy without_text(const Xml_Error& error, std::string_view text)
{
    return cut(
        trimmed(text, {error.place, std::min(text.find_first_of("<&", error.place), text.size())}));
}

Remedy mended_comment(const Xml_Error& error, std::string_view text)
{
    const std::size_t stop = error.stop;
    if (text.substr(error.place, 4) == "<!--") // its end is missing
        return cut(trimmed(text, {error.place, find(text, "\n", error.place)}));
    if (stop < 2 || text.substr(stop - 2, 2) != "--") {
        const std::size_t begin = find_back(text, "<!", stop);
        const std::size_t end = behind(text, "-->", begin);
        return cut({begin, std::min(end, behind(text, ">", begin))});
    }
    std::size_t end = stop;
    while (at(text, end) == '-')
        ++end;
    const std::size_t kept = at(text, end) == '>' ? 2 : 0;
    return cut({stop - 2, std::max(stop - 1, end - kept)});
}

// An end tag that fits no open element: one too many, or it has the wrong name.
Remedy mended_end_tag(std::size_t begin, std::string_view text)
{
    const std::size_t end = behind(text, ">", begin);
    const std::string innermost = innermost_at(text, begin);
    Remedy remedy = cut({begin, end});
    const std::size_t next = find(text, "</", end);
    if (!innermost.empty() && name_at(text, next + 2) != innermost)
        remedy.insertions.push_back({begin, "</" + innermost + ">"});
    return remedy;
}

Remedy mended_element_end(const Xml_Error& error, std::string_view text)
{
    const bool is_of_start = at(text, error.place) == '<' && at(text, error.place + 1) != '/';
    if (is_of_start && error.name == "preset")
        return closed_preset(error.place, text);
    const std::size_t begin = find_back(text, "</", error.stop);
    if (!is_of_start)
        return mended_end_tag(begin, text);
    // The end tag of one further out: before it the innermost's is missing.
    return {{begin, behind(text, ">", begin)}, {}, {{begin, "</" + error.name + ">"}}};
}

Remedy mended_bad_end_tag(const Xml_Error& error, std::string_view text)
{
    const std::size_t next = find(text, "<", error.place + 1);
    if (find(text, ">", error.place) < next)
        return mended_end_tag(error.place, text);
    const Span tag = trimmed(text, {error.place, next});
    return {tag, {}, {{tag.end, ">"}}};
}

Remedy without_doctype(const Xml_Error& error, std::string_view text)
{
    const Span fault{error.place, std::max(error.stop, std::min(error.place + 1, text.size()))};
    const std::size_t begin = text.rfind("<!D", error.stop);
    if (begin == npos)
        return {fault};
    std::size_t end = find(text, ">", begin);
    if (find(text, "[", begin) < end)
        end = find(text, ">", find(text, "]", begin));
    if (text.find('&', end) != npos) // entities that it may declare
        return {fault};
    return {fault, {{begin, std::min(end + 1, text.size())}}};
}

Remedy without_declaration(const Xml_Error& error, std::string_view text)
{
    if (text.substr(0, 5) != "<?xml")
        return {{error.place, error.place}};
    const Span fault{0, std::min(behind(text, "?>", 0), behind(text, ">", 0))};
    return cut(fault);
}

// Characters that cannot be read, and all that may be like them.
Remedy without_bytes(const Xml_Error& error, std::string_view text)
{
    Remedy remedy{{error.place, std::min(error.place + 1, text.size())}};
    for (std::size_t i = error.place; i < text.size(); ++i)
        if (static_cast<unsigned char>(text[i]) >= 0x80)
            remedy.cuts.push_back({i, i + 1});
    return remedy;
}

Remedy without_what_is_outside(const Xml_Error& error, std::string_view text)
{
    const std::size_t begin = find_back(text, "<", error.stop);
    if (text.substr(begin, 5) == "<?xml")
        return cut({begin, behind(text, "?>", begin)});
    if (text.substr(begin, 2) == "</")
        return cut({begin, behind(text, ">", begin)});
    if (at(text, error.place) != '<' && error.name.empty())
        return cut(trimmed(text, {error.place, find(text, "<", error.place)}));
    return {{begin, behind(text, ">", begin)}}; // another root
}

// A reference, or a "&" that begins none; with the attribute that it stands in.
Remedy without_reference(std::size_t begin, std::size_t end, std::string_view text)
{
    const Span attribute = attribute_around(text, begin);
    if (attribute.end > attribute.begin)
        return {{begin, end}, {attribute}};
    return cut({begin, end});
}

Remedy mended_markup(const Xml_Error& error, std::string_view text)
{
    const std::size_t stop = error.stop;
    if (static_cast<unsigned char>(at(text, stop)) < 0x20 && !is_xml_space(at(text, stop)))
        return cut({stop, std::min(stop + 1, text.size())});
    if (text.substr(stop, 3) == "]]>")
        return cut({stop, stop + 3});
    const std::size_t begin = std::min(text.find_last_of("<&", stop), text.size());
    if (at(text, begin) == '&')
        return without_reference(begin, std::max(begin + 1, stop), text);
    if (at(text, begin) == '<')
        return cut({begin, std::min(behind(text, ">", begin), find(text, "<", begin + 1))});
    return {{error.place, error.place}};
}

Remedy with_missing_element(const Xml_Error& error, std::string_view text)
{
    Remedy remedy{{error.place, std::min(tag_end(text, error.place) + 1, text.size())}};
    if (at(text, error.place + 1) == '/' || (error.name != "presets" && error.name != "colors"))
        return remedy;
    const std::string end_tag = "</" + error.name + ">";
    const std::string parent_end = error.name == "colors" ? "</configuration" : "</colors";
    remedy.insertions.push_back({error.place, "<" + error.name + ">"});
    if (text.find(end_tag, error.place) == npos)
        remedy.insertions.push_back({find(text, parent_end, error.place), end_tag});
    return remedy;
}

// The second of an element that may stand once goes on with the first.
Remedy joined_elements(const Xml_Error& error, std::string_view text)
{
    const Span tag{error.place, std::min(tag_end(text, error.place) + 1, text.size())};
    const std::size_t before = text.rfind("</" + error.name, error.place);
    if (error.name == "preset" || before == npos)
        return {tag};
    return {tag, {{before, behind(text, ">", before)}, tag}};
}

Remedy remedy_for(const Xml_Error& error, std::string_view text)
{
    switch (error.code) {
    case Xml_Code::attribute_already_read:
    case Xml_Code::invalid_format:
    case Xml_Code::above_maximum:
    case Xml_Code::below_minimum:
    case Xml_Code::not_in_enumeration:
    case Xml_Code::unexpected_attribute: return without_attribute(error, text);
    case Xml_Code::unreadable_attribute: return without_unreadable_attribute(error, text);
    case Xml_Code::bad_start_tag_end: return mended_start_tag(error, text);
    case Xml_Code::unknown_element: return without_element(error, text);
    case Xml_Code::unreadable_element: return without_text(error, text);
    case Xml_Code::bad_comment: return mended_comment(error, text);
    case Xml_Code::bad_element_end: return mended_element_end(error, text);
    case Xml_Code::bad_end_tag: return mended_bad_end_tag(error, text);
    case Xml_Code::bad_dtd:
    case Xml_Code::external_entity: return without_doctype(error, text);
    case Xml_Code::bad_declaration:
    case Xml_Code::unsupported_version:
    case Xml_Code::encoding_not_supported: return without_declaration(error, text);
    case Xml_Code::encoding_mismatch:
        return error.name == "encoding" ? without_declaration(error, text)
                                        : without_bytes(error, text);
    case Xml_Code::not_well_formed: return without_what_is_outside(error, text);
    case Xml_Code::unexpected_entity:
    case Xml_Code::recursive_entity:
        return without_reference(find_back(text, "&", error.stop), error.stop, text);
    case Xml_Code::badly_formed: return mended_markup(error, text);
    case Xml_Code::mandatory_element_missing: return with_missing_element(error, text);
    case Xml_Code::too_many_elements: return joined_elements(error, text);
    case Xml_Code::element_not_found:
        return {{error.place, std::min(tag_end(text, error.place) + 1, text.size())}};
    default: return {{error.place, std::max(error.place, error.stop)}};
    }
}

// A copy of the document that is changed until the reader takes it. Cuts leave blanks, so that lines
// stay lines; insertions have no line ends.
class Working_Copy {
public:
    explicit Working_Copy(std::string text) : text_(std::move(text)) {}

    const std::string& text() const noexcept { return text_; }

    void cut(Span span) noexcept
    {
        for (std::size_t i = span.begin; i < std::min(span.end, text_.size()); ++i)
            if (text_[i] != '\n' && text_[i] != '\r')
                text_[i] = ' ';
    }

    void apply(const Remedy& remedy)
    {
        for (const Span& span : remedy.cuts)
            cut(span);
        for (auto it = remedy.insertions.rbegin(); it != remedy.insertions.rend(); ++it)
            insert(*it);
    }

    // The place in the document of a position in the copy.
    std::size_t origin(std::size_t position) const noexcept
    {
        std::size_t inserted = 0;
        for (const auto& [begin, size] : inserted_)
            if (begin < position)
                inserted += std::min(size, position - begin);
        return position - inserted;
    }

private:
    void insert(const Insertion& insertion)
    {
        text_.insert(insertion.at, insertion.text);
        for (auto& [begin, size] : inserted_)
            if (begin >= insertion.at)
                begin += insertion.text.size();
        inserted_.emplace_back(insertion.at, insertion.text.size());
    }

    std::string text_;
    std::vector<std::pair<std::size_t, std::size_t>> inserted_; // where in the copy, how much
};

class Check {
public:
    explicit Check(std::string_view document) : document_(document), copy_(text_of(document)) {}

    KR_Configuration_Report run()
    {
        report_.text = copy_.text();
        read_errors();
        list_ranges();
        report_.colors = Configured_Colors::of(configuration_);
        return std::move(report_);
    }

private:
    // The document's characters, and those bytes behind them that stand beside ASCII.
    static std::string text_of(std::string_view document)
    {
        if (document.size() > max_configuration_size)
            return {};
        const Xml_Text text = read_xml_text(document);
        if (text.copy || text.characters.empty())
            return std::string(text.characters);
        return std::string(
            document.substr(static_cast<std::size_t>(text.characters.data() - document.data())));
    }

    void read_errors()
    {
        Xml_Error last;
        for (std::string_view document = document_; report_.errors.size() < most_errors;
             document = copy_.text()) {
            configuration_ = {};
            const Xml_Error error = document.size() > max_configuration_size
                                        ? Xml_Error{Xml_Code::too_long, 0, {}, {}}
                                        : read_configuration(document, configuration_);
            if (!error) {
                report_.is_complete = true;
                return;
            }
            const bool is_same = error.code == last.code && error.place == last.place;
            if (is_same) // the change was of no use
                return;
            const Remedy remedy = remedy_for(error, copy_.text());
            add(error, remedy.fault);
            if (remedy.cuts.empty() && remedy.insertions.empty())
                return;
            copy_.apply(remedy);
            if (report_.errors.size() == 1)
                declare_nothing();
            last = error;
        }
    }

    // The copy is UTF-8, whatever the document was.
    void declare_nothing()
    {
        const std::string& text = copy_.text();
        if (text.compare(0, 5, "<?xml") == 0 && is_xml_space(at(text, 5)))
            copy_.cut({0, behind(text, "?>", 0)});
    }

    void add(const Xml_Error& error, Span fault)
    {
        const std::size_t begin = std::min(copy_.origin(fault.begin), report_.text.size());
        const std::size_t end = std::min(copy_.origin(fault.end), report_.text.size());
        const std::string_view message =
            error.message.empty() ? message_of(error.code) : error.message;
        report_.errors.push_back({kr_internal::text_of(error), static_cast<int>(error.code),
                                  std::string(message), error.name, error.line, begin,
                                  std::max(begin, end)});
    }

    // The parser once more, for the places.
    void list_ranges()
    {
        auto& presets = configuration_.get_colors().get_presets();
        if (presets.count() == 0)
            return;
        const bool is_first_reading = report_.errors.empty();
        Xml_Parser parser(is_first_reading ? document_ : std::string_view(copy_.text()));
        while (report_.ranges.size() < presets.count()) {
            const Xml_Parser::Event event = parser.next();
            if (event == Xml_Parser::Event::error || event == Xml_Parser::Event::end_of_document)
                return;
            if (event == Xml_Parser::Event::start_element && parser.name() == "preset")
                add_range(presets.get_preset(report_.ranges.size()), parser);
        }
    }

    void add_range(const XML_preset& preset, Xml_Parser& parser)
    {
        KR_Configured_Range range;
        range.preset = preset.get_color_enumeration();
        range.rgb = parse_rgb(preset.get_rgb());
        range.hue_from = preset.get_hue_from();
        range.hue_to = preset.get_hue_to();
        range.sat_from = preset.get_sat_from();
        range.sat_to = preset.get_sat_to();
        range.val_from = preset.get_val_from();
        range.val_to = preset.get_val_to();
        range.begin = copy_.origin(parser.position());
        Xml_Parser::Attribute attribute;
        while (parser.next_attribute(attribute)) {
            const auto name =
                std::find(attribute_names.begin(), attribute_names.end(), attribute.name);
            if (name != attribute_names.end())
                range.attributes[static_cast<std::size_t>(name - attribute_names.begin())] = {
                    true, std::string(attribute.value), copy_.origin(parser.position()),
                    copy_.origin(parser.cursor())};
        }
        range.end = copy_.origin(parser.cursor());
        report_.ranges.push_back(std::move(range));
    }

    std::string_view document_;
    Working_Copy copy_;
    KRCMN::XML_configuration configuration_;
    KR_Configuration_Report report_;
};

} // namespace

} // namespace kr_internal

std::string_view kr_preset_attribute_name(KR_Preset_Attribute attribute) noexcept
{
    const auto& names = kr_internal::attribute_names;
    return attribute < names.size() ? names[attribute] : std::string_view();
}

std::string_view kr_color_preset_name(ns__ColorPreset preset) noexcept
{
    return KRCMN::color_name(preset);
}

bool KR_Configured_Range::holds(const ns__HsvColor& color) const noexcept
{
    using namespace kr_internal;
    color_range range;
    range.hue_from = normalised_hue(hue_from);
    range.hue_to = normalised_hue(hue_to);
    return sat_from <= color.saturation && color.saturation <= sat_to && val_from <= color.value &&
           color.value <= val_to && accepts_hue(range, normalised_hue(std::max(color.hue, 0)));
}

KR_Configuration_Report kr_check_configuration(std::string_view document)
{
    return kr_internal::Check(document).run();
}
