// What the text helpers cost beside what one would use instead, in the same run.
//
//   Hex/n          kr_to_string of n bytes
//     ...Append    one character appended after the other
//     ...:level    the same with one level of instructions
//     ...Absl      absl::BytesToHexString (lower case)
//     ...Copy      a new string of as many characters: the least that a text costs
//   HexDecode/n    digits back to n bytes
//     ...Absl      absl::HexStringToBytes
//   FormatGuid     kr_to_string of an identifier
//   ParseGuid      kr_to_guid
//     ...Ace       ACE_Utils::UUID
//   Split/n/m      kr_split of n pieces of m characters into a new vector; "each" is one piece
//     ...Find      find and substr
//     ...Absl      absl::StrSplit
//     ...Copy      the pieces alone, copied
//   ParseUrl       kr_parse_url into texts used again
//     ...Find      find and substr
//   Lower/n        to_lower of n characters
//     ...Absl      absl::AsciiStrToLower
//   PrefixMatch    kr_is_prefix_match of a list of 4 with ","
//     ...Regex     an expression compiled for the call, and a token iterator

#include <KRCommon/util/Guid.h>
#include <KRCommon/util/Text.h>
#include <KRCommon/util/Url.h>

#include <tests/support/Kernel_Bench.h>

#include <ace/UUID.h>

#include <benchmark/benchmark.h>

#if __has_include(<absl/strings/str_split.h>)
#define KR_BENCH_ABSL
#include <absl/strings/ascii.h>
#include <absl/strings/escaping.h>
#include <absl/strings/str_split.h>
#endif

#include <cstdint>
#include <random>
#include <regex>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

std::mt19937_64& random_numbers()
{
    static std::mt19937_64 numbers(1);
    return numbers;
}

std::vector<unsigned char> random_bytes(std::size_t size)
{
    std::vector<unsigned char> bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random_numbers()());
    return bytes;
}

std::size_t size_of(const benchmark::State& state)
{
    return static_cast<std::size_t>(state.range(0));
}

void count_bytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <typename Operation>
void hex(benchmark::State& state, Operation operation)
{
    std::vector<unsigned char> bytes = random_bytes(size_of(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes.data());
        auto text = operation(bytes);
        benchmark::DoNotOptimize(text.data());
    }
    count_bytes(state);
}

std::string appended_hex(const std::vector<unsigned char>& bytes)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

void Hex(benchmark::State& state)
{
    hex(state, [](std::vector<unsigned char>& bytes) {
        return kr_to_string(bytes.data(), static_cast<unsigned>(bytes.size()));
    });
}

template <typename Operation>
void hex_decode(benchmark::State& state, Operation operation)
{
    std::vector<unsigned char> bytes = random_bytes(size_of(state));
    const std::string text = kr_to_string(bytes.data(), static_cast<unsigned>(bytes.size()));
    std::string back(bytes.size(), '\0');
    for (auto _ : state) {
        operation(text, back);
        benchmark::DoNotOptimize(back.data());
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

void HexDecode(benchmark::State& state)
{
    hex_decode(state, [](const std::string& text, std::string& back) {
        kr_internal::kernels().decode_hex(text.data(), back.size(),
                                          reinterpret_cast<unsigned char*>(back.data()));
    });
}

void hex_sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(20)->Arg(1 << 10)->Arg(1 << 16);
}

const bool are_registered = register_for_each_level("Hex", Hex, hex_sizes) &&
                            register_for_each_level("HexDecode", HexDecode, hex_sizes);

void HexAppend(benchmark::State& state)
{
    hex(state, appended_hex);
}

void HexCopy(benchmark::State& state)
{
    const std::string text = appended_hex(random_bytes(size_of(state)));
    hex(state, [&](const std::vector<unsigned char>&) { return std::string(text); });
}

struct Guids {
    std::vector<KR_GUID> values;
    Texts texts;
};

const Guids& guids()
{
    static const Guids all = [] {
        Guids made;
        for (int count = 0; count < 1'024; ++count) {
            KR_GUID guid;
            guid.Data1 = static_cast<std::uint32_t>(random_numbers()());
            guid.Data2 = static_cast<std::uint16_t>(random_numbers()());
            guid.Data3 = static_cast<std::uint16_t>((random_numbers()() & 0xFFF) | 0x4000);
            for (std::uint8_t& byte : guid.Data4)
                byte = static_cast<std::uint8_t>(random_numbers()());
            guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3F) | 0x80);
            made.values.push_back(guid);
            made.texts.push_back(kr_to_string(guid));
        }
        return made;
    }();
    return all;
}

// Walks through the inputs, round after round.
template <typename Inputs, typename Operation>
void each(benchmark::State& state, const Inputs& inputs, Operation operation)
{
    std::size_t index = 0;
    for (auto _ : state) {
        auto result = operation(inputs[index]);
        benchmark::DoNotOptimize(result);
        if (++index == inputs.size())
            index = 0;
    }
}

std::string ace_guid_text(const KR_GUID& guid)
{
    ACE_Utils::UUID uuid;
    uuid.time_low(guid.Data1);
    uuid.time_mid(guid.Data2);
    uuid.time_hi_and_version(guid.Data3);
    uuid.clock_seq_hi_and_reserved(guid.Data4[0]);
    uuid.clock_seq_low(guid.Data4[1]);
    ACE_Utils::UUID_Node node;
    for (std::size_t index = 0; index < 6; ++index)
        node.node_ID()[index] = guid.Data4[index + 2];
    uuid.node(node);
    return uuid.to_string()->c_str();
}

KR_GUID ace_guid(const std::string& text)
{
    const ACE_Utils::UUID uuid(ACE_CString(text.c_str()));
    KR_GUID guid;
    guid.Data1 = uuid.time_low();
    guid.Data2 = uuid.time_mid();
    guid.Data3 = uuid.time_hi_and_version();
    guid.Data4[0] = uuid.clock_seq_hi_and_reserved();
    guid.Data4[1] = uuid.clock_seq_low();
    for (std::size_t index = 0; index < 6; ++index)
        guid.Data4[index + 2] = uuid.node().node_ID()[index];
    return guid;
}

void FormatGuid(benchmark::State& state)
{
    each(state, guids().values, [](const KR_GUID& guid) { return kr_to_string(guid); });
}

void FormatGuidAce(benchmark::State& state)
{
    each(state, guids().values, ace_guid_text);
}

void ParseGuid(benchmark::State& state)
{
    each(state, guids().texts, kr_to_guid);
}

void ParseGuidAce(benchmark::State& state)
{
    each(state, guids().texts, ace_guid);
}

template <typename Operation>
void split(benchmark::State& state, Operation operation)
{
    const auto length = static_cast<std::size_t>(state.range(1));
    std::string text(length, 'a');
    for (std::size_t piece = 1; piece < size_of(state); ++piece)
        text += ',' + std::string(length, static_cast<char>('a' + piece % 26));
    for (auto _ : state) {
        Texts pieces = operation(text);
        benchmark::DoNotOptimize(pieces.data());
    }
    state.counters["each"] = benchmark::Counter(static_cast<double>(state.range(0)),
                                                benchmark::Counter::kIsIterationInvariantRate |
                                                    benchmark::Counter::kInvert);
}

Texts split_by_find(const std::string& text)
{
    Texts pieces;
    std::size_t start = 0;
    for (std::size_t found = 0; found != std::string::npos; start = found + 1) {
        found = text.find(',', start);
        pieces.push_back(text.substr(start, found - start));
    }
    return pieces;
}

void Split(benchmark::State& state)
{
    const std::string delimiter = ",";
    split(state, [&](const std::string& text) {
        Texts pieces;
        kr_split(pieces, text, delimiter);
        return pieces;
    });
}

void SplitFind(benchmark::State& state)
{
    split(state, split_by_find);
}

void SplitCopy(benchmark::State& state)
{
    Texts pieces;
    split(state, [&](const std::string& text) {
        if (pieces.empty())
            pieces = split_by_find(text);
        return pieces;
    });
}

struct Url_Parts {
    std::string protocol;
    std::string host;
    std::string path;
    std::string query;
    int port = 0;
};

const Texts& urls()
{
    static const Texts all = [] {
        Texts made;
        for (int count = 0; count < 256; ++count)
            made.push_back("rtsp://10.0." + std::to_string(count) +
                           ".5:" + std::to_string(random_numbers()() % 65'536) +
                           "/onvif/device_service?channel=" + std::to_string(count));
        return made;
    }();
    return all;
}

bool url_by_find(const std::string& url, Url_Parts& parts)
{
    const std::size_t mark = url.find("://");
    if (mark == std::string::npos)
        return false;
    parts.protocol = url.substr(0, mark);
    const std::size_t slash = url.find('/', mark + 3);
    const std::string authority = url.substr(mark + 3, slash - mark - 3);
    const std::size_t colon = authority.find(':');
    parts.host = authority.substr(0, colon);
    parts.port = colon != std::string::npos ? std::atoi(authority.substr(colon + 1).c_str()) : 0;
    const std::string rest = slash != std::string::npos ? url.substr(slash + 1) : std::string();
    const std::size_t question = rest.find('?');
    parts.path = rest.substr(0, question);
    parts.query = question != std::string::npos ? rest.substr(question + 1) : std::string();
    return true;
}

void ParseUrl(benchmark::State& state)
{
    Url_Parts parts;
    each(state, urls(), [&](const std::string& url) {
        return kr_parse_url(url, parts.protocol, parts.host, parts.port, parts.path, parts.query);
    });
}

void ParseUrlFind(benchmark::State& state)
{
    Url_Parts parts;
    each(state, urls(), [&](const std::string& url) { return url_by_find(url, parts); });
}

template <typename Operation>
void lower(benchmark::State& state, Operation operation)
{
    std::string text(size_of(state), ' ');
    for (char& character : text)
        character = static_cast<char>(random_numbers()() % 128);
    for (auto _ : state) {
        operation(text);
        benchmark::DoNotOptimize(text.data());
        benchmark::ClobberMemory();
    }
    count_bytes(state);
}

void Lower(benchmark::State& state)
{
    lower(state, to_lower);
}

const std::string prefixes = "camera,microphone,keyboard,relay";
const Texts candidates = {"relay 7", "camera 12", "keyboard", "unknown thing", "microphone 1"};

bool match_by_regex(const std::string& text)
{
    const std::regex expression(",");
    std::sregex_token_iterator piece(prefixes.begin(), prefixes.end(), expression, -1);
    for (const std::sregex_token_iterator end; piece != end; ++piece)
        if (text.compare(0, static_cast<std::size_t>(piece->length()), *piece) == 0)
            return true;
    return false;
}

void PrefixMatch(benchmark::State& state)
{
    each(state, candidates,
         [](const std::string& text) { return kr_is_prefix_match(prefixes, text, ","); });
}

void PrefixMatchRegex(benchmark::State& state)
{
    each(state, candidates, match_by_regex);
}

} // namespace

BENCHMARK(Hex)->Apply(hex_sizes);
BENCHMARK(HexAppend)->Apply(hex_sizes);
BENCHMARK(HexCopy)->Apply(hex_sizes);
BENCHMARK(HexDecode)->Apply(hex_sizes);
BENCHMARK(FormatGuid);
BENCHMARK(FormatGuidAce);
BENCHMARK(ParseGuid);
BENCHMARK(ParseGuidAce);
BENCHMARK(Split)->Args({10, 6})->Args({1'000, 6})->Args({100, 40});
BENCHMARK(SplitFind)->Args({10, 6})->Args({1'000, 6})->Args({100, 40});
BENCHMARK(SplitCopy)->Args({10, 6})->Args({1'000, 6})->Args({100, 40});
BENCHMARK(ParseUrl);
BENCHMARK(ParseUrlFind);
BENCHMARK(Lower)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(PrefixMatch);
BENCHMARK(PrefixMatchRegex);

#ifdef KR_BENCH_ABSL

namespace {

void HexAbsl(benchmark::State& state)
{
    hex(state, [](const std::vector<unsigned char>& bytes) {
        const auto* const data = reinterpret_cast<const char*>(bytes.data());
        return absl::BytesToHexString(absl::string_view(data, bytes.size()));
    });
}

void HexDecodeAbsl(benchmark::State& state)
{
    hex_decode(state, [](const std::string& text, std::string& back) {
        back = absl::HexStringToBytes(text);
    });
}

void SplitAbsl(benchmark::State& state)
{
    split(state, [](const std::string& text) -> Texts { return absl::StrSplit(text, ','); });
}

void LowerAbsl(benchmark::State& state)
{
    lower(state, [](std::string& text) { absl::AsciiStrToLower(&text); });
}

} // namespace

BENCHMARK(HexAbsl)->Apply(hex_sizes);
BENCHMARK(HexDecodeAbsl)->Apply(hex_sizes);
BENCHMARK(SplitAbsl)->Args({10, 6})->Args({1'000, 6})->Args({100, 40});
BENCHMARK(LowerAbsl)->Arg(20)->Arg(1 << 10)->Arg(1 << 16);

#endif
