#include <KRCommon/xml/Xml_Parser.h>

#include <KRCommon/xml/Xml_Dtd.h>

#include <array>
#include <functional>
#include <optional>

namespace kr_internal {

using namespace xml_kinds;

namespace {

struct Open_Element {
    std::string_view name;
    const char* begin; // of its tag, or where the reference that it came from ends
};

} // namespace

// The document's content, from the first character to the last.
class Xml_Parser::Impl : public Xml_Dtd {
public:
    explicit Impl(std::string_view document) : Xml_Dtd(document) {}

    Event next();
    bool next_attribute(Attribute& attribute);
    std::string_view name() const noexcept { return name_; }
    std::string_view text() const noexcept { return text_; }
    std::size_t position() const noexcept { return offset_of(mark_); }
    std::size_t text_position(std::size_t offset) const noexcept;
    std::size_t parent_position() const noexcept;
    std::size_t cursor() const noexcept { return offset_of(place()); }
    std::size_t line_at(std::size_t position) const noexcept
    {
        return line_of(document_.characters.data() + position);
    }

private:
    enum class State { before_root, inside_root, after_root, finished };

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

    // Steps within them.
    bool read_only_doctype();
    bool end_tag_of_start();
    bool end_content_expansion();

    Event fail_event(Xml_Code code) { return fail_event(code, subject()); }
    Event fail_event(Xml_Code code, std::string_view name);
    Event fail_event_at(const char* where, Xml_Code code, std::string_view name);
    Event fail_event_at_end();

    State state_ = State::before_root;
    const char* markup_ = nullptr;  // where the start tag or CDATA section read last begins
    bool in_tag_ = false;           // attributes may be left
    bool is_empty_element_ = false; // its end is due
    bool in_section_ = false;       // CDATA
    bool has_doctype_ = false;
    std::string_view name_;
    std::string_view text_;
    Reference reference_; // its characters can be text_

    std::array<Open_Element, xml_limits::depth> open_;
    std::size_t depth_ = 0;
};

Xml_Parser::Event Xml_Parser::Impl::next()
{
    Attribute unread;
    while (in_tag_)
        next_attribute(unread);
    if (error_)
        return Event::error;
    if (is_empty_element_) {
        is_empty_element_ = false;
        mark_ = markup_;
        return close_element(name_);
    }
    switch (state_) {
    case State::before_root:
    case State::after_root: return read_outside_root();
    case State::inside_root: return read_content();
    case State::finished: break;
    }
    return Event::end_of_document;
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
        return go_on(read_only_doctype());
    if (!take("[CDATA[", Xml_Code::badly_formed))
        return Event::error;
    if (state_ != State::inside_root)
        return fail_event(Xml_Code::not_well_formed);
    in_section_ = true;
    markup_ = mark_;
    return std::nullopt;
}

bool Xml_Parser::Impl::read_only_doctype()
{
    if (state_ != State::before_root || has_doctype_)
        return fail(Xml_Code::bad_dtd);
    has_doctype_ = true;
    return read_doctype();
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
    element_ = name;
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
    if (!read_name(being_read_, Xml_Code::bad_start_tag_end))
        return false;
    skip_space();
    if (!take('=', Xml_Code::unreadable_attribute))
        return false;
    skip_space();
    if (!read_value(attribute.value))
        return false;
    attribute.name = being_read_;
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
    element_ = depth_ == 0 ? std::string_view() : open_[depth_ - 1].name;
    if (depth_ == 0)
        state_ = State::after_root;
    return Event::end_element;
}

std::optional<Xml_Parser::Event> Xml_Parser::Impl::read_text_reference()
{
    mark_ = place();
    if (!read_reference(reference_))
        return Event::error;
    if (reference_.entity == nullptr) {
        text_ = reference_.characters();
        return Event::text;
    }
    if (!begin_expansion(*reference_.entity))
        return Event::error;
    expansions_[expansions_open_ - 1].open_elements = depth_;
    return std::nullopt;
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

// Text from a reference does not stand in the document itself.
std::size_t Xml_Parser::Impl::text_position(std::size_t offset) const noexcept
{
    const std::string_view all = document_.characters;
    const bool is_in_place = std::less_equal<>()(all.data(), text_.data()) &&
                             std::less<>()(text_.data(), all.data() + all.size());
    return offset_of(is_in_place ? text_.data() + offset : mark_);
}

std::size_t Xml_Parser::Impl::parent_position() const noexcept
{
    return offset_of(open_[depth_ - 2].begin);
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
    return line_at(position());
}

std::size_t Xml_Parser::text_line(std::size_t offset) const noexcept
{
    return line_at(text_position(offset));
}

std::size_t Xml_Parser::parent_line() const noexcept
{
    return line_at(parent_position());
}

std::size_t Xml_Parser::position() const noexcept
{
    return impl_->position();
}

std::size_t Xml_Parser::text_position(std::size_t offset) const noexcept
{
    return impl_->text_position(offset);
}

std::size_t Xml_Parser::parent_position() const noexcept
{
    return impl_->parent_position();
}

std::size_t Xml_Parser::line_at(std::size_t position) const noexcept
{
    return impl_->line_at(position);
}

std::size_t Xml_Parser::cursor() const noexcept
{
    return impl_->cursor();
}

const Xml_Error& Xml_Parser::error() const noexcept
{
    return impl_->error();
}

} // namespace kr_internal
