#pragma once

/// \file
/// The record of a video analytics processor, VapData.

#include <KRCommon/KRCommon_Export.h>

#include <cstdint>
#include <string>

/// One video analytics processor (VAP), ordered by its identifier, so that it can be kept in sorted
/// containers.
///
///     std::set<VapData> processors;
///     VapData processor;
///     processor.Id = 3;
///     processors.insert(processor); // does nothing where a processor with this identifier is kept
///
/// Verbatim: a member named only for its place (FirstText, LastWord) has a meaning that the
/// services agree on among themselves; it is carried as it is.
/// Threads: a value; it belongs to one thread at a time.
/// Failure: copying may throw std::bad_alloc; moving and comparing never throw.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT VapData {
public:
    /// Zero and empty throughout.
    VapData();

    /// Copied and moved as a whole, member by member.
    /// @{
    VapData(const VapData& other);
    VapData(VapData&& other) noexcept;
    VapData& operator=(const VapData& other);
    VapData& operator=(VapData&& other) noexcept;
    ~VapData();
    /// @}

    /// Both compare the identifiers and nothing else, as unsigned numbers: records with one
    /// identifier and different texts are equal, and neither is less than the other.
    bool operator<(const VapData& other) const noexcept;
    /// As operator<.
    bool operator==(const VapData& other) const noexcept;

    std::uint32_t Id = 0;       ///< what VapData is ordered by
    std::string FirstText;      ///< carried as it is
    std::uint32_t Word = 0;     ///< carried as it is
    std::string SecondText;     ///< carried as it is
    std::uint32_t LastWord = 0; ///< no default is agreed on; it starts at 0 here
};
