#include <KRCommon/util/Text.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/kernels/Vector.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <locale>
#include <regex>
#include <string_view>

std::string kr_to_string(unsigned char* data, unsigned length)
{
    std::string text(kr_internal::size_for(std::string(), kr_internal::hex_size(length)), '\0');
    kr_internal::kernels().encode_hex(data, length, text.data());
    return text;
}

namespace {

constexpr std::size_t most_on_stack = 1'024;

// Decodes into room for text.size() / 2 bytes.
KR_Parse_Result decode_hex(std::string_view text, unsigned char* out) noexcept
{
    const std::size_t size = text.size() / 2;
    std::size_t at = 2 * kr_internal::kernels().decode_hex(text.data(), size, out);
    while (at < text.size() && kr_internal::digit_value(text[at]) != kr_internal::no_digit)
        ++at;
    if (at < text.size())
        return {KR_Parse_Error::character, at};
    return {at % 2 == 0 ? KR_Parse_Error::none : KR_Parse_Error::cut, at};
}

} // namespace

KR_Parse_Result kr_try_from_hex(std::string_view text, std::string& out)
{
    const std::size_t size = text.size() / 2;
    if (size <= most_on_stack) {
        unsigned char bytes[most_on_stack];
        const KR_Parse_Result result = decode_hex(text, bytes);
        if (result)
            out.assign(reinterpret_cast<const char*>(bytes), size);
        return result;
    }
    std::string bytes(size, '\0');
    const KR_Parse_Result result = decode_hex(text, reinterpret_cast<unsigned char*>(bytes.data()));
    if (result)
        out.swap(bytes);
    return result;
}

KR_Parse_Result kr_try_from_hex(std::string_view text, unsigned char* out,
                                std::size_t size) noexcept
{
    // Nothing is written before all is known to be right: a piece at a time is decoded aside.
    unsigned char aside[most_on_stack];
    for (std::size_t at = 0; at < text.size(); at += 2 * most_on_stack) {
        const KR_Parse_Result result = decode_hex(text.substr(at, 2 * most_on_stack), aside);
        if (!result)
            return {result.error, at + result.position};
    }
    if (text.size() / 2 < size)
        return {KR_Parse_Error::cut, text.size()};
    if (text.size() / 2 > size)
        return {KR_Parse_Error::surplus, 2 * size};
    if (size <= most_on_stack)
        std::copy_n(aside, size, out);
    else
        static_cast<void>(decode_hex(text, out));
    return {KR_Parse_Error::none, text.size()};
}

namespace {

using namespace kr_internal::vector;

constexpr std::size_t block = sizeof(Bytes);

bool is_element(const std::vector<std::string>& texts, const std::string& text) noexcept
{
    const std::less<const std::string*> before;
    return !before(&text, texts.data()) && before(&text, texts.data() + texts.size());
}

// The places of a character among 16 from a position, as bits, the first one the lowest.
unsigned places_of(char character, std::string_view text, std::size_t position) noexcept
{
    char last[block] = {};
    const std::size_t rest = text.size() - position;
    const bool is_last = rest < block;
    if (is_last)
        std::memcpy(last, text.data() + position, rest);
    const Bytes characters = load_bytes(is_last ? last : text.data() + position);
    const unsigned places = mask_of(equal(characters, all_bytes(character)));
    return is_last ? places & ((1U << rest) - 1) : places;
}

// Calls visit(start, end) for each piece but the last. Returns the start of the last one.
template <typename Visit>
std::size_t visit_pieces(std::string_view text, std::string_view delimiter, Visit visit)
{
    std::size_t start = 0;
    for (std::size_t position = 0; position < text.size(); position += block) {
        unsigned places = places_of(delimiter.front(), text, position);
        for (; places != 0; places &= places - 1) {
            const std::size_t found = position + static_cast<unsigned>(__builtin_ctz(places));
            if (delimiter.size() > 1 &&
                (found < start || text.substr(found, delimiter.size()) != delimiter))
                continue;
            visit(start, found);
            start = found + delimiter.size();
        }
    }
    return start;
}

// Room for so many more, without losing the vector's doubling when pieces come call by call.
void make_room(std::vector<std::string>& out, std::size_t more)
{
    const std::size_t needed = kr_internal::size_for(out, std::uint64_t{out.size()} + more);
    if (needed > out.capacity())
        out.reserve(std::max(needed, std::min(2 * out.capacity(), out.max_size())));
}

void append_pieces(std::vector<std::string>& out, std::string_view text, std::string_view delimiter)
{
    std::size_t count = 1;
    visit_pieces(text, delimiter, [&](std::size_t, std::size_t) { ++count; });
    make_room(out, count);
    const std::size_t last = visit_pieces(text, delimiter, [&](std::size_t start, std::size_t end) {
        out.emplace_back(text.data() + start, end - start);
    });
    out.emplace_back(text.substr(last));
}

} // namespace

void kr_split(std::vector<std::string>& out, const std::string& text, const std::string& delimiter)
{
    // Elements move when the vector grows.
    if (is_element(out, text) || is_element(out, delimiter))
        return kr_split(out, std::string(text), std::string(delimiter));
    if (delimiter.empty())
        out.push_back(text);
    else
        append_pieces(out, text, delimiter);
}

namespace {

constexpr char lower_case_bit = 0x20;

void lower_block(char* text) noexcept
{
    const Bytes characters = load_bytes(text);
    // 'A' to 'Z' become -128 to -103, the lowest of signed bytes.
    const Bytes shifted = sum(characters, all_bytes(128 - 'A'));
    const Bytes are_capitals = signed_less(shifted, all_bytes(-128 + 26));
    store_bytes(text, either(characters, both(are_capitals, all_bytes(lower_case_bit))));
}

char lower(char character) noexcept
{
    const bool is_capital = character >= 'A' && character <= 'Z';
    return static_cast<char>(character | (is_capital ? lower_case_bit : 0));
}

} // namespace

void to_lower(std::string& text) noexcept
{
    char* at = text.data();
    char* const end = at + text.size();
    for (; end - at >= static_cast<std::ptrdiff_t>(block); at += block)
        lower_block(at);
    std::transform(at, end, at, lower);
}

namespace {

bool begins_with(std::string_view text, std::string_view prefix) noexcept
{
    return text.substr(0, prefix.size()) == prefix;
}

// An empty expression matches everywhere, and a zero byte is not for us to interpret.
bool is_plain(std::string_view separator) noexcept
{
    constexpr std::string_view special("^$\\.*+?()[]{}|\0", 15);
    return !separator.empty() && separator.find_first_of(special) == std::string_view::npos;
}

bool matches_plain(std::string_view list, std::string_view text,
                   std::string_view separator) noexcept
{
    std::size_t found = list.find(separator);
    while (found != std::string_view::npos) {
        if (begins_with(text, list.substr(0, found)))
            return true;
        list.remove_prefix(found + separator.size());
        found = list.find(separator);
    }
    return !list.empty() && begins_with(text, list);
}

using Ctype = std::ctype<char>;

// Characters by the rules of a locale, for one thread. The library's own facet, which threads share,
// keeps what it was asked in a cache without a lock.
class Own_Ctype final : public Ctype {
public:
    explicit Own_Ctype(const std::locale& locale)
        : Ctype(std::use_facet<Ctype>(locale).table(), false, never_deleted), locale_(locale),
          shared_(std::use_facet<Ctype>(locale))
    {
    }

private:
    static constexpr std::size_t never_deleted = 1;

    char do_toupper(char character) const override { return shared_.toupper(character); }
    char do_tolower(char character) const override { return shared_.tolower(character); }
    const char* do_toupper(char* begin, const char* end) const override
    {
        return shared_.toupper(begin, end);
    }
    const char* do_tolower(char* begin, const char* end) const override
    {
        return shared_.tolower(begin, end);
    }

    const std::locale locale_; // keeps the facet
    const Ctype& shared_;
};

bool matches_expression(const std::string& list, std::string_view text,
                        const std::string& separator)
{
    const std::locale locale;
    Own_Ctype own_ctype(locale);
    std::regex expression;
    expression.imbue(std::locale(locale, &own_ctype));
    expression.assign(separator);
    if (list.empty()) // a token iterator would give one empty piece
        return false;
    const auto begin = list.cbegin();
    for (std::sregex_token_iterator piece(begin, list.cend(), expression, -1), end; piece != end;
         ++piece) {
        const auto start = static_cast<std::size_t>(piece->first - begin);
        const auto length = static_cast<std::size_t>(piece->length());
        if (begins_with(text, std::string_view(list).substr(start, length)))
            return true;
    }
    return false;
}

} // namespace

// The separator comes by value: hosts are built against that.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool kr_is_prefix_match(const std::string& list, const std::string& text, std::string separator)
{
    return is_plain(separator) ? matches_plain(list, text, separator)
                               : matches_expression(list, text, separator);
}
