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

// What was last asked: for which minute of UTC and which time zone, and the local second with which the
// minute begins. In one word, since any thread may write it: 31, 16 and 17 bits.
class Answer {
public:
    explicit constexpr Answer(std::uint64_t word) noexcept : word_(word) {}
    Answer(std::uint64_t minute, std::uint32_t zone, unsigned second) noexcept
        : word_((minute << 16 | (zone & 0xFFFF)) << 17 | second)
    {
    }

    bool is_for(std::uint64_t minute, std::uint32_t zone) const noexcept
    {
        return word_ >> 17 == (minute << 16 | (zone & 0xFFFF));
    }
    unsigned second() const noexcept { return static_cast<unsigned>(word_ & 0x1'FFFF); }
    std::uint64_t word() const noexcept { return word_; }

private:
    std::uint64_t word_;
};

// As ask_system(), which is asked once a minute. Offsets change between minutes.
std::optional<unsigned> local_second(std::int64_t seconds)
{
    static std::atomic<std::uint64_t> last_answer{0};
    const auto minute = static_cast<std::uint64_t>(seconds / 60) + 1; // 0 is none
    const std::uint32_t zone = kr_platform::time_zone_mark();         // of before the question
    Answer answer(last_answer.load(std::memory_order_relaxed));
    if (!answer.is_for(minute, zone)) {
        const std::optional<unsigned> second = ask_system(seconds / 60 * 60);
        if (!second)
            return std::nullopt;
        answer = Answer(minute, zone, *second);
        last_answer.store(answer.word(), std::memory_order_relaxed);
    }
    return (answer.second() + static_cast<unsigned>(seconds % 60)) % day;
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
