// Any bytes as a URL: the parts and the marks between them make up the URL again.

#include <KRCommon/util/Url.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// The text must begin so; what follows is left.
void take(std::string_view& text, std::string_view part)
{
    require(text.substr(0, part.size()) == part);
    text.remove_prefix(part.size());
}

bool take_mark(std::string_view& text, char mark)
{
    const bool is_there = !text.empty() && text.front() == mark;
    if (is_there)
        text.remove_prefix(1);
    return is_there;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string url(reinterpret_cast<const char*>(data), size);
    std::string protocol = "old";
    std::string host = "old";
    std::string path = "old";
    std::string query = "old";
    int port = 4711;
    if (!kr_parse_url(url, protocol, host, port, path, query)) {
        require(url.find("://") == std::string::npos);
        require(protocol.empty() && host.empty() && path.empty() && query.empty() && port == 0);
        return 0;
    }
    require(protocol.find("://") == std::string::npos);
    require(host.find_first_of(":/") == std::string::npos);
    require(path.find('?') == std::string::npos);

    std::string_view rest(url);
    take(rest, protocol);
    take(rest, "://");
    take(rest, host);
    if (take_mark(rest, ':'))
        rest.remove_prefix(rest.find('/') != std::string_view::npos ? rest.find('/') : rest.size());
    else
        require(port == 0);
    if (take_mark(rest, '/')) {
        take(rest, path);
        if (take_mark(rest, '?'))
            take(rest, query);
        else
            require(query.empty());
    } else {
        require(path.empty() && query.empty());
    }
    require(rest.empty());
    return 0;
}
