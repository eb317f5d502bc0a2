// What Base64 costs beside other ways, in the same run; bytes per second are those of the binary
// data. The argument is their number.
//
//   Encode, Decode               KR_Base64, into a string that is used again
//   EncodeLines, DecodeLines     the same with line breaks
//   ...:level                    all of these with one level of instructions
//   EncodeLiteral, DecodeLiteral the rules a character at a time, appended
//   EncodeOpenSsl, DecodeOpenSsl EVP_EncodeBlock, EVP_DecodeBlock
//   EncodeLinesOpenSsl           EVP_EncodeUpdate, which breaks after 64 characters
//   EncodeCopy, DecodeCopy       memcpy of as many bytes as come out, the limit

#include <KRCommon/util/Base64.h>

#include <tests/support/Kernel_Bench.h>

#include <benchmark/benchmark.h>

#if __has_include(<openssl/evp.h>)
#define KR_BENCH_OPENSSL
#include <openssl/evp.h>
#endif

#include <cstring>
#include <random>
#include <string>

namespace {

std::string random_bytes(const benchmark::State& state)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    std::string bytes(static_cast<std::size_t>(state.range(0)), '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string text_of(const std::string& bytes, bool line_breaks)
{
    std::string text;
    KR_Base64::encode(bytes, text, line_breaks);
    return text;
}

void count_bytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void run_encode(benchmark::State& state, bool line_breaks)
{
    const std::string bytes = random_bytes(state);
    std::string text;
    for (auto _ : state) {
        KR_Base64::encode(bytes, text, line_breaks);
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

void Encode(benchmark::State& state)
{
    run_encode(state, false);
}

void EncodeLines(benchmark::State& state)
{
    run_encode(state, true);
}

void run_decode(benchmark::State& state, bool line_breaks)
{
    const std::string text = text_of(random_bytes(state), line_breaks);
    std::string bytes;
    for (auto _ : state) {
        KR_Base64::decode(text, bytes);
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

void Decode(benchmark::State& state)
{
    run_decode(state, false);
}

void DecodeLines(benchmark::State& state)
{
    run_decode(state, true);
}

[[gnu::noinline]] void literal_encode(const std::string& bytes, std::string& text)
{
    text.clear();
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = bytes.size() - i;
        const unsigned b0 = static_cast<unsigned char>(bytes[i]);
        const unsigned b1 = count > 1 ? static_cast<unsigned char>(bytes[i + 1]) : 0;
        const unsigned b2 = count > 2 ? static_cast<unsigned char>(bytes[i + 2]) : 0;
        text += KR_Base64::bstr[b0 >> 2];
        text += KR_Base64::bstr[(b0 & 3) << 4 | b1 >> 4];
        text += count > 1 ? KR_Base64::bstr[(b1 & 15) << 2 | b2 >> 6] : '=';
        text += count > 2 ? KR_Base64::bstr[b2 & 63] : '=';
    }
}

void EncodeLiteral(benchmark::State& state)
{
    const std::string bytes = random_bytes(state);
    std::string text;
    for (auto _ : state) {
        literal_encode(bytes, text);
        benchmark::DoNotOptimize(text.data());
    }
    count_bytes(state);
}

int literal_value(char character)
{
    return character < 0 ? 0 : KR_Base64::rstr[static_cast<unsigned char>(character)];
}

[[gnu::noinline]] void literal_decode(const std::string& text, std::string& bytes)
{
    bytes.clear();
    for (std::size_t i = 0; i < text.size(); i += 4) {
        while (i < text.size() && (text[i] == '\r' || text[i] == '\n'))
            ++i;
        if (text.size() - i < 4)
            return;
        const int r0 = literal_value(text[i]);
        const int r1 = literal_value(text[i + 1]);
        const int r2 = literal_value(text[i + 2]);
        const int r3 = literal_value(text[i + 3]);
        bytes += static_cast<char>((r0 << 2) ^ ((r1 >> 4) & 3));
        if (text[i + 2] != '=')
            bytes += static_cast<char>(((r1 << 4) & 255) ^ ((r2 >> 2) & 15));
        if (text[i + 3] != '=')
            bytes += static_cast<char>(((r2 << 6) + r3) & 255);
    }
}

void DecodeLiteral(benchmark::State& state)
{
    const std::string text = text_of(random_bytes(state), false);
    std::string bytes;
    for (auto _ : state) {
        literal_decode(text, bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    count_bytes(state);
}

void run_copy(benchmark::State& state, const std::string& from)
{
    std::string to(from.size(), '\0');
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

void EncodeCopy(benchmark::State& state)
{
    run_copy(state, text_of(random_bytes(state), false));
}

void DecodeCopy(benchmark::State& state)
{
    run_copy(state, random_bytes(state));
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(100)->Arg(10'000)->Arg(1'000'000);
}

const bool are_registered = register_for_each_level("Encode", Encode, sizes) &&
                            register_for_each_level("EncodeLines", EncodeLines, sizes) &&
                            register_for_each_level("Decode", Decode, sizes) &&
                            register_for_each_level("DecodeLines", DecodeLines, sizes);

} // namespace

BENCHMARK(Encode)->Apply(sizes);
BENCHMARK(EncodeLines)->Apply(sizes);
BENCHMARK(EncodeLiteral)->Apply(sizes);
BENCHMARK(EncodeCopy)->Apply(sizes);
BENCHMARK(Decode)->Apply(sizes);
BENCHMARK(DecodeLines)->Apply(sizes);
BENCHMARK(DecodeLiteral)->Apply(sizes);
BENCHMARK(DecodeCopy)->Apply(sizes);

#ifdef KR_BENCH_OPENSSL

namespace {

unsigned char* bytes_of(std::string& text)
{
    return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* bytes_of(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

void EncodeOpenSsl(benchmark::State& state)
{
    const std::string bytes = random_bytes(state);
    std::string text(bytes.size() * 2 + 8, '\0');
    for (auto _ : state) {
        EVP_EncodeBlock(bytes_of(text), bytes_of(bytes), static_cast<int>(bytes.size()));
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

void EncodeLinesOpenSsl(benchmark::State& state)
{
    const std::string bytes = random_bytes(state);
    std::string text(bytes.size() * 2 + 100, '\0');
    EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    for (auto _ : state) {
        int size = 0;
        EVP_EncodeInit(context);
        EVP_EncodeUpdate(context, bytes_of(text), &size, bytes_of(bytes),
                         static_cast<int>(bytes.size()));
        EVP_EncodeFinal(context, bytes_of(text) + size, &size);
        benchmark::ClobberMemory();
    }
    EVP_ENCODE_CTX_free(context);
    count_bytes(state);
}

void DecodeOpenSsl(benchmark::State& state)
{
    const std::string text = text_of(random_bytes(state), false);
    std::string bytes(text.size(), '\0');
    for (auto _ : state) {
        EVP_DecodeBlock(bytes_of(bytes), bytes_of(text), static_cast<int>(text.size()));
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

} // namespace

BENCHMARK(EncodeOpenSsl)->Apply(sizes);
BENCHMARK(EncodeLinesOpenSsl)->Apply(sizes);
BENCHMARK(DecodeOpenSsl)->Apply(sizes);

#endif
