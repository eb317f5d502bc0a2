#pragma once

/// \file
/// What the checked readers answer, KR_Parse_Result.

#include <cstddef>
#include <cstdint>

/// The numbers never change; new errors come at the end.
enum class KR_Parse_Error : std::uint8_t {
    none = 0,
    cut = 1,       ///< the text ends where more is needed
    character = 2, ///< something else is expected at the position
    range = 3,     ///< the number at the position is outside of its range
    surplus = 4,   ///< the text goes on after its end
    scheme = 5,    ///< of a URL: there is no scheme, or none that is followed by "//"
    host = 6,      ///< of a URL: the host is missing or not well-formed
    port = 7,      ///< of a URL: the port is no number
};

/// What a checked reader answers: whether a text was accepted and, if not, what was wrong and where.
/// All functions kr_try_...() return it.
///
///     KR_GUID id;
///     if (const KR_Parse_Result result = kr_try_to_guid(text, id); !result)
///         kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR bad key: %s at %u\n", result.reason(),
///                static_cast<unsigned>(result.position));
///
/// A reader that does not accept a text leaves its output as it was.
///
/// Threads: values, no state. Never throws. Same on Windows and Linux.
struct KR_Parse_Result {
    KR_Parse_Error error = KR_Parse_Error::none; ///< what is wrong

    /// In bytes from the text's begin: where the error is, at most the text's length; the text's
    /// length when there is none.
    std::size_t position = 0;

    /// Whether the text was accepted.
    explicit constexpr operator bool() const noexcept { return error == KR_Parse_Error::none; }

    /// The error in words, for logs: a literal. "none" when there is none.
    [[nodiscard]] constexpr const char* reason() const noexcept
    {
        switch (error) {
        case KR_Parse_Error::none: return "none";
        case KR_Parse_Error::cut: return "the text ends too soon";
        case KR_Parse_Error::character: return "unexpected character";
        case KR_Parse_Error::range: return "number out of range";
        case KR_Parse_Error::surplus: return "surplus characters";
        case KR_Parse_Error::scheme: return "no scheme with \"//\"";
        case KR_Parse_Error::host: return "no well-formed host";
        case KR_Parse_Error::port: return "the port is no number";
        }
        return "unknown";
    }
};

/// Whether error and position are equal.
constexpr bool operator==(const KR_Parse_Result& left, const KR_Parse_Result& right) noexcept
{
    return left.error == right.error && left.position == right.position;
}

/// The opposite.
constexpr bool operator!=(const KR_Parse_Result& left, const KR_Parse_Result& right) noexcept
{
    return !(left == right);
}
