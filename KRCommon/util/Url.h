#pragma once

/// \file
/// Takes a URL apart at its marks, without judging it. Nothing is decoded, no character is refused.
///
///     std::string protocol, host, path, query;
///     int port = 0;
///     kr_parse_url("rtsp://10.0.0.5:8080/onvif/device?x=1", protocol, host, port, path, query);
///     // "rtsp", "10.0.0.5", 8080, "onvif/device", "x=1"
///
/// Threads: no state; may run on any thread at once. Takes no lock and does not log.
/// Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>

#include <string>

/// Parts of protocol "://" host [":" port] ["/" path ["?" query]]. All outputs are replaced; they
/// must be five different objects, and none of them may be url.
///
/// protocol  all before the first "://"
/// host      up to the first ":" of the authority, which goes up to the first "/" or to the end
/// port      the number after that ":", else 0. Read as atoi reads: white space and a sign may
///           stand before it, what follows its digits is ignored, no digits are 0; a number beyond
///           the range of int becomes the nearest in it. It is not checked to be a port's number,
///           and no protocol's usual port is filled in.
/// path      without the "/" before it, up to the first "?"
/// query     all after that "?"
/// returns   false when there is no "://": the texts are empty then and port is 0. Everything else
///           is a URL, and what it lacks is empty. Throws nothing but std::bad_alloc.
///
/// Quirk: a "?" before the first "/" belongs to the authority, and so do a user's name and
/// password; an IPv6 address in brackets is cut at its first ":".
[[nodiscard]] KRCOMMON_EXPORT bool kr_parse_url(const std::string& url, std::string& protocol,
                                                std::string& host, int& port, std::string& path,
                                                std::string& query);
