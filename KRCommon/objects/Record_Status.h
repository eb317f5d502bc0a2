#pragma once

/// \file
/// What the bytes of a record are found to be, KR_Record_Status.

#include <cstddef>
#include <cstdint>

/// The first of these that holds, in this order. The numbers never change.
enum class KR_Record_State : std::int32_t {
    /// The record fills the bytes exactly and has an instance at least.
    whole = 0,
    /// Fewer bytes than the fixed block has. Nothing can be read of them.
    cut_in_fixed_block = 1,
    /// An instance has a colour count below zero, as of 128 to 255 colours. The reader reads no
    /// colour there and takes the bytes of those that were written for the next instances: what it
    /// reads from there on means nothing. It reads on all the same.
    bad_color_count = 2,
    /// The bytes end within the instance list: in its count or in an instance with its colours.
    cut_in_instances = 3,
    /// The bytes end within the auxiliary data or their length.
    cut_in_auxiliary_data = 4,
    /// The record is whole and has no instance. Bytes may follow it.
    no_instances = 5,
    /// The record is whole, and bytes follow it. So it is with each but the last of records that lie
    /// one behind the other.
    trailing_bytes = 6,
};

/// What the bytes of a record of a detected object are found to be: whole, or where they are not and
/// how far they can be read. KR_Object_View::check() and KR_ObjectBase::decode() say it in these
/// terms; docs/record_format.md has the byte map.
///
/// Threads: values.
/// Exceptions: none.
struct KR_Record_Status {
    KR_Record_State state = KR_Record_State::cut_in_fixed_block; ///< what the bytes are

    /// Where the state applies, counted from the record's first byte: the first byte of the part
    /// that is cut short (the count, an instance, the length of the auxiliary data), of the instance
    /// with the bad colour count, of the count that is zero, of the trailing bytes; of a whole
    /// record its end.
    std::size_t position = 0;

    /// Bytes of the parts that are whole, which KR_ObjectBase::deserialize() consumes. Of a record
    /// that is whole, with or without instances or trailing bytes, its length.
    std::size_t consumed = 0;

    /// Instances that deserialize() gives to a new object. When it gives none, it ends the process.
    std::uint32_t instances = 0;
};

/// Whether all members are equal.
inline bool operator==(const KR_Record_Status& left, const KR_Record_Status& right) noexcept
{
    return left.state == right.state && left.position == right.position &&
           left.consumed == right.consumed && left.instances == right.instances;
}

/// The opposite.
inline bool operator!=(const KR_Record_Status& left, const KR_Record_Status& right) noexcept
{
    return !(left == right);
}
