#include <KRCommon/util/Percent_Coding.h>

#include <KRCommon/util/Sizes.h>
#include <KRCommon/util/Url.h>

#include <array>

namespace kr_internal {

namespace {

// For each character the sets that have it.
constexpr auto sets_of_characters = [] {
    std::array<std::uint8_t, 256> sets{};
    const auto add = [&sets](Percent_Set set, std::string_view characters) {
        for (const char c : characters) {
            auto& value = sets[static_cast<unsigned char>(c)];
            value = static_cast<std::uint8_t>(value | static_cast<std::uint8_t>(set));
        }
    };
    for (unsigned c = 0; c < 256; ++c)
        if (c < 0x20 || c > 0x7E)
            sets[c] = 0xFF;
    constexpr std::string_view in_query = " \"#<>";
    constexpr std::string_view in_path = " \"#<>?^`{}";
    constexpr std::string_view in_userinfo = " \"#<>?^`{}/:;=@[\\]|";
    add(Percent_Set::fragment, " \"<>`");
    add(Percent_Set::query, in_query);
    add(Percent_Set::special_query, in_query);
    add(Percent_Set::special_query, "'");
    add(Percent_Set::path, in_path);
    add(Percent_Set::userinfo, in_userinfo);
    add(Percent_Set::component, in_userinfo);
    add(Percent_Set::component, "$%&+,");
    return sets;
}();

} // namespace

void append_encoded(std::string& out, std::string_view text, Percent_Set set)
{
    std::size_t plain = 0; // where the characters begin that stay
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if ((sets_of_characters[c] & static_cast<std::uint8_t>(set)) == 0)
            continue;
        out.append(text, plain, at - plain);
        plain = at + 1;
        const char escape[] = {'%', upper_hex_digits[c >> 4], upper_hex_digits[c & 0xF]};
        out.append(escape, sizeof escape);
    }
    out.append(text, plain);
}

void append_decoded(std::string& out, std::string_view text)
{
    while (!text.empty()) {
        const std::size_t percent = text.find('%');
        out.append(text, 0, percent);
        if (percent == std::string_view::npos)
            return;
        text.remove_prefix(percent);
        const bool is_escape = begins_with_escape(text);
        out += is_escape ? escaped_byte(text) : '%';
        text.remove_prefix(is_escape ? 3 : 1);
    }
}

} // namespace kr_internal

std::string kr_percent_encode(std::string_view text)
{
    return kr_internal::within_memory([text] {
        std::string encoded;
        kr_internal::append_encoded(encoded, text, kr_internal::Percent_Set::component);
        return encoded;
    });
}

std::string kr_percent_decode(std::string_view text)
{
    std::string decoded;
    kr_internal::append_decoded(decoded, text);
    return decoded;
}

KR_Parse_Result kr_try_percent_decode(std::string_view text, std::string& out)
{
    for (std::size_t at = text.find('%'); at != std::string_view::npos;
         at = text.find('%', at + 1)) {
        if (kr_internal::begins_with_escape(text.substr(at)))
            continue;
        std::size_t wrong = at + 1;
        if (wrong < text.size() && kr_internal::digit_value(text[wrong]) != kr_internal::no_digit)
            ++wrong;
        return {wrong < text.size() ? KR_Parse_Error::character : KR_Parse_Error::cut, wrong};
    }
    out = kr_percent_decode(text);
    return {KR_Parse_Error::none, text.size()};
}
