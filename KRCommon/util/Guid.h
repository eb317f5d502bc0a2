#pragma once

/// \file
/// 128-bit identifiers and their text: 36 characters, hexadecimal digits in groups of 8-4-4-4-12
/// joined by hyphens.
///
///     const KR_GUID id = kr_to_guid("{6F9619FF-8B86-D011-B42D-00C04FC964FF}");
///     kr_to_string(id); // 6f9619ff-8b86-d011-b42d-00c04fc964ff
///
/// Identifiers can be made, and are keys of ordered and unordered containers:
///
///     std::unordered_map<KR_GUID, Camera> cameras;
///     cameras[kr_create_guid_v4()] = ...;
///
/// Threads: all functions may run on any thread at once. They take no lock and do not log. Same on
/// Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>

/// An identifier as it lies in memory on Windows: three numbers in the machine's byte order, then
/// eight bytes. A new one is the nil identifier, all zeros.
struct KR_GUID {
    std::uint32_t Data1 = 0;    ///< the first eight digits
    std::uint16_t Data2 = 0;    ///< the next four digits
    std::uint16_t Data3 = 0;    ///< the version in its highest four bits
    std::uint8_t Data4[8] = {}; ///< clock sequence (the variant in its highest bits) and node
};

static_assert(sizeof(KR_GUID) == 16, "an identifier has the layout of a Windows GUID");

/// Whether all 16 bytes are equal.
inline bool operator==(const KR_GUID& left, const KR_GUID& right) noexcept
{
    return left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3 &&
           std::equal(std::begin(left.Data4), std::end(left.Data4), std::begin(right.Data4));
}

/// The opposite.
inline bool operator!=(const KR_GUID& left, const KR_GUID& right) noexcept
{
    return !(left == right);
}

/// The order of the texts, so that identifiers of version 7 are in the order of their making.
inline bool operator<(const KR_GUID& left, const KR_GUID& right) noexcept
{
    if (left.Data1 != right.Data1)
        return left.Data1 < right.Data1;
    if (left.Data2 != right.Data2)
        return left.Data2 < right.Data2;
    if (left.Data3 != right.Data3)
        return left.Data3 < right.Data3;
    return std::lexicographical_compare(std::begin(left.Data4), std::end(left.Data4),
                                        std::begin(right.Data4), std::end(right.Data4));
}

namespace std {

/// Equal identifiers have equal hashes. For containers, not for storage: it differs between targets.
template <>
struct hash<KR_GUID> {
    /// The hash.
    std::size_t operator()(const KR_GUID& guid) const noexcept
    {
        const std::uint64_t groups = static_cast<std::uint64_t>(guid.Data1) << 32 |
                                     static_cast<std::uint64_t>(guid.Data2) << 16 | guid.Data3;
        std::uint64_t rest = 0;
        for (const std::uint8_t byte : guid.Data4)
            rest = rest << 8 | byte;
        std::uint64_t mixed = groups * 0x9E37'79B9'7F4A'7C15;
        mixed = (mixed ^ mixed >> 32 ^ rest) * 0xFF51'AFD7'ED55'8CCD;
        return static_cast<std::size_t>(mixed ^ mixed >> 32);
    }
};

} // namespace std

/// An identifier's text where no memory is to be taken.
struct KR_Guid_Text {
    char characters[37] = {}; ///< 36 and a zero

    /// The text, which a zero ends.
    [[nodiscard]] const char* c_str() const noexcept { return characters; }
    /// The text, 36 characters.
    [[nodiscard]] std::string_view view() const noexcept
    {
        return {characters, sizeof characters - 1};
    }
};

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

/// The same text as kr_to_string() gives, without memory from the heap. Never throws.
[[nodiscard]] KRCOMMON_EXPORT KR_Guid_Text kr_to_guid_text(const KR_GUID& guid) noexcept;

/// Makes identifiers of version 4 (RFC 9562 section 5.4): 122 bits from the system's generator, which
/// nobody can foresee. Nothing is kept between calls: the child of a fork makes others than its parent.
///
/// kr_create_guids_v4() makes many with one request to the system, which is what costs.
/// out      count identifiers; may be null when count is 0
/// returns  the nil identifier, or false and nil identifiers, when the system's generator fails, which
///          no running system's does. Never throws.
[[nodiscard]] KRCOMMON_EXPORT KR_GUID kr_create_guid_v4() noexcept;
/// Many of version 4 at once, see kr_create_guid_v4().
[[nodiscard]] KRCOMMON_EXPORT bool kr_create_guids_v4(KR_GUID* out, std::size_t count) noexcept;

/// Makes identifiers of version 7 (RFC 9562 section 5.7): the milliseconds since 1970 in the first 48
/// bits, in the 12 bits after the version their fraction (section 6.2, method 3), then 62 bits from the
/// system's generator. They sort by the time of their making, which keeps an index of a database short.
///
/// Within a process each is greater than all that were made before it, on whatever thread: where the
/// clock does not tell them apart or was set back, it counts on by 1/4096 ms each. Between processes and
/// machines the order is that of their clocks. Of a forked child the same holds from the fork on; it never
/// makes its parent's identifiers. A batch counts on from its first one, so that its last ones may tell a
/// time to come: 1,000,000 of them by a quarter of a second.
///
/// Whoever sees the identifier sees when it was made. Arguments, results and failure as above.
[[nodiscard]] KRCOMMON_EXPORT KR_GUID kr_create_guid_v7() noexcept;
/// Many of version 7 at once, see kr_create_guid_v7().
[[nodiscard]] KRCOMMON_EXPORT bool kr_create_guids_v7(KR_GUID* out, std::size_t count) noexcept;
