// Searches page by page, and the answers of each address, without a network.

#include "serve/Search_Api.h"
#include "serve/Swatches.h"
#include "serve/Web_Api.h"

#include "Search_Testing.h"

#include <KRCommon/colors/Colors.h>

#include <SQLiteCpp/SQLiteCpp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <regex>
#include <set>

using namespace video_search;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class ServeSearch : public testing::Test {
protected:
    ServeSearch() : folder(fresh_folder()), path(folder + "/a.store"), profile(0, folder + "/p")
    {
        Store store(path, Store::Access::write);
        Recording recording;
        recording.run = "run-1";
        store.put(recording);
    }

    // An object that differs in what searches sort by.
    void add(std::uint64_t id, int start, int duration, float score)
    {
        KR_ObjectBase object = test_object(id, start, duration);
        object.ClassScores[0] = score;
        Store store(path, Store::Access::write);
        store.add("run-1", object, encode(object, 1'000'000));
    }

    std::vector<std::uint64_t> page(Search_Api& api, const std::string& query,
                                    std::optional<std::string>& cursor) const
    {
        const std::string whole = cursor ? query + "&cursor=" + *cursor : query;
        const Hit_Page page = api.search(read_search(parse_query(whole, 64), limits, 50, 500));
        cursor = page.next;
        std::vector<std::uint64_t> ids;
        for (const Hit& hit : page.hits)
            ids.push_back(hit.result.objectId);
        return ids;
    }

    std::vector<std::uint64_t> pages(const std::string& query) const
    {
        Search_Api api(path, limits, profile);
        std::optional<std::string> cursor;
        std::vector<std::uint64_t> all;
        do {
            const std::vector<std::uint64_t> ids = page(api, query, cursor);
            EXPECT_TRUE(!ids.empty());
            all.insert(all.end(), ids.begin(), ids.end());
        } while (cursor && all.size() < 100);
        return all;
    }

    const std::string folder;
    const std::string path;
    mutable ProfileHelper profile;
    const Limits limits;
};

} // namespace

TEST_F(ServeSearch, GoesOnBehindTheCursorInEachOrder)
{
    add(1, 5, 3, 0.5F); // 1 and 2 differ in the id alone, 3 in the time too
    add(2, 5, 3, 0.5F);
    add(3, 6, 3, 0.5F);
    add(4, 1, 9, 0.25F);
    add(5, 9, 1, 0.75F);
    for (const char* const limit : {"1", "2", "3", "5", "9"}) {
        const std::string tail = std::string("&limit=") + limit;
        EXPECT_THAT(pages("sort=time" + tail), ElementsAre(4, 1, 2, 3, 5)) << limit;
        EXPECT_THAT(pages("sort=latest" + tail), ElementsAre(5, 3, 2, 1, 4)) << limit;
        EXPECT_THAT(pages("sort=duration" + tail), ElementsAre(4, 1, 2, 3, 5)) << limit;
        EXPECT_THAT(pages("sort=score" + tail), ElementsAre(5, 1, 2, 3, 4)) << limit;
        EXPECT_THAT(pages("sort=score&class=person&min_score=0" + tail), ElementsAre(5, 1, 2, 3, 4))
            << limit;
    }
}

TEST_F(ServeSearch, GoesOnBehindAnInfiniteScore)
{
    add(1, 5, 3, std::numeric_limits<float>::infinity());
    add(2, 6, 3, 0.5F);
    add(3, 7, 3, std::numeric_limits<float>::infinity());
    add(4, 8, 3, std::numeric_limits<float>::quiet_NaN());
    EXPECT_THAT(pages("sort=score&limit=1"), ElementsAre(1, 3, 2, 4));
}

// Where a file that is open cannot be replaced there is nothing to be seen.
TEST_F(ServeSearch, TakesTheFileThatHasTakenThePlaceOfTheStore)
{
    add(1, 5, 3, 0.5F);
    add(2, 6, 3, 0.5F);
    const std::string other = folder + "/other.store";
    std::filesystem::copy_file(path, other);
    Search_Api api(path, limits, profile);
    EXPECT_EQ(api.recordings().recordings.at(0).objects, 2);
    const std::size_t edition = api.stored_after(0, 9).edition;
    EXPECT_EQ(api.stored_after(0, 9).edition, edition);
    {
        SQLite::Database database(other, SQLite::OPEN_READWRITE);
        database.exec("DELETE FROM object WHERE object_id = 1");
    }
    std::error_code error;
    std::filesystem::rename(other, path, error);
    if (error)
        GTEST_SKIP() << "a file that is open cannot be replaced here: " << error.message();
    std::optional<std::string> cursor;
    EXPECT_THAT(page(api, "", cursor), ElementsAre(2));
    EXPECT_EQ(api.recordings().recordings.at(0).objects, 1);
    EXPECT_NE(api.stored_after(0, 9).edition, edition);
    EXPECT_EQ(api.resumed_at(1), 1);
    EXPECT_EQ(api.resumed_at(99), 2);
    std::filesystem::rename(path, other);
    EXPECT_THROW(api.check(), Failure);
    EXPECT_THROW(api.check(), Failure);
    std::filesystem::rename(other, path);
    for (int k = 0; k < 9; ++k) // no place has got lost
        EXPECT_THAT(page(api, "", cursor = std::nullopt), ElementsAre(2));
}

TEST_F(ServeSearch, RepeatsAndSkipsNothingWhileObjectsArrive)
{
    for (int id = 1; id <= 4; ++id)
        add(static_cast<std::uint64_t>(id), 10 * id, 1, 0.5F);
    Search_Api api(path, limits, profile);
    std::optional<std::string> cursor;
    EXPECT_THAT(page(api, "limit=2", cursor), ElementsAre(1, 2));
    add(5, 5, 1, 0.5F);  // before the cursor: not on a later page
    add(6, 25, 1, 0.5F); // behind it
    EXPECT_THAT(page(api, "limit=2", cursor), ElementsAre(6, 3));
    EXPECT_THAT(page(api, "limit=2", cursor), ElementsAre(4));
    EXPECT_FALSE(cursor);
}

TEST_F(ServeSearch, WritesCsvInPartsAsOneList)
{
    constexpr std::size_t count = 4100; // parts of 500 in the order of time, else of 2000
    {
        Store store(path, Store::Access::write);
        SQLite::Database database(path, SQLite::OPEN_READWRITE);
        SQLite::Transaction transaction(database);
        SQLite::Statement insertion(database, "INSERT INTO object VALUES (3, 1, ?, 'run-1', ?, ?)");
        for (std::size_t id = 1; id <= count; ++id) {
            const KR_ObjectBase object = test_object(id, 0, 1);
            const Bytes record = encode(object, 1'000'000);
            insertion.reset();
            insertion.bind(1, static_cast<std::int64_t>(id));
            insertion.bind(2, std::int64_t{object.FirstSeenTime.sec()} * 1'000'000);
            insertion.bindNoCopy(3, record.data(), static_cast<int>(record.size()));
            insertion.exec();
        }
        transaction.commit();
    }
    Serve_Options options;
    options.store = path;
    Web_Api api(options, "", profile);
    httplib::Request request;
    request.method = "GET";
    request.headers = {{"Host", "localhost"}};
    const auto lines = [&](const std::string& target) {
        request.target = target;
        httplib::Response response;
        api.answer(request, response);
        return std::count(response.body.begin(), response.body.end(), '\n') - 1;
    };
    EXPECT_EQ(lines("/api/search.csv"), count);
    EXPECT_EQ(lines("/api/search.csv?limit=501&sort=latest"), 501);
    EXPECT_EQ(lines("/api/search.csv?limit=500"), 500);
    EXPECT_EQ(lines("/api/search.csv?sort=score"), count);
    EXPECT_EQ(lines("/api/search.csv?limit=2001&sort=score"), 2001);
    EXPECT_EQ(lines("/api/search.csv?limit=2000&sort=duration"), 2000);
    EXPECT_EQ(lines("/api/search.csv?class=vehicle"), 0);
}

TEST_F(ServeSearch, CountsObjectsInPartsOfTheTime)
{
    for (const int start : {0, 1, 9, 10})
        add(static_cast<std::uint64_t>(start + 1), start, start, 0.5F);
    Search_Api api(path, limits, profile);
    const auto density = [&](const std::string& more) {
        return api
            .density(read_density(
                parse_query("from=2024-03-05T07:08:09Z&to=2024-03-05T07:08:19Z&buckets=5" + more,
                            9),
                limits))
            .counts;
    };
    EXPECT_THAT(density(""), ElementsAre(2, 0, 0, 0, 2)); // the last moment is in the last part
    EXPECT_THAT(density("&min_duration=1"), ElementsAre(1, 0, 0, 0, 2));
    EXPECT_THAT(density("&sort=latest&min_duration=1"), ElementsAre(1, 0, 0, 0, 2));
}

TEST_F(ServeSearch, ShowsWhatWasStoredBehindARow)
{
    add(7, 5, 1, 0.5F);
    Search_Api api(path, limits, profile);
    const std::int64_t row = api.last_row();
    EXPECT_TRUE(api.stored_after(row, 9).rows.empty());
    add(3, 1, 1, 0.5F);
    add(4, 1, 1, 0.5F);
    const auto stored = api.stored_after(row, 1).rows;
    ASSERT_EQ(stored.size(), 1);
    EXPECT_EQ(stored[0].hit->result.objectId, 3);
    EXPECT_EQ(api.stored_after(stored[0].number, 9).rows.at(0).hit->result.objectId, 4);
    EXPECT_EQ(api.recordings().recordings.at(0).objects, 3);
    add(8, 1, 1, 0.5F);
    EXPECT_EQ(api.recordings().recordings.at(0).objects, 4);
}

TEST_F(ServeSearch, EndsWhenTheServiceStops)
{
    add(1, 5, 1, 0.5F);
    Search_Api api(path, limits, profile);
    api.stop();
    std::optional<std::string> cursor;
    EXPECT_THROW(page(api, "", cursor), Api_Error);
}

TEST(Swatches, AreColoursThatTheConfigurationGivesToTheirPreset)
{
    const KR_Colors& colors = *KR_Colors::instance();
    const std::vector<Swatch> all = swatches(colors);
    ASSERT_EQ(all.size(), 13);
    for (const Swatch& swatch : all) {
        ns__HsvColor hsv;
        colors.rgb_to_hsv(swatch.color, hsv);
        std::vector<ns__ColorPreset> presets;
        colors.get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
        EXPECT_THAT(presets, testing::Contains(swatch.preset));
    }
}

namespace {

class ServeApi : public testing::Test {
protected:
    ServeApi() : folder(fresh_folder()), profile(0, folder + "/p"), api(options(), "", profile) {}

    static Serve_Options options()
    {
        Serve_Options options;
        options.store = VIDEO_SEARCH_TEST_DATA "/clip.store";
        return options;
    }

    httplib::Response get(const std::string& target, const std::string& method = "GET")
    {
        httplib::Request request;
        request.method = method;
        request.target = target;
        request.headers = {{"Host", "localhost:8080"}};
        httplib::Response response;
        api.answer(request, response);
        return response;
    }

    // "status body"
    std::string answer(const std::string& target)
    {
        const httplib::Response response = get(target);
        return std::to_string(response.status) + ' ' + response.body;
    }

    const std::string folder;
    ProfileHelper profile;
    Web_Api api;
};

constexpr const char* run = "d530cec4-e588-11f1-8000-02fc00000001";

} // namespace

TEST_F(ServeApi, TellsRecordingsAndHealth)
{
    EXPECT_EQ(answer("/health"), "200 {\"schema_version\": 1, \"status\": \"ok\"}\n");
    EXPECT_EQ(answer("/api/recordings"),
              std::string("200 {\"schema_version\": 1, \"recordings\": [{\"run\": \"") + run +
                  "\", \"name\": \"clip.avi\", \"sensor\": \"3.1\", \"from\": "
                  "\"2014-03-05T12:00:00.000000Z\", \"to\": \"2014-03-05T12:00:13.000000Z\", "
                  "\"width\": 320, \"height\": 240, \"frame_rate\": 10, \"state\": \"complete\", "
                  "\"objects\": 6, \"has_frames\": false}]}\n");
}

TEST_F(ServeApi, ShowsAnObjectInAList)
{
    EXPECT_THAT(
        answer("/api/search?color=red"),
        testing::StartsWith(
            std::string("200 {\"schema_version\": 1, \"objects\": [{\"sensor\": \"3.1\", \"id\": "
                        "\"1\", \"run\": \"") +
            run +
            "\", \"from\": \"2014-03-05T12:00:01.200000Z\", \"to\": "
            "\"2014-03-05T12:00:05.200000Z\", \"duration\": 4, \"class\": \"object\", \"score\": "
            "0.99864155, \"scores\": {\"person\": 0.001358447, \"vehicle\": 0, \"object\": "
            "0.99864155}, \"colors\": [{\"preset\": \"red\", \"percent\": 100, \"rgb\": "
            "\"#dc1414\"}], \"best\": {\"time\": \"2014-03-05T12:00:01.200000Z\", \"box\": [20, "
            "30, "
            "40, 40], \"score\": 1}, \"instance_count\": 41, \"thumbnail\": "
            "\"/api/objects/3.1/1/thumbnail.jpg\", \"path\": [[40, 70], [44, 70], "));
    EXPECT_THAT(answer("/api/search?color=red"),
                HasSubstr("[200, 70]]}], \"next\": null, \"complete\": true, \"milliseconds\": "));
}

TEST_F(ServeApi, ShowsAWholeObject)
{
    const std::string whole = answer("/api/objects/3.1/1");
    EXPECT_THAT(whole, HasSubstr("\"schema_version\": 1, \"picture\": [320, 240], \"has_frames\": "
                                 "false, \"instances\": [{\"time\": "
                                 "\"2014-03-05T12:00:01.200000Z\", \"box\": [20, 30, 40, 40], "
                                 "\"score\": 1}, "));
    EXPECT_THAT(answer("/api/objects/3.1/99"), testing::StartsWith("404 "));
    EXPECT_THAT(answer("/api/objects/3.1/x"), testing::StartsWith("404 "));
    EXPECT_THAT(answer("/api/objects/3.1/18446744073709551615"), testing::StartsWith("404 "));
    EXPECT_THAT(answer("/api/objects/99999999999/1"), testing::StartsWith("404 "));
}

TEST_F(ServeApi, ShowsPictures)
{
    const httplib::Response thumbnail = get("/api/objects/3.1/1/thumbnail.jpg");
    EXPECT_EQ(thumbnail.status, 200);
    EXPECT_EQ(thumbnail.get_header_value("Content-Type"), "image/jpeg");
    EXPECT_EQ(thumbnail.get_header_value("Cache-Control"), "private, max-age=3600");
    EXPECT_EQ(thumbnail.body.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(get(std::string("/api/recordings/") + run + "/still.jpg").status, 200);
    EXPECT_EQ(get("/api/recordings/other/still.jpg").status, 404);
    EXPECT_EQ(get("/api/objects/3.1/99/thumbnail.jpg").status, 404);
    EXPECT_THAT(
        answer("/api/objects/3.1/1/frame.jpg?time=2014-03-05T12:00:01.2Z"),
        testing::StartsWith("404 {\"schema_version\": 1, \"error\": {\"code\": \"no_frame\""));
    EXPECT_THAT(answer("/api/objects/3.1/1/frame.jpg"), testing::StartsWith("400 "));
}

TEST_F(ServeApi, WritesCsv)
{
    const httplib::Response csv = get("/api/search.csv?limit=2");
    EXPECT_EQ(csv.get_header_value("Content-Type"), "text/csv; charset=utf-8");
    EXPECT_EQ(csv.body.substr(0, csv.body.find("\r\n") + 2 + 8),
              "id,sensor,run,first_seen,last_seen,duration,class,score,person,vehicle,object,"
              "colors,instances\r\n1,3.1,d5");
    EXPECT_EQ(std::count(csv.body.begin(), csv.body.end(), '\n'), 3);
}

TEST_F(ServeApi, TellsWhatIsWrong)
{
    EXPECT_EQ(
        answer("/api/search?%3Cb%3E%22=x"),
        "400 {\"schema_version\": 1, \"error\": {\"code\": \"unknown_parameter\", \"message\": "
        "\"there is no parameter '<b>\\\"'\", \"parameter\": \"<b>\\\"\"}}\n");
    EXPECT_THAT(answer("/api"), testing::StartsWith("404 "));
    const httplib::Response refused = get("/api/search?x=1", "DELETE");
    EXPECT_EQ(refused.status, 405);
    EXPECT_EQ(refused.get_header_value("Allow"), "GET, HEAD");
}

TEST_F(ServeApi, SendsThePageOnceWhateverAProxyMakesOfItsTag)
{
    httplib::Request request;
    request.method = "GET";
    request.target = "/";
    const std::string tag = get("/").get_header_value("ETag");
    const auto status = [&](const std::string& known) {
        request.headers = {{"Host", "localhost"}, {"If-None-Match", known}};
        httplib::Response response;
        api.answer(request, response);
        return response.status;
    };
    for (const std::string& known : {tag, "W/" + tag, "\"x\", " + tag, std::string("*")})
        EXPECT_EQ(status(known), 304) << known;
    for (const std::string& known : {std::string("\"x\""), tag.substr(1, tag.size() - 2)})
        EXPECT_EQ(status(known), 200) << known;
}

TEST_F(ServeApi, TellsBrowsersWhatTheyMayDo)
{
    for (const char* const target : {"/", "/health", "/nope", "/soap?wsdl"}) {
        const httplib::Response response = get(target);
        EXPECT_EQ(
            response.get_header_value("Content-Security-Policy"),
            "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
            "connect-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'");
        EXPECT_EQ(response.get_header_value("X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(response.get_header_value_count("Cache-Control"), 1) << target;
    }
}

TEST_F(ServeApi, DescribesEachOfItsAddresses)
{
    const std::string description = get("/api/openapi.json").body;
    std::set<std::string> described;
    const std::regex path("\n    \"(/[^\"]*)\": ");
    for (std::sregex_iterator it(description.begin(), description.end(), path), end; it != end;
         ++it)
        described.insert((*it)[1]);
    std::set<std::string> answered;
    for (const Routes::Route& route : api.routes().all())
        if (route.path != "/" && route.path != "/soap" && route.path.rfind("/assets/", 0) != 0)
            answered.insert(route.path);
    EXPECT_EQ(described, answered);
}

TEST_F(ServeApi, DescribesItsSoapWhereItIsAsked)
{
    for (const char* const target : {"/soap?wsdl", "/?wsdl"})
        EXPECT_THAT(get(target).body,
                    HasSubstr("<soap:address location=\"http://localhost:8080/soap\"/>"));
    EXPECT_EQ(get("/soap").status, 404);
    EXPECT_EQ(get("/soap", "POST").status, 415); // without a body
}

TEST_F(ServeApi, CountsForOperators)
{
    (void)get("/api/search?x");
    (void)get("/api/presets");
    const std::string text = get("/metrics").body;
    EXPECT_THAT(text,
                HasSubstr("kr_serve_requests_total{route=\"/api/search\",status=\"400\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("kr_serve_request_seconds_count{route=\"/api/presets\"} 1\n"));
    EXPECT_THAT(text, HasSubstr("kr_serve_event_clients 0\n"));
}
