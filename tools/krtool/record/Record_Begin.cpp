#include "Record_Begin.h"

#include "Record_Values.h"

#include <KRCommon/objects/Record_Map.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace krtool {

namespace {

constexpr std::uint32_t pending_instances = 124;

// Where the reserved bytes of a part are, by fours; what is left of three or two is read with those
// in front. The first `count` are in use.
struct Reserve {
    std::array<std::uint32_t, 16> offsets{};
    std::array<std::uint32_t, 16> masks{};
    std::size_t count = 0;
};

Reserve reserve_of(KR_Record_Part part) noexcept
{
    Reserve reserve;
    for (const KR_Record_Field& field : kr_record_fields(part)) {
        if (field.type != KR_Field_Type::reserved ||
            (part == KR_Record_Part::fixed_block && field.offset == pending_instances))
            continue;
        for (std::uint32_t left = field.size; left > 0; left -= std::min(left, 4U)) {
            const std::uint32_t size = std::min(left, 4U);
            reserve.offsets[reserve.count] = field.offset + left - 4; // wraps for no field of ours
            reserve.masks[reserve.count] = 0xFFFFFFFFU << 8 * (4 - size);
            ++reserve.count;
        }
    }
    return reserve;
}

bool is_clean(const Reserve& reserve, const unsigned char* part) noexcept
{
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < reserve.count; ++i)
        bits |= number_at<std::uint32_t>(part + reserve.offsets[i]) & reserve.masks[i];
    return bits == 0;
}

bool is_clean_instance(const unsigned char* instance) noexcept
{
    static const Reserve reserve = reserve_of(KR_Record_Part::instance);
    return is_clean(reserve, instance);
}

// Cheap, since it is asked of every byte behind a damage.
bool begins_with_zeros(const unsigned char* bytes) noexcept
{
    return number_at<std::uint64_t>(bytes) == 0;
}

} // namespace

bool has_clean_fixed_block(const unsigned char* block) noexcept
{
    static const Reserve reserve = reserve_of(KR_Record_Part::fixed_block);
    return is_clean(reserve, block);
}

namespace {

// Objects were seen at some time; this tells zeros in front of a record from the record.
bool has_time(const unsigned char* block) noexcept
{
    constexpr std::int64_t end_of_years = 32'535'216'000; // 3001-01-01
    constexpr std::size_t first_seen_time = 44;
    const Stored_Time time = time_at(block + first_seen_time, KR_Field_Type::time64);
    return time.is_normal() && time.seconds > 0 && time.seconds < end_of_years;
}

} // namespace

bool begins_record(KR_Byte_Span bytes, bool is_end, std::size_t longest) noexcept
{
    constexpr std::uint32_t enough_instances = 16;
    if (bytes.size < least_record_size || !begins_with_zeros(bytes.data) ||
        number_at<std::uint32_t>(bytes.data + fixed_block_size) == 0 ||
        !has_clean_fixed_block(bytes.data) || !has_time(bytes.data))
        return false;
    KR_Record_Map map(bytes.data, bytes.size);
    KR_Record_Piece piece;
    while (map.next(piece)) {
        if (piece.part == KR_Record_Part::auxiliary_data) // it has whatever is there
            return piece.whole_size <= longest && (piece.is_whole() || !is_end);
        if (!piece.is_whole())
            return false;
        if (piece.part != KR_Record_Part::instance)
            continue;
        if (piece.instance == enough_instances)
            return true;
        const unsigned char* const instance = bytes.data + piece.offset;
        constexpr std::size_t color_count = 57;
        if (!is_clean_instance(instance) || instance[color_count] > 127)
            return false;
    }
    return map.is_complete();
}

} // namespace krtool
