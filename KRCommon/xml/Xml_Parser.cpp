#include <KRCommon/xml/Xml_Parser.h>

#include <KRCommon/xml/Xml_Text.h>

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kr_internal {

namespace {

// Kinds of ASCII characters, one bit each, and of the bytes above.
enum Kind : unsigned char {
    space = 1,
    name_start = 2,
    name_part = 4,
    not_ascii = 8,
    value_stop = 16,  // what an attribute's value cannot just go on with
    text_stop = 32,   // the same for character data
    public_part = 64, // of a public identifier
};

constexpr std::array<unsigned char, 256> make_kinds()
{
    std::array<unsigned char, 256> kinds{};
    const auto mark = [&kinds](std::string_view characters, int kind) {
        for (const char c : characters)
            kinds[static_cast<unsigned char>(c)] |= static_cast<unsigned char>(kind);
    };
    mark("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", name_start | name_part);
    mark("_:", name_start | name_part);
    mark("0123456789.-", name_part);
    mark(" \t\r\n", space);
    mark("\"'&<\t\r\n", value_stop);
    mark("<&]\r", text_stop);
    mark("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", public_part);
    mark(" \r\n-'()+,./:=?;!*#@$_%", public_part);
    for (std::size_t byte = 0x80; byte < kinds.size(); ++byte)
        kinds[byte] = not_ascii;
    return kinds;
}

constexpr std::array<unsigned char, 256> kinds = make_kinds();
constexpr int any_kind = 0xFF;
constexpr char no_quote = '\0'; // no document holds it

bool is(char c, int kind) noexcept
{
    return (kinds[static_cast<unsigned char>(c)] & kind) != 0;
}

constexpr char32_t digit_value(char c) noexcept
{
    if (c >= '0' && c <= '9')
        return static_cast<char32_t>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<char32_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<char32_t>(c - 'A' + 10);
    return 16; // no digit
}

struct Range {
    char32_t first;
    char32_t last;
};

// XML 1.0, fifth edition, productions 4 and 4a, beyond ASCII.
constexpr std::array<Range, 12> name_start_ranges{{{0xC0, 0xD6},
                                                   {0xD8, 0xF6},
                                                   {0xF8, 0x2FF},
                                                   {0x370, 0x37D},
                                                   {0x37F, 0x1FFF},
                                                   {0x200C, 0x200D},
                                                   {0x2070, 0x218F},
                                                   {0x2C00, 0x2FEF},
                                                   {0x3001, 0xD7FF},
                                                   {0xF900, 0xFDCF},
                                                   {0xFDF0, 0xFFFD},
                                                   {0x10000, 0xEFFFF}}};
constexpr std::array<Range, 3> more_name_ranges{{{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}}};

template <std::size_t size>
bool is_in(const std::array<Range, size>& ranges, char32_t character) noexcept
{
    return std::any_of(ranges.begin(), ranges.end(), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

// Where the name characters from `position` on end, some of them beyond ASCII.
const char* skip_other_name_parts(const char* position, const char* end) noexcept
{
    while (position != end) {
        const char* next = position;
        const char32_t character = decode_utf8(next);
        const bool is_part = character < 0x80 ? is(*position, name_part)
                                              : is_in(name_start_ranges, character) ||
                                                    is_in(more_name_ranges, character);
        if (!is_part)
            break;
        position = next;
    }
    return position;
}

// Where the name characters from `position` on end.
const char* skip_name_parts(const char* position, const char* end) noexcept
{
    while (position != end && is(*position, name_part))
        ++position;
    if (position == end || !is(*position, not_ascii))
        return position;
    return skip_other_name_parts(position, end);
}

// Where the name that begins at `position` ends; `position` itself if none does.
const char* skip_name(const char* position, const char* end) noexcept
{
    if (position == end || is(*position, name_start))
        return skip_name_parts(position, end);
    const char* next = position;
    if (is(*position, not_ascii) && is_in(name_start_ranges, decode_utf8(next)))
        return skip_name_parts(next, end);
    return position;
}

bool ends_with(std::string_view text, std::string_view end) noexcept
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool is_xml_target(std::string_view target) noexcept
{
    return target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' &&
           (target[2] | 0x20) == 'l';
}

// How often `mark` stands in the text, without what `is_counted` refuses.
template <typename Is_Counted>
std::size_t count(std::string_view text, char mark, Is_Counted is_counted) noexcept
{
    std::size_t number = 0;
    for (std::size_t at = text.find(mark); at != std::string_view::npos;
         at = text.find(mark, at + 1))
        number += is_counted(at) ? 1 : 0;
    return number;
}

// "\n", "\r\n" and a lone "\r" each end a line.
std::size_t line_at(std::string_view text, const char* position) noexcept
{
    text = text.substr(0, static_cast<std::size_t>(position - text.data()));
    const std::size_t feeds = count(text, '\n', [](std::size_t) { return true; });
    const std::size_t lone_returns = count(text, '\r', [text](std::size_t at) {
        return at + 1 == text.size() || text[at + 1] != '\n';
    });
    return 1 + feeds + lone_returns;
}

// Where the next value_stop stands, sixteen bytes at a time: values are short and of many lengths,
// which a loop over bytes cannot foresee.
const char* find_value_stop(const char* position, const char* end) noexcept
{
    for (; end - position >= 16; position += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(position));
        const auto equals = [bytes](char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
        const __m128i white = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
        const __m128i quotes = _mm_or_si128(equals('"'), equals('\''));
        const __m128i markup = _mm_or_si128(equals('&'), equals('<'));
        const int stops = _mm_movemask_epi8(_mm_or_si128(white, _mm_or_si128(quotes, markup)));
        if (stops != 0)
            return position + __builtin_ctz(static_cast<unsigned>(stops));
    }
    return std::find_if(position, end, [](char c) { return is(c, value_stop); });
}

struct Predefined {
    std::string_view name;
    char character;
    bool needs_escape; // a declaration must give it as a character reference
};

constexpr std::array<Predefined, 5> predefined_entities{{{"lt", '<', true},
                                                         {"gt", '>', false},
                                                         {"amp", '&', true},
                                                         {"apos", '\'', false},
                                                         {"quot", '"', false}}};

const Predefined* find_predefined(std::string_view name) noexcept
{
    for (const Predefined& entity : predefined_entities)
        if (entity.name == name)
            return &entity;
    return nullptr;
}

constexpr char32_t beyond_unicode = 0x110000;

// The number of `&#60;` or `&#x3C;`, when that is the whole text.
char32_t escaped_character(std::string_view text) noexcept
{
    const bool is_hex = text.substr(0, 3) == "&#x";
    const char32_t base = is_hex ? 16 : 10;
    char32_t character = 0;
    if (text.substr(0, 2) != "&#" || text.back() != ';')
        return beyond_unicode;
    text.remove_suffix(1);
    for (const char c : text.substr(is_hex ? 3 : 2)) {
        if (digit_value(c) >= base)
            return beyond_unicode;
        character = std::min<char32_t>(character * base + digit_value(c), beyond_unicode);
    }
    return character;
}

// XML 1.0 section 4.6: a declaration must not change what the reference stands for.
bool may_redeclare(const Predefined& entity, std::string_view replacement) noexcept
{
    if (escaped_character(replacement) == static_cast<unsigned char>(entity.character))
        return true;
    return !entity.needs_escape && replacement == std::string_view(&entity.character, 1);
}

bool is_external_keyword(std::string_view keyword) noexcept
{
    return keyword == "SYSTEM" || keyword == "PUBLIC";
}

constexpr std::array<std::string_view, 8> attribute_types{
    "CDATA", "ID", "IDREF", "IDREFS", "ENTITY", "ENTITIES", "NMTOKEN", "NMTOKENS"};

// A declared general entity.
struct Entity {
    std::string_view name;
    std::string replacement;
};

// An entity that is being expanded, and where to go on behind its reference.
struct Expansion {
    const Entity* entity;
    const char* resume;
    const char* resume_end;
    std::size_t open_elements; // when it began
};

struct Open_Element {
    std::string_view name;
    const char* begin; // of its tag, or where the reference that it came from ends
};

// What a reference stands for: characters, or an entity to expand.
struct Reference {
    std::array<char, 4> bytes;
    std::size_t size = 0;
    const Entity* entity = nullptr;

    std::string_view characters() const noexcept { return {bytes.data(), size}; }
};

} // namespace

// Reads with a cursor: position_ to end_ is what is left of the document or of the replacement of
// the innermost open entity. All steps that return bool give false after an error.
class Xml_Parser::Impl {
public:
    explicit Impl(std::string_view document);

    Event next();
    bool next_attribute(Attribute& attribute);
    std::string_view name() const noexcept { return name_; }
    std::string_view text() const noexcept { return text_; }
    std::size_t line() const noexcept { return line_at(document_.characters, mark_); }
    std::size_t text_line(std::size_t offset) const noexcept;
    std::size_t parent_line() const noexcept;
    const Xml_Error& error() const noexcept { return error_; }

private:
    enum class State { before_root, inside_root, after_root, finished, failed };

    // Events, without one where reading goes on.
    Event read_outside_root();
    Event read_content();
    std::optional<Event> read_markup();
    std::optional<Event> read_declaration_or_section();
    Event read_start_tag();
    Event read_end_tag();
    Event fail_wrong_end(std::string_view name, std::size_t outside);
    Event close_element(std::string_view name) noexcept;
    std::optional<Event> read_text_reference();
    Event read_characters();
    std::optional<Event> read_section();
    bool take_lone_return();
    Event end_text(const char* first, const char* last) noexcept;
    static std::optional<Event> go_on(bool read) noexcept;

    // Tags, comments, processing instructions, references.
    bool end_tag_of_start();
    bool read_value(std::string_view& value);
    bool append_value(char quote);
    bool append_reference();
    bool read_comment();
    bool read_instruction();
    bool read_reference(Reference& reference);
    bool read_character_reference(Reference& reference);
    const Entity* find_entity(std::string_view name) const noexcept;
    bool begin_expansion(const Entity& entity);
    void end_expansion() noexcept;
    bool end_content_expansion();

    // The document type declaration.
    bool read_doctype();
    bool read_subset();
    bool read_subset_declaration();
    bool refuse_external_subset();
    bool refuse_parameter_reference();
    bool read_element_declaration();
    bool read_content_model();
    bool read_mixed_content();
    bool read_group(std::size_t depth);
    void skip_occurrence() noexcept;
    bool read_attribute_list();
    bool read_attribute_type();
    bool read_enumeration(bool of_names);
    bool read_token(bool is_name);
    bool read_attribute_default();
    bool read_entity_declaration();
    bool read_entity_value(std::string& replacement);
    bool append_unresolved(std::string& replacement);
    bool refuse_external_entity();
    bool define_entity(std::string_view name, std::string&& replacement);
    bool read_notation_declaration();
    bool read_literal(int kind);

    // The cursor.
    bool at_end() const noexcept { return position_ == end_; }
    bool is_at(char c) const noexcept { return position_ != end_ && *position_ == c; }
    bool is_at_quote() const noexcept { return is_at('"') || is_at('\''); }
    bool starts(std::string_view literal) const noexcept;
    bool skip_space() noexcept;
    bool need_space(Xml_Code otherwise);
    bool take(char c, Xml_Code otherwise);
    bool take(std::string_view literal, Xml_Code otherwise);
    bool read_name(std::string_view& name, Xml_Code otherwise);
    bool skip_past(std::string_view literal);
    bool in_entity() const noexcept { return expansions_open_ != 0; }

    // Errors.
    bool fail(Xml_Code code) { return fail(code, subject()); }
    bool fail(Xml_Code code, std::string_view name);
    bool fail_at(const char* where, Xml_Code code, std::string_view name);
    bool fail_at_end();
    Event fail_event(Xml_Code code) { return fail_event(code, subject()); }
    Event fail_event(Xml_Code code, std::string_view name);
    Event fail_event_at(const char* where, Xml_Code code, std::string_view name);
    Event fail_event_at_end();
    std::string_view subject() const noexcept;
    const char* place() const noexcept;

    Xml_Text document_;
    const char* position_;
    const char* end_;
    const char* mark_;   // in the document: where what is being read begins; what line() tells
    const char* markup_; // the same of the start tag or CDATA section read last
    State state_ = State::before_root;

    bool in_tag_ = false;           // attributes may be left
    bool is_empty_element_ = false; // its end is due
    bool in_section_ = false;       // CDATA
    bool in_doctype_ = false;
    bool has_doctype_ = false;
    std::string_view name_;
    std::string_view text_;
    std::string_view being_read_; // an attribute's or entity's name, for errors
    Reference reference_;         // its characters can be text_
    std::string value_;           // of an attribute that cannot be handed out in place

    std::array<Open_Element, xml_limits::depth> open_;
    std::size_t depth_ = 0;
    std::vector<Entity> entities_;
    std::array<Expansion, xml_limits::entity_depth> expansions_;
    std::size_t expansions_open_ = 0;
    std::size_t expanded_ = 0; // bytes

    Xml_Error error_;
};

Xml_Parser::Impl::Impl(std::string_view document)
    : document_(read_xml_text(document)),
      position_(document_.characters.data() + document_.declaration_size),
      end_(document_.characters.data() + document_.characters.size()), mark_(position_),
      markup_(position_)
{
    if (document_.fault.code == Xml_Code::no_error)
        return;
    position_ = document_.characters.data() + document_.fault.position;
    fail(document_.fault.code, document_.fault.name);
}

Xml_Parser::Event Xml_Parser::Impl::next()
{
    Attribute unread;
    while (in_tag_)
        next_attribute(unread);
    if (is_empty_element_) {
        is_empty_element_ = false;
        mark_ = markup_;
        return close_element(name_);
    }
    switch (state_) {
    case State::before_root:
    case State::after_root: return read_outside_root();
    case State::inside_root: return read_content();
    case State::finished: return Event::end_of_document;
    case State::failed: break;
    }
    return Event::error;
}

Xml_Parser::Event Xml_Parser::Impl::read_outside_root()
{
    for (;;) {
        skip_space();
        if (at_end()) {
            mark_ = position_;
            if (state_ != State::after_root || document_.end_code != Xml_Code::unexpected_end)
                return fail_event_at_end();
            state_ = State::finished;
            return Event::end_of_document;
        }
        if (*position_ != '<')
            return fail_event(Xml_Code::not_well_formed);
        if (const auto event = read_markup())
            return *event;
    }
}

Xml_Parser::Event Xml_Parser::Impl::read_content()
{
    for (;;) {
        std::optional<Event> event;
        if (in_section_)
            event = read_section();
        else if (at_end())
            event = go_on(end_content_expansion());
        else if (*position_ == '<')
            event = read_markup();
        else if (*position_ == '&')
            event = read_text_reference();
        else
            event = read_characters();
        if (event)
            return *event;
    }
}

std::optional<Xml_Parser::Event> Xml_Parser::Impl::go_on(bool read) noexcept
{
    return read ? std::nullopt : std::optional<Event>(Event::error);
}

std::optional<Xml_Parser::Event> Xml_Parser::Impl::read_markup()
{
    mark_ = place();
    ++position_; // '<'
    if (is_at('/'))
        return read_end_tag();
    if (is_at('?'))
        return go_on(read_instruction());
    if (is_at('!'))
        return read_declaration_or_section();
    return read_start_tag();
}

std::optional<Xml_Parser::Event> Xml_Parser::Impl::read_declaration_or_section()
{
    ++position_; // '!'
    if (is_at('-'))
        return go_on(read_comment());
    if (is_at('D'))
        return go_on(read_doctype());
    if (!take("[CDATA[", Xml_Code::badly_formed))
        return Event::error;
    if (state_ != State::inside_root)
        return fail_event(Xml_Code::not_well_formed);
    in_section_ = true;
    markup_ = mark_;
    return std::nullopt;
}

Xml_Parser::Event Xml_Parser::Impl::read_start_tag()
{
    std::string_view name;
    if (!read_name(name, Xml_Code::badly_formed))
        return Event::error;
    if (state_ == State::after_root)
        return fail_event(Xml_Code::not_well_formed, name);
    if (depth_ == open_.size())
        return fail_event(Xml_Code::too_long, name);
    open_[depth_++] = {name, mark_};
    if (!is(*position_, space) && *position_ != '/' && *position_ != '>')
        return fail_event(Xml_Code::bad_start_tag_end);
    state_ = State::inside_root;
    name_ = name;
    markup_ = mark_;
    in_tag_ = true;
    return Event::start_element;
}

bool Xml_Parser::Impl::next_attribute(Attribute& attribute)
{
    if (!in_tag_)
        return false;
    in_tag_ = false; // unless there is one
    const bool spaced = skip_space();
    if (at_end()) {
        mark_ = markup_;
        return fail_at_end();
    }
    if (*position_ == '>' || *position_ == '/')
        return end_tag_of_start();
    if (!spaced) // at the attribute before, whose quote may be missing
        return fail(Xml_Code::bad_start_tag_end);
    mark_ = *position_ == '<' ? markup_ : place(); // '<': the end of the tag is missing
    if (!read_name(attribute.name, Xml_Code::bad_start_tag_end))
        return false;
    being_read_ = attribute.name;
    skip_space();
    if (!take('=', Xml_Code::unreadable_attribute))
        return false;
    skip_space();
    if (!read_value(attribute.value))
        return false;
    being_read_ = {};
    in_tag_ = true;
    return true;
}

// Takes ">" or "/>". False in any case: no attribute is left.
bool Xml_Parser::Impl::end_tag_of_start()
{
    if (*position_ == '>') {
        ++position_;
        return false;
    }
    mark_ = place();
    is_empty_element_ = take("/>", Xml_Code::bad_start_tag_end);
    return false;
}

Xml_Parser::Event Xml_Parser::Impl::read_end_tag()
{
    ++position_; // '/'
    std::string_view name;
    if (!read_name(name, Xml_Code::bad_end_tag))
        return Event::error;
    if (depth_ == 0)
        return fail_event(Xml_Code::not_well_formed, name);
    const std::size_t outside =
        in_entity() ? expansions_[expansions_open_ - 1].open_elements : std::size_t{0};
    if (depth_ == outside || open_[depth_ - 1].name != name)
        return fail_wrong_end(name, outside);
    skip_space();
    if (!take('>', Xml_Code::bad_end_tag))
        return Event::error;
    return close_element(name);
}

// When the tag fits an element further out, the innermost one has no end; else the tag is wrong.
Xml_Parser::Event Xml_Parser::Impl::fail_wrong_end(std::string_view name, std::size_t outside)
{
    for (std::size_t i = outside; i + 1 < depth_; ++i)
        if (open_[i].name == name)
            return fail_event_at(open_[depth_ - 1].begin, Xml_Code::bad_element_end, subject());
    return fail_event(Xml_Code::bad_element_end, name);
}

Xml_Parser::Event Xml_Parser::Impl::close_element(std::string_view name) noexcept
{
    name_ = name;
    --depth_;
    if (depth_ == 0)
        state_ = State::after_root;
    return Event::end_element;
}

std::optional<Xml_Parser::Event> Xml_Parser::Impl::read_text_reference()
{
    mark_ = place();
    if (!read_reference(reference_))
        return Event::error;
    if (reference_.entity != nullptr)
        return go_on(begin_expansion(*reference_.entity));
    text_ = reference_.characters();
    return Event::text;
}

Xml_Parser::Event Xml_Parser::Impl::read_characters()
{
    mark_ = place();
    if (take_lone_return())
        return Event::text;
    const char* const first = position_;
    const char* last = first;
    for (; last != end_; ++last) {
        if (!is(*last, text_stop))
            continue;
        if (*last == ']') {
            position_ = last;
            if (starts("]]>"))
                return fail_event(Xml_Code::badly_formed);
        } else if (*last != '\r' || !in_entity()) {
            break;
        }
    }
    return end_text(first, last);
}

// One piece of a CDATA section, or its end.
std::optional<Xml_Parser::Event> Xml_Parser::Impl::read_section()
{
    if (at_end()) {
        mark_ = markup_;
        return fail_event_at_end();
    }
    mark_ = place();
    if (starts("]]>")) {
        position_ += 3;
        in_section_ = false;
        return std::nullopt;
    }
    if (take_lone_return())
        return Event::text;
    const char* const first = position_;
    const char* last = first;
    for (; last != end_; position_ = ++last)
        if ((*last == '\r' && !in_entity()) || (*last == ']' && starts("]]>")))
            break;
    return end_text(first, last);
}

// Steps over a carriage return, which is a line end of its own or, before a line feed, nothing. In
// a replacement text line ends are "\n" already: a carriage return there was meant.
bool Xml_Parser::Impl::take_lone_return()
{
    if (*position_ != '\r' || in_entity())
        return false;
    ++position_;
    if (is_at('\n'))
        return false;
    text_ = "\n";
    return true;
}

Xml_Parser::Event Xml_Parser::Impl::end_text(const char* first, const char* last) noexcept
{
    text_ = {first, static_cast<std::size_t>(last - first)};
    position_ = last;
    return Event::text;
}

// Reads a quoted value, in place where its characters need no change.
bool Xml_Parser::Impl::read_value(std::string_view& value)
{
    if (at_end())
        return fail_at_end();
    if (!is_at_quote())
        return fail(Xml_Code::unreadable_attribute);
    const char quote = *position_++;
    const char other_quote = quote == '"' ? '\'' : '"';
    const char* const first = position_;
    const char* last = first;
    while ((last = find_value_stop(last, end_)) != end_ && *last == other_quote)
        ++last;
    position_ = last;
    value = {first, static_cast<std::size_t>(last - first)};
    if (!is_at(quote)) {
        value_ = value;
        if (!append_value(quote))
            return false;
        value = value_;
    }
    if (value.size() > xml_limits::value_length)
        return fail_at(mark_, Xml_Code::too_long, subject());
    ++position_;
    return true;
}

// Appends to value_ up to the quote, or to the end of a replacement text, which has none.
bool Xml_Parser::Impl::append_value(char quote)
{
    for (;;) {
        const char* const first = position_;
        while (!at_end() && !is(*position_, value_stop))
            ++position_;
        value_.append(first, position_);
        if (value_.size() > xml_limits::value_length)
            return fail_at(mark_, Xml_Code::too_long, subject());
        if (at_end())
            return quote == no_quote || fail_at_end();
        const char c = *position_;
        if (c == quote)
            return true;
        if (c == '<')
            return fail(Xml_Code::unreadable_attribute);
        if (c == '&') {
            if (!append_reference())
                return false;
            continue;
        }
        ++position_;
        if (c == '\r' && !in_entity() && is_at('\n'))
            ++position_;
        value_ += is(c, space) ? ' ' : c;
    }
}

bool Xml_Parser::Impl::append_reference()
{
    Reference reference;
    if (!read_reference(reference))
        return false;
    if (reference.entity == nullptr) {
        value_ += reference.characters();
        return true;
    }
    if (!begin_expansion(*reference.entity) || !append_value(no_quote))
        return false;
    end_expansion();
    return true;
}

bool Xml_Parser::Impl::read_comment()
{
    if (!take("--", Xml_Code::bad_comment))
        return false;
    const char* const first = position_;
    if (!skip_past("--"))
        return false;
    const std::string_view text(first, static_cast<std::size_t>(position_ - first));
    if (ends_with(text, "<!--")) // the end of this comment is missing, not one '-' too many
        return fail_at(mark_, Xml_Code::bad_comment, subject());
    return take('>', Xml_Code::bad_comment);
}

bool Xml_Parser::Impl::read_instruction()
{
    ++position_; // '?'
    std::string_view target;
    if (!read_name(target, Xml_Code::badly_formed))
        return false;
    if (is_xml_target(target)) // a declaration that is not at the very start
        return fail(Xml_Code::not_well_formed);
    if (*position_ == '?')
        return take("?>", Xml_Code::badly_formed);
    return need_space(Xml_Code::badly_formed) && skip_past("?>");
}

bool Xml_Parser::Impl::read_reference(Reference& reference)
{
    ++position_; // '&'
    reference.entity = nullptr;
    if (is_at('#'))
        return read_character_reference(reference);
    std::string_view name;
    if (!read_name(name, Xml_Code::badly_formed) || !take(';', Xml_Code::badly_formed))
        return false;
    if (const Predefined* const predefined = find_predefined(name)) {
        reference.bytes[0] = predefined->character;
        reference.size = 1;
        return true;
    }
    reference.entity = find_entity(name);
    return reference.entity != nullptr || fail(Xml_Code::unexpected_entity, name);
}

bool Xml_Parser::Impl::read_character_reference(Reference& reference)
{
    ++position_; // '#'
    const bool is_hex = is_at('x');
    const char32_t base = is_hex ? 16 : 10;
    if (is_hex)
        ++position_;
    const char* const first = position_;
    char32_t character = 0;
    for (; !at_end(); ++position_) {
        const char32_t digit = digit_value(*position_);
        if (digit >= base)
            break;
        character = std::min<char32_t>(character * base + digit, beyond_unicode);
    }
    if (at_end())
        return fail_at_end();
    if (position_ == first || *position_ != ';' || !is_xml_character(character))
        return fail(Xml_Code::badly_formed);
    ++position_;
    char* const bytes = reference.bytes.data();
    reference.size = static_cast<std::size_t>(encode_utf8(character, bytes) - bytes);
    return true;
}

const Entity* Xml_Parser::Impl::find_entity(std::string_view name) const noexcept
{
    for (const Entity& entity : entities_)
        if (entity.name == name)
            return &entity;
    return nullptr;
}

// Moves the cursor into the entity's replacement text.
bool Xml_Parser::Impl::begin_expansion(const Entity& entity)
{
    for (std::size_t i = 0; i < expansions_open_; ++i)
        if (expansions_[i].entity == &entity)
            return fail(Xml_Code::recursive_entity, entity.name);
    expanded_ += entity.replacement.size();
    if (expansions_open_ == expansions_.size() || expanded_ > xml_limits::expanded_length)
        return fail(Xml_Code::too_long, entity.name);
    expansions_[expansions_open_++] = {&entity, position_, end_, depth_};
    position_ = entity.replacement.data();
    end_ = position_ + entity.replacement.size();
    return true;
}

void Xml_Parser::Impl::end_expansion() noexcept
{
    const Expansion& expansion = expansions_[--expansions_open_];
    position_ = expansion.resume;
    end_ = expansion.resume_end;
}

// The end of the document, or of a replacement text, where content is read.
bool Xml_Parser::Impl::end_content_expansion()
{
    if (!in_entity()) {
        mark_ = position_;
        return fail_at_end();
    }
    if (depth_ != expansions_[expansions_open_ - 1].open_elements)
        return fail(Xml_Code::bad_element_end);
    end_expansion();
    return true;
}

bool Xml_Parser::Impl::read_doctype()
{
    if (state_ != State::before_root || has_doctype_)
        return fail(Xml_Code::bad_dtd);
    has_doctype_ = true;
    in_doctype_ = true;
    std::string_view root;
    if (!take("DOCTYPE", Xml_Code::bad_dtd) || !need_space(Xml_Code::bad_dtd) ||
        !read_name(root, Xml_Code::bad_dtd))
        return false;
    if (skip_space() && !at_end() && is(*position_, name_start))
        return refuse_external_subset();
    if (is_at('[') && !read_subset())
        return false;
    skip_space();
    in_doctype_ = false;
    return take('>', Xml_Code::bad_dtd);
}

bool Xml_Parser::Impl::refuse_external_subset()
{
    std::string_view keyword;
    if (!read_name(keyword, Xml_Code::bad_dtd))
        return false;
    return fail(is_external_keyword(keyword) ? Xml_Code::external_entity : Xml_Code::bad_dtd);
}

bool Xml_Parser::Impl::read_subset()
{
    ++position_; // '['
    const char* const first = position_;
    const char* const doctype = mark_;
    for (;;) {
        skip_space();
        if (static_cast<std::size_t>(position_ - first) > xml_limits::dtd_length)
            return fail(Xml_Code::too_long);
        if (is_at(']')) {
            ++position_;
            return true;
        }
        if (is_at('%'))
            return refuse_parameter_reference();
        if (!at_end())
            mark_ = position_;
        if (!take('<', Xml_Code::bad_dtd) || !read_subset_declaration())
            return false;
        mark_ = doctype;
        being_read_ = {};
    }
}

// Behind the '<'.
bool Xml_Parser::Impl::read_subset_declaration()
{
    if (is_at('?'))
        return read_instruction();
    if (!take('!', Xml_Code::bad_dtd))
        return false;
    if (is_at('-'))
        return read_comment();
    std::string_view keyword;
    if (!read_name(keyword, Xml_Code::bad_dtd) || !need_space(Xml_Code::bad_dtd))
        return false;
    if (keyword == "ENTITY")
        return read_entity_declaration();
    if (keyword == "ELEMENT")
        return read_element_declaration();
    if (keyword == "ATTLIST")
        return read_attribute_list();
    if (keyword == "NOTATION")
        return read_notation_declaration();
    return fail(Xml_Code::bad_dtd);
}

bool Xml_Parser::Impl::refuse_parameter_reference()
{
    ++position_; // '%'
    std::string_view name;
    if (!read_name(name, Xml_Code::bad_dtd) || !take(';', Xml_Code::bad_dtd))
        return false;
    return fail(Xml_Code::unexpected_entity, name);
}

bool Xml_Parser::Impl::read_element_declaration()
{
    std::string_view name;
    if (!read_name(name, Xml_Code::bad_dtd) || !need_space(Xml_Code::bad_dtd))
        return false;
    if (is_at('(')) {
        if (!read_content_model())
            return false;
    } else {
        std::string_view keyword;
        if (!read_name(keyword, Xml_Code::bad_dtd))
            return false;
        if (keyword != "EMPTY" && keyword != "ANY")
            return fail(Xml_Code::bad_dtd);
    }
    skip_space();
    return take('>', Xml_Code::bad_dtd);
}

bool Xml_Parser::Impl::read_content_model()
{
    ++position_; // '('
    skip_space();
    if (is_at('#'))
        return read_mixed_content();
    if (!read_group(1))
        return false;
    skip_occurrence();
    return true;
}

bool Xml_Parser::Impl::read_mixed_content()
{
    if (!take("#PCDATA", Xml_Code::bad_dtd))
        return false;
    bool has_names = false;
    for (skip_space(); is_at('|'); skip_space()) {
        ++position_;
        skip_space();
        std::string_view name;
        if (!read_name(name, Xml_Code::bad_dtd))
            return false;
        has_names = true;
    }
    if (!take(')', Xml_Code::bad_dtd))
        return false;
    if (has_names || is_at('*'))
        return take('*', Xml_Code::bad_dtd);
    return true;
}

// A choice or a sequence, behind its '('.
bool Xml_Parser::Impl::read_group(std::size_t depth)
{
    if (depth > xml_limits::depth)
        return fail(Xml_Code::too_long);
    char separator = '\0'; // '|' or ',', the same throughout
    for (;;) {
        skip_space();
        std::string_view name;
        if (is_at('(')) {
            ++position_;
            if (!read_group(depth + 1))
                return false;
        } else if (!read_name(name, Xml_Code::bad_dtd)) {
            return false;
        }
        skip_occurrence();
        skip_space();
        if (is_at(')')) {
            ++position_;
            return true;
        }
        if (separator == '\0')
            separator = is_at('|') ? '|' : ',';
        if (!take(separator, Xml_Code::bad_dtd))
            return false;
    }
}

void Xml_Parser::Impl::skip_occurrence() noexcept
{
    if (is_at('?') || is_at('*') || is_at('+'))
        ++position_;
}

bool Xml_Parser::Impl::read_attribute_list()
{
    std::string_view element;
    if (!read_name(element, Xml_Code::bad_dtd))
        return false;
    for (;;) {
        const bool spaced = skip_space();
        if (is_at('>') || !spaced)
            return take('>', Xml_Code::bad_dtd);
        if (!read_name(being_read_, Xml_Code::bad_dtd) || !need_space(Xml_Code::bad_dtd) ||
            !read_attribute_type() || !need_space(Xml_Code::bad_dtd) || !read_attribute_default())
            return false;
        being_read_ = {};
    }
}

bool Xml_Parser::Impl::read_attribute_type()
{
    if (is_at('('))
        return read_enumeration(false);
    std::string_view type;
    if (!read_name(type, Xml_Code::bad_dtd))
        return false;
    if (type == "NOTATION")
        return need_space(Xml_Code::bad_dtd) && read_enumeration(true);
    const bool is_known =
        std::find(attribute_types.begin(), attribute_types.end(), type) != attribute_types.end();
    return is_known || fail(Xml_Code::bad_dtd);
}

bool Xml_Parser::Impl::read_enumeration(bool of_names)
{
    if (!take('(', Xml_Code::bad_dtd))
        return false;
    for (;;) {
        skip_space();
        if (!read_token(of_names))
            return false;
        skip_space();
        if (!is_at('|'))
            return take(')', Xml_Code::bad_dtd);
        ++position_;
    }
}

// A name, or name characters in any order.
bool Xml_Parser::Impl::read_token(bool is_name)
{
    const char* const last = skip_name_parts(position_, end_);
    if (is_name || last == position_) {
        std::string_view name;
        return read_name(name, Xml_Code::bad_dtd);
    }
    position_ = last;
    return true;
}

bool Xml_Parser::Impl::read_attribute_default()
{
    if (is_at('#')) {
        ++position_;
        std::string_view keyword;
        if (!read_name(keyword, Xml_Code::bad_dtd))
            return false;
        if (keyword == "REQUIRED" || keyword == "IMPLIED")
            return true;
        if (keyword != "FIXED")
            return fail(Xml_Code::bad_dtd);
        if (!need_space(Xml_Code::bad_dtd))
            return false;
    }
    std::string_view value;
    return read_value(value);
}

bool Xml_Parser::Impl::read_entity_declaration()
{
    const bool is_parameter = is_at('%');
    if (is_parameter) {
        ++position_;
        if (!need_space(Xml_Code::bad_dtd))
            return false;
    }
    if (!read_name(being_read_, Xml_Code::bad_dtd) || !need_space(Xml_Code::bad_dtd))
        return false;
    if (!is_at_quote())
        return refuse_external_entity();
    std::string replacement;
    if (!read_entity_value(replacement))
        return false;
    skip_space();
    if (!take('>', Xml_Code::bad_dtd))
        return false;
    return is_parameter || define_entity(being_read_, std::move(replacement));
}

bool Xml_Parser::Impl::refuse_external_entity()
{
    std::string_view keyword;
    if (!read_name(keyword, Xml_Code::bad_dtd))
        return false;
    if (!is_external_keyword(keyword))
        return fail(Xml_Code::bad_dtd);
    error_.message = "External Entity definitions not supported";
    return fail(Xml_Code::external_entity);
}

// Character references are resolved, entity references kept for later.
bool Xml_Parser::Impl::read_entity_value(std::string& replacement)
{
    const char quote = *position_++;
    for (;;) {
        const char* const first = position_;
        while (!at_end() && !is(*position_, value_stop) && *position_ != '%')
            ++position_;
        replacement.append(first, position_);
        if (at_end())
            return fail_at_end();
        if (*position_ == '%')
            return refuse_parameter_reference();
        if (*position_ == '&') {
            if (!append_unresolved(replacement))
                return false;
            continue;
        }
        const char c = *position_++;
        if (c == quote)
            return true;
        if (c == '\r' && is_at('\n'))
            ++position_;
        replacement += c == '\r' ? '\n' : c;
    }
}

bool Xml_Parser::Impl::append_unresolved(std::string& replacement)
{
    const char* const first = position_;
    ++position_; // '&'
    if (is_at('#')) {
        Reference reference;
        if (!read_character_reference(reference))
            return false;
        replacement += reference.characters();
        return true;
    }
    std::string_view name;
    if (!read_name(name, Xml_Code::bad_dtd) || !take(';', Xml_Code::bad_dtd))
        return false;
    replacement.append(first, position_);
    return true;
}

// The first declaration of a name binds.
bool Xml_Parser::Impl::define_entity(std::string_view name, std::string&& replacement)
{
    if (const Predefined* const predefined = find_predefined(name))
        return may_redeclare(*predefined, replacement) || fail(Xml_Code::bad_dtd);
    if (find_entity(name) != nullptr)
        return true;
    if (entities_.size() == xml_limits::entities)
        return fail(Xml_Code::too_long);
    entities_.push_back({name, std::move(replacement)});
    return true;
}

bool Xml_Parser::Impl::read_notation_declaration()
{
    std::string_view name;
    std::string_view keyword;
    if (!read_name(name, Xml_Code::bad_dtd) || !need_space(Xml_Code::bad_dtd) ||
        !read_name(keyword, Xml_Code::bad_dtd))
        return false;
    if (!is_external_keyword(keyword))
        return fail(Xml_Code::bad_dtd);
    if (!need_space(Xml_Code::bad_dtd))
        return false;
    bool spaced = true;
    if (keyword == "PUBLIC") {
        if (!read_literal(public_part))
            return false;
        spaced = skip_space();
    }
    if (keyword == "SYSTEM" || (spaced && is_at_quote())) {
        if (!read_literal(any_kind))
            return false;
        skip_space();
    }
    return take('>', Xml_Code::bad_dtd);
}

// A quoted text of characters of a kind.
bool Xml_Parser::Impl::read_literal(int kind)
{
    const char quote = is_at('\'') ? '\'' : '"';
    if (!take(quote, Xml_Code::bad_dtd))
        return false;
    while (!at_end() && *position_ != quote && (kind == any_kind || is(*position_, kind)))
        ++position_;
    return take(quote, Xml_Code::bad_dtd);
}

bool Xml_Parser::Impl::starts(std::string_view literal) const noexcept
{
    return static_cast<std::size_t>(end_ - position_) >= literal.size() &&
           std::string_view(position_, literal.size()) == literal;
}

bool Xml_Parser::Impl::skip_space() noexcept
{
    const char* const first = position_;
    const char* last = first;
    while (last != end_ && is(*last, space))
        ++last;
    position_ = last;
    return last != first;
}

bool Xml_Parser::Impl::need_space(Xml_Code otherwise)
{
    if (at_end())
        return fail_at_end();
    return skip_space() || fail(otherwise);
}

bool Xml_Parser::Impl::take(char c, Xml_Code otherwise)
{
    if (at_end())
        return fail_at_end();
    if (*position_ != c)
        return fail(otherwise);
    ++position_;
    return true;
}

bool Xml_Parser::Impl::take(std::string_view literal, Xml_Code otherwise)
{
    for (const char c : literal)
        if (!take(c, otherwise))
            return false;
    return true;
}

// Takes a name. Nothing can end behind a name: there is always a character left.
bool Xml_Parser::Impl::read_name(std::string_view& name, Xml_Code otherwise)
{
    const char* const first = position_;
    const char* const last = skip_name(first, end_);
    if (last == end_) {
        position_ = end_;
        return fail_at_end();
    }
    if (last == first)
        return fail(otherwise);
    const auto length = static_cast<std::size_t>(last - first);
    if (length > xml_limits::name_length)
        return fail(Xml_Code::too_long);
    name = {first, length};
    position_ = last;
    return true;
}

bool Xml_Parser::Impl::skip_past(std::string_view literal)
{
    const std::string_view rest(position_, static_cast<std::size_t>(end_ - position_));
    const std::size_t found = rest.find(literal);
    if (found == std::string_view::npos) {
        position_ = end_;
        return fail_at_end();
    }
    position_ += found + literal.size();
    return true;
}

// What a syntax error is called depends on where it stands: within the DOCTYPE it is a bad DTD. What
// is wrong with an attribute or a tag as a whole is told where that begins.
bool Xml_Parser::Impl::fail(Xml_Code code, std::string_view name)
{
    const bool is_syntax = code == Xml_Code::badly_formed || code == Xml_Code::unreadable_attribute;
    const bool is_of_whole = code == Xml_Code::unreadable_attribute ||
                             code == Xml_Code::bad_start_tag_end || code == Xml_Code::bad_end_tag;
    return fail_at(is_of_whole ? mark_ : place(),
                   is_syntax && in_doctype_ ? Xml_Code::bad_dtd : code, name);
}

bool Xml_Parser::Impl::fail_at(const char* where, Xml_Code code, std::string_view name)
{
    error_.code = code;
    error_.line = line_at(document_.characters, where);
    error_.name = name;
    state_ = State::failed;
    return false;
}

// The document, or a replacement text, ends within something: what is never closed is told where
// it begins, and what cannot be read where it stands.
bool Xml_Parser::Impl::fail_at_end()
{
    if (in_entity())
        return fail(Xml_Code::badly_formed, expansions_[expansions_open_ - 1].entity->name);
    if (document_.end_code == Xml_Code::unexpected_end)
        return fail_at(mark_, Xml_Code::unexpected_end, subject());
    return fail_at(position_, document_.end_code, subject());
}

Xml_Parser::Event Xml_Parser::Impl::fail_event(Xml_Code code, std::string_view name)
{
    fail(code, name);
    return Event::error;
}

Xml_Parser::Event Xml_Parser::Impl::fail_event_at(const char* where, Xml_Code code,
                                                  std::string_view name)
{
    fail_at(where, code, name);
    return Event::error;
}

Xml_Parser::Event Xml_Parser::Impl::fail_event_at_end()
{
    fail_at_end();
    return Event::error;
}

// What an error names: the attribute or entity being read, else the innermost open element.
std::string_view Xml_Parser::Impl::subject() const noexcept
{
    if (!being_read_.empty() || depth_ == 0)
        return being_read_;
    return open_[depth_ - 1].name;
}

// Text from a reference does not stand in the document itself.
std::size_t Xml_Parser::Impl::text_line(std::size_t offset) const noexcept
{
    const std::string_view all = document_.characters;
    const bool is_in_place = std::less_equal<>()(all.data(), text_.data()) &&
                             std::less<>()(text_.data(), all.data() + all.size());
    return line_at(all, is_in_place ? text_.data() + offset : mark_);
}

std::size_t Xml_Parser::Impl::parent_line() const noexcept
{
    return line_at(document_.characters, open_[depth_ - 2].begin);
}

// Where in the document the cursor is; within an entity's replacement, where the reference ends.
const char* Xml_Parser::Impl::place() const noexcept
{
    return in_entity() ? expansions_[0].resume : position_;
}

Xml_Parser::Xml_Parser(std::string_view document) : impl_(std::make_unique<Impl>(document)) {}

Xml_Parser::~Xml_Parser() = default;

Xml_Parser::Event Xml_Parser::next()
{
    return impl_->next();
}

bool Xml_Parser::next_attribute(Attribute& attribute)
{
    return impl_->next_attribute(attribute);
}

std::string_view Xml_Parser::name() const noexcept
{
    return impl_->name();
}

std::string_view Xml_Parser::text() const noexcept
{
    return impl_->text();
}

std::size_t Xml_Parser::line() const noexcept
{
    return impl_->line();
}

std::size_t Xml_Parser::text_line(std::size_t offset) const noexcept
{
    return impl_->text_line(offset);
}

std::size_t Xml_Parser::parent_line() const noexcept
{
    return impl_->parent_line();
}

const Xml_Error& Xml_Parser::error() const noexcept
{
    return impl_->error();
}

} // namespace kr_internal
