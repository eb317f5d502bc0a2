// What encryption costs beside OpenSSL, in the same run.
//
//   EncryptString, DecryptString    a text; the argument is its characters
//     ...OpenSsl                    the same steps on a context of EVP_aes_256_cbc per call
//   ChainEncrypt, ChainDecrypt      key set-up and a message; the argument is its bytes
//     ...Portable                 without the processor's AES instructions
//     ...OpenSslTables              AES_set_..._key and AES_cbc_encrypt, tables without AES-NI
//     ...OpenSslEvp                 a new context of EVP_aes_256_cbc, which takes AES-NI
//   BlockEncrypt, BlockDecrypt      one block with a key that is there
//     ...OpenSslTables              AES_encrypt, AES_decrypt

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/Rijndael.h>
#include <KRCommon/util/String_Encryption.h>

#include <benchmark/benchmark.h>

#if __has_include(<openssl/aes.h>)
#define KR_BENCH_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/aes.h>
#include <openssl/evp.h>
#endif

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kr_internal::CRijndael;

using Bytes = std::vector<unsigned char>;

Bytes random_bytes(std::size_t count)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    Bytes bytes(count);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

std::size_t size_of(const benchmark::State& state)
{
    return static_cast<std::size_t>(state.range(0));
}

const Bytes key = random_bytes(32);
const Bytes chain = random_bytes(16);

std::string plain_text(const benchmark::State& state)
{
    std::string text;
    for (const unsigned char byte : random_bytes(size_of(state)))
        text += static_cast<char>('a' + byte % 26);
    return text;
}

void EncryptString(benchmark::State& state)
{
    const std::string plain = plain_text(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(encrypt_string(plain));
}

void DecryptString(benchmark::State& state)
{
    const std::string hex = encrypt_string(plain_text(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(decrypt_string(hex));
}

void ChainEncrypt(benchmark::State& state)
{
    Bytes bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        CRijndael cipher;
        cipher.MakeKey(key.data(), chain.data());
        cipher.Encrypt(bytes.data(), bytes.data(), bytes.size());
        benchmark::ClobberMemory();
    }
}

void ChainDecrypt(benchmark::State& state)
{
    Bytes bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        CRijndael cipher;
        cipher.MakeKey(key.data(), chain.data());
        cipher.Decrypt(bytes.data(), bytes.data(), bytes.size());
        benchmark::ClobberMemory();
    }
}

void ChainEncryptPortable(benchmark::State& state)
{
    const kr_internal::Forced_Kernels portable({});
    ChainEncrypt(state);
}

void ChainDecryptPortable(benchmark::State& state)
{
    const kr_internal::Forced_Kernels portable({});
    ChainDecrypt(state);
}

void BlockEncrypt(benchmark::State& state)
{
    Bytes block = random_bytes(16);
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    for (auto _ : state)
        cipher.EncryptBlock(block.data(), block.data());
    benchmark::DoNotOptimize(block.data());
}

void BlockDecrypt(benchmark::State& state)
{
    Bytes block = random_bytes(16);
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    for (auto _ : state)
        cipher.DecryptBlock(block.data(), block.data());
    benchmark::DoNotOptimize(block.data());
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(16)->Arg(64)->Arg(128)->Arg(16'384);
}

} // namespace

BENCHMARK(EncryptString)->Arg(7)->Arg(16)->Arg(64);
BENCHMARK(DecryptString)->Arg(7)->Arg(15)->Arg(63);
BENCHMARK(ChainEncrypt)->Apply(sizes);
BENCHMARK(ChainDecrypt)->Apply(sizes);
BENCHMARK(ChainEncryptPortable)->Apply(sizes);
BENCHMARK(ChainDecryptPortable)->Apply(sizes);
BENCHMARK(BlockEncrypt);
BENCHMARK(BlockDecrypt);

#ifdef KR_BENCH_OPENSSL

namespace {

void openssl_chain(unsigned char* bytes, std::size_t count, bool encrypts)
{
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(context, EVP_aes_256_cbc(), nullptr, key.data(), chain.data(), encrypts);
    EVP_CIPHER_CTX_set_padding(context, 0);
    int size = 0;
    EVP_CipherUpdate(context, bytes, &size, bytes, static_cast<int>(count));
    EVP_CIPHER_CTX_free(context);
}

std::string openssl_encrypt_string(const std::string& plain)
{
    Bytes bytes((plain.size() * 2 + 15) / 16 * 16);
    for (std::size_t i = 0; i < plain.size(); ++i)
        bytes[2 * i] = static_cast<unsigned char>(plain[i]);
    openssl_chain(bytes.data(), bytes.size(), true);
    std::string hex(2 * bytes.size(), '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        hex[2 * i] = "0123456789ABCDEF"[bytes[i] >> 4];
        hex[2 * i + 1] = "0123456789ABCDEF"[bytes[i] & 15];
    }
    return hex;
}

unsigned digit_of(char digit)
{
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : (digit | 32) - 'a' + 10);
}

bool is_allowed(unsigned char character)
{
    const auto lower = static_cast<unsigned char>(character | 32);
    return (lower >= 'a' && lower <= 'z') || (character >= '0' && character <= '9') ||
           std::string_view(";-,=._").find(static_cast<char>(character)) != std::string_view::npos;
}

std::string openssl_decrypt_string(const std::string& hex)
{
    Bytes bytes(hex.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(digit_of(hex[2 * i]) << 4 | digit_of(hex[2 * i + 1]));
    openssl_chain(bytes.data(), bytes.size(), false);
    std::string plain;
    for (std::size_t i = 0; i < bytes.size() && is_allowed(bytes[i]); i += 2)
        plain += static_cast<char>(bytes[i]);
    return plain;
}

void EncryptStringOpenSsl(benchmark::State& state)
{
    const std::string plain = plain_text(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(openssl_encrypt_string(plain));
}

void DecryptStringOpenSsl(benchmark::State& state)
{
    const std::string hex = openssl_encrypt_string(plain_text(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(openssl_decrypt_string(hex));
}

void ChainEncryptOpenSslTables(benchmark::State& state)
{
    Bytes bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        AES_KEY keys;
        AES_set_encrypt_key(key.data(), 256, &keys);
        Bytes running = chain;
        AES_cbc_encrypt(bytes.data(), bytes.data(), bytes.size(), &keys, running.data(),
                        AES_ENCRYPT);
        benchmark::ClobberMemory();
    }
}

void ChainDecryptOpenSslTables(benchmark::State& state)
{
    Bytes bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        AES_KEY keys;
        AES_set_decrypt_key(key.data(), 256, &keys);
        Bytes running = chain;
        AES_cbc_encrypt(bytes.data(), bytes.data(), bytes.size(), &keys, running.data(),
                        AES_DECRYPT);
        benchmark::ClobberMemory();
    }
}

void ChainEncryptOpenSslEvp(benchmark::State& state)
{
    Bytes bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        openssl_chain(bytes.data(), bytes.size(), true);
        benchmark::ClobberMemory();
    }
}

void ChainDecryptOpenSslEvp(benchmark::State& state)
{
    Bytes bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        openssl_chain(bytes.data(), bytes.size(), false);
        benchmark::ClobberMemory();
    }
}

void BlockEncryptOpenSslTables(benchmark::State& state)
{
    Bytes block = random_bytes(16);
    AES_KEY keys;
    AES_set_encrypt_key(key.data(), 256, &keys);
    for (auto _ : state)
        AES_encrypt(block.data(), block.data(), &keys);
    benchmark::DoNotOptimize(block.data());
}

void BlockDecryptOpenSslTables(benchmark::State& state)
{
    Bytes block = random_bytes(16);
    AES_KEY keys;
    AES_set_decrypt_key(key.data(), 256, &keys);
    for (auto _ : state)
        AES_decrypt(block.data(), block.data(), &keys);
    benchmark::DoNotOptimize(block.data());
}

} // namespace

BENCHMARK(EncryptStringOpenSsl)->Arg(7)->Arg(16)->Arg(64);
BENCHMARK(DecryptStringOpenSsl)->Arg(7)->Arg(15)->Arg(63);
BENCHMARK(ChainEncryptOpenSslTables)->Apply(sizes);
BENCHMARK(ChainDecryptOpenSslTables)->Apply(sizes);
BENCHMARK(ChainEncryptOpenSslEvp)->Apply(sizes);
BENCHMARK(ChainDecryptOpenSslEvp)->Apply(sizes);
BENCHMARK(BlockEncryptOpenSslTables);
BENCHMARK(BlockDecryptOpenSslTables);

#endif
