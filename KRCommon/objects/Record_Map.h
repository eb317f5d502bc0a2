#pragma once

/// \file
/// The byte map of a record, KR_Record_Map.

#include <KRCommon/KRCommon_Export.h>

#include <cstddef>
#include <cstdint>

/// The parts of a record, in their order: a fixed block, the count of instances, each instance and
/// behind it its colours, the length of the auxiliary data, these. The numbers never change.
enum class KR_Record_Part : std::int32_t {
    fixed_block = 0,
    instance_count = 1,
    instance = 2, ///< without its colours
    color = 3,
    auxiliary_length = 4,
    auxiliary_data = 5, ///< has no fields
};

/// How the bytes of a field are to be read. The numbers never change.
enum class KR_Field_Type : std::int32_t {
    reserved = 0, ///< written as zeros, passed over by readers
    int8 = 1,
    uint8 = 2,
    int32 = 3,
    uint32 = 4,
    uint64 = 5,
    float32 = 6,
    time32 = 7, ///< seconds since 1970 UTC as int32, then microseconds as int32
    time64 = 8, ///< seconds since 1970 UTC as int64, then microseconds as int32
};

/// A field of a part. Where it has several numbers they stand side by side, size / size of one.
struct KR_Record_Field {
    const char* name;     ///< as the member of KR_Object_View and its kin: "object_id"; static
    KR_Field_Type type;   ///< how its bytes are read
    std::uint32_t offset; ///< from the first byte of the part
    std::uint32_t size;   ///< bytes
};

/// The fields of a part: they fill it, in their order, without a gap.
struct KR_Record_Fields {
    const KR_Record_Field* first = nullptr; ///< null when there is none
    std::size_t count = 0;                  ///< how many

    /// The first field.
    [[nodiscard]] const KR_Record_Field* begin() const noexcept { return first; }
    /// Behind the last field.
    [[nodiscard]] const KR_Record_Field* end() const noexcept { return first + count; }
};

/// The table of a part. None for the auxiliary data and for numbers that are no part.
[[nodiscard]] KRCOMMON_EXPORT KR_Record_Fields kr_record_fields(KR_Record_Part part) noexcept;

/// Bytes that a part takes when it is whole: 132, 4, 68, 5, 4; 0 for the auxiliary data, whose length
/// stands in the record, and for numbers that are no part.
[[nodiscard]] KRCOMMON_EXPORT std::size_t kr_record_part_size(KR_Record_Part part) noexcept;

/// A part in its place.
struct KR_Record_Piece {
    KR_Record_Part part = KR_Record_Part::fixed_block; ///< which part
    std::size_t offset = 0;                            ///< from the record's first byte
    std::size_t size = 0;                              ///< bytes of it that are there, at least 1
    std::size_t whole_size = 0;                        ///< bytes that it should have
    std::uint32_t instance = 0; ///< of an instance and its colours: which one, from 0
    std::uint32_t color = 0;    ///< of a colour: which one of the instance's, from 0

    /// Whether all its bytes are there.
    [[nodiscard]] bool is_whole() const noexcept { return size == whole_size; }
};

/// The byte map of a record of a detected object, for those who show, compare or make its bytes one by
/// one: which parts it has and where they lie, and the fields of each part with their types. Who wants
/// the numbers of a record looks at it with KR_Object_View.
///
///     KR_Record_Map map(bytes.data(), bytes.size());
///     KR_Record_Piece piece;
///     while (map.next(piece))
///         for (const KR_Record_Field& field : kr_record_fields(piece.part))
///             if (field.offset + field.size <= piece.size)
///                 print(field.name, bytes.data() + piece.offset + field.offset, field.size);
///
/// The walk is that of the reader, its quirks included: an instance with a colour count below zero has
/// no colours, and a list that counts more than it holds goes on into the auxiliary data. Of what is
/// cut short it shows the part that is there. docs/record_format.md has the same map for people.
///
/// Bounds: no byte outside of those given is read. They need no alignment, must outlive the walk and
/// must not change meanwhile. Numbers are little-endian, floats IEEE-754 single precision.
/// Threads: a map belongs to one thread at a time; the tables never change.
/// Failure: none. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h; nothing here throws it.
class KR_Record_Map {
public:
    /// A null pointer has no bytes.
    KR_Record_Map(const unsigned char* record, std::size_t length) noexcept
        : record_(record), length_(record != nullptr ? length : 0)
    {
    }

    /// The next part; false, and the piece as it was, when there is none: behind the auxiliary data,
    /// behind a part that is cut short, and where the bytes end before the next one begins. Auxiliary
    /// data of 0 bytes are no piece.
    [[nodiscard]] KRCOMMON_EXPORT bool next(KR_Record_Piece& piece) noexcept;

    /// Where the next part begins: behind the last one, where bytes may follow that are not the
    /// record's.
    [[nodiscard]] std::size_t position() const noexcept { return position_; }

    /// Whether every part has been walked over, each of them whole.
    [[nodiscard]] bool is_complete() const noexcept { return next_ == Next::nothing; }

private:
    enum class Next { fixed_block, instance_count, instance, color, auxiliary, data, nothing, cut };

    void go_on_behind(const KR_Record_Piece& piece) noexcept;
    void go_on_to_instance() noexcept;

    const unsigned char* record_;
    std::size_t length_;
    std::size_t position_ = 0;
    Next next_ = Next::fixed_block;
    std::uint32_t instances_ = 0; // that the list counts
    std::uint32_t instance_ = 0;  // the next one
    std::uint32_t colors_ = 0;    // of the instance
    std::uint32_t color_ = 0;     // the next one
    std::uint32_t data_size_ = 0; // of the auxiliary data
};
