#pragma once

/// \file
/// Where records come from: files in which they lie one behind the other or each behind its length,
/// the standard input, and stores of the video search; with what is damaged in between.
///
/// Without lengths only the counts of a record tell where the next one begins. Damage is what cannot
/// be read as a record, or is followed by what cannot be while another record begins inside of it. It
/// goes on to the next byte where a record begins (Record_Begin.h).
/// Threads: one at a time.

#include <KRCommon/objects/Object_View.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace krtool {

enum class Damage {
    none,
    cut_in_fixed_block,    ///< as KR_Record_State
    bad_color_count,       ///< as KR_Record_State
    cut_in_instances,      ///< as KR_Record_State, also by the next record that begins there
    cut_in_auxiliary_data, ///< as KR_Record_State, also by the next record that begins there
    trailing_bytes,        ///< where the length is known: bytes follow within it
    too_long,              ///< longer than the longest record that is asked for
    zeros,                 ///< zero bytes in place of a record
    wrong_length,          ///< no record fits the length in front of it
    cut_in_length,         ///< the file ends within a length
    wrong_key,             ///< a store's columns tell another object than the record
};

/// A stable name, as findings have it: "cut_in_instances"; "" of none.
[[nodiscard]] const char* code_of(Damage damage) noexcept;

/// What a store says of a record.
struct Store_Key {
    std::string run;
    std::int64_t sensor1 = 0;
    std::int64_t sensor2 = 0;
    std::int64_t object_id = 0;
    std::int64_t first_seen_us = 0;
};

/// A record or a piece of damage, in the order of the file.
struct Record_Item {
    std::uint64_t number = 0; ///< of the record in its file, from 0; damage counts as one
    KR_Byte_Span bytes;       ///< valid until the next item
    std::uint64_t offset = 0; ///< of the bytes in the file; 0 in a store
    /// Of the record, from where its status counts; behind its length, where damage has that too.
    std::uint64_t record_offset = 0;
    KR_Record_Status status; ///< what check() says of it, damaged or not
    Damage damage = Damage::none;

    bool has_length = false; ///< the bytes stand behind this length, as the file has it
    std::uint32_t length = 0;
    const Store_Key* key = nullptr; ///< in a store; valid until the next item

    /// Damage comes in one or more pieces, in constant memory. A last one may have no bytes.
    bool is_first = true;
    bool is_last = true;
    std::uint64_t damage_size = 0; ///< all its bytes, with this piece
};

enum class Form { automatic, concatenated, lengths, store };

struct Source_Options {
    Form form = Form::automatic;
    std::size_t longest = 64U * 1024 * 1024; ///< record in bytes: so much memory may be needed
};

class Record_Source {
public:
    virtual ~Record_Source() = default;
    Record_Source() = default;
    Record_Source(const Record_Source&) = delete;
    Record_Source& operator=(const Record_Source&) = delete;

    /// The next item; false at the end. Throws Failure when the system cannot read on.
    [[nodiscard]] virtual bool next(Record_Item& item) = 0;
    [[nodiscard]] virtual Form form() const noexcept = 0;
    /// As a sentence names it.
    [[nodiscard]] virtual const std::string& name() const noexcept = 0;
};

/// The file, or the standard input for "-", of the form that is asked for or found. Throws Failure when
/// it cannot be opened or is no store where one is asked for.
[[nodiscard]] std::unique_ptr<Record_Source> open_records(const std::string& path,
                                                          const Source_Options& options);

} // namespace krtool
