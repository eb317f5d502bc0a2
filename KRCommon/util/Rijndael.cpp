#include <KRCommon/util/Rijndael.h>

#include <KRCommon/kernels/Kernels.h>

#include <cstring>

namespace kr_internal {

void wipe(void* memory, std::size_t size) noexcept
{
    std::memset(memory, 0, size);
    asm volatile("" : : "r"(memory) : "memory"); // might read it, for all the compiler knows
}

CRijndael::~CRijndael()
{
    wipe(&secrets_, sizeof secrets_);
}

int CRijndael::MakeKey(const unsigned char* key, const unsigned char* chain) noexcept
{
    if (key == nullptr)
        return -1;
    if (chain == nullptr)
        std::memset(secrets_.initial_chain, 0, sizeof secrets_.initial_chain);
    else
        std::memcpy(secrets_.initial_chain, chain, sizeof secrets_.initial_chain);
    ResetChain();
    kernels().expand_aes_key(key, secrets_.encryption_keys);
    has_key_ = true;
    has_decryption_keys_ = false;
    return 0;
}

void CRijndael::ResetChain() noexcept
{
    std::memcpy(secrets_.chain, secrets_.initial_chain, sizeof secrets_.chain);
}

void CRijndael::make_decryption_keys() noexcept
{
    kernels().invert_aes_keys(secrets_.encryption_keys, secrets_.decryption_keys);
    has_decryption_keys_ = true;
}

int CRijndael::check(std::size_t n) const noexcept
{
    if (!has_key_)
        return 1;
    return n == 0 || n % block_size != 0 ? -1 : 0;
}

int CRijndael::EncryptBlock(const unsigned char* in, unsigned char* out) noexcept
{
    if (!has_key_)
        return 1;
    unsigned char no_chain[block_size] = {};
    kernels().encrypt_aes(secrets_.encryption_keys, no_chain, in, out, 1);
    return 0;
}

int CRijndael::DecryptBlock(const unsigned char* in, unsigned char* out) noexcept
{
    if (!has_key_)
        return 1;
    if (!has_decryption_keys_)
        make_decryption_keys();
    unsigned char no_chain[block_size] = {};
    kernels().decrypt_aes(secrets_.decryption_keys, no_chain, in, out, 1);
    return 0;
}

int CRijndael::Encrypt(const unsigned char* in, unsigned char* out, std::size_t n) noexcept
{
    if (const int failure = check(n))
        return failure;
    kernels().encrypt_aes(secrets_.encryption_keys, secrets_.chain, in, out, n / block_size);
    return 0;
}

int CRijndael::Decrypt(const unsigned char* in, unsigned char* out, std::size_t n) noexcept
{
    if (const int failure = check(n))
        return failure;
    if (!has_decryption_keys_)
        make_decryption_keys();
    kernels().decrypt_aes(secrets_.decryption_keys, secrets_.chain, in, out, n / block_size);
    return 0;
}

} // namespace kr_internal
