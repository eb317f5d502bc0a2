// What SHA-1 costs beside other ways, in the same run. The argument is the message's bytes.
//
//   Hash           cSHA1, the message in one piece
//   HashPortable   the same without the processor's SHA instructions
//   HashWide       the same as a wide text
//   HashTextbook   the standard's steps, a byte at a time
//   HashOpenSsl    SHA1_Init, SHA1_Update, SHA1_Final
//   HashOpenSslEvp EVP_Digest
//
// OpenSSL takes the processor's own SHA instructions where there are any. Its scalar code answers
// when it is told that the processor has neither these nor vectors:
//   OPENSSL_ia32cap='~0x1200020000000000:~0x20000128' util_bench --benchmark_filter=Hash

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/SHA1.h>

#include <benchmark/benchmark.h>

#if __has_include(<openssl/sha.h>)
#define KR_BENCH_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/evp.h>
#include <openssl/sha.h>
#endif

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<unsigned char> random_message(const benchmark::State& state)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    std::vector<unsigned char> bytes(static_cast<std::size_t>(state.range(0)));
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

void count_bytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Hash(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    unsigned digest[5];
    for (auto _ : state) {
        cSHA1 hash;
        hash.input(message.data(), static_cast<unsigned>(message.size()));
        hash.computeHash(digest);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

void HashPortable(benchmark::State& state)
{
    const kr_internal::Forced_Kernels portable({});
    Hash(state);
}

void HashWide(benchmark::State& state)
{
    const std::wstring text(static_cast<std::size_t>(state.range(0)) / 2, L'x');
    unsigned digest[5];
    for (auto _ : state) {
        cSHA1 hash;
        hash << text.c_str();
        hash.computeHash(digest);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

class Textbook {
public:
    void feed(unsigned char byte)
    {
        block_[index_++] = byte;
        length_ += 8;
        if (index_ == 64)
            process();
    }

    const std::uint32_t* finish()
    {
        const std::uint64_t length = length_;
        feed(0x80);
        while (index_ != 56)
            feed(0);
        for (int shift = 56; shift >= 0; shift -= 8)
            feed(static_cast<unsigned char>(length >> shift));
        return h_;
    }

private:
    static std::uint32_t rotate(std::uint32_t word, unsigned bits)
    {
        return word << bits | word >> (32 - bits);
    }

    [[gnu::noinline]] void process()
    {
        std::uint32_t w[80];
        for (std::size_t t = 0; t < 16; ++t) {
            w[t] = static_cast<std::uint32_t>(block_[4 * t]) << 24;
            w[t] |= static_cast<std::uint32_t>(block_[4 * t + 1]) << 16;
            w[t] |= static_cast<std::uint32_t>(block_[4 * t + 2]) << 8;
            w[t] |= block_[4 * t + 3];
        }
        for (std::size_t t = 16; t < 80; ++t)
            w[t] = rotate(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
        std::uint32_t a = h_[0];
        std::uint32_t b = h_[1];
        std::uint32_t c = h_[2];
        std::uint32_t d = h_[3];
        std::uint32_t e = h_[4];
        for (std::size_t t = 0; t < 80; ++t) {
            std::uint32_t f = b ^ c ^ d;
            if (t < 20)
                f = (b & c) | (~b & d);
            else if (t >= 40 && t < 60)
                f = (b & c) | (b & d) | (c & d);
            constexpr std::uint32_t k[] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};
            const std::uint32_t next = rotate(a, 5) + f + e + w[t] + k[t / 20];
            e = d;
            d = c;
            c = rotate(b, 30);
            b = a;
            a = next;
        }
        h_[0] += a;
        h_[1] += b;
        h_[2] += c;
        h_[3] += d;
        h_[4] += e;
        index_ = 0;
    }

    std::uint32_t h_[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    std::uint64_t length_ = 0;
    unsigned char block_[64] = {};
    std::size_t index_ = 0;
};

void HashTextbook(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    for (auto _ : state) {
        Textbook hash;
        for (const unsigned char byte : message)
            hash.feed(byte);
        benchmark::DoNotOptimize(*hash.finish());
    }
    count_bytes(state);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(100)->Arg(10'000)->Arg(1'000'000);
}

} // namespace

BENCHMARK(Hash)->Apply(sizes);
BENCHMARK(HashPortable)->Apply(sizes);
BENCHMARK(HashWide)->Apply(sizes);
BENCHMARK(HashTextbook)->Apply(sizes);

#ifdef KR_BENCH_OPENSSL

namespace {

void HashOpenSsl(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    unsigned char digest[SHA_DIGEST_LENGTH];
    for (auto _ : state) {
        SHA_CTX context;
        SHA1_Init(&context);
        SHA1_Update(&context, message.data(), message.size());
        SHA1_Final(digest, &context);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

void HashOpenSslEvp(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    unsigned char digest[SHA_DIGEST_LENGTH];
    for (auto _ : state) {
        EVP_Digest(message.data(), message.size(), digest, nullptr, EVP_sha1(), nullptr);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

} // namespace

BENCHMARK(HashOpenSsl)->Apply(sizes);
BENCHMARK(HashOpenSslEvp)->Apply(sizes);

#endif
