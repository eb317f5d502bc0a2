#include "Access.h"

#include "Api_Error.h"
#include "host/Host.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <utility>

namespace video_search {

bool is_loopback(const std::string& address)
{
    const bool is_number = address.find_first_not_of("0123456789.") == std::string::npos;
    return address == "localhost" || address == "::1" ||
           (is_number && address.rfind("127.", 0) == 0);
}

bool is_same_secret(std::string_view one, std::string_view other) noexcept
{
    if (one.size() != other.size())
        return false;
    unsigned difference = 0;
    for (std::size_t k = 0; k < one.size(); ++k)
        difference |= static_cast<unsigned char>(one[k]) ^ static_cast<unsigned char>(other[k]);
    return difference == 0;
}

std::string read_token(const std::string& file)
{
    constexpr std::size_t least = 16;
    constexpr std::size_t most = 256;
    std::ifstream in(to_path(file), std::ios::binary);
    std::string token(most + 2, '\0'); // with the end of its line
    in.read(token.data(), static_cast<std::streamsize>(token.size()));
    token.resize(static_cast<std::size_t>(in.gcount()));
    token.resize(std::min(token.find_first_of("\r\n"), token.size()));
    const bool is_good = token.size() >= least && token.size() <= most &&
                         std::all_of(token.begin(), token.end(),
                                     [](char c) { return c > ' ' && c < '\x7F' && c != ';'; });
    if (!is_good)
        throw Failure(
            "the token file '" + file +
            "' must have 16 to 256 visible ASCII characters and no semicolon in its first "
            "line");
    return token;
}

Access::Access(const std::string& address, std::string token) : token_(std::move(token))
{
    if (is_loopback(address))
        hosts_ = {"localhost", "127.0.0.1", "[::1]", address};
}

namespace {

// In lower case.
std::string without_port(const std::string& host)
{
    const std::size_t colon = host.rfind(':');
    const bool is_part = colon == std::string::npos || host.find(']', colon) != std::string::npos;
    std::string name = is_part ? host : host.substr(0, colon);
    for (char& c : name)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return name;
}

// What browsers tell of the page that asks. A link from elsewhere may lead here.
void check_origin(const httplib::Request& request)
{
    const bool is_foreign =
        request.has_header("Origin") &&
        request.get_header_value("Origin") != "http://" + request.get_header_value("Host");
    const bool is_cross_site = request.get_header_value("Sec-Fetch-Site") == "cross-site" &&
                               request.get_header_value("Sec-Fetch-Mode") != "navigate";
    if (is_foreign || is_cross_site)
        throw Api_Error(403, "foreign_page", "a page of another site may not ask this service");
}

} // namespace

void Access::check(const httplib::Request& request) const
{
    check_host(request);
    check_origin(request);
    check_token(request);
}

// A name of another site may be made to lead to this machine.
void Access::check_host(const httplib::Request& request) const
{
    if (request.get_header_value_count("Host") > 1)
        throw Api_Error(400, "bad_request", "there is more than one Host");
    const std::string host = without_port(request.get_header_value("Host"));
    if (!hosts_.empty() && std::find(hosts_.begin(), hosts_.end(), host) == hosts_.end())
        throw Api_Error(421, "wrong_host", "this service answers as localhost alone");
}

namespace {

constexpr const char* cookie_name = "kr_token=";

std::string cookie_of(const httplib::Request& request)
{
    const std::string cookies = "; " + request.get_header_value("Cookie");
    const std::string name = std::string("; ") + cookie_name;
    const std::size_t place = cookies.find(name);
    if (place == std::string::npos)
        return {};
    const std::size_t begin = place + name.size();
    return cookies.substr(begin, cookies.find(';', begin) - begin);
}

} // namespace

void Access::check_token(const httplib::Request& request) const
{
    if (token_.empty() || brings_token(request))
        return;
    if (!is_same_secret(request.get_header_value("Authorization"), "Bearer " + token_) &&
        !is_same_secret(cookie_of(request), token_))
        throw Api_Error(401, "token_needed", "the token is missing or wrong");
}

bool Access::brings_token(const httplib::Request& request) const
{
    return !token_.empty() && is_same_secret(request.get_param_value("token"), token_);
}

std::string Access::cookie() const
{
    return cookie_name + token_ + "; Path=/; HttpOnly; SameSite=Strict; Max-Age=2592000";
}

} // namespace video_search
