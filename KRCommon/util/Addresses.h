#pragma once

/// \file
/// Checks and text forms of socket addresses, and a checked reader of them. The former are made for
/// IPv4; what an IPv6 address gives is said at each function.
///
///     const ACE_INET_Addr camera(554, "10.0.0.5");
///     kr_to_string(camera); // 10.0.0.5:554
///     kr_is_valid_ip(camera); // true
///
/// Threads: no state; all functions may run on any thread at once; get_net_address_info() logs.
/// Failure: std::bad_alloc may be thrown, nothing else.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/Parse_Result.h>

#include <ace/INET_Addr.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

/// False for "169.254." and whatever follows it: the addresses that a machine gives itself when it
/// was given none. Every other text is true; it is meant to be a well-formed dotted address.
///
/// Quirk: nothing else is checked. A text shorter than 8 characters is valid, "169.254", the empty
/// text and null included.
[[nodiscard]] KRCOMMON_EXPORT bool kr_is_valid_ip(const char* text);

/// The same of the address's dotted text. IPv6 addresses are valid, link-local ones too.
[[nodiscard]] KRCOMMON_EXPORT bool kr_is_valid_ip(const ACE_INET_Addr& address);

/// "<dotted address>:<port>", or "[<address>]:<port>" for IPv6; empty when ACE cannot tell.
/// A default-constructed address is 0.0.0.0:0 on Windows and [::]:0 on Linux.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const ACE_INET_Addr& address);

/// Takes an address apart and, if asked, looks its machine's name up.
///
/// ip      is replaced by the dotted address (IPv6: without brackets); empty when ACE cannot tell
/// host    only with performReverseDns, else untouched: is replaced by the first label of the name,
///         up to its first dot. Quirk: when no name is known the same cut of the dotted address is
///         made, so that 10.0.0.5 gives "10"; an IPv6 address without dots stays whole then.
///         0.0.0.0 has this machine's name.
/// port    is replaced by 0 to 65535
/// performReverseDns  the call blocks until the name service has answered or given up, for seconds
///         at worst: keep it off threads that must go on. No answer counts as no name.
/// ip and host must be different objects.
///
/// Logs one line at LM_INFO from "Utils.cpp":
///     INF get_net_address_info - ip = 10.0.0.5, host = camera7, port = 554, performReverseDns = 1
KRCOMMON_EXPORT void get_net_address_info(const ACE_INET_Addr& addr, std::string& ip,
                                          std::string& host, int& port, bool performReverseDns);

/// An IP address as someone wrote it down, with or without a port. It is the same on both targets,
/// whatever ACE was built with.
struct KR_Ip_Address {
    std::array<std::uint8_t, 16> bytes{}; ///< in the network's order; of IPv4 the first four
    bool is_ipv6 = false;                 ///< else IPv4
    bool has_port = false;                ///< whether a port was written
    std::uint16_t port = 0;               ///< 0 when there is none
    std::string zone;                     ///< of IPv6: an interface's name or number; mostly empty
};

/// "10.0.0.5", "10.0.0.5:554", "fe80::1%eth0" or "[2001:db8::1]:554": IPv6 in its shortest form, in
/// brackets when it has a port. Reading it gives the address again.
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const KR_Ip_Address& address);

/// The checked reader of addresses, for texts from outside. Accepted are, with nothing around them,
/// - IPv4: four decimal numbers from 0 to 255 without zeros in front, and ":" with a port or not;
/// - IPv6 (RFC 4291 section 2.2) without a port, in brackets or not, and in brackets ":" with a port.
///   "%" and a zone may stand behind the address, of letters, digits, "-", ".", "_" and "~".
/// Ports are 0 to 65535 in decimal digits. No name is looked up.
///
/// returns  cut, character, surplus, or range with the number's place
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_to_address(std::string_view text,
                                                                KR_Ip_Address& out);

/// The same into ACE's address, of IPv4 alone: ACE may be built without IPv6, and on Windows it is.
/// Without a port the address has port 0.
///
/// returns  of IPv6, character at position 0
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_to_address(std::string_view text,
                                                                ACE_INET_Addr& out);

namespace kr_internal {

/// The first label of a host's name.
///
/// looked_up  "<name>:<port>" or, when no name is known, the numeric text; empty when the name
///            service has not answered
/// numeric    kr_to_string() of the address, taken when looked_up is empty
[[nodiscard]] std::string first_label(const std::string& looked_up, const std::string& numeric);

} // namespace kr_internal
