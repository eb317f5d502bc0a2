#include <KRCommon/util/Url.h>

#include <KRCommon/text/Scanner.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

namespace {

constexpr std::string_view protocol_end = "://";

// As atoi in the "C" locale; beyond the range of int the nearest number in it, which C leaves open.
int read_decimal(std::string_view text) noexcept
{
    using namespace kr_internal;
    Scanner scan(text);
    scan.blanks();
    const bool is_negative = scan.minus();
    constexpr std::int64_t limit = std::int64_t{1} << 31;
    std::int64_t magnitude = 0;
    for (unsigned digit = scan.digit(10); digit != no_digit; digit = scan.digit(10))
        magnitude = std::min(magnitude * 10 + digit, limit);
    const std::int64_t number = is_negative ? -magnitude : magnitude;
    return static_cast<int>(std::min<std::int64_t>(number, std::numeric_limits<int>::max()));
}

void parse_authority(std::string_view authority, std::string& host, int& port)
{
    const std::size_t colon = authority.find(':');
    host = authority.substr(0, colon);
    if (colon != std::string_view::npos)
        port = read_decimal(authority.substr(colon + 1));
}

void parse_path(std::string_view text, std::string& path, std::string& query)
{
    const std::size_t mark = text.find('?');
    path = text.substr(0, mark);
    if (mark != std::string_view::npos)
        query = text.substr(mark + 1);
}

} // namespace

bool kr_parse_url(const std::string& url, std::string& protocol, std::string& host, int& port,
                  std::string& path, std::string& query)
{
    for (std::string* const text : {&protocol, &host, &path, &query})
        text->clear();
    port = 0;

    const std::string_view all(url);
    const std::size_t mark = all.find(protocol_end);
    if (mark == std::string_view::npos)
        return false;
    protocol = all.substr(0, mark);
    const std::string_view rest = all.substr(mark + protocol_end.size());
    const std::size_t slash = rest.find('/');
    parse_authority(rest.substr(0, slash), host, port);
    if (slash != std::string_view::npos)
        parse_path(rest.substr(slash + 1), path, query);
    return true;
}
