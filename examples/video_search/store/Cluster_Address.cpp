#include "Cluster_Address.h"

#include "../host/Host.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

namespace video_search {

namespace {

constexpr std::string_view scheme = "clickhouse://";

[[noreturn]] void refuse(const std::string& what)
{
    throw Failure("--store: " + what +
                  "; write clickhouse://HOST:PORT/DATABASE?cluster=NAME (docs/cluster.md)");
}

bool is_name(std::string_view text)
{
    constexpr std::size_t longest = 64;
    return !text.empty() && text.size() <= longest &&
           std::isdigit(static_cast<unsigned char>(text[0])) == 0 &&
           std::all_of(text.begin(), text.end(), [](unsigned char letter) {
               return letter == '_' || (letter < 0x80 && std::isalnum(letter) != 0);
           });
}

bool is_host(std::string_view text)
{
    const bool is_v6 = text.size() > 2 && text.front() == '[' && text.back() == ']';
    const std::string_view inner = is_v6 ? text.substr(1, text.size() - 2) : text;
    return !inner.empty() && std::all_of(inner.begin(), inner.end(), [&](unsigned char letter) {
        return (letter < 0x80 && std::isalnum(letter) != 0) || letter == '.' || letter == '-' ||
               letter == '_' || (is_v6 && letter == ':');
    });
}

unsigned number_of(const std::string& name, std::string_view text, unsigned least, unsigned most)
{
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most)
        refuse(name + " must be a whole number from " + std::to_string(least) + " to " +
               std::to_string(most));
    return number;
}

// The text up to a letter; what comes behind it stays. All, and nothing stays, without the letter.
std::string_view take_until(std::string_view& text, char letter)
{
    const std::size_t end = text.find(letter);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return part;
}

Cluster_Address::Server server_of(std::string_view text)
{
    Cluster_Address::Server server;
    const std::size_t colon = text.rfind(':');
    const std::size_t bracket = text.rfind(']');
    const bool has_port =
        colon != std::string_view::npos && (bracket == std::string_view::npos || bracket < colon);
    server.host = text.substr(0, has_port ? colon : text.size());
    if (!is_host(server.host))
        refuse("the address has no host");
    if (has_port)
        server.port = static_cast<int>(number_of("the port", text.substr(colon + 1), 1, 65'535));
    return server;
}

void read_credentials(Cluster_Address& address, const std::string& file)
{
    std::ifstream in(to_path(file));
    std::getline(in, address.user);
    std::getline(in, address.password);
    if (!in || address.user.empty())
        throw Failure(
            "the file '" + file +
            "' cannot be read as credentials: a line with the user, one with the password");
    for (std::string* const line : {&address.user, &address.password})
        if (!line->empty() && line->back() == '\r')
            line->pop_back();
}

std::string environment(const char* name)
{
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): read at the start
    return value != nullptr ? value : "";
}

void read_parameter(Cluster_Address& address, std::string& credentials, const std::string& name,
                    std::string_view value)
{
    constexpr unsigned longest_wait = 3600;      // seconds
    constexpr unsigned longest_keep = 36'500;    // days
    constexpr unsigned largest_spool = 1 << 20U; // megabytes
    if (name == "cluster" && is_name(value))
        address.cluster = value;
    else if (name == "cluster")
        refuse("a cluster's name has letters, digits and _");
    else if (name == "spool")
        address.spool = value;
    else if (name == "spool_mb")
        address.spool_megabytes = number_of(name, value, 1, largest_spool);
    else if (name == "batch")
        address.batch = std::chrono::seconds(number_of(name, value, 1, longest_wait));
    else if (name == "wait")
        address.wait = std::chrono::seconds(number_of(name, value, 1, longest_wait));
    else if (name == "keep")
        address.keep_days = number_of(name, value, 1, longest_keep);
    else if (name == "credentials")
        credentials = value;
    else
        refuse("there is no parameter '" + name + "'");
}

} // namespace

std::string Cluster_Address::text() const
{
    std::string all;
    for (const Server& server : servers)
        all += (all.empty() ? "" : ",") + server.text();
    return std::string(scheme) + all + '/' + database;
}

Cluster_Address parse_cluster_address(const std::string& text)
{
    Cluster_Address address;
    std::string_view rest = text;
    if (rest.substr(0, scheme.size()) != scheme)
        refuse("the address of a cluster begins with clickhouse://");
    rest.remove_prefix(scheme.size());
    std::string_view place = take_until(rest, '?');
    if (place.find('@') != std::string_view::npos)
        refuse("an address has no user and no password; they come from a file or the environment");
    std::string_view servers = take_until(place, '/');
    do
        address.servers.push_back(server_of(take_until(servers, ',')));
    while (!servers.empty());
    if (!is_name(place))
        refuse("the address has no database, whose name has letters, digits and _");
    address.database = place;
    std::string credentials;
    while (!rest.empty()) {
        std::string_view parameter = take_until(rest, '&');
        const std::string name(take_until(parameter, '='));
        read_parameter(address, credentials, name, parameter);
    }
    if (address.cluster.empty() && address.servers.size() > 1) // which of them had the objects?
        refuse("several servers need a cluster");
    if (!credentials.empty())
        read_credentials(address, credentials);
    else {
        address.user = environment("KR_CLICKHOUSE_USER");
        address.password = environment("KR_CLICKHOUSE_PASSWORD");
    }
    return address;
}

} // namespace video_search
