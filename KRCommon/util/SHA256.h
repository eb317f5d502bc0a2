#pragma once

/// \file
/// The SHA-256 hasher cSHA256.

#include <KRCommon/KRCommon_Export.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// SHA-256 as in FIPS 180-4 of a message that is fed in pieces, in the shape of cSHA1.
///
///     cSHA256 hash;
///     hash << "a" << "bc";
///     unsigned words[8];
///     hash.computeHash(words);    // BA7816BF 8F01CFEA 414140DE 5DAE2223 B00361A3 96177A9C ...
///     std::string text;
///     hash.computeHash(text);     // "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"
///
/// Threads: an object belongs to one thread at a time. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT cSHA256 {
public:
    cSHA256() noexcept { reset(); }
    /// Copied and moved as a whole, member by member.
    /// @{
    cSHA256(const cSHA256&) = default;
    cSHA256& operator=(const cSHA256&) = default;
    virtual ~cSHA256() = default;
    /// @}

    /// Begins a new message, whatever state the object is in.
    void reset() noexcept;

    /// Feeds length bytes. Null or no bytes change nothing, not even after computeHash().
    ///
    /// Feeding after computeHash(), or more than 2^64 - 8 bits in all, makes every computeHash()
    /// answer false until reset().
    void input(const unsigned char* data, unsigned length) noexcept;

    /// Feeds the bytes of a text without its terminating zero, as input() does.
    cSHA256& operator<<(const char* text) noexcept;

    /// Feeds a wide text in UTF-16, without its terminating zero, as input() does: two bytes for
    /// each 16-bit unit, the low one first.
    ///
    /// Linux: where a character has 32 bits, one beyond U+FFFF is fed as its surrogate pair, so
    /// that a text has the same digest as on Windows. Of a number above 0x10FFFF, which is no
    /// character, the low 16 bits are fed.
    cSHA256& operator<<(const wchar_t* text) noexcept;

    /// Ends the message and writes its digest as eight 32-bit words. May be called again, with the
    /// same result. After wrong feeding, see input(), answers false and leaves the words alone.
    bool computeHash(unsigned* digest) noexcept;

    /// The same as 64 upper-case hexadecimal digits in the standard's order, which replace the text.
    bool computeHash(std::string& digest);

private:
    void feed(const unsigned char* data, std::size_t length) noexcept;
    bool add_to_length(std::uint64_t bytes) noexcept; // false: the message is too long
    void processBlock() noexcept;
    void pad() noexcept;

    std::uint32_t h_[8];
    std::uint64_t length_;    // of the message, in bits
    unsigned char block_[64]; // zeros from index_ on
    std::int32_t index_;      // where block_ is filled next, below 64 between calls
    bool computed_;
    bool corrupted_;
};
