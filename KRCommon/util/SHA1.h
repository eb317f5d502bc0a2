#pragma once

/// \file
/// The SHA-1 hasher cSHA1.

#include <KRCommon/KRCommon_Export.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// SHA-1 as in FIPS 180-1 of a message that is fed in pieces.
///
///     cSHA1 hash;
///     hash << "a" << "bc";
///     unsigned words[5];
///     hash.computeHash(words);    // A9993E36 4706816A BA3E2571 7850C26C 9CD0D89D
///     std::string text;
///     hash.computeHash(text);     // "363E99A96A81064771253EBA6CC250789DD8D09C"
///
/// SHA-1 tells changed data from unchanged; it no longer protects against somebody who prepares two
/// messages with one digest.
///
/// Threads: an object belongs to one thread at a time. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT cSHA1 {
public:
    cSHA1() noexcept { reset(); }
    /// Copied and moved as a whole, member by member.
    /// @{
    cSHA1(const cSHA1&) = default;
    cSHA1& operator=(const cSHA1&) = default;
    virtual ~cSHA1() = default;
    /// @}

    /// Begins a new message, whatever state the object is in.
    void reset() noexcept;

    /// Feeds length bytes. Null or no bytes change nothing, not even after computeHash().
    ///
    /// Feeding after computeHash(), or more than 2^64 - 8 bits in all, makes every computeHash()
    /// answer false until reset().
    void input(const unsigned char* data, unsigned length) noexcept;

    /// Feeds the bytes of a text without its terminating zero, as input() does.
    cSHA1& operator<<(const char* text) noexcept;

    /// Feeds a wide text in UTF-16, without its terminating zero, as input() does: two bytes for
    /// each 16-bit unit, the low one first.
    ///
    /// Linux: where a character has 32 bits, one beyond U+FFFF is fed as its surrogate pair, so
    /// that a text has the same digest as on Windows. Of a number above 0x10FFFF, which is no
    /// character, the low 16 bits are fed.
    cSHA1& operator<<(const wchar_t* text) noexcept;

    /// Ends the message and writes its digest as five 32-bit words. May be called again, with the
    /// same result. After wrong feeding, see input(), answers false and leaves the words alone.
    bool computeHash(unsigned* digest) noexcept;

    /// The same as 40 upper-case hexadecimal digits, which replace the text.
    ///
    /// Quirk: each word is written with its lowest byte first, so this is not the usual text of a
    /// digest: "abc" gives 363E99A9..., not A9993E36.... Consumers compare these texts.
    bool computeHash(std::string& digest);

private:
    void input(const char* data, unsigned length) noexcept;
    void feed(const unsigned char* data, std::size_t length) noexcept;
    bool add_to_length(std::uint64_t bytes) noexcept; // false: the message is too long
    void processBlock() noexcept;
    void pad() noexcept;

    std::uint32_t h_[5];
    std::uint32_t length_low_; // the message's length in bits
    std::uint32_t length_high_;
    unsigned char block_[64]; // zeros from index_ on
    std::int32_t index_;      // where block_ is filled next, below 64 between calls
    bool computed_;
    bool corrupted_;
};
