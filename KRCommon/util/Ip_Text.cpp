#include <KRCommon/util/Ip_Text.h>

#include <KRCommon/text/Digits.h>

#include <algorithm>
#include <charconv>

namespace kr_internal {

namespace {

constexpr std::size_t group_count = 8;
constexpr unsigned largest_byte = 255;

// Reads an address's text from its begin to its end.
class Reader {
public:
    explicit Reader(std::string_view text) noexcept : text_(text) {}

    bool is_at_end() const noexcept { return at_ == text_.size(); }

    // A zero byte at the end, which no address has anywhere.
    char next() const noexcept { return is_at_end() ? '\0' : text_[at_]; }

    bool mark(char expected) noexcept
    {
        if (next() != expected)
            return false;
        ++at_;
        return true;
    }

    // What is next, as an error.
    KR_Parse_Result wrong() const noexcept
    {
        return {is_at_end() ? KR_Parse_Error::cut : KR_Parse_Error::character, at_};
    }

    KR_Parse_Result done() const noexcept { return {KR_Parse_Error::none, at_}; }

    // One to four hexadecimal digits; none leave the position.
    unsigned group() noexcept
    {
        unsigned value = 0;
        for (int count = 0; count < 4 && digit_value(next()) != no_digit; ++count)
            value = value << 4 | digit_value(text_[at_++]);
        return value;
    }

    // 0 to 255 without zeros in front.
    KR_Parse_Result byte(unsigned& value) noexcept
    {
        const std::size_t begin = at_;
        if (!is_decimal_digit(next()))
            return wrong();
        value = 0;
        while (is_decimal_digit(next())) {
            if (at_ > begin && value == 0)
                return wrong();
            value = value * 10 + digit_value(text_[at_]);
            if (value > largest_byte)
                return {KR_Parse_Error::range, begin};
            ++at_;
        }
        return done();
    }

    KR_Parse_Result dotted(std::uint32_t& address) noexcept
    {
        std::uint32_t bytes = 0;
        for (int count = 0; count < 4; ++count) {
            if (count > 0 && !mark('.'))
                return wrong();
            unsigned value = 0;
            if (const KR_Parse_Result result = byte(value); !result)
                return result;
            bytes = bytes << 8 | value;
        }
        if (!is_at_end())
            return {KR_Parse_Error::surplus, at_};
        address = bytes;
        return done();
    }

    std::size_t position() const noexcept { return at_; }
    void go_to(std::size_t position) noexcept { at_ = position; }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

// The groups that were read, and how many of them stand before the "::", if there is one.
struct Groups {
    Ipv6 values{};
    std::size_t count = 0;
    std::size_t before_gap = group_count + 1;

    bool has_gap() const noexcept { return before_gap <= group_count; }

    // Those behind the gap go to the end.
    Ipv6 spread() const noexcept
    {
        Ipv6 address{};
        const std::size_t before = std::min(before_gap, count);
        std::copy_n(values.begin(), before, address.begin());
        std::copy_backward(values.begin() + static_cast<std::ptrdiff_t>(before),
                           values.begin() + static_cast<std::ptrdiff_t>(count), address.end());
        return address;
    }
};

KR_Parse_Result read_groups(Reader& reader, Groups& groups) noexcept
{
    if (reader.mark(':')) {
        if (!reader.mark(':'))
            return reader.wrong();
        groups.before_gap = 0;
    }
    // A gap stands for one group at least.
    const auto room = [&groups] { return group_count - (groups.has_gap() ? 1 : 0) - groups.count; };
    while (!reader.is_at_end()) {
        if (room() == 0)
            return {KR_Parse_Error::surplus, reader.position()};
        if (reader.next() == ':') {
            if (groups.has_gap() || groups.count == 0)
                return reader.wrong();
            reader.mark(':');
            groups.before_gap = groups.count;
            continue;
        }
        const std::size_t begin = reader.position();
        const unsigned value = reader.group();
        if (reader.position() == begin)
            return reader.wrong();
        if (reader.next() == '.') {
            reader.go_to(begin);
            if (room() < 2)
                return {KR_Parse_Error::surplus, begin};
            std::uint32_t last = 0;
            if (const KR_Parse_Result result = reader.dotted(last); !result)
                return result;
            groups.values[groups.count++] = static_cast<std::uint16_t>(last >> 16);
            groups.values[groups.count++] = static_cast<std::uint16_t>(last);
            break;
        }
        groups.values[groups.count++] = static_cast<std::uint16_t>(value);
        if (!reader.is_at_end() && !reader.mark(':'))
            return reader.wrong();
    }
    return reader.done();
}

} // namespace

KR_Parse_Result parse_ipv4(std::string_view text, std::uint32_t& address) noexcept
{
    return Reader(text).dotted(address);
}

void append_ipv4(std::string& out, std::uint32_t address)
{
    char text[16];
    char* end = text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        end = std::to_chars(end, std::end(text), address >> shift & largest_byte).ptr;
        *end++ = '.';
    }
    out.append(text, static_cast<std::size_t>(end - 1 - text));
}

KR_Parse_Result parse_ipv6(std::string_view text, Ipv6& address) noexcept
{
    Reader reader(text);
    Groups groups;
    if (const KR_Parse_Result result = read_groups(reader, groups); !result)
        return result;
    // A single ":" may not be the last.
    const bool ends_in_gap = groups.has_gap() && groups.before_gap == groups.count;
    if (!text.empty() && text.back() == ':' && !ends_in_gap)
        return reader.wrong();
    if (!groups.has_gap() && groups.count < group_count)
        return reader.wrong();
    address = groups.spread();
    return reader.done();
}

void append_ipv6(std::string& out, const Ipv6& address)
{
    std::size_t gap = group_count;
    std::size_t gap_size = 1;
    for (std::size_t begin = 0; begin < group_count; ++begin) {
        std::size_t end = begin;
        while (end < group_count && address[end] == 0)
            ++end;
        if (end - begin > gap_size) {
            gap = begin;
            gap_size = end - begin;
        }
    }
    for (std::size_t index = 0; index < group_count; ++index) {
        if (index == gap) {
            out += "::";
            index += gap_size - 1;
            continue;
        }
        if (index > 0 && out.back() != ':')
            out += ':';
        char digits[4];
        const auto end = std::to_chars(digits, std::end(digits), address[index], 16).ptr;
        out.append(digits, static_cast<std::size_t>(end - digits));
    }
}

} // namespace kr_internal
