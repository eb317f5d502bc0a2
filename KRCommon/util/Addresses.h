#pragma once

/// \file
/// Checks and text forms of socket addresses. Made for IPv4; what an IPv6 address gives is said at
/// each function.
///
///     const ACE_INET_Addr camera(554, "10.0.0.5");
///     kr_to_string(camera); // 10.0.0.5:554
///     kr_is_valid_ip(camera); // true
///
/// Threads: no state; all functions may run on any thread at once; get_net_address_info() logs.
/// Failure: std::bad_alloc may be thrown, nothing else.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>

#include <ace/INET_Addr.h>

#include <string>

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

namespace kr_internal {

/// The first label of a host's name.
///
/// looked_up  "<name>:<port>" or, when no name is known, the numeric text; empty when the name
///            service has not answered
/// numeric    kr_to_string() of the address, taken when looked_up is empty
[[nodiscard]] std::string first_label(const std::string& looked_up, const std::string& numeric);

} // namespace kr_internal
