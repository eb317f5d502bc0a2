#include <KRCommon/xml/Xml_Scanner.h>

#include <KRCommon/kernels/Vector.h>
#include <KRCommon/text/Digits.h>

#include <algorithm>

namespace kr_internal {

using namespace xml_kinds;

namespace {

constexpr char no_quote = '\0'; // no document holds it

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
    using namespace vector;
    for (; end - position >= 16; position += 16) {
        const Bytes bytes = load_bytes(position);
        const auto equals = [bytes](char c) { return equal(bytes, all_bytes(c)); };
        const Bytes white = unsigned_at_most(bytes, all_bytes(0x1F));
        const Bytes quotes = either(equals('"'), equals('\''));
        const Bytes markup = either(equals('&'), equals('<'));
        const unsigned stops = mask_of(either(white, either(quotes, markup)));
        if (stops != 0)
            return position + __builtin_ctz(stops);
    }
    return std::find_if(position, end, [](char c) { return is(c, value_stop); });
}

constexpr std::array<Xml_Predefined, 5> predefined_entities{{{"lt", '<', true},
                                                             {"gt", '>', false},
                                                             {"amp", '&', true},
                                                             {"apos", '\'', false},
                                                             {"quot", '"', false}}};

} // namespace

const Xml_Predefined* find_predefined(std::string_view name) noexcept
{
    for (const Xml_Predefined& entity : predefined_entities)
        if (entity.name == name)
            return &entity;
    return nullptr;
}

Xml_Scanner::Xml_Scanner(std::string_view document)
    : document_(read_xml_text(document)),
      position_(document_.characters.data() + document_.declaration_size),
      end_(document_.characters.data() + document_.characters.size()), mark_(position_)
{
    if (document_.fault.code == Xml_Code::no_error)
        return;
    position_ = document_.characters.data() + document_.fault.position;
    fail(document_.fault.code, document_.fault.name);
}

// Reads a quoted value, in place where its characters need no change.
bool Xml_Scanner::read_value(std::string_view& value)
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
bool Xml_Scanner::append_value(char quote)
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

bool Xml_Scanner::append_reference()
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

bool Xml_Scanner::read_comment()
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

bool Xml_Scanner::read_instruction()
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

bool Xml_Scanner::read_reference(Reference& reference)
{
    ++position_; // '&'
    reference.entity = nullptr;
    if (is_at('#'))
        return read_character_reference(reference);
    std::string_view name;
    if (!read_name(name, Xml_Code::badly_formed) || !take(';', Xml_Code::badly_formed))
        return false;
    if (const Xml_Predefined* const predefined = find_predefined(name)) {
        reference.bytes[0] = predefined->character;
        reference.size = 1;
        return true;
    }
    reference.entity = find_entity(name);
    return reference.entity != nullptr || fail(Xml_Code::unexpected_entity, name);
}

bool Xml_Scanner::read_character_reference(Reference& reference)
{
    ++position_; // '#'
    const bool is_hex = is_at('x');
    const char32_t base = is_hex ? 16 : 10;
    if (is_hex)
        ++position_;
    const char* const first = position_;
    char32_t character = 0;
    for (; !at_end(); ++position_) {
        const unsigned digit = digit_value(*position_);
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

const Xml_Scanner::Entity* Xml_Scanner::find_entity(std::string_view name) const noexcept
{
    for (const Entity& entity : entities_)
        if (entity.name == name)
            return &entity;
    return nullptr;
}

// Moves the cursor into the entity's replacement text.
bool Xml_Scanner::begin_expansion(const Entity& entity)
{
    for (std::size_t i = 0; i < expansions_open_; ++i)
        if (expansions_[i].entity == &entity)
            return fail(Xml_Code::recursive_entity, entity.name);
    expanded_ += entity.replacement.size();
    if (expansions_open_ == expansions_.size() || expanded_ > xml_limits::expanded_length)
        return fail(Xml_Code::too_long, entity.name);
    expansions_[expansions_open_++] = {&entity, position_, end_, 0};
    position_ = entity.replacement.data();
    end_ = position_ + entity.replacement.size();
    return true;
}

void Xml_Scanner::end_expansion() noexcept
{
    const Expansion& expansion = expansions_[--expansions_open_];
    position_ = expansion.resume;
    end_ = expansion.resume_end;
}

bool Xml_Scanner::starts(std::string_view literal) const noexcept
{
    return static_cast<std::size_t>(end_ - position_) >= literal.size() &&
           std::string_view(position_, literal.size()) == literal;
}

bool Xml_Scanner::need_space(Xml_Code otherwise)
{
    if (at_end())
        return fail_at_end();
    return skip_space() || fail(otherwise);
}

bool Xml_Scanner::take(std::string_view literal, Xml_Code otherwise)
{
    for (const char c : literal)
        if (!take(c, otherwise))
            return false;
    return true;
}

// Takes a name. Nothing can end after a name: there is always a character left.
bool Xml_Scanner::read_name(std::string_view& name, Xml_Code otherwise)
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

bool Xml_Scanner::skip_past(std::string_view literal)
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
bool Xml_Scanner::fail(Xml_Code code, std::string_view name)
{
    const bool is_syntax = code == Xml_Code::badly_formed || code == Xml_Code::unreadable_attribute;
    const bool is_of_whole = code == Xml_Code::unreadable_attribute ||
                             code == Xml_Code::bad_start_tag_end || code == Xml_Code::bad_end_tag;
    return fail_at(is_of_whole ? mark_ : place(),
                   is_syntax && in_doctype_ ? Xml_Code::bad_dtd : code, name);
}

bool Xml_Scanner::fail_at(const char* where, Xml_Code code, std::string_view name)
{
    error_.code = code;
    error_.line = line_of(where);
    error_.name = name;
    error_.place = offset_of(where);
    error_.stop = offset_of(place());
    return false;
}

// The document, or a replacement text, ends within something: what is never closed is told where
// it begins, and what cannot be read where it stands.
bool Xml_Scanner::fail_at_end()
{
    if (in_entity())
        return fail(Xml_Code::badly_formed, expansions_[expansions_open_ - 1].entity->name);
    if (document_.end_code == Xml_Code::unexpected_end)
        return fail_at(mark_, Xml_Code::unexpected_end, subject());
    return fail_at(position_, document_.end_code, subject());
}

// What an error names: the attribute or entity being read, else the innermost open element.
std::string_view Xml_Scanner::subject() const noexcept
{
    return being_read_.empty() ? element_ : being_read_;
}

std::size_t Xml_Scanner::line_of(const char* where) const noexcept
{
    return line_at(document_.characters, where);
}

} // namespace kr_internal
