#include "Cluster.h"

#include "../host/Host.h"
#include "Row_Binary.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <utility>

namespace video_search {

std::uint64_t place_of(const ns__SensorId& sensor) noexcept
{
    constexpr std::uint64_t spread = 7919; // a prime that no number of shards will be a multiple of
    return static_cast<std::uint32_t>(sensor.word1) * spread +
           static_cast<std::uint32_t>(sensor.word2);
}

std::uint64_t place_of(const std::string& run) noexcept
{
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char letter : run)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    return hash;
}

std::string quoted_sql(const std::string& text)
{
    std::string quoted = "'";
    for (const char letter : text) {
        if (letter == '\'' || letter == '\\')
            quoted += '\\';
        if (letter == '\0')
            quoted += "\\0";
        else
            quoted += letter;
    }
    return quoted + "'";
}

namespace {

std::string percent_encoded(const std::string& text)
{
    constexpr const char* digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < 0x80 && std::isalnum(byte) != 0)
            encoded += letter;
        else
            (encoded += '%').append({digits[byte >> 4], digits[byte & 15]});
    }
    return encoded;
}

// "Code: 60, e.displayText() = DB::Exception: Table ..., e.what() = DB::Exception": the middle of it.
std::string reason_of(const Http_Answer& answer)
{
    constexpr std::size_t longest = 300;
    const std::string begin = "e.displayText() = DB::";
    std::string text = answer.body;
    if (const std::size_t at = text.find(begin); at != std::string::npos)
        text.erase(0, at + begin.size());
    if (const std::size_t end = text.find(", e.what()"); end != std::string::npos)
        text.erase(end);
    text.resize(std::min({text.size(), text.find('\n'), longest}));
    return "HTTP " + std::to_string(answer.status) + (text.empty() ? "" : ": " + text);
}

// All its versions have such a header. Another program, or a proxy, may say 200 to anything, and what
// it was sent would be lost.
bool is_of_clickhouse(const Http_Answer& answer)
{
    std::string headers = answer.headers;
    std::transform(headers.begin(), headers.end(), headers.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return headers.find("\nx-clickhouse-") != std::string::npos;
}

Cluster::Answer answer_of(const std::string& name, Http_Answer&& answer)
{
    constexpr long ok = 200;
    constexpr long unauthorized = 401;
    if (answer.status == unauthorized) // its sentence names the user
        return {"", name + ": HTTP 401: it takes no such user, or another password", true};
    if (answer.status == ok && !is_of_clickhouse(answer))
        return {"", name + ": what answers there is no ClickHouse server", false};
    if (answer.status == ok)
        return {std::move(answer.body), "", false};
    if (answer.status != 0)
        return {"", name + ": " + reason_of(answer), true};
    return {"", name + ": " + answer.failure, false};
}

} // namespace

Cluster::Cluster(Cluster_Address address)
    : address_(std::move(address)), client_(address_.user, address_.password)
{
    std::string failures;
    for (const Cluster_Address::Server& server : address_.servers) {
        try {
            for (Cluster_Address::Server& each : ask_for_shards(server))
                shards_.push_back({std::move(each), {}});
            return;
        } catch (const Failure& failure) {
            failures += (failures.empty() ? "" : "; ") + std::string(failure.what());
        }
    }
    throw Failure(address_.text() + ": " + failures);
}

// The server itself, when no cluster is named. Of two clusters of the same shards one may know HTTP.
std::vector<Cluster_Address::Server> Cluster::ask_for_shards(const Cluster_Address::Server& server)
{
    const std::string with_ports = address_.cluster + "_http";
    Question question;
    question.sql = "SELECT cluster, shard_num, host_name, port FROM system.clusters WHERE "
                   "replica_num = 1 AND cluster IN (" +
                   quoted_sql(address_.cluster) + ", " + quoted_sql(with_ports) +
                   ") FORMAT RowBinary";
    Answer answer = answer_of(
        server.text(), std::move(client_.post({request_of(server, question)}, address_.wait)[0]));
    if (!answer.is_there())
        throw Failure(answer.failure);
    if (address_.cluster.empty())
        return {server};
    std::map<std::string, std::map<std::uint32_t, Cluster_Address::Server>> clusters;
    for (Row_Reader row(answer.bytes); !row.is_at_end();) {
        const std::string cluster(row.text());
        Cluster_Address::Server& shard = clusters[cluster][row.number<std::uint32_t>()];
        shard.host = row.text();
        if (shard.host.find(':') != std::string::npos)
            shard.host = '[' + shard.host + ']';
        shard.port = row.number<std::uint16_t>();
        if (cluster != with_ports)
            shard.port = server.port;
    }
    const bool has_ports = clusters.count(with_ports) > 0;
    if (clusters[address_.cluster].empty())
        throw Failure("there is no cluster '" + address_.cluster + "'");
    std::vector<Cluster_Address::Server> shards;
    for (auto& each : clusters[has_ports ? with_ports : address_.cluster])
        shards.push_back(std::move(each.second));
    if (shards.size() != clusters[address_.cluster].size())
        throw Failure("the clusters '" + address_.cluster + "' and '" + with_ports +
                      "' have different numbers of shards");
    return shards;
}

// An error that comes behind the begin of an answer would be taken for rows: hence the wait.
Http_Request Cluster::request_of(const Cluster_Address::Server& server,
                                 const Question& question) const
{
    constexpr std::size_t long_query = 100'000; // thousands of sensors; servers take 262,144 bytes
    Http_Request request;
    request.url = "http://" + server.text() + "/?wait_end_of_query=1&buffer_size=16777216";
    if (!question.query_id.empty())
        request.url += "&query_id=" + question.query_id;
    if (question.sql.size() > long_query)
        request.url += "&max_query_size=" + std::to_string(2 * question.sql.size()) +
                       "&max_ast_elements=" + std::to_string(question.sql.size());
    if (question.rows.empty()) {
        request.body = question.sql;
    } else {
        request.url += "&query=" + percent_encoded(question.sql);
        request.body = question.rows;
        request.is_sent_once = true;
    }
    return request;
}

std::string Cluster::name_of(std::size_t shard) const
{
    return "shard " + std::to_string(shard + 1) + " (" + shards_[shard].server.text() + ")";
}

std::vector<Cluster::Answer> Cluster::ask(const std::vector<Question>& questions)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds patience(5);
    std::vector<Answer> answers(questions.size());
    std::vector<Http_Request> requests;
    std::vector<std::size_t> asked; // question of each request
    for (std::size_t k = 0; k < questions.size(); ++k) {
        const Shard& shard = shards_[questions[k].shard];
        if (Clock::now() < shard.hangs_until) {
            answers[k].failure = name_of(questions[k].shard) + ": timed out";
            continue;
        }
        requests.push_back(request_of(shard.server, questions[k]));
        asked.push_back(k);
    }
    std::vector<Http_Answer> given = client_.post(requests, address_.wait);
    for (std::size_t k = 0; k < given.size(); ++k) {
        const std::size_t number = questions[asked[k]].shard;
        if (given[k].failure == "timed out")
            shards_[number].hangs_until = Clock::now() + patience;
        answers[asked[k]] = answer_of(name_of(number), std::move(given[k]));
    }
    return answers;
}

Cluster::Answer Cluster::ask(const Question& question)
{
    return std::move(ask(std::vector<Question>{question})[0]);
}

} // namespace video_search
