#pragma once

/// \file
/// 128-bit identifiers and their text: 36 characters, hexadecimal digits in groups of 8-4-4-4-12
/// joined by hyphens.
///
///     const KR_GUID id = kr_to_guid("{6F9619FF-8B86-D011-B42D-00C04FC964FF}");
///     kr_to_string(id); // 6f9619ff-8b86-d011-b42d-00c04fc964ff
///
/// Threads: no state; all functions may run on any thread at once. They take no lock and do not
/// log. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

/// An identifier as it lies in memory on Windows: three numbers in the machine's byte order, then
/// eight bytes. A new one is the nil identifier, all zeros.
struct KR_GUID {
    std::uint32_t Data1 = 0;
    std::uint16_t Data2 = 0;
    std::uint16_t Data3 = 0;    ///< the version in its highest four bits
    std::uint8_t Data4[8] = {}; ///< clock sequence (the variant in its highest bits) and node
};

static_assert(sizeof(KR_GUID) == 16, "an identifier has the layout of a Windows GUID");

inline bool operator==(const KR_GUID& left, const KR_GUID& right) noexcept
{
    return left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3 &&
           std::equal(std::begin(left.Data4), std::end(left.Data4), std::begin(right.Data4));
}

inline bool operator!=(const KR_GUID& left, const KR_GUID& right) noexcept
{
    return !(left == right);
}

/// Reads a text of the form above, digits in either case, in one pair of braces or none. Variant
/// and version are not looked at.
///
/// returns  the identifier; the nil one for every text that is not accepted. Never throws.
///
/// Beside the plain form these are accepted, as ACE_Utils::UUID accepts them. A zero byte ends the
/// text (braces are looked for before that). Quirk: what counts is that
/// - there are at least 36 characters;
/// - the digits of each group are read as scanf reads "%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x":
///   white space may stand before each number; a number may have fewer digits, or begin with a sign
///   or "0x", which count as digits. Of a negative number the two's complement counts, cut to the
///   number's size;
/// - of more than 36 characters a hyphen and one more character that is no white space follow the
///   last number. What comes then is ignored, however long. In 36 characters anything may follow.
[[nodiscard]] KRCOMMON_EXPORT KR_GUID kr_to_guid(const std::string& text) noexcept;

/// The text: 36 characters in lower case without braces. May throw std::bad_alloc.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const KR_GUID& guid);

/// The checked reader, for texts from outside: exactly the form above, digits in either case, in one
/// pair of braces or none; nothing before or behind it. Variant and version are not looked at.
///
/// returns  cut, character (where a digit, hyphen or brace should be) or surplus
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_to_guid(std::string_view text,
                                                             KR_GUID& out) noexcept;
