#pragma once

/// \file
/// What reads a document's content and what reads its DOCTYPE have in common: the cursor, names,
/// quoted values, references and their entities, comments, instructions, and the error.
/// Xml_Dtd and Xml_Parser are built on it, each on the one before.
///
/// All steps that return bool give false after an error, which is the last thing that happens.
/// Threads: one at a time.

#include <KRCommon/xml/Xml_Characters.h>
#include <KRCommon/xml/Xml_Error.h>
#include <KRCommon/xml/Xml_Limits.h>
#include <KRCommon/xml/Xml_Text.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kr_internal {

/// One of the five entities that every document has.
struct Xml_Predefined {
    std::string_view name;
    char character;
    bool needs_escape; ///< a declaration must give it as a character reference
};

/// A null pointer for a name that is none of the five.
const Xml_Predefined* find_predefined(std::string_view name) noexcept;

class Xml_Scanner {
public:
    const Xml_Error& error() const noexcept { return error_; }

protected:
    /// A declared general entity.
    struct Entity {
        std::string_view name;
        std::string replacement;
    };

    /// An entity that is being expanded, and where to go on after its reference.
    struct Expansion {
        const Entity* entity;
        const char* resume;
        const char* resume_end;
        std::size_t open_elements; ///< when it began; for Xml_Parser, which sets it
    };

    /// What a reference stands for: characters, or an entity to expand.
    struct Reference {
        std::array<char, 4> bytes;
        std::size_t size = 0;
        const Entity* entity = nullptr;

        std::string_view characters() const noexcept { return {bytes.data(), size}; }
    };

    explicit Xml_Scanner(std::string_view document);
    ~Xml_Scanner() = default;
    Xml_Scanner(const Xml_Scanner&) = delete;
    Xml_Scanner& operator=(const Xml_Scanner&) = delete;

    // Values, comments, instructions, references: each from its first character on, or from the
    // character that told it from the others.
    bool read_value(std::string_view& value);
    bool read_comment();
    bool read_instruction();
    bool read_reference(Reference& reference);
    bool read_character_reference(Reference& reference);
    const Entity* find_entity(std::string_view name) const noexcept;
    bool begin_expansion(const Entity& entity);
    void end_expansion() noexcept;
    bool in_entity() const noexcept { return expansions_open_ != 0; }

    // The cursor: position_ to end_ is what is left of the document or of the replacement of the
    // innermost open entity.
    bool at_end() const noexcept { return position_ == end_; }
    bool is_at(char c) const noexcept { return position_ != end_ && *position_ == c; }
    bool is_at_quote() const noexcept { return is_at('"') || is_at('\''); }
    bool starts(std::string_view literal) const noexcept;
    bool skip_space() noexcept;
    bool need_space(Xml_Code otherwise);
    bool take(char c, Xml_Code otherwise);
    bool take(std::string_view literal, Xml_Code otherwise);
    bool read_name(std::string_view& name, Xml_Code otherwise);

    // Errors, and where they are.
    bool fail(Xml_Code code) { return fail(code, subject()); }
    bool fail(Xml_Code code, std::string_view name);
    bool fail_at(const char* where, Xml_Code code, std::string_view name);
    bool fail_at_end();
    std::string_view subject() const noexcept;
    const char* place() const noexcept;
    std::size_t line_of(const char* where) const noexcept;
    std::size_t offset_of(const char* where) const noexcept
    {
        return static_cast<std::size_t>(where - document_.characters.data());
    }

    Xml_Text document_;
    const char* position_;
    const char* end_;
    const char* mark_;            // in the document: where what is being read begins
    std::string_view being_read_; // an attribute's or entity's name, for errors
    std::string_view element_;    // the innermost open element's name, for errors
    bool in_doctype_ = false;

    std::vector<Entity> entities_;
    std::array<Expansion, xml_limits::entity_depth> expansions_;
    std::size_t expansions_open_ = 0;

    Xml_Error error_;

private:
    bool append_value(char quote);
    bool append_reference();
    bool skip_past(std::string_view literal);

    std::string value_;        // of an attribute that cannot be handed out in place
    std::size_t expanded_ = 0; // bytes
};

inline bool Xml_Scanner::skip_space() noexcept
{
    const char* const first = position_;
    const char* last = first;
    while (last != end_ && xml_kinds::is(*last, xml_kinds::space))
        ++last;
    position_ = last;
    return last != first;
}

// Where in the document the cursor is; within an entity's replacement, where the reference ends.
inline const char* Xml_Scanner::place() const noexcept
{
    return in_entity() ? expansions_[0].resume : position_;
}

inline bool Xml_Scanner::take(char c, Xml_Code otherwise)
{
    if (at_end())
        return fail_at_end();
    if (*position_ != c)
        return fail(otherwise);
    ++position_;
    return true;
}

} // namespace kr_internal
