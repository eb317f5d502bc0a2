#include "Metrics.h"

#include "search/Format.h"

#include <algorithm>

namespace video_search {

void Metrics::add(std::string_view route, int status, std::chrono::microseconds duration)
{
    const double seconds = std::chrono::duration<double>(duration).count();
    const auto bound = std::lower_bound(bounds.begin(), bounds.end(), seconds) - bounds.begin();
    const std::lock_guard<std::mutex> lock(mutex_);
    ++requests_[{std::string(route), status}];
    Durations& durations = durations_[std::string(route)];
    ++durations.counts[static_cast<std::size_t>(bound)];
    durations.sum += duration;
}

std::string metric(const std::string& name, const std::string& help, const std::string& type,
                   std::size_t value)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n' + name + ' ' +
           std::to_string(value) + '\n';
}

std::string Metrics::text() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text = "# HELP kr_serve_requests_total Requests that were answered.\n"
                       "# TYPE kr_serve_requests_total counter\n";
    for (const auto& [key, count] : requests_)
        text += "kr_serve_requests_total{route=\"" + key.first + "\",status=\"" +
                std::to_string(key.second) + "\"} " + std::to_string(count) + '\n';
    text += "# HELP kr_serve_request_seconds How long it took to make an answer.\n"
            "# TYPE kr_serve_request_seconds histogram\n";
    for (const auto& [route, durations] : durations_) {
        const std::string label = "{route=\"" + route + '"';
        std::uint64_t count = 0;
        for (std::size_t k = 0; k < durations.counts.size(); ++k) {
            count += durations.counts[k];
            const std::string bound =
                k < bounds.size() ? shortest(static_cast<float>(bounds[k])) : "+Inf";
            text.append("kr_serve_request_seconds_bucket").append(label);
            text.append(",le=\"").append(bound).append("\"} ");
            text.append(std::to_string(count)).append("\n");
        }
        text.append("kr_serve_request_seconds_sum").append(label).append("} ");
        text.append(decimal(std::chrono::duration<double>(durations.sum).count(), 6)).append("\n");
        text.append("kr_serve_request_seconds_count").append(label).append("} ");
        text.append(std::to_string(count)).append("\n");
    }
    return text;
}

} // namespace video_search
