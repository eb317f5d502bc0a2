// What the service tells of a cluster whose servers go away and come back. Skipped, with a reason, where
// clickhouse-server is not installed.

#include "Live_Cluster.h"
#include "serve/Web_Api.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>

namespace video_search {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class Service {
public:
    explicit Service(const Live_Cluster& cluster)
        : profile_(0, cluster.folder() + "/p"), api_(options(cluster), "", profile_)
    {
    }

    httplib::Response get(const std::string& target)
    {
        httplib::Request request;
        request.method = "GET";
        request.target = target;
        request.headers = {{"Host", "localhost:8080"}};
        httplib::Response response;
        api_.answer(request, response);
        return response;
    }

    std::string text(const std::string& target) { return get(target).body; }

    // Asks until it is so; the last answer.
    std::string wait_for(const std::string& target, const std::string& part)
    {
        std::string answer;
        for (int k = 0; k < 100; ++k) {
            answer = text(target);
            if (answer.find(part) != std::string::npos &&
                answer.find("unanswered") == std::string::npos)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        return answer;
    }

private:
    static Serve_Options options(const Live_Cluster& cluster)
    {
        Serve_Options options;
        options.store = cluster.address();
        return options;
    }

    ProfileHelper profile_;
    Web_Api api_;
};

constexpr const char* density =
    "/api/density?from=2000-01-01T00:00:00Z&to=2030-01-01T00:00:00Z&buckets=1";
constexpr const char* missing = R"(, "unanswered": ["shard 2"]})";

std::size_t lines_of(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

} // namespace

TEST(Cluster_Serve, NamesTheServerThatIsAwayInEachAnswerAndCountsItsObjectsOnceItIsBack)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(2);
    {
        const auto store = cluster.open(Object_Store::Access::write);
        Recording recording;
        recording.run = "run";
        recording.sensor = sensor_of(1);
        store->put(recording);
        for (std::uint64_t id = 1; id <= 40; ++id)
            for (int sensor = 1; sensor <= 2; ++sensor)
                add(*store, object_of(sensor, id, static_cast<int>(id)));
        ASSERT_EQ(store->flush(), 0U);
    }
    Service service(cluster);
    EXPECT_THAT(service.wait_for(density, "\"total\": 80"), HasSubstr("\"total\": 80}"));
    EXPECT_EQ(service.get("/api/search.csv").get_header_value_count("X-Unanswered"), 0U);

    cluster.kill(2);
    EXPECT_THAT(service.text(density), AllOf(HasSubstr("\"total\": 40"), HasSubstr(missing)));
    EXPECT_THAT(service.text(density + std::string("&min_duration=1")),
                AllOf(HasSubstr("\"total\": 40"), HasSubstr(missing)));
    EXPECT_THAT(service.text("/api/search"), HasSubstr(missing));
    const httplib::Response csv = service.get("/api/search.csv");
    EXPECT_EQ(lines_of(csv.body), 41U);
    ASSERT_EQ(csv.get_header_value_count("X-Unanswered"), 1U);
    EXPECT_EQ(csv.get_header_value("X-Unanswered"), "shard 2");
    std::string recordings; // which counts what is three seconds old
    for (int k = 0; k < 50 && recordings.find("\"objects\": 40") == std::string::npos; ++k) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        recordings = service.text("/api/recordings");
    }
    EXPECT_THAT(recordings, AllOf(HasSubstr("\"objects\": 40"), HasSubstr(missing)));

    cluster.start(2);
    EXPECT_THAT(service.wait_for("/api/recordings", "\"objects\": 80"),
                AllOf(HasSubstr("\"objects\": 80"), Not(HasSubstr("unanswered"))));
}

} // namespace video_search
