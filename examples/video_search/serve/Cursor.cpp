#include "Cursor.h"

#include "Api_Error.h"
#include "store/Store_Query.h"

#include <KRCommon/util/Time_Text.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <system_error>
#include <tuple>

namespace video_search {

Cursor cursor_of(const Hit& hit)
{
    return {to_microseconds(hit.first_seen), hit.sensor, hit.result.objectId, hit.result.duration,
            hit.score};
}

Cursor cursor_of(const KR_Object_View& record, std::uint64_t object_id, const Criteria& criteria)
{
    return {to_microseconds(record.first_seen_time()), record.sensor_id(), object_id,
            record.duration(), ranking_score(record, criteria)};
}

bool is_behind(const Cursor& one, const Cursor& other, Order order)
{
    const auto key = [](const Cursor& cursor) {
        return std::tuple(cursor.first_seen, cursor.sensor.word1, cursor.sensor.word2,
                          cursor.object_id);
    };
    switch (order) {
    case Order::latest: return key(one) < key(other);
    case Order::duration:
        return std::tuple(other.duration, key(one)) > std::tuple(one.duration, key(other));
    case Order::score: return std::tuple(other.score, key(one)) > std::tuple(one.score, key(other));
    case Order::time: break;
    }
    return key(one) > key(other);
}

namespace {

// FNV-1a of all that decides what is found and in which order.
std::uint32_t digest_of(const Criteria& criteria)
{
    Criteria all = criteria;
    all.limit.reset();
    std::string text = kr_to_string(from_time(all)) + kr_to_string(to_time(all));
    for (const std::string& word : in_words(all))
        text += '\n' + word;
    std::uint32_t digest = 2'166'136'261U;
    for (const char c : text)
        digest = (digest ^ static_cast<unsigned char>(c)) * 16'777'619U;
    return digest;
}

std::uint32_t bits_of(float value)
{
    std::uint32_t bits = 0;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float float_of(std::uint32_t bits)
{
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

[[noreturn]] void refuse()
{
    throw bad_parameter("cursor", "the cursor is none that this service gave");
}

// The next number of the text, and the dot behind it.
template <class Number>
Number take(std::string_view& text)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        refuse();
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (!text.empty()) {
        if (text[0] != '.' || text.size() == 1)
            refuse();
        text.remove_prefix(1);
    }
    return number;
}

} // namespace

std::string to_text(const Cursor& cursor, const Criteria& criteria)
{
    return std::to_string(digest_of(criteria)) + '.' + std::to_string(cursor.first_seen) + '.' +
           std::to_string(cursor.sensor.word1) + '.' + std::to_string(cursor.sensor.word2) + '.' +
           std::to_string(cursor.object_id) + '.' + std::to_string(cursor.duration) + '.' +
           std::to_string(bits_of(cursor.score));
}

Cursor parse_cursor(const std::string& text, const Criteria& criteria)
{
    std::string_view rest = text;
    const auto digest = take<std::uint32_t>(rest);
    Cursor cursor;
    cursor.first_seen = take<std::int64_t>(rest);
    cursor.sensor.word1 = take<std::int32_t>(rest);
    cursor.sensor.word2 = take<std::int32_t>(rest);
    cursor.object_id = take<std::uint64_t>(rest);
    cursor.duration = take<std::uint32_t>(rest);
    cursor.score = float_of(take<std::uint32_t>(rest));
    if (!rest.empty() || text.back() == '.' || std::isnan(cursor.score))
        refuse();
    if (digest != digest_of(criteria))
        throw bad_parameter("cursor", "the cursor belongs to another search");
    return cursor;
}

} // namespace video_search
