// Any bytes as a camera's URL: what is accepted is in normal form, reads again as the same, and gives
// its parts back; what is not has its error within the text and leaves the URL alone.

#include <KRCommon/util/Url.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

bool is_plain(char c)
{
    return c > ' ' && c <= '~';
}

void require_parts(const KR_Url& url)
{
    require(!url.host().empty() && !url.scheme().empty());
    require(url.host_kind() == KR_Url::Host_Kind::ipv6 || url.zone().empty());
    require(url.path().empty() || url.path().front() == '/');
    std::string text = std::string(url.scheme()) + "://" + std::string(url.encoded_user());
    if (!url.encoded_password().empty())
        text += ":" + std::string(url.encoded_password());
    if (!url.encoded_user().empty() || !url.encoded_password().empty())
        text += '@';
    std::string host(url.host());
    if (!url.zone().empty())
        host += "%25" + std::string(url.zone());
    text += url.host_kind() == KR_Url::Host_Kind::ipv6 ? "[" + host + "]" : host;
    if (url.has_port())
        text += ":" + std::to_string(url.port());
    text += url.path();
    require(url.text().compare(0, text.size(), text) == 0);
    const std::string rest = url.text().substr(text.size());
    std::string expected;
    if (rest.substr(0, 1) == "?")
        expected = "?" + std::string(url.query());
    if (rest.size() > expected.size())
        expected += "#" + std::string(url.fragment());
    require(rest == expected);
}

void require_same(const KR_Url& left, const KR_Url& right)
{
    require(left == right && left.port() == right.port() && left.host() == right.host() &&
            left.host_kind() == right.host_kind() && left.path() == right.path() &&
            left.query() == right.query() && left.fragment() == right.fragment() &&
            left.user() == right.user() && left.password() == right.password());
}

void require_log_text(const KR_Url& url)
{
    KR_Url logged;
    require(bool(kr_try_to_url(url.log_text(), logged)));
    require(logged.password() == (url.encoded_password().empty() ? "" : "***"));
    require(logged.host() == url.host() && logged.user() == url.user());
}

void require_credentials(const KR_Url& url, const std::string& text)
{
    KR_Url other;
    require(bool(kr_try_to_url(url.with_credentials(text, text), other)));
    require(other.user() == text && other.password() == text && other.path() == url.path());
    require(bool(kr_try_to_url(url.with_credentials(url.user(), url.password()), other)));
    require(other.user() == url.user() && other.password() == url.password());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    KR_Url url;
    const KR_Parse_Result result = kr_try_to_url(text, url);
    const std::string logged = kr_url_log_text(text);
    require(result.position <= size);
    if (!result) {
        require(url == KR_Url());
        require(logged.size() <= size + 3 * size + 6);
        return 0;
    }
    require(logged == url.log_text());
    require(std::all_of(url.text().begin(), url.text().end(), is_plain));
    require_parts(url);
    KR_Url again;
    require(bool(kr_try_to_url(url.text(), again)));
    require_same(url, again);
    require_log_text(url);
    require_credentials(url, text);
    std::size_t pieces = url.query().empty() ? 0 : 1;
    pieces += static_cast<std::size_t>(std::count(url.query().begin(), url.query().end(), '&'));
    require(url.query_pairs().size() <= pieces);
    for (const auto& pair : url.query_pairs())
        require(url.query_value(pair.first).has_value());
    return 0;
}
