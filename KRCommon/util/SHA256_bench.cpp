// What SHA-256 costs beside other ways, in the same run. The argument is the message's bytes.
//
//   Sha256           cSHA256, the message in one piece
//   Sha256Portable   the same without the processor's SHA instructions
//   Sha256Wide       the same as a wide text
//   Sha256OpenSsl    SHA256_Init, SHA256_Update, SHA256_Final
//   Sha256OpenSslEvp EVP_Digest
//
// OpenSSL takes the processor's own SHA instructions where there are any. Its scalar code answers
// when it is told that the processor has neither these nor vectors:
//   OPENSSL_ia32cap='~0x1200020000000000:~0x20000128' util_bench --benchmark_filter=Sha256

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/SHA256.h>

#include <benchmark/benchmark.h>

#if __has_include(<openssl/sha.h>)
#define KR_BENCH_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/evp.h>
#include <openssl/sha.h>
#endif

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

void Sha256(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    unsigned digest[8];
    for (auto _ : state) {
        cSHA256 hash;
        hash.input(message.data(), static_cast<unsigned>(message.size()));
        hash.computeHash(digest);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

void Sha256Portable(benchmark::State& state)
{
    const kr_internal::Forced_Kernels portable({});
    Sha256(state);
}

void Sha256Wide(benchmark::State& state)
{
    const std::wstring text(static_cast<std::size_t>(state.range(0)) / 2, L'x');
    unsigned digest[8];
    for (auto _ : state) {
        cSHA256 hash;
        hash << text.c_str();
        hash.computeHash(digest);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(100)->Arg(10'000)->Arg(1'000'000);
}

} // namespace

BENCHMARK(Sha256)->Apply(sizes);
BENCHMARK(Sha256Portable)->Apply(sizes);
BENCHMARK(Sha256Wide)->Apply(sizes);

#ifdef KR_BENCH_OPENSSL

namespace {

void Sha256OpenSsl(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    unsigned char digest[SHA256_DIGEST_LENGTH];
    for (auto _ : state) {
        SHA256_CTX context;
        SHA256_Init(&context);
        SHA256_Update(&context, message.data(), message.size());
        SHA256_Final(digest, &context);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

void Sha256OpenSslEvp(benchmark::State& state)
{
    const std::vector<unsigned char> message = random_message(state);
    unsigned char digest[SHA256_DIGEST_LENGTH];
    for (auto _ : state) {
        EVP_Digest(message.data(), message.size(), digest, nullptr, EVP_sha256(), nullptr);
        benchmark::DoNotOptimize(digest);
    }
    count_bytes(state);
}

} // namespace

BENCHMARK(Sha256OpenSsl)->Apply(sizes);
BENCHMARK(Sha256OpenSslEvp)->Apply(sizes);

#endif
