#pragma once

/// \file
/// The texts of IP addresses, without ports.
///
/// Threads: no state, any thread at any time.

#include <KRCommon/util/Parse_Result.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace kr_internal {

/// Four decimal numbers from 0 to 255 with dots between them; none has a zero in front. The address
/// has its first number in the highest bits.
KR_Parse_Result parse_ipv4(std::string_view text, std::uint32_t& address) noexcept;

void append_ipv4(std::string& out, std::uint32_t address);

/// Eight groups of 16 bits, the first one first.
using Ipv6 = std::array<std::uint16_t, 8>;

/// RFC 4291 section 2.2, as the WHATWG URL standard reads it: hexadecimal groups of one to four
/// digits, "::" once for one or more groups of zeros, the last two groups also as an IPv4 address.
/// No brackets, no zone.
KR_Parse_Result parse_ipv6(std::string_view text, Ipv6& address) noexcept;

/// RFC 5952 section 4: lower case, no zeros in front, the first longest run of two or more groups of
/// zeros as "::".
void append_ipv6(std::string& out, const Ipv6& address);

/// What may stand as a zone: the name of an interface, or its number. RFC 6874's characters.
constexpr bool is_zone_character(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

} // namespace kr_internal
