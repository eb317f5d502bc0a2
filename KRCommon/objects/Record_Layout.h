#pragma once

/// \file
/// The byte map of the record of a detected object (docs/record_format.md), and how its fields are
/// stored and loaded: keyed by a field that knows its place and its type, so that a number of another
/// width or sign does not compile.
///
/// Nothing here knows the length of a buffer: the caller has checked that the part lies inside.
/// Offsets count from the first byte of their part: the record, the instance list, the entry of an
/// instance, the entry of a colour, the length of the auxiliary data.
/// Threads: no state. Never fails.

#include <KRCommon/util/Little_Endian.h>

#include <cstddef>
#include <cstdint>

namespace kr_internal {

/// A field of a record that holds one number.
template <typename Number>
struct Field_Of {
    unsigned offset;

    // NOLINTNEXTLINE(google-explicit-constructor): every number is a field too
    constexpr operator Field() const noexcept { return {offset, sizeof(Number)}; }
};

/// A field that holds some numbers, one after the other.
template <typename Number, std::size_t count>
struct Array_Of {
    unsigned offset;

    // NOLINTNEXTLINE(google-explicit-constructor): every number is a field too
    constexpr operator Field() const noexcept { return {offset, sizeof(Number) * count}; }

    /// One of them. The index is not checked.
    [[nodiscard]] constexpr Field_Of<Number> operator[](unsigned index) const noexcept
    {
        return {offset + static_cast<unsigned>(sizeof(Number)) * index};
    }
};

/// The number is of the field's own type: there is no conversion.
template <typename Number>
void put(unsigned char* part, Field_Of<Number> field, Number number) noexcept
{
    put_number(part, field.offset, number);
}

template <typename Number, std::size_t count>
void put(unsigned char* part, Array_Of<Number, count> field,
         const Number (&numbers)[count]) noexcept
{
    put_number(part, field.offset, numbers);
}

template <typename Number>
[[nodiscard]] Number get(const unsigned char* part, Field_Of<Number> field) noexcept
{
    return get_number<Number>(part, field.offset);
}

/// Fills the array, bit by bit.
template <typename Number, std::size_t count>
void get(const unsigned char* part, Array_Of<Number, count> field,
         Number (&numbers)[count]) noexcept
{
    std::memcpy(numbers, part + field.offset, sizeof numbers);
}

/// The parts of a record, in their order: the fixed block, the instance list, which is a count and
/// the entries, the length of the auxiliary data, the auxiliary data.
constexpr unsigned fixed_block_size = 132;
constexpr unsigned count_size = 4;
constexpr unsigned entry_size = 68; // of an instance, without its colours
constexpr unsigned color_size = 5;
constexpr unsigned auxiliary_length_size = 4;

namespace fixed_block {
constexpr Field_Of<std::int32_t> sensor_word1{8};
constexpr Field_Of<std::int32_t> sensor_word2{12};
constexpr Field_Of<std::uint64_t> object_id{20};
constexpr Field_Of<std::int32_t> detector_type{28};
constexpr Field_Of<std::int64_t> first_seen_seconds{44};
constexpr Field_Of<std::int32_t> first_seen_microseconds{52};
constexpr Field_Of<std::int32_t> word1{60};
constexpr Field_Of<std::int32_t> word2{64};
constexpr Field_Of<std::int64_t> second_time_seconds{76};
constexpr Field_Of<std::int32_t> second_time_microseconds{84};
constexpr Field_Of<std::int32_t> statistics_word1{92};
constexpr Field_Of<std::int32_t> statistics_word2{96};
constexpr Field_Of<std::uint32_t> duration{100};
constexpr Array_Of<float, 3> class_scores{104};
constexpr Field_Of<std::int32_t> statistics_word7{116};
constexpr Field_Of<std::int32_t> statistics_word8{120};
// Where the writing process kept its pending instances, which means nothing to a reader.
constexpr Field_Of<std::uint32_t> pending_reference{124};
constexpr Field_Of<std::uint32_t> pending_length{128};

constexpr Field fields[] = {
    {0, 4},
    {4, 4},
    sensor_word1,
    sensor_word2,
    {16, 4}, // those without a name are reserved
    object_id,
    detector_type,
    {32, 4},
    {36, 8},
    first_seen_seconds,
    first_seen_microseconds,
    {56, 4},
    word1,
    word2,
    {68, 8},
    second_time_seconds,
    second_time_microseconds,
    {88, 4},
    statistics_word1,
    statistics_word2,
    duration,
    class_scores,
    statistics_word7,
    statistics_word8,
    pending_reference,
    pending_length,
};
static_assert(tiles(fields, fixed_block_size), "the fixed block must tile its 132 bytes");
} // namespace fixed_block

namespace instance_list {
constexpr Field_Of<std::uint32_t> count{0};
static_assert(tiles({count}, count_size));
} // namespace instance_list

namespace entry {
constexpr Field_Of<std::int32_t> seconds{0};
constexpr Field_Of<std::int32_t> microseconds{4};
constexpr Field_Of<std::int8_t> person{8};
constexpr Field_Of<std::int8_t> vehicle{9};
constexpr Field_Of<std::int8_t> object{10};
constexpr Field_Of<std::int8_t> unknown{11};
constexpr Array_Of<float, 4> box{12};
constexpr Array_Of<float, 2> floats{28};
constexpr Field_Of<std::uint8_t> flag{36};
constexpr Field reserved1{37, 3};
constexpr Array_Of<float, 4> group{40};
constexpr Field_Of<std::int8_t> number{56};
constexpr Field_Of<std::int8_t> color_count{57};
constexpr Field reserved2{58, 2};
constexpr Array_Of<float, 2> point{60};

constexpr Field fields[] = {seconds, microseconds, person,      vehicle,   object,
                            unknown, box,          floats,      flag,      reserved1,
                            group,   number,       color_count, reserved2, point};
static_assert(tiles(fields, entry_size), "InstanceForDB must tile its 68 bytes");

// Bytes that lie side by side as the one number that a writer stores. The first is the lowest.
constexpr Field_Of<std::uint32_t> class_values{person.offset};
constexpr Field_Of<std::uint32_t> flag_and_reserved{flag.offset};
constexpr Field_Of<std::uint32_t> number_colors_and_reserved{number.offset};

constexpr Field stores[] = {seconds, microseconds,      class_values, box,
                            floats,  flag_and_reserved, group,        number_colors_and_reserved,
                            point};
static_assert(tiles(stores, entry_size), "a writer stores every byte once");
} // namespace entry

namespace color_entry {
constexpr Field_Of<std::uint8_t> red{0};
constexpr Field_Of<std::uint8_t> green{1};
constexpr Field_Of<std::uint8_t> blue{2};
constexpr Field_Of<std::int8_t> area{3};
constexpr Field_Of<std::int8_t> code{4};

constexpr Field fields[] = {red, green, blue, area, code};
static_assert(tiles(fields, color_size), "a colour must tile its 5 bytes");

constexpr Field_Of<std::uint32_t> rgb_and_area{red.offset};

constexpr Field stores[] = {rgb_and_area, code};
static_assert(tiles(stores, color_size), "a writer stores every byte once");
} // namespace color_entry

namespace auxiliary {
constexpr Field_Of<std::uint32_t> length{0};
static_assert(tiles({length}, auxiliary_length_size));
} // namespace auxiliary

} // namespace kr_internal
