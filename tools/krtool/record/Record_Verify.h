#pragma once

/// \file
/// What is to be said against records, in three tiers: can they be read, are they whole, do their
/// values make sense. Threads: one at a time.

#include "Record_Source.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace krtool {

enum class Tier { read, whole, values };

[[nodiscard]] const char* name_of(Tier tier) noexcept;

struct Record_Finding {
    Tier tier = Tier::values;
    bool is_error = false; ///< else a warning
    const char* code = ""; ///< stable: docs/krtool_record.md lists them
    std::uint64_t record = 0;
    std::uint64_t offset = 0; ///< byte of the file, in a store of the record
    std::optional<std::uint32_t> instance;
    std::uint64_t count = 1; ///< how often it is so in this record; the place is that of the first
    std::string text;        ///< one sentence, without a full stop
};

/// What is found in the item; of damage once, with its last piece. `first` is the first piece's
/// finding, which the caller keeps in between.
class Record_Verifier {
public:
    /// The findings of the item, ordered by place in their tier. Good until the next call.
    [[nodiscard]] const std::vector<Record_Finding>& look_at(const Record_Item& item);

    [[nodiscard]] std::uint64_t records() const noexcept { return records_; }
    [[nodiscard]] std::uint64_t bytes() const noexcept { return bytes_; }
    /// Records that have passed the tier and those in front of it, warnings aside in the first two.
    [[nodiscard]] std::uint64_t passed(Tier tier) const noexcept
    {
        return passed_[static_cast<std::size_t>(tier)];
    }
    [[nodiscard]] std::uint64_t errors() const noexcept { return errors_; }
    [[nodiscard]] std::uint64_t warnings() const noexcept { return warnings_; }
    /// Findings by their codes.
    [[nodiscard]] const std::map<std::string_view, std::uint64_t>& counts() const noexcept
    {
        return counts_;
    }

private:
    void look_at_damage(const Record_Item& item);
    void look_at_record(const Record_Item& item);
    void finish();

    std::vector<Record_Finding> findings_;
    Record_Finding damage_; // of the pieces that come
    std::uint64_t records_ = 0;
    std::uint64_t bytes_ = 0;
    std::array<std::uint64_t, 3> passed_{};
    std::uint64_t errors_ = 0;
    std::uint64_t warnings_ = 0;
    std::map<std::string_view, std::uint64_t> counts_;
};

} // namespace krtool
