#include <KRCommon/frame/Log_Format.h>

#include <KRCommon/text/Digits.h>
#include <KRCommon/text/Unicode.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>

namespace kr_internal {

namespace {

bool is_control(char c) noexcept
{
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7f;
}

void append_escaped(std::string& out, char c)
{
    switch (c) {
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: break;
    }
    const auto code = static_cast<unsigned char>(c);
    out += {'\\', 'x', lower_hex_digits[code >> 4], lower_hex_digits[code & 15]};
}

// Ends a text that is too long; does not leave the front half of a UTF-8 character behind.
void cut(std::string& text, std::size_t room)
{
    constexpr std::string_view mark = "...";
    std::size_t end = std::min(text.size(), room - mark.size());
    for (int i = 0; i < 3 && end > 0 && end < text.size() && is_continuation(text[end]); ++i)
        --end;
    text.resize(end);
    text += mark;
}

// The first place of a directive in a format; null without one.
const char* find_directive(const char* format, std::string_view directive) noexcept
{
    for (const char* c = std::strchr(format, '%'); c != nullptr; c = std::strchr(c, '%')) {
        if (std::strncmp(c, directive.data(), directive.size()) == 0)
            return c;
        c += c[1] == '%' ? 2 : 1;
    }
    return nullptr;
}

char* append(char* out, const char* text, std::size_t length) noexcept
{
    std::memcpy(out, text, length);
    return out + length;
}

// At least four digits.
char* append_thread_number(char* out, unsigned number) noexcept
{
    for (unsigned limit = 1000; limit > 1 && number < limit; limit /= 10)
        *out++ = '0';
    return std::to_chars(out, out + std::numeric_limits<unsigned>::digits10 + 1, number).ptr;
}

} // namespace

bool is_harmless(std::string_view text, std::size_t room) noexcept
{
    return text.size() <= room && std::none_of(text.begin(), text.end(), is_control);
}

std::string escape(std::string_view text, std::size_t room)
{
    std::string out;
    for (const char c : text) {
        if (is_control(c))
            append_escaped(out, c);
        else
            out += c;
        if (out.size() > room) {
            cut(out, room);
            break;
        }
    }
    return out;
}

const char* with_stamp(const char* format, const char* stamp, unsigned thread,
                       Format_Buffer& buffer) noexcept
{
    constexpr std::string_view stamp_directive = "%T";
    constexpr std::string_view thread_directive = "%04t";
    const char* const stamp_place =
        *stamp != '\0' ? find_directive(format, stamp_directive) : nullptr;
    const char* const thread_place = find_directive(format, thread_directive);
    if (stamp_place == nullptr && thread_place == nullptr)
        return format;
    char* out = buffer.data();
    const char* rest = format;
    const auto put_stamp = [&] {
        out = append(out, rest, static_cast<std::size_t>(stamp_place - rest));
        out = append(out, stamp, std::strlen(stamp));
        rest = stamp_place + stamp_directive.size();
    };
    const auto put_thread = [&] {
        out = append(out, rest, static_cast<std::size_t>(thread_place - rest));
        out = append_thread_number(out, thread);
        rest = thread_place + thread_directive.size();
    };
    const bool is_stamp_first = thread_place == nullptr || stamp_place < thread_place;
    if (stamp_place != nullptr && is_stamp_first)
        put_stamp();
    if (thread_place != nullptr)
        put_thread();
    if (stamp_place != nullptr && !is_stamp_first)
        put_stamp();
    append(out, rest, std::strlen(rest) + 1);
    return buffer.data();
}

const char* with_held_back(const char* format, std::uint64_t held_back,
                           Format_Buffer& buffer) noexcept
{
    if (held_back == 0)
        return format;
    const std::string_view text(format);
    const std::size_t end = text.find_last_not_of('\n') + 1;
    std::snprintf(buffer.data(), buffer.size(), "%.*s (%llu held back)%s", static_cast<int>(end),
                  format, static_cast<unsigned long long>(held_back), format + end);
    return buffer.data();
}

} // namespace kr_internal
