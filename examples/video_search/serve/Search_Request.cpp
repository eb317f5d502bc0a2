#include "Search_Request.h"

#include "Api_Error.h"
#include "host/Program.h"
#include "search/Criteria_Texts.h"

#include <KRCommon/util/Time_Forms.h>
#include <KRCommon/util/Time_Text.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace video_search {

namespace {

template <class Number>
std::optional<Number> number_of(std::string_view text)
{
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end)
        return std::nullopt;
    return number;
}

float read_float(const std::string& parameter, const std::string& text)
{
    const auto value = number_of<float>(text);
    if (!value)
        throw bad_parameter(parameter, "'" + text + "' is no number");
    return *value;
}

} // namespace

std::int64_t read_whole(const std::string& parameter, const std::string& text, std::int64_t least,
                        std::int64_t most)
{
    const auto value = number_of<std::int64_t>(text);
    if (!value || *value < least || *value > most)
        throw bad_parameter(parameter, "'" + text + "' is no whole number from " +
                                           std::to_string(least) + " to " + std::to_string(most));
    return *value;
}

ACE_Time_Value read_time(const std::string& parameter, const std::string& text)
{
    ACE_Time_Value time;
    if (kr_try_from_iso8601(text, time))
        return time;
    if (const std::optional<ACE_Time_Value> other = to_time(text))
        return *other;
    throw bad_parameter(parameter, "'" + text +
                                       "' is no time; write 2024-03-05T07:08:09Z, or "
                                       "2024/03/05 07:08:09 for UTC");
}

ns__SensorId read_sensor(const std::string& text)
{
    try {
        return sensor_of_text(text);
    } catch (const Usage_Error&) {
        throw not_found("there is no sensor '" + text + "'; write 3.1");
    }
}

std::uint64_t read_object_id(const std::string& text)
{
    const auto id = number_of<std::uint64_t>(text);
    if (!id)
        throw not_found("there is no object '" + text + "'; an id is a number");
    return *id;
}

namespace {

// Takes the parameters of one request, each once unless it may be repeated.
class Taker {
public:
    explicit Taker(const Parameters& parameters) : left_(parameters) {}

    std::optional<std::string> one(const std::string& name)
    {
        std::vector<std::string> values = all(name);
        if (values.size() > 1)
            throw bad_parameter(name, name + " is there more than once");
        if (values.empty())
            return std::nullopt;
        return std::move(values[0]);
    }

    std::vector<std::string> all(const std::string& name)
    {
        std::vector<std::string> values;
        const auto is_taken = [&](auto& each) {
            if (each.first != name)
                return false;
            values.push_back(std::move(each.second));
            return true;
        };
        left_.erase(std::remove_if(left_.begin(), left_.end(), is_taken), left_.end());
        return values;
    }

    std::optional<float> one_float(const std::string& name)
    {
        const std::optional<std::string> text = one(name);
        return text ? std::optional(read_float(name, *text)) : std::nullopt;
    }

    // Those that were not asked for.
    void refuse_rest() const
    {
        if (!left_.empty())
            throw Api_Error(400, "unknown_parameter",
                            "there is no parameter '" + left_[0].first + "'", left_[0].first);
    }

private:
    Parameters left_;
};

// Values, each of which may be a list with commas.
std::vector<std::string> split(const std::vector<std::string>& values)
{
    std::vector<std::string> parts;
    for (const std::string& value : values)
        for (std::size_t begin = 0; begin <= value.size();) {
            const std::size_t end = std::min(value.find(',', begin), value.size());
            parts.push_back(value.substr(begin, end - begin));
            begin = end + 1;
        }
    return parts;
}

// Whatever form it has, as kr_search takes it.
std::optional<std::string> time_text_of(const std::string& name,
                                        const std::optional<std::string>& text)
{
    return text ? std::optional(kr_to_string(read_time(name, *text))) : std::nullopt;
}

Criteria_Texts take_texts(Taker& taker, const Limits& limits)
{
    Criteria_Texts texts;
    texts.from = time_text_of("from", taker.one("from"));
    texts.to = time_text_of("to", taker.one("to"));
    texts.hours = taker.one("hours");
    texts.sensors = split(taker.all("sensor"));
    texts.object_class = taker.one("class");
    texts.min_score = taker.one_float("min_score");
    texts.colors = split(taker.all("color"));
    texts.which_colors = taker.one("colors");
    texts.min_area = taker.one_float("min_area");
    texts.min_duration = taker.one_float("min_duration");
    texts.max_duration = taker.one_float("max_duration");
    texts.stood_in = taker.one("stood_in");
    texts.crossed = taker.one("crossed");
    texts.order = taker.one("sort").value_or(texts.order);
    if (const std::optional<std::string> window = taker.one("window"))
        texts.window = static_cast<int>(read_whole("window", *window, -1, limits.most_window));
    return texts;
}

// "--min-area: needs a --color" is of the command line.
Api_Error error_of(const std::string& sentence)
{
    const std::size_t colon = sentence.find(": ");
    std::string parameter = sentence.substr(2, colon - 2);
    std::replace(parameter.begin(), parameter.end(), '-', '_');
    std::string message = sentence.substr(colon + 2);
    for (std::size_t place = message.find("--"); place != std::string::npos;
         place = message.find("--"))
        message.erase(place, 2);
    return bad_parameter(parameter, message);
}

Criteria read_criteria(Taker& taker, const Limits& limits)
{
    const Criteria_Texts texts = take_texts(taker, limits);
    try {
        return criteria_of(texts);
    } catch (const Usage_Error& error) {
        throw error_of(error.what());
    }
}

// A long list of objects, or one of long objects, but not both.
void check_size(const Criteria& criteria, const Limits& limits)
{
    const bool has_long_objects =
        criteria.window < 0 || criteria.window > static_cast<int>(limits.page);
    if (has_long_objects && criteria.limit > limits.page)
        throw bad_parameter("window", "a window of more than " + std::to_string(limits.page) +
                                          " goes with a limit of so many at most");
}

} // namespace

Search_Request read_search(const Parameters& parameters, const Limits& limits, std::size_t usual,
                           std::size_t most)
{
    Taker taker(parameters);
    Search_Request request;
    const std::optional<std::string> limit = taker.one("limit");
    const std::optional<std::string> cursor = taker.one("cursor");
    request.criteria = read_criteria(taker, limits);
    taker.refuse_rest();
    request.criteria.limit = limit ? static_cast<std::size_t>(read_whole(
                                         "limit", *limit, 1, static_cast<std::int64_t>(most)))
                                   : usual;
    check_size(request.criteria, limits);
    if (cursor)
        request.after = parse_cursor(*cursor, request.criteria);
    return request;
}

Density_Request read_density(const Parameters& parameters, const Limits& limits)
{
    Taker taker(parameters);
    Density_Request request;
    if (const std::optional<std::string> buckets = taker.one("buckets"))
        request.buckets = static_cast<std::size_t>(
            read_whole("buckets", *buckets, 1, static_cast<std::int64_t>(limits.most_buckets)));
    request.criteria = read_criteria(taker, limits);
    taker.refuse_rest();
    if (!request.criteria.from || !request.criteria.to)
        throw bad_parameter(request.criteria.from ? "to" : "from", "from and to are needed");
    if (*request.criteria.from == *request.criteria.to)
        throw bad_parameter("to", "to must be later than from");
    return request;
}

} // namespace video_search
