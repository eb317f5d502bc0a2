#include <KRCommon/xml/Xml_Dtd.h>

#include <KRCommon/text/Digits.h>

#include <algorithm>
#include <array>
#include <utility>

namespace kr_internal {

using namespace xml_kinds;

namespace {

constexpr int any_kind = 0xFF;

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
bool may_redeclare(const Xml_Predefined& entity, std::string_view replacement) noexcept
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

} // namespace

bool Xml_Dtd::read_doctype()
{
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

bool Xml_Dtd::refuse_external_subset()
{
    std::string_view keyword;
    if (!read_name(keyword, Xml_Code::bad_dtd))
        return false;
    return fail(is_external_keyword(keyword) ? Xml_Code::external_entity : Xml_Code::bad_dtd);
}

bool Xml_Dtd::read_subset()
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
bool Xml_Dtd::read_subset_declaration()
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

bool Xml_Dtd::refuse_parameter_reference()
{
    ++position_; // '%'
    std::string_view name;
    if (!read_name(name, Xml_Code::bad_dtd) || !take(';', Xml_Code::bad_dtd))
        return false;
    return fail(Xml_Code::unexpected_entity, name);
}

bool Xml_Dtd::read_element_declaration()
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

bool Xml_Dtd::read_content_model()
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

bool Xml_Dtd::read_mixed_content()
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

// A choice or a sequence, after its '('.
bool Xml_Dtd::read_group(std::size_t depth)
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

void Xml_Dtd::skip_occurrence() noexcept
{
    if (is_at('?') || is_at('*') || is_at('+'))
        ++position_;
}

bool Xml_Dtd::read_attribute_list()
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

bool Xml_Dtd::read_attribute_type()
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

bool Xml_Dtd::read_enumeration(bool of_names)
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
bool Xml_Dtd::read_token(bool is_name)
{
    const char* const last = skip_name_parts(position_, end_);
    if (is_name || last == position_) {
        std::string_view name;
        return read_name(name, Xml_Code::bad_dtd);
    }
    position_ = last;
    return true;
}

bool Xml_Dtd::read_attribute_default()
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

bool Xml_Dtd::read_entity_declaration()
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

bool Xml_Dtd::refuse_external_entity()
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
bool Xml_Dtd::read_entity_value(std::string& replacement)
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

bool Xml_Dtd::append_unresolved(std::string& replacement)
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
bool Xml_Dtd::define_entity(std::string_view name, std::string&& replacement)
{
    if (const Xml_Predefined* const predefined = find_predefined(name))
        return may_redeclare(*predefined, replacement) || fail(Xml_Code::bad_dtd);
    if (find_entity(name) != nullptr)
        return true;
    if (entities_.size() == xml_limits::entities)
        return fail(Xml_Code::too_long);
    entities_.push_back({name, std::move(replacement)});
    return true;
}

bool Xml_Dtd::read_notation_declaration()
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
bool Xml_Dtd::read_literal(int kind)
{
    const char quote = is_at('\'') ? '\'' : '"';
    if (!take(quote, Xml_Code::bad_dtd))
        return false;
    while (!at_end() && *position_ != quote && (kind == any_kind || is(*position_, kind)))
        ++position_;
    return take(quote, Xml_Code::bad_dtd);
}

} // namespace kr_internal
