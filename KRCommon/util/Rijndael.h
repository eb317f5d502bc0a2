#pragma once

/// \file
/// AES with a key of 256 bits (FIPS 197) and cipher-block chaining (SP 800-38A, section 6.2).
///
/// Where the processor has no instructions for AES, table lookups take the time that the caches allow:
/// somebody who can measure it precisely learns about the key. Good for keeping texts from casual
/// readers, not for more.
///
/// Threads: an object belongs to one thread at a time. Never throws. Same on Windows and Linux.

#include <cstddef>
#include <cstdint>

namespace kr_internal {

/// Fills memory with zeros, also where the compiler sees that nobody reads it any more.
void wipe(void* memory, std::size_t size) noexcept;

/// One key and one chain. Input and output may be the same memory but may not overlap otherwise.
/// Keys and chains are wiped with the object.
class CRijndael {
public:
    static constexpr int key_length = 32; ///< bytes
    static constexpr int block_size = 16; ///< bytes
    static constexpr int rounds = 14;

    CRijndael() = default;
    CRijndael(const CRijndael&) = delete;
    CRijndael& operator=(const CRijndael&) = delete;
    virtual ~CRijndael();

    /// Sets the key, 32 bytes, and the initial chain, 16 bytes; a null chain stands for zeros.
    /// Returns 0, or -1 without a change when the key is null.
    int MakeKey(const unsigned char* key, const unsigned char* chain) noexcept;

    /// Goes back to the initial chain, for the next message.
    void ResetChain() noexcept;

    /// One block of 16 bytes, without chaining. Returns 0, or 1 without output before MakeKey().
    int EncryptBlock(const unsigned char* in, unsigned char* out) noexcept;
    int DecryptBlock(const unsigned char* in, unsigned char* out) noexcept;

    /// n bytes, the next of the message. One running chain serves both, so that a message is either
    /// encrypted or decrypted. Returns 0; 1 before MakeKey(); -1 when n is 0 or no multiple of 16.
    /// Without success nothing is written.
    int Encrypt(const unsigned char* in, unsigned char* out, std::size_t n) noexcept;
    int Decrypt(const unsigned char* in, unsigned char* out, std::size_t n) noexcept;

private:
    static constexpr int key_words = 4 * (rounds + 1);

    [[nodiscard]] int check(std::size_t n) const noexcept;
    void make_decryption_keys() noexcept;

    // Set by MakeKey(), and wiped.
    struct Secrets {
        unsigned char initial_chain[block_size] = {};
        unsigned char chain[block_size] = {};
        std::uint32_t encryption_keys[key_words];
        std::uint32_t decryption_keys[key_words];
    };

    bool has_key_ = false;
    bool has_decryption_keys_ = false; // made with the first block to be decrypted
    Secrets secrets_;                  // NOLINT(cppcoreguidelines-pro-type-member-init)
};

} // namespace kr_internal
