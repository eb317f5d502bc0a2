#include <KRCommon/util/Addresses.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/util/Ip_Text.h>

#include <algorithm>
#include <cstring>

bool kr_is_valid_ip(const char* text)
{
    constexpr char self_assigned[] = "169.254.";
    return text == nullptr || std::strncmp(text, self_assigned, sizeof self_assigned - 1) != 0;
}

bool kr_is_valid_ip(const ACE_INET_Addr& address)
{
    char text[INET6_ADDRSTRLEN] = {};
    return kr_is_valid_ip(address.get_host_addr(text, sizeof text));
}

namespace {

enum Form { by_name = 0, numeric = 1 }; // as ACE numbers them

// ACE leaves the buffer as it was when it fails.
template <std::size_t size>
std::string text_of(const ACE_INET_Addr& address, Form form)
{
    char text[size] = {};
    if (address.addr_to_string(text, size, form) == -1)
        return {};
    return text;
}

// What stands before the port: up to the first ":" or, of IPv6, within the brackets.
std::string without_port(const std::string& text)
{
    if (!text.empty() && text.front() == '[')
        return text.substr(1, text.find(']') - 1);
    return text.substr(0, text.find(':'));
}

} // namespace

std::string kr_to_string(const ACE_INET_Addr& address)
{
    return text_of<500>(address, numeric);
}

void get_net_address_info(const ACE_INET_Addr& addr, std::string& ip, std::string& host, int& port,
                          bool performReverseDns)
{
    const std::string text = text_of<256>(addr, numeric);
    ip = without_port(text);
    if (performReverseDns)
        host = kr_internal::first_label(text_of<256>(addr, by_name), text);
    port = addr.get_port_number();
    kr_log((KR_Log_Site{"Utils.cpp", __LINE__, LM_INFO}),
           "%T T%04t INF get_net_address_info - ip = %s, host = %s, port = %d, "
           "performReverseDns = %d\n",
           ip, host, port, performReverseDns ? 1 : 0);
}

namespace {

using kr_internal::Ipv6;

constexpr std::uint32_t largest_port = 65'535;

Ipv6 groups_of(const KR_Ip_Address& address) noexcept
{
    Ipv6 groups{};
    for (std::size_t index = 0; index < groups.size(); ++index)
        groups[index] = static_cast<std::uint16_t>(address.bytes[2 * index] << 8 |
                                                   address.bytes[2 * index + 1]);
    return groups;
}

std::uint32_t ipv4_of(const KR_Ip_Address& address) noexcept
{
    const auto& bytes = address.bytes;
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

// What a part of the text answers, as of the whole text.
KR_Parse_Result moved(const KR_Parse_Result& result, std::size_t by) noexcept
{
    return {result.error, result.position + by};
}

// A part that ends too soon is followed by something else, unless it is the last.
KR_Parse_Result within(const KR_Parse_Result& result, std::string_view text) noexcept
{
    if (result.error == KR_Parse_Error::cut && result.position < text.size())
        return {KR_Parse_Error::character, result.position};
    return result;
}

// From the ":" on.
KR_Parse_Result read_port(std::string_view text, std::size_t at, KR_Ip_Address& address) noexcept
{
    if (text[at] != ':')
        return {KR_Parse_Error::surplus, at};
    const std::size_t begin = at + 1;
    if (begin == text.size())
        return {KR_Parse_Error::cut, begin};
    std::uint32_t port = 0;
    for (at = begin; at < text.size(); ++at) {
        if (!kr_internal::is_decimal_digit(text[at]))
            return {KR_Parse_Error::character, at};
        port = port * 10 + kr_internal::digit_value(text[at]);
        if (port > largest_port)
            return {KR_Parse_Error::range, begin};
    }
    address.port = static_cast<std::uint16_t>(port);
    address.has_port = true;
    return {KR_Parse_Error::none, at};
}

KR_Parse_Result read_ipv4(std::string_view text, KR_Ip_Address& address) noexcept
{
    const std::size_t end = std::min(text.find(':'), text.size());
    std::uint32_t number = 0;
    const KR_Parse_Result result = kr_internal::parse_ipv4(text.substr(0, end), number);
    if (!result)
        return within(result, text);
    for (unsigned index = 0; index < 4; ++index)
        address.bytes[index] = static_cast<std::uint8_t>(number >> (24 - 8 * index));
    return end < text.size() ? read_port(text, end, address) : result;
}

// Without brackets, with a zone or not; `begin` is where it stands in the whole text.
KR_Parse_Result read_ipv6(std::string_view text, std::size_t begin, KR_Ip_Address& address)
{
    const std::size_t percent = std::min(text.find('%'), text.size());
    Ipv6 groups{};
    const KR_Parse_Result result = kr_internal::parse_ipv6(text.substr(0, percent), groups);
    if (!result)
        return moved(within(result, text), begin);
    for (std::size_t index = 0; index < groups.size(); ++index) {
        address.bytes[2 * index] = static_cast<std::uint8_t>(groups[index] >> 8);
        address.bytes[2 * index + 1] = static_cast<std::uint8_t>(groups[index]);
    }
    address.is_ipv6 = true;
    if (percent == text.size())
        return {KR_Parse_Error::none, begin + text.size()};
    const std::string_view zone = text.substr(percent + 1);
    const auto wrong = std::find_if_not(zone.begin(), zone.end(), kr_internal::is_zone_character);
    if (wrong != zone.end())
        return {KR_Parse_Error::character,
                begin + percent + 1 + static_cast<std::size_t>(wrong - zone.begin())};
    if (zone.empty())
        return {KR_Parse_Error::cut, begin + text.size()};
    address.zone = zone;
    return {KR_Parse_Error::none, begin + text.size()};
}

KR_Parse_Result read_bracketed(std::string_view text, KR_Ip_Address& address)
{
    const std::size_t bracket = std::min(text.find(']'), text.size());
    const KR_Parse_Result result = read_ipv6(text.substr(1, bracket - 1), 1, address);
    if (!result)
        return within(result, text);
    if (bracket == text.size())
        return {KR_Parse_Error::cut, bracket};
    const std::size_t end = bracket + 1;
    return end < text.size() ? read_port(text, end, address)
                             : KR_Parse_Result{KR_Parse_Error::none, end};
}

// An address that has two colons is one of IPv6; with one it may be of IPv4 with a port.
bool looks_like_ipv6(std::string_view text) noexcept
{
    const std::size_t colon = text.find(':');
    return colon != std::string_view::npos && text.find(':', colon + 1) != std::string_view::npos;
}

} // namespace

std::string kr_to_string(const KR_Ip_Address& address)
{
    const bool is_bracketed = address.is_ipv6 && address.has_port;
    std::string text(is_bracketed ? "[" : "");
    if (address.is_ipv6) {
        kr_internal::append_ipv6(text, groups_of(address));
        if (!address.zone.empty())
            text.append("%").append(address.zone);
    } else {
        kr_internal::append_ipv4(text, ipv4_of(address));
    }
    if (is_bracketed)
        text += ']';
    if (address.has_port)
        text.append(":").append(std::to_string(address.port));
    return text;
}

KR_Parse_Result kr_try_to_address(std::string_view text, KR_Ip_Address& out)
{
    KR_Ip_Address address;
    const KR_Parse_Result result = !text.empty() && text.front() == '['
                                       ? read_bracketed(text, address)
                                   : looks_like_ipv6(text) ? read_ipv6(text, 0, address)
                                                           : read_ipv4(text, address);
    if (result)
        out = std::move(address);
    return result;
}

KR_Parse_Result kr_try_to_address(std::string_view text, ACE_INET_Addr& out)
{
    KR_Ip_Address address;
    const KR_Parse_Result result = kr_try_to_address(text, address);
    if (!result)
        return result;
    if (address.is_ipv6)
        return {KR_Parse_Error::character, 0};
    out = ACE_INET_Addr(address.port, ipv4_of(address));
    return result;
}

namespace kr_internal {

std::string first_label(const std::string& looked_up, const std::string& numeric)
{
    const std::string name = without_port(looked_up.empty() ? numeric : looked_up);
    return name.substr(0, name.find('.'));
}

} // namespace kr_internal
