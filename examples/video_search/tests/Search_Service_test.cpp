#include "search/Search_Service.h"

#include "Search_Testing.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <csignal>

using namespace video_search;

namespace {

class Search_Service_Test : public testing::Test {
protected:
    Search_Service_Test()
    {
        options_.store = folder_ + "/a.db";
        options_.html = folder_ + "/a.html";
    }

    void fill_store(int objects)
    {
        Store store(options_.store, Store::Access::write);
        Recording recording;
        recording.run = "run-1";
        recording.video = "yard.avi";
        recording.start = second(0);
        recording.end = second(60);
        store.put(recording);
        for (int k = 1; k <= objects; ++k) {
            const KR_ObjectBase object = test_object(static_cast<std::uint64_t>(k), k, 2);
            store.add("run-1", object, encode(object, 1'000'000));
        }
    }

    std::string log_text() const
    {
        std::string log;
        for (const auto& file : std::filesystem::directory_iterator(folder_ + "/log"))
            log += text_of(file.path().string());
        return log;
    }

    const std::string folder_ = fresh_folder();
    Options options_;
};

} // namespace

TEST_F(Search_Service_Test, SearchesWritesThePageAndEndsTheHost)
{
    fill_store(3);
    options_.criteria.from = second(2);
    Host host("kr_search", folder_);
    Search_Service service(host, options_);
    ASSERT_TRUE(host.run(service));
    const auto result = service.take();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->matches, 2U);
    EXPECT_EQ(result->objects, 2U);
    const std::string html = text_of(options_.html);
    EXPECT_NE(html.find("id=\"hit-2\""), std::string::npos);
    EXPECT_NE(html.find("yard.avi"), std::string::npos);
    EXPECT_NE(html.find(host.run_id()), std::string::npos);
    EXPECT_FALSE(service.take());
}

TEST_F(Search_Service_Test, WritesCsvAndJsonAndTheQueryIntoTheLog)
{
    fill_store(3);
    options_.html.clear();
    options_.csv = folder_ + "/a.csv";
    options_.json = folder_ + "/a.json";
    options_.criteria.min_duration = 1.5F;
    options_.criteria.limit = 2;
    {
        Host host("kr_search", folder_ + "/log");
        Search_Service service(host, options_);
        ASSERT_TRUE(host.run(service));
        ASSERT_TRUE(service.take());
    }
    const std::string csv = text_of(options_.csv);
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 3);
    const std::string json = text_of(options_.json);
    EXPECT_EQ(json.find("[\n{\"id\": 1, "), 0U) << json;
    std::string log;
    for (const auto& file : std::filesystem::directory_iterator(folder_ + "/log"))
        log += text_of(file.path().string());
    EXPECT_NE(
        log.find(" INF search: all objects, 1.5 s or longer, at most 2: 2 hits; more than 2 of "
                 "3 objects match, 2 shown"),
        std::string::npos)
        << log;
}

TEST_F(Search_Service_Test, FillsWhatItShows)
{
    fill_store(1);
    const auto hit = [&] {
        Host host("kr_search", folder_);
        Search_Service service(host, options_);
        EXPECT_TRUE(host.run(service));
        return service.take().value().hits.at(0);
    };
    EXPECT_EQ(hit().result.debugInstances.size(), 3U) << "the page shows them";
    options_.html.clear();
    options_.json = folder_ + "/a.json";
    EXPECT_EQ(hit().path.size(), 3U);
    EXPECT_TRUE(hit().result.instances.empty());
    EXPECT_NE(text_of(options_.json).find("\"path\": [[5, 20], [15, 20], [25, 20]]"),
              std::string::npos);
    options_.json.clear();
    EXPECT_TRUE(hit().path.empty());
}

TEST_F(Search_Service_Test, StoreWithoutIndexGetsOne)
{
    fill_store(3);
    SQLite::Database(options_.store, SQLite::OPEN_READWRITE)
        .exec("DELETE FROM trait; UPDATE trait_state SET is_whole = 0");
    Host host("kr_search", folder_);
    Search_Service service(host, options_);
    ASSERT_TRUE(host.run(service));
    EXPECT_EQ(service.take()->matches, 3U);
    EXPECT_TRUE(Store(options_.store, Store::Access::read).is_indexed());
}

TEST_F(Search_Service_Test, StoreThatCannotBeWrittenIsSearchedAllTheSame)
{
    fill_store(3);
    SQLite::Database writer(options_.store, SQLite::OPEN_READWRITE);
    writer.exec("UPDATE trait_state SET is_whole = 0; BEGIN IMMEDIATE");
    {
        Host host("kr_search", folder_ + "/log");
        Search_Service service(host, options_);
        ASSERT_TRUE(host.run(service));
        EXPECT_EQ(service.take()->matches, 3U);
    }
    EXPECT_NE(log_text().find(" INF search: goes through all records, since " + options_.store +
                              " is in use by another program"),
              std::string::npos)
        << log_text();
    EXPECT_FALSE(Store(options_.store, Store::Access::read).is_indexed());
}

TEST_F(Search_Service_Test, FailureComesOutOfTake)
{
    Host host("kr_search", folder_);
    Search_Service service(host, options_); // there is no store
    ASSERT_TRUE(host.run(service));
    EXPECT_THROW((void)service.take(), Failure);
    EXPECT_FALSE(std::filesystem::exists(options_.html));
}

TEST_F(Search_Service_Test, WritesNoPageAfterCtrlC)
{
    fill_store(3);
    Host host("kr_search", folder_);
    Search_Service service(host, options_);
    std::raise(SIGINT);
    ASSERT_TRUE(host.run(service));
    EXPECT_FALSE(service.take());
    EXPECT_FALSE(std::filesystem::exists(options_.html));
}
