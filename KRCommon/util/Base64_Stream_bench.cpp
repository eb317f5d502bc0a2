// What Base64 in the caller's buffers and in pieces costs beside KR_Base64 and OpenSSL, in the same run;
// bytes per second are those of the binary data. The argument is their number.
//
//   StreamEncode, StreamDecode          one call, standard alphabet
//   StreamEncodeUrl, StreamDecodeUrl    one call, alphabet for URLs
//   StreamEncodeLines                   one call, with line breaks
//   StreamEncodePieces, StreamDecodePieces
//                                       in pieces of 4 KiB
//   StreamEncodeString, StreamDecodeString
//                                       KR_Base64, into a string that is used again
//   StreamEncodeOpenSsl, StreamDecodeOpenSsl
//                                       EVP_EncodeUpdate, EVP_DecodeUpdate in pieces of 4 KiB; the
//                                       former breaks lines after 64 characters

#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Stream.h>

#include <benchmark/benchmark.h>

#if __has_include(<openssl/evp.h>)
#define KR_BENCH_OPENSSL
#include <openssl/evp.h>
#endif

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t piece_size = 4096;

std::string random_bytes(const benchmark::State& state)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    std::string bytes(static_cast<std::size_t>(state.range(0)), '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string text_of(const std::string& bytes, const KR_Base64_Format& format)
{
    std::string text(static_cast<std::size_t>(kr_base64_size(bytes.size(), format)), '\0');
    std::size_t size = 0;
    benchmark::DoNotOptimize(
        kr_encode_base64(bytes.data(), bytes.size(), text.data(), text.size(), size, format));
    return text;
}

// Calls code(), which fills `out`.
template <typename Out, typename Code>
void run(benchmark::State& state, const Out& out, Code code)
{
    for (auto _ : state) {
        code();
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void run_encode(benchmark::State& state, const KR_Base64_Format& format)
{
    const std::string bytes = random_bytes(state);
    std::string text = text_of(bytes, format);
    std::size_t size = 0;
    run(state, text, [&] {
        benchmark::DoNotOptimize(
            kr_encode_base64(bytes.data(), bytes.size(), text.data(), text.size(), size, format));
    });
}

void StreamEncode(benchmark::State& state)
{
    run_encode(state, {});
}

void StreamEncodeUrl(benchmark::State& state)
{
    run_encode(state, {KR_Base64_Alphabet::url_safe, false, false});
}

void StreamEncodeLines(benchmark::State& state)
{
    run_encode(state, {KR_Base64_Alphabet::standard, true, true});
}

void run_decode(benchmark::State& state, KR_Base64_Alphabet alphabet)
{
    const std::string text = text_of(random_bytes(state), {alphabet});
    std::vector<unsigned char> bytes(text.size() / 4 * 3 + 3);
    std::size_t size = 0;
    run(state, bytes, [&] {
        benchmark::DoNotOptimize(
            kr_decode_base64(text.data(), text.size(), bytes.data(), bytes.size(), size, alphabet));
    });
}

void StreamDecode(benchmark::State& state)
{
    run_decode(state, KR_Base64_Alphabet::standard);
}

void StreamDecodeUrl(benchmark::State& state)
{
    run_decode(state, KR_Base64_Alphabet::url_safe);
}

// Calls code(begin, length) for each piece.
template <typename Code>
void in_pieces(const std::string& all, Code code)
{
    for (std::size_t at = 0; at < all.size(); at += piece_size)
        code(all.data() + at, std::min(piece_size, all.size() - at));
}

void StreamEncodePieces(benchmark::State& state)
{
    const std::string bytes = random_bytes(state);
    std::vector<char> text(2 * piece_size);
    run(state, text, [&] {
        KR_Base64_Encoder encoder;
        in_pieces(bytes, [&](const char* piece, std::size_t length) {
            benchmark::DoNotOptimize(encoder.encode(piece, length, text.data(), text.size()).read);
        });
        benchmark::DoNotOptimize(encoder.finish(text.data(), text.size()).written);
    });
}

void StreamDecodePieces(benchmark::State& state)
{
    const std::string text = text_of(random_bytes(state), {});
    std::vector<unsigned char> bytes(piece_size);
    run(state, bytes, [&] {
        KR_Base64_Decoder decoder;
        in_pieces(text, [&](const char* piece, std::size_t length) {
            benchmark::DoNotOptimize(
                decoder.decode(piece, length, bytes.data(), bytes.size()).read);
        });
        benchmark::DoNotOptimize(decoder.finish(bytes.data(), bytes.size()).written);
    });
}

void StreamEncodeString(benchmark::State& state)
{
    const std::string bytes = random_bytes(state);
    std::string text;
    run(state, text, [&] { KR_Base64::encode(bytes, text, false); });
}

void StreamDecodeString(benchmark::State& state)
{
    const std::string text = text_of(random_bytes(state), {});
    std::string bytes;
    run(state, bytes, [&] { KR_Base64::decode(text, bytes); });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(100)->Arg(10'000)->Arg(1'000'000);
}

} // namespace

BENCHMARK(StreamEncode)->Apply(sizes);
BENCHMARK(StreamEncodeUrl)->Apply(sizes);
BENCHMARK(StreamEncodeLines)->Apply(sizes);
BENCHMARK(StreamEncodePieces)->Apply(sizes);
BENCHMARK(StreamEncodeString)->Apply(sizes);
BENCHMARK(StreamDecode)->Apply(sizes);
BENCHMARK(StreamDecodeUrl)->Apply(sizes);
BENCHMARK(StreamDecodePieces)->Apply(sizes);
BENCHMARK(StreamDecodeString)->Apply(sizes);

#ifdef KR_BENCH_OPENSSL

namespace {

const unsigned char* unsigned_of(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

void StreamEncodeOpenSsl(benchmark::State& state)
{
    const std::string bytes = random_bytes(state);
    std::vector<unsigned char> text(2 * piece_size);
    EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    run(state, text, [&] {
        int size = 0;
        EVP_EncodeInit(context);
        in_pieces(bytes, [&](const char* piece, std::size_t length) {
            EVP_EncodeUpdate(context, text.data(), &size, unsigned_of(piece),
                             static_cast<int>(length));
        });
        EVP_EncodeFinal(context, text.data(), &size);
    });
    EVP_ENCODE_CTX_free(context);
}

void StreamDecodeOpenSsl(benchmark::State& state)
{
    const std::string text = text_of(random_bytes(state), {});
    std::vector<unsigned char> bytes(2 * piece_size);
    EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    run(state, bytes, [&] {
        int size = 0;
        EVP_DecodeInit(context);
        in_pieces(text, [&](const char* piece, std::size_t length) {
            EVP_DecodeUpdate(context, bytes.data(), &size, unsigned_of(piece),
                             static_cast<int>(length));
        });
        EVP_DecodeFinal(context, bytes.data(), &size);
    });
    EVP_ENCODE_CTX_free(context);
}

} // namespace

BENCHMARK(StreamEncodeOpenSsl)->Apply(sizes);
BENCHMARK(StreamDecodeOpenSsl)->Apply(sizes);

#endif
