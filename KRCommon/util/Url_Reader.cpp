#include <KRCommon/util/Url.h>

#include <KRCommon/util/Ip_Text.h>
#include <KRCommon/util/Percent_Coding.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace kr_internal {

namespace {

constexpr std::uint32_t largest_port = 65'535;

struct Scheme {
    std::string_view name;
    std::uint16_t port;
    bool is_special; // the standard's word
};

constexpr std::array<Scheme, 10> schemes = {{{"rtsp", 554, false},
                                             {"http", 80, true},
                                             {"https", 443, true},
                                             {"rtsps", 322, false},
                                             {"rtspu", 554, false},
                                             {"onvif", 80, false},
                                             {"soap.udp", 3'702, false},
                                             {"ws", 80, true},
                                             {"wss", 443, true},
                                             {"ftp", 21, true}}};

const Scheme* find_scheme(std::string_view name) noexcept
{
    const auto found = std::find_if(schemes.begin(), schemes.end(),
                                    [name](const Scheme& scheme) { return scheme.name == name; });
    return found != schemes.end() ? &*found : nullptr;
}

constexpr bool is_letter(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr char lower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

constexpr auto is_control_or_blank = [](char c) noexcept {
    return static_cast<unsigned char>(c) <= ' ';
};

// Predicates are objects, so that the loops of <algorithm> take them in.
constexpr auto is_mark_of_end = [](char c) noexcept { return c == '?' || c == '#'; };

// Wherever it stands in the text.
constexpr auto is_left_out = [](char c) noexcept { return c == '\t' || c == '\n' || c == '\r'; };

// The standard's forbidden host code points.
constexpr auto forbidden_in_host = [] {
    std::array<bool, 256> are{};
    for (const char c : std::string_view("\0\t\n\r #/:<>?@[\\]^|", 17))
        are[static_cast<unsigned char>(c)] = true;
    return are;
}();

constexpr auto is_forbidden_in_host = [](char c) noexcept {
    return forbidden_in_host[static_cast<unsigned char>(c)];
};

// And its forbidden domain code points, beside characters outside of ASCII, which are not converted.
constexpr bool is_forbidden_in_domain(char c) noexcept
{
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code >= 0x7F || c == '%' || is_forbidden_in_host(c);
}

// A part of an IPv4 address in any form: decimal, octal after "0", hexadecimal after "0x".
bool read_ipv4_part(std::string_view part, std::uint64_t& value) noexcept
{
    if (part.empty())
        return false;
    unsigned base = 10;
    if (part.size() >= 2 && part[0] == '0' && lower(part[1]) == 'x') {
        base = 16;
        part.remove_prefix(2);
    } else if (part.size() >= 2 && part[0] == '0') {
        base = 8;
        part.remove_prefix(1);
    }
    value = 0;
    for (const char c : part) {
        const unsigned digit = digit_value(c);
        if (digit >= base)
            return false;
        value = std::min<std::uint64_t>(value * base + digit, std::uint64_t{1} << 32);
    }
    return true;
}

// Whether the standard takes a domain for an IPv4 address, or for an error.
bool ends_in_number(std::string_view domain) noexcept
{
    if (!domain.empty() && domain.back() == '.')
        domain.remove_suffix(1);
    const std::string_view last = domain.substr(domain.rfind('.') + 1);
    std::uint64_t value = 0;
    return (!last.empty() && std::all_of(last.begin(), last.end(), is_decimal_digit)) ||
           read_ipv4_part(last, value);
}

KR_Parse_Error read_any_ipv4(std::string_view domain, std::uint32_t& address) noexcept
{
    if (domain.back() == '.')
        domain.remove_suffix(1);
    std::uint64_t sum = 0;
    for (unsigned count = 0; count < 4; ++count) {
        const std::size_t dot = domain.find('.');
        std::uint64_t value = 0;
        if (!read_ipv4_part(domain.substr(0, dot), value))
            return KR_Parse_Error::host;
        if (dot == std::string_view::npos) {
            if (value >> (32 - 8 * count) != 0)
                return KR_Parse_Error::range;
            address = static_cast<std::uint32_t>(sum + value);
            return KR_Parse_Error::none;
        }
        if (value > 255)
            return KR_Parse_Error::range;
        sum += value << (24 - 8 * count);
        domain.remove_prefix(dot + 1);
    }
    return KR_Parse_Error::host;
}

// "." and ".." in a path, also where their dots are encoded: how many dots, 0 for other segments.
unsigned dots_of(std::string_view segment) noexcept
{
    unsigned dots = 0;
    while (!segment.empty()) {
        const bool is_escape = segment.size() >= 3 && segment[0] == '%' && segment[1] == '2' &&
                               lower(segment[2]) == 'e';
        if ((!is_escape && segment[0] != '.') || dots == 2)
            return 0;
        ++dots;
        segment.remove_prefix(is_escape ? 3 : 1);
    }
    return dots;
}

} // namespace

// Reads a text from which blanks at the ends, tabs and line ends are gone into an empty URL, in the
// order in which the parts stand.
class Url_Reader {
public:
    Url_Reader(std::string_view text, KR_Url& url) : text_(text), url_(url), out_(url.text_)
    {
        out_.reserve(text.size() + 8);
    }

    KR_Parse_Result read()
    {
        KR_Parse_Result result = read_scheme();
        if (result)
            result = read_slashes();
        if (result)
            result = read_authority();
        if (result) {
            read_path();
            read_query();
            read_fragment();
        }
        return result;
    }

private:
    using Part = KR_Url::Part;

    static constexpr KR_Parse_Result good() noexcept { return {}; }

    Part part_since(std::size_t begin) const noexcept { return {begin, out_.size() - begin}; }

    Part append(std::string_view text, Percent_Set set)
    {
        const std::size_t begin = out_.size();
        append_encoded(out_, text, set);
        return part_since(begin);
    }

    bool is_slash(char c) const noexcept { return c == '/' || (c == '\\' && is_special_); }

    KR_Parse_Result read_scheme()
    {
        const auto is_in_scheme = [](char c) {
            return is_letter(c) || is_decimal_digit(c) || c == '+' || c == '-' || c == '.';
        };
        if (text_.empty() || !is_letter(text_[0]))
            return {KR_Parse_Error::scheme, 0};
        while (at_ < text_.size() && is_in_scheme(text_[at_]))
            out_ += lower(text_[at_++]);
        if (at_ == text_.size() || text_[at_] != ':')
            return {KR_Parse_Error::scheme, at_};
        url_.scheme_ = part_since(0);
        ++at_;
        if (out_ == "file")
            return {KR_Parse_Error::scheme, 0};
        if (const Scheme* const scheme = find_scheme(out_)) {
            is_special_ = scheme->is_special;
            url_.port_ = scheme->port;
        }
        out_ += "://";
        return good();
    }

    KR_Parse_Result read_slashes()
    {
        const std::size_t begin = at_;
        while (at_ < text_.size() && is_slash(text_[at_]) && (is_special_ || at_ < begin + 2))
            ++at_;
        if (!is_special_ && at_ < begin + 2)
            return {KR_Parse_Error::scheme, at_};
        return good();
    }

    KR_Parse_Result read_authority()
    {
        std::size_t end = at_;
        while (end < text_.size() && !is_slash(text_[end]) && text_[end] != '?' &&
               text_[end] != '#')
            ++end;
        const std::string_view authority = text_.substr(at_, end - at_);
        const std::size_t mark = authority.rfind('@');
        if (mark != std::string_view::npos) {
            read_credentials(authority.substr(0, mark));
            at_ += mark + 1;
        }
        const KR_Parse_Result result = read_host_and_port(text_.substr(at_, end - at_));
        url_.authority_end_ = out_.size();
        at_ = end;
        return result;
    }

    void read_credentials(std::string_view credentials)
    {
        const std::size_t colon = credentials.find(':');
        url_.user_ = append(credentials.substr(0, colon), Percent_Set::userinfo);
        if (colon != std::string_view::npos && colon + 1 < credentials.size()) {
            out_ += ':';
            url_.password_ = append(credentials.substr(colon + 1), Percent_Set::userinfo);
        }
        if (url_.user_.size > 0 || url_.password_.size > 0)
            out_ += '@';
    }

    KR_Parse_Result read_host_and_port(std::string_view text)
    {
        std::size_t colon = 0; // the first outside of brackets
        for (bool is_inside = false; colon < text.size(); ++colon) {
            if (text[colon] == ':' && !is_inside)
                break;
            if (text[colon] == '[' || text[colon] == ']')
                is_inside = text[colon] == '[';
        }
        const std::string_view host = text.substr(0, colon);
        KR_Parse_Result result = {KR_Parse_Error::host, at_};
        if (!host.empty())
            result = host.front() == '[' ? read_ipv6(host)
                     : is_special_       ? read_domain(host)
                                         : read_opaque_host(host);
        at_ += colon + 1;
        if (result && colon < text.size())
            result = read_port(text.substr(colon + 1));
        return result;
    }

    KR_Parse_Result read_ipv6(std::string_view host)
    {
        if (host.size() < 2 || host.back() != ']')
            return {KR_Parse_Error::host, at_ + host.size()};
        const std::string_view inside = host.substr(1, host.size() - 2);
        const std::size_t percent = inside.find('%');
        Ipv6 address{};
        if (const KR_Parse_Result result = parse_ipv6(inside.substr(0, percent), address); !result)
            return {KR_Parse_Error::host, at_ + 1 + result.position};
        out_ += '[';
        const std::size_t begin = out_.size();
        append_ipv6(out_, address);
        url_.host_ = part_since(begin);
        url_.host_kind_ = KR_Url::Host_Kind::ipv6;
        if (percent != std::string_view::npos) {
            const KR_Parse_Result result = read_zone(inside.substr(percent), at_ + 1 + percent);
            if (!result)
                return result;
        }
        out_ += ']';
        return good();
    }

    // The zone with its mark, "%25" or "%". "%25" alone is the zone 25.
    KR_Parse_Result read_zone(std::string_view marked, std::size_t position)
    {
        const std::size_t mark = marked.size() > 3 && marked.substr(0, 3) == "%25" ? 3 : 1;
        const std::string_view zone = marked.substr(mark);
        const auto wrong = std::find_if_not(zone.begin(), zone.end(), is_zone_character);
        if (zone.empty() || wrong != zone.end())
            return {KR_Parse_Error::host,
                    position + mark + static_cast<std::size_t>(wrong - zone.begin())};
        out_ += "%25";
        const std::size_t begin = out_.size();
        out_ += zone;
        url_.zone_ = part_since(begin);
        return good();
    }

    KR_Parse_Result read_opaque_host(std::string_view host)
    {
        const auto wrong = std::find_if(host.begin(), host.end(), is_forbidden_in_host);
        if (wrong != host.end())
            return {KR_Parse_Error::host, at_ + static_cast<std::size_t>(wrong - host.begin())};
        url_.host_ = append(host, Percent_Set::control);
        std::uint32_t address = 0;
        if (parse_ipv4(host, address))
            url_.host_kind_ = KR_Url::Host_Kind::ipv4;
        return good();
    }

    KR_Parse_Result read_domain(std::string_view host)
    {
        const std::size_t begin = out_.size();
        for (std::size_t at = 0; at < host.size();) {
            const bool is_escape = begins_with_escape(host.substr(at));
            const char c = is_escape ? escaped_byte(host.substr(at)) : host[at];
            if (is_forbidden_in_domain(c))
                return {KR_Parse_Error::host, at_ + at};
            out_ += lower(c);
            at += is_escape ? 3 : 1;
        }
        url_.host_ = part_since(begin);
        return ends_in_number(url_.host()) ? make_ipv4() : good();
    }

    KR_Parse_Result make_ipv4()
    {
        std::uint32_t address = 0;
        if (const KR_Parse_Error error = read_any_ipv4(url_.host(), address);
            error != KR_Parse_Error::none)
            return {error, at_};
        const std::size_t begin = url_.host_.begin;
        out_.resize(begin);
        append_ipv4(out_, address);
        url_.host_ = part_since(begin);
        url_.host_kind_ = KR_Url::Host_Kind::ipv4;
        return good();
    }

    KR_Parse_Result read_port(std::string_view digits)
    {
        std::uint32_t port = 0;
        const auto wrong = std::find_if_not(digits.begin(), digits.end(), is_decimal_digit);
        if (wrong != digits.end())
            return {KR_Parse_Error::port, at_ + static_cast<std::size_t>(wrong - digits.begin())};
        for (const char c : digits) {
            port = port * 10 + digit_value(c);
            if (port > largest_port)
                return {KR_Parse_Error::range, at_};
        }
        if (digits.empty() || (is_special_ && port == url_.port_))
            return good();
        url_.port_ = static_cast<std::uint16_t>(port);
        url_.has_port_ = true;
        char text[5];
        const auto end = std::to_chars(text, std::end(text), port).ptr;
        out_ += ':';
        out_.append(text, static_cast<std::size_t>(end - text));
        return good();
    }

    void read_path()
    {
        const std::string_view rest = text_.substr(at_);
        const auto mark = std::find_if(rest.begin(), rest.end(), is_mark_of_end);
        const std::string_view path = rest.substr(0, static_cast<std::size_t>(mark - rest.begin()));
        const std::size_t begin = out_.size();
        if (!path.empty())
            append_segments(path, begin);
        else if (is_special_)
            out_ += '/';
        url_.path_ = part_since(begin);
        at_ += path.size();
    }

    // The path begins with a slash, and each segment with one.
    void append_segments(std::string_view path, std::size_t begin)
    {
        while (!path.empty()) {
            std::size_t end = 1;
            while (end < path.size() && !is_slash(path[end]))
                ++end;
            const std::string_view segment = path.substr(1, end - 1);
            const bool is_last = end == path.size();
            const unsigned dots = dots_of(segment);
            if (dots == 2 && out_.size() > begin)
                out_.resize(out_.rfind('/')); // the segment before; it has a slash in front
            if (dots == 0 || is_last)
                out_ += '/';
            if (dots == 0)
                append_encoded(out_, segment, Percent_Set::path);
            path.remove_prefix(end);
        }
    }

    void read_query()
    {
        if (at_ == text_.size() || text_[at_] != '?')
            return;
        const std::size_t end = std::min(text_.find('#', at_), text_.size());
        out_ += '?';
        url_.query_ = append(text_.substr(at_ + 1, end - at_ - 1),
                             is_special_ ? Percent_Set::special_query : Percent_Set::query);
        at_ = end;
    }

    void read_fragment()
    {
        if (at_ == text_.size())
            return;
        out_ += '#';
        url_.fragment_ = append(text_.substr(at_ + 1), Percent_Set::fragment);
    }

    std::string_view text_;
    std::size_t at_ = 0;
    bool is_special_ = false;
    KR_Url& url_;
    std::string& out_;
};

namespace {

// Where in `text` the character stands that is at `position` once some are left out.
std::size_t position_in(std::string_view text, std::size_t position) noexcept
{
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (is_left_out(text[at]))
            continue;
        if (position == 0)
            return at;
        --position;
    }
    return text.size();
}

std::string without_left_out(std::string_view text)
{
    std::string kept(text);
    kept.erase(std::remove_if(kept.begin(), kept.end(), is_left_out), kept.end());
    return kept;
}

std::string decoded(std::string_view text)
{
    return kr_percent_decode(text);
}

std::string decoded_as_form(std::string_view text)
{
    std::string blanks(text);
    std::replace(blanks.begin(), blanks.end(), '+', ' ');
    return decoded(blanks);
}

// Calls `use` with each piece of a query and ends when it answers true.
template <typename Use>
void each_piece(std::string_view query, Use use)
{
    while (!query.empty()) {
        const std::size_t end = std::min(query.find('&'), query.size());
        const std::string_view piece = query.substr(0, end);
        const std::size_t mark = std::min(piece.find('='), piece.size());
        if (!piece.empty() &&
            use(piece.substr(0, mark), piece.substr(std::min(mark + 1, piece.size()))))
            return;
        query.remove_prefix(std::min(end + 1, query.size()));
    }
}

constexpr std::string_view hidden = "***";

bool ends_with_word(std::string_view name, std::string_view word) noexcept
{
    return name.size() >= word.size() &&
           std::equal(word.begin(), word.end(), name.end() - word.size(),
                      [](char a, char b) { return a == lower(b); });
}

bool is_name_of_secret(std::string_view name) noexcept
{
    constexpr std::string_view words[] = {"pass",   "passwd", "password", "pwd",
                                          "secret", "psw",    "token"};
    return std::any_of(std::begin(words), std::end(words),
                       [name](std::string_view word) { return ends_with_word(name, word); });
}

// Appends the text with values of secrets hidden.
void append_hiding(std::string& out, std::string_view text)
{
    constexpr std::string_view ends = "&;/?#";
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(ends), text.size());
        const std::string_view piece = text.substr(0, end);
        // Some cameras write several in one piece: "user=admin_password=12pw".
        std::size_t mark = piece.find('=');
        while (mark != std::string_view::npos && !is_name_of_secret(piece.substr(0, mark)))
            mark = piece.find('=', mark + 1);
        if (mark != std::string_view::npos)
            out.append(piece.substr(0, mark + 1)).append(hidden);
        else
            out.append(piece);
        if (end < text.size())
            out += text[end];
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

} // namespace

} // namespace kr_internal

using namespace kr_internal;

KR_Parse_Result kr_try_to_url(std::string_view text, KR_Url& url)
{
    const auto first = std::find_if_not(text.begin(), text.end(), is_control_or_blank);
    const auto begin = static_cast<std::size_t>(first - text.begin());
    std::string_view trimmed = text.substr(begin);
    while (!trimmed.empty() && is_control_or_blank(trimmed.back()))
        trimmed.remove_suffix(1);

    std::string kept;
    const bool is_whole = std::none_of(trimmed.begin(), trimmed.end(), is_left_out);
    if (!is_whole)
        kept = without_left_out(trimmed);
    KR_Url read;
    const KR_Parse_Result result = within_memory(
        [&] { return Url_Reader(is_whole ? trimmed : std::string_view(kept), read).read(); });
    if (!result)
        return {result.error,
                begin + (is_whole ? result.position : position_in(trimmed, result.position))};
    url = std::move(read);
    return {KR_Parse_Error::none, text.size()};
}

std::string KR_Url::user() const
{
    return decoded(encoded_user());
}

std::string KR_Url::password() const
{
    return decoded(encoded_password());
}

std::vector<KR_Url::Pair> KR_Url::query_pairs() const
{
    std::vector<Pair> pairs;
    each_piece(query(), [&pairs](std::string_view name, std::string_view value) {
        pairs.emplace_back(decoded_as_form(name), decoded_as_form(value));
        return false;
    });
    return pairs;
}

std::optional<std::string> KR_Url::query_value(std::string_view name) const
{
    std::optional<std::string> found;
    each_piece(query(), [&](std::string_view other, std::string_view value) {
        const bool is_it = decoded_as_form(other) == name;
        if (is_it)
            found = decoded_as_form(value);
        return is_it;
    });
    return found;
}

std::string KR_Url::log_text() const
{
    if (text_.empty())
        return {};
    return within_memory([this] {
        std::string out;
        out.reserve(text_.size() + hidden.size());
        if (password_.size > 0) {
            out.append(text_, 0, password_.begin).append(hidden);
            const std::size_t end = password_.begin + password_.size;
            out.append(text_, end, authority_end_ - end);
        } else {
            out.append(text_, 0, authority_end_);
        }
        append_hiding(out, std::string_view(text_).substr(authority_end_));
        return out;
    });
}

std::string KR_Url::with_credentials(std::string_view user, std::string_view password) const
{
    if (text_.empty())
        return {};
    return within_memory([&] {
        std::string out(scheme());
        out += "://";
        append_encoded(out, user, Percent_Set::component);
        if (!password.empty()) {
            out += ':';
            append_encoded(out, password, Percent_Set::component);
        }
        if (!user.empty() || !password.empty())
            out += '@';
        const std::size_t bracket = host_kind_ == Host_Kind::ipv6 ? 1 : 0;
        return out.append(text_, host_.begin - bracket);
    });
}

std::uint16_t KR_Url::default_port(std::string_view scheme) noexcept
{
    const Scheme* const found = find_scheme(scheme);
    return found != nullptr ? found->port : 0;
}

namespace {

// Of what is no URL.
std::string log_text_of_any(std::string_view text)
{
    std::string out;
    const std::size_t mark = text.rfind('@');
    if (mark != std::string_view::npos) {
        const std::size_t slashes = text.find("://");
        if (slashes < mark)
            out.append(text, 0, slashes + 3);
        out += hidden;
        text.remove_prefix(mark);
    }
    append_hiding(out, text);
    return out;
}

} // namespace

std::string kr_url_log_text(std::string_view text)
{
    KR_Url url;
    if (kr_try_to_url(text, url))
        return url.log_text();
    return within_memory([text] { return log_text_of_any(text); });
}
