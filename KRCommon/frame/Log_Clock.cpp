#include <KRCommon/frame/Log_Clock.h>

#include <KRCommon/platform/Platform.h>

#include <atomic>
#include <optional>
#include <string>

namespace kr_internal {

namespace {

constexpr unsigned day = 24 * 60 * 60; // in seconds

unsigned number_of(const std::string& text, std::size_t place)
{
    return static_cast<unsigned>(text[place] - '0') * 10 +
           static_cast<unsigned>(text[place + 1] - '0');
}

// The local second of the day, from 0; nothing for an instant that the system does not convert.
std::optional<unsigned> ask_system(std::int64_t seconds)
{
    const std::string text = kr_platform::local_clock_text(seconds); // "hh:mm:ss"
    if (text.size() != 8)
        return std::nullopt;
    return (number_of(text, 0) * 60 + number_of(text, 3)) * 60 + number_of(text, 6);
}

// The same, from the second with which its minute of UTC begins. Offsets change between minutes.
std::optional<unsigned> local_second(std::int64_t seconds)
{
    // The minute in the upper half, counted from 1 so that 0 is none, its first second in the lower.
    static std::atomic<std::uint64_t> last_answer{0};
    const auto minute = static_cast<std::uint64_t>(seconds / 60) + 1;
    std::uint64_t answer = last_answer.load(std::memory_order_relaxed);
    if (answer >> 32 != minute) {
        const std::optional<unsigned> second = ask_system(seconds / 60 * 60);
        if (!second)
            return std::nullopt;
        answer = minute << 32 | *second;
        last_answer.store(answer, std::memory_order_relaxed);
    }
    return (static_cast<unsigned>(answer) + static_cast<unsigned>(seconds % 60)) % day;
}

// So many digits, and what comes after the last.
char* put(char* out, unsigned number, int digits) noexcept
{
    for (int i = digits; i-- > 0; number /= 10)
        out[i] = static_cast<char>('0' + number % 10);
    return out + digits;
}

} // namespace

Stamp_Text local_stamp(std::int64_t microseconds) noexcept
{
    Stamp_Text text{};
    if (microseconds < 0)
        return text;
    const std::optional<unsigned> second = local_second(microseconds / 1'000'000);
    if (!second)
        return text;
    char* out = put(text.data(), *second / 3600, 2);
    *out++ = ':';
    out = put(out, *second / 60 % 60, 2);
    *out++ = ':';
    out = put(out, *second % 60, 2);
    *out++ = '.';
    put(out, static_cast<unsigned>(microseconds % 1'000'000), 6);
    return text;
}

} // namespace kr_internal
