#include <KRCommon/xml/Xml_Characters.h>

#include <KRCommon/kernels/Vector.h>
#include <KRCommon/text/Unicode.h>

#include <algorithm>

namespace kr_internal {

using namespace xml_kinds;

namespace {

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

// Bit by bit whether each of 16 bytes is a name_part.
unsigned name_parts_of(const vector::Bytes& bytes) noexcept
{
    using namespace vector;
    const auto is_within = [](const Bytes& all, char first, int more) {
        return unsigned_at_most(sum(all, all_bytes(-first)), all_bytes(more));
    };
    const Bytes are_letters = is_within(either(bytes, all_bytes(0x20)), 'a', 'z' - 'a');
    const Bytes are_digits = is_within(bytes, '0', ':' - '0'); // and ':'
    const Bytes are_marks = either(is_within(bytes, '-', '.' - '-'), equal(bytes, all_bytes('_')));
    return mask_of(either(are_letters, either(are_digits, are_marks)));
}

// Where the name_parts from `position` on end, sixteen bytes at a time: names are short and of many
// lengths, which a loop over bytes cannot foresee.
const char* skip_ascii_name_parts(const char* position, const char* end) noexcept
{
    for (; end - position >= 16; position += 16) {
        const unsigned others = name_parts_of(vector::load_bytes(position)) ^ 0xFFFF;
        if (others != 0)
            return position + __builtin_ctz(others);
    }
    return std::find_if_not(position, end, [](char c) { return is(c, name_part); });
}

} // namespace

const char* skip_name_parts(const char* position, const char* end) noexcept
{
    position = skip_ascii_name_parts(position, end);
    if (position == end || !is(*position, not_ascii))
        return position;
    return skip_other_name_parts(position, end);
}

const char* skip_name(const char* position, const char* end) noexcept
{
    if (position == end || is(*position, name_start))
        return skip_name_parts(position, end);
    const char* next = position;
    if (is(*position, not_ascii) && is_in(name_start_ranges, decode_utf8(next)))
        return skip_name_parts(next, end);
    return position;
}

} // namespace kr_internal
