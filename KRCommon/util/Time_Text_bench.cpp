// What the time text costs beside what one would use instead, in the same run.
//
//   FormatTime, ParseTime  kr_to_string and kr_to_ace_time_value
//     ...Literal           gmtime, strftime and snprintf; sscanf and timegm
//     ...Fmt               fmt with its chrono formatter
//     ...Strptime          strptime and timegm
//     ...Absl              absl::FormatTime, absl::ParseTime
//     ...Copy              a new string of as many characters: the least that a text costs
//   ParseShort             kr_to_ace_time_value of texts without zeros in front
//     ...Literal           sscanf and timegm
//   ExtractTime            kr_extract_time
//   FormatIso, ParseIso    kr_to_iso8601, kr_try_from_iso8601
//     ...Absl              absl::FormatTime, absl::ParseTime
//
// One iteration is one of 4,096 instants between 1970 and 2100.

#include <KRCommon/util/Time_Forms.h>
#include <KRCommon/util/Time_Text.h>

#include <benchmark/benchmark.h>

#if __has_include(<absl/time/time.h>) && __has_include(<fmt/chrono.h>)
#define KR_BENCH_TIME_PEERS
#include <absl/time/time.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#endif

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

struct Instants {
    std::vector<ACE_Time_Value> values;
    std::vector<std::string> texts;
    std::vector<std::string> short_texts;
    std::vector<std::string> iso_texts;
};

const Instants& instants()
{
    static const Instants all = [] {
        Instants made;
        std::mt19937_64 random(1);
        for (int count = 0; count < 4'096; ++count) {
            const auto seconds = static_cast<std::time_t>(random() % 4'102'444'800);
            made.values.emplace_back(seconds, static_cast<suseconds_t>(random() % 1'000'000));
            made.texts.push_back(kr_to_string(made.values.back()));
            const ACE_Date_Time date = kr_to_ace_date_time(made.values.back());
            char text[60];
            std::snprintf(text, sizeof text, "%ld/%ld/%ld %ld:%ld:%ld.%ld", date.year(),
                          date.month(), date.day(), date.hour(), date.minute(), date.second(),
                          date.microsec());
            made.short_texts.emplace_back(text);
            made.iso_texts.push_back(kr_to_iso8601(made.values.back()));
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

void FormatTime(benchmark::State& state)
{
    each(state, instants().values, [](const ACE_Time_Value& value) { return kr_to_string(value); });
}

void FormatTimeCopy(benchmark::State& state)
{
    each(state, instants().texts, [](const std::string& text) { return std::string(text); });
}

void ParseTime(benchmark::State& state)
{
    each(state, instants().texts,
         [](const std::string& text) { return kr_to_ace_time_value(text); });
}

void ParseShort(benchmark::State& state)
{
    each(state, instants().short_texts,
         [](const std::string& text) { return kr_to_ace_time_value(text); });
}

void ExtractTime(benchmark::State& state)
{
    each(state, instants().values, [](const ACE_Time_Value& value) {
        ACE_Time_Value time_of_day;
        kr_extract_time(value, time_of_day);
        return time_of_day;
    });
}

void FormatIso(benchmark::State& state)
{
    each(state, instants().values,
         [](const ACE_Time_Value& value) { return kr_to_iso8601(value); });
}

void ParseIso(benchmark::State& state)
{
    each(state, instants().iso_texts, [](const std::string& text) {
        ACE_Time_Value value;
        benchmark::DoNotOptimize(kr_try_from_iso8601(text, value));
        return value;
    });
}

} // namespace

BENCHMARK(FormatIso);
BENCHMARK(ParseIso);
BENCHMARK(FormatTime);
BENCHMARK(FormatTimeCopy);
BENCHMARK(ParseTime);
BENCHMARK(ParseShort);
BENCHMARK(ExtractTime);

#ifdef KR_BENCH_TIME_PEERS

namespace {

std::string literal_text(const ACE_Time_Value& value)
{
    const std::time_t seconds = value.sec();
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    char date[100];
    std::strftime(date, sizeof date, "%Y/%m/%d %H:%M:%S", &fields);
    char text[120];
    std::snprintf(text, sizeof text, "%s.%06u", date, static_cast<unsigned>(value.usec()));
    return text;
}

ACE_Time_Value literal_value(const std::string& text)
{
    std::tm fields{};
    int microsecond = 0;
    if (std::sscanf(text.c_str(), "%04d/%02d/%02d %02d:%02d:%02d.%06d", &fields.tm_year,
                    &fields.tm_mon, &fields.tm_mday, &fields.tm_hour, &fields.tm_min,
                    &fields.tm_sec, &microsecond) < 7)
        return ACE_Time_Value(-1);
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    return ACE_Time_Value(timegm(&fields), microsecond);
}

std::string fmt_text(const ACE_Time_Value& value)
{
    return fmt::format("{:%Y/%m/%d %H:%M:%S}.{:06}", fmt::gmtime(value.sec()), value.usec());
}

ACE_Time_Value strptime_value(const std::string& text)
{
    std::tm fields{};
    const char* rest = strptime(text.c_str(), "%Y/%m/%d %H:%M:%S.", &fields);
    return ACE_Time_Value(timegm(&fields), rest != nullptr ? std::atoi(rest) : 0);
}

std::string absl_text(const ACE_Time_Value& value)
{
    const absl::Time time =
        absl::FromUnixMicros(value.sec() * std::int64_t{1'000'000} + value.usec());
    return absl::FormatTime("%Y/%m/%d %H:%M:%E6S", time, absl::UTCTimeZone());
}

std::int64_t absl_value(const std::string& text)
{
    absl::Time time;
    std::string error;
    if (!absl::ParseTime("%Y/%m/%d %H:%M:%E6S", text, absl::UTCTimeZone(), &time, &error))
        return -1;
    return absl::ToUnixMicros(time);
}

void FormatTimeLiteral(benchmark::State& state)
{
    each(state, instants().values, literal_text);
}

void FormatTimeFmt(benchmark::State& state)
{
    each(state, instants().values, fmt_text);
}

void FormatIsoAbsl(benchmark::State& state)
{
    each(state, instants().values, [](const ACE_Time_Value& value) {
        const absl::Time time =
            absl::FromUnixMicros(value.sec() * std::int64_t{1'000'000} + value.usec());
        return absl::FormatTime("%Y-%m-%d%ET%H:%M:%E3S%Ez", time, absl::UTCTimeZone());
    });
}

void ParseIsoAbsl(benchmark::State& state)
{
    each(state, instants().iso_texts, [](const std::string& text) {
        absl::Time time;
        std::string error;
        benchmark::DoNotOptimize(absl::ParseTime(absl::RFC3339_full, text, &time, &error));
        return time;
    });
}

void FormatTimeAbsl(benchmark::State& state)
{
    each(state, instants().values, absl_text);
}

void ParseTimeLiteral(benchmark::State& state)
{
    each(state, instants().texts, literal_value);
}

void ParseTimeStrptime(benchmark::State& state)
{
    each(state, instants().texts, strptime_value);
}

void ParseTimeAbsl(benchmark::State& state)
{
    each(state, instants().texts, absl_value);
}

void ParseShortLiteral(benchmark::State& state)
{
    each(state, instants().short_texts, literal_value);
}

} // namespace

BENCHMARK(FormatTimeLiteral);
BENCHMARK(FormatTimeFmt);
BENCHMARK(FormatIsoAbsl);
BENCHMARK(ParseIsoAbsl);
BENCHMARK(FormatTimeAbsl);
BENCHMARK(ParseTimeLiteral);
BENCHMARK(ParseTimeStrptime);
BENCHMARK(ParseTimeAbsl);
BENCHMARK(ParseShortLiteral);

#endif
