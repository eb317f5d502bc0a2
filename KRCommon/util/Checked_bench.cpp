// What the checked readers cost beside the lenient ones and what one would use instead, in the same run.
//
//   TryTime, TryShortTime  kr_try_to_ace_time_value of the full shape, and without zeros in front
//   TryGuid                kr_try_to_guid
//   TryBase64/n            kr_try_decode_base64 of n bytes into a new string
//   TryHex/n               kr_try_from_hex of n bytes into a new string
//   TryAddress             kr_try_to_address of IPv4 with a port into ACE's address
//   TryVersion             kr_try_to_version
//   TryUrl                 kr_try_to_url; lenient: kr_parse_url into texts used again
//     ...Lenient           the form without errors
//     ...Absl, ...Libuuid, ...Openssl, ...Sscanf, ...Curl  peers
//
// One iteration is one text.

#include <KRCommon/util/Addresses.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Strict.h>
#include <KRCommon/util/Guid.h>
#include <KRCommon/util/Text.h>
#include <KRCommon/util/Time_Text.h>
#include <KRCommon/util/Url.h>
#include <KRCommon/util/Version_Retriever.h>

#include <benchmark/benchmark.h>

#if __has_include(<absl/strings/escaping.h>)
#define KR_BENCH_ABSL
#include <absl/strings/escaping.h>
#include <absl/time/time.h>
#endif

#if __has_include(<uuid/uuid.h>)
#define KR_BENCH_LIBUUID
#include <uuid/uuid.h>
#endif

#if __has_include(<openssl/crypto.h>)
#define KR_BENCH_OPENSSL
#include <openssl/crypto.h>
#endif

#if __has_include(<curl/urlapi.h>)
#define KR_BENCH_CURL
#include <curl/curl.h>
#include <curl/urlapi.h>
#endif

#include <array>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

// A thousand texts, each made of random numbers.
template <typename Make>
Texts texts_of(Make make)
{
    std::mt19937_64 random(5);
    Texts texts;
    for (int count = 0; count < 1'024; ++count)
        texts.push_back(make(random));
    return texts;
}

// Walks through the texts, round after round.
template <typename Operation>
void each(benchmark::State& state, const Texts& texts, Operation operation)
{
    std::size_t index = 0;
    for (auto _ : state) {
        auto result = operation(texts[index]);
        benchmark::DoNotOptimize(result);
        if (++index == texts.size())
            index = 0;
    }
}

const Texts& times()
{
    static const Texts texts = texts_of([](auto& random) {
        return kr_to_string(ACE_Time_Value(static_cast<std::time_t>(random() % 4'102'444'800),
                                           static_cast<suseconds_t>(random() % 1'000'000)));
    });
    return texts;
}

const Texts& short_times()
{
    static const Texts texts = texts_of([](auto& random) {
        char text[60];
        std::snprintf(text, sizeof text, "20%02d/%d/%d %d:%d:%d.%d",
                      static_cast<int>(random() % 100), static_cast<int>(random() % 12 + 1),
                      static_cast<int>(random() % 28 + 1), static_cast<int>(random() % 24),
                      static_cast<int>(random() % 60), static_cast<int>(random() % 60),
                      static_cast<int>(random() % 1'000'000));
        return std::string(text);
    });
    return texts;
}

const Texts& guids()
{
    static const Texts texts = texts_of([](auto& random) {
        KR_GUID guid;
        guid.Data1 = static_cast<std::uint32_t>(random());
        guid.Data2 = static_cast<std::uint16_t>(random());
        guid.Data3 = static_cast<std::uint16_t>(random());
        for (std::uint8_t& byte : guid.Data4)
            byte = static_cast<std::uint8_t>(random());
        return kr_to_string(guid);
    });
    return texts;
}

const Texts& addresses()
{
    static const Texts texts = texts_of([](auto& random) {
        return "10." + std::to_string(random() % 256) + "." + std::to_string(random() % 256) + "." +
               std::to_string(random() % 256) + ":" + std::to_string(random() % 65'536);
    });
    return texts;
}

const Texts& versions()
{
    static const Texts texts = texts_of([](auto& random) {
        return std::to_string(random() % 100) + "." + std::to_string(random() % 100) + "." +
               std::to_string(random() % 1'000) + "." + std::to_string(random() % 65'536);
    });
    return texts;
}

const Texts& urls()
{
    static const Texts texts = texts_of([](auto& random) {
        return "rtsp://admin:pw" + std::to_string(random() % 1'000) + "@10.0." +
               std::to_string(random() % 256) + ".5:" + std::to_string(random() % 65'536) +
               "/onvif/device_service?channel=" + std::to_string(random() % 100);
    });
    return texts;
}

std::string random_bytes(std::int64_t size)
{
    std::mt19937_64 random(6);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

void TryTime(benchmark::State& state)
{
    each(state, times(), [](const std::string& text) {
        ACE_Time_Value out;
        benchmark::DoNotOptimize(kr_try_to_ace_time_value(text, out));
        return out;
    });
}

void TryTimeLenient(benchmark::State& state)
{
    each(state, times(), [](const std::string& text) { return kr_to_ace_time_value(text); });
}

void TryShortTime(benchmark::State& state)
{
    each(state, short_times(), [](const std::string& text) {
        ACE_Time_Value out;
        benchmark::DoNotOptimize(kr_try_to_ace_time_value(text, out));
        return out;
    });
}

void TryShortTimeLenient(benchmark::State& state)
{
    each(state, short_times(), [](const std::string& text) { return kr_to_ace_time_value(text); });
}

void TryGuid(benchmark::State& state)
{
    each(state, guids(), [](const std::string& text) {
        KR_GUID out;
        benchmark::DoNotOptimize(kr_try_to_guid(text, out));
        return out;
    });
}

void TryGuidLenient(benchmark::State& state)
{
    each(state, guids(), [](const std::string& text) { return kr_to_guid(text); });
}

template <typename Operation>
void base64(benchmark::State& state, Operation operation)
{
    std::string text;
    KR_Base64::encode(random_bytes(state.range(0)), text, false);
    each(state, {text}, operation);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void TryBase64(benchmark::State& state)
{
    base64(state, [](const std::string& text) {
        std::string out;
        benchmark::DoNotOptimize(kr_try_decode_base64(text, out));
        return out;
    });
}

void TryBase64Lenient(benchmark::State& state)
{
    base64(state, [](const std::string& text) {
        std::string out;
        KR_Base64::decode(text, out);
        return out;
    });
}

template <typename Operation>
void hex(benchmark::State& state, Operation operation)
{
    std::string bytes = random_bytes(state.range(0));
    each(state,
         {kr_to_string(reinterpret_cast<unsigned char*>(bytes.data()),
                       static_cast<unsigned>(bytes.size()))},
         operation);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void TryHex(benchmark::State& state)
{
    hex(state, [](const std::string& text) {
        std::string out;
        benchmark::DoNotOptimize(kr_try_from_hex(text, out));
        return out;
    });
}

void TryAddress(benchmark::State& state)
{
    each(state, addresses(), [](const std::string& text) {
        ACE_INET_Addr out;
        benchmark::DoNotOptimize(kr_try_to_address(text, out));
        return out.get_port_number();
    });
}

void TryAddressLenient(benchmark::State& state)
{
    each(state, addresses(),
         [](const std::string& text) { return ACE_INET_Addr(text.c_str()).get_port_number(); });
}

void TryVersion(benchmark::State& state)
{
    each(state, versions(), [](const std::string& text) {
        KR_Version out{};
        benchmark::DoNotOptimize(kr_try_to_version(text, out));
        return out;
    });
}

void TryVersionSscanf(benchmark::State& state)
{
    each(state, versions(), [](const std::string& text) {
        std::array<int, 4> out{};
        benchmark::DoNotOptimize(
            std::sscanf(text.c_str(), "%d.%d.%d.%d", &out[0], &out[1], &out[2], &out[3]));
        return out;
    });
}

void TryUrl(benchmark::State& state)
{
    KR_Url out;
    each(state, urls(), [&out](const std::string& text) { return kr_try_to_url(text, out); });
}

void TryUrlLenient(benchmark::State& state)
{
    std::string protocol, host, path, query;
    int port = 0;
    each(state, urls(), [&](const std::string& text) {
        return kr_parse_url(text, protocol, host, port, path, query);
    });
}

} // namespace

BENCHMARK(TryTime);
BENCHMARK(TryTimeLenient);
BENCHMARK(TryShortTime);
BENCHMARK(TryShortTimeLenient);
BENCHMARK(TryGuid);
BENCHMARK(TryGuidLenient);
BENCHMARK(TryBase64)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(TryBase64Lenient)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(TryHex)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(TryAddress);
BENCHMARK(TryAddressLenient);
BENCHMARK(TryVersion);
BENCHMARK(TryVersionSscanf);
BENCHMARK(TryUrl);
BENCHMARK(TryUrlLenient);

#ifdef KR_BENCH_ABSL

namespace {

void TryTimeAbsl(benchmark::State& state)
{
    each(state, times(), [](const std::string& text) {
        absl::Time out;
        std::string error;
        benchmark::DoNotOptimize(
            absl::ParseTime("%Y/%m/%d %H:%M:%E6S", text, absl::UTCTimeZone(), &out, &error));
        return out;
    });
}

void TryBase64Absl(benchmark::State& state)
{
    base64(state, [](const std::string& text) {
        std::string out;
        benchmark::DoNotOptimize(absl::Base64Unescape(text, &out));
        return out;
    });
}

void TryHexAbsl(benchmark::State& state)
{
    hex(state, [](const std::string& text) { return absl::HexStringToBytes(text); });
}

} // namespace

BENCHMARK(TryTimeAbsl);
BENCHMARK(TryBase64Absl)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(TryHexAbsl)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);

#endif

#ifdef KR_BENCH_LIBUUID

namespace {

void TryGuidLibuuid(benchmark::State& state)
{
    each(state, guids(), [](const std::string& text) {
        std::array<unsigned char, 16> out{};
        benchmark::DoNotOptimize(uuid_parse(text.c_str(), out.data()));
        return out;
    });
}

} // namespace

BENCHMARK(TryGuidLibuuid);

#endif

#ifdef KR_BENCH_OPENSSL

namespace {

void TryHexOpenssl(benchmark::State& state)
{
    hex(state, [](const std::string& text) {
        std::string out(text.size() / 2, '\0');
        std::size_t size = 0;
        benchmark::DoNotOptimize(OPENSSL_hexstr2buf_ex(reinterpret_cast<unsigned char*>(out.data()),
                                                       out.size(), &size, text.c_str(), '\0'));
        return out;
    });
}

} // namespace

BENCHMARK(TryHexOpenssl)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);

#endif

#ifdef KR_BENCH_CURL

namespace {

// libcurl keeps copies of all parts.
void TryUrlCurl(benchmark::State& state)
{
    CURLU* const url = curl_url();
    each(state, urls(), [url](const std::string& text) {
        return curl_url_set(url, CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME);
    });
    curl_url_cleanup(url);
}

} // namespace

BENCHMARK(TryUrlCurl);

#endif
