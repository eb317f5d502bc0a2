#pragma once

/// \file
/// The record of an agent, KR_Agent_Data.

#include <KRCommon/KRCommon_Export.h>

#include <krsoap/krsoap.h>

#include <cstdint>

/// What the services know of one agent: the web-service record, and behind it what they add.
///
///     ns__Agent agent;
///     agent.values = {1, 4, 4};
///     const KR_Agent_Data data = agent; // data.CombinedMask is 5
///
/// Verbatim: a member named only for its place (AddedByte, LastWords) has a meaning that the
/// services agree on among themselves; it is carried as it is.
/// Threads: a value; it belongs to one thread at a time.
/// Failure: copying may throw std::bad_alloc; moving never throws.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_Agent_Data : public ns__Agent {
public:
    /// The web-service record with its own defaults and no values; everything added is zero.
    KR_Agent_Data();

    /// Takes the whole record over and sets CombinedMask; everything else added is zero. So an
    /// assignment from a record clears what was added.
    KR_Agent_Data(const ns__Agent& agent); // NOLINT(google-explicit-constructor): a conversion

    /// Copied and moved as a whole, member by member.
    /// @{
    KR_Agent_Data(const KR_Agent_Data& other);
    KR_Agent_Data(KR_Agent_Data&& other) noexcept;
    KR_Agent_Data& operator=(const KR_Agent_Data& other);
    KR_Agent_Data& operator=(KR_Agent_Data&& other) noexcept;
    ~KR_Agent_Data() override;
    /// @}

    std::uint32_t AddedWord = 0;       ///< carried as it is
    std::uint64_t AddedValues[6] = {}; ///< carried as it is
    std::uint32_t AddedWords[9] = {};  ///< carried as it is
    std::uint8_t AddedByte = 0;        ///< carried as it is
    std::uint32_t LastWords[4] = {};   ///< carried as it is

    /// All values of the record joined with OR, 0 where it had none. The conversion from the record
    /// sets it, and nothing keeps it up to date when the values change later.
    std::uint32_t CombinedMask = 0;
};
