#include "search/Search_Service.h"

#include "Search_Testing.h"

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

    const std::string folder_ = fresh_folder();
    Options options_;
};

} // namespace

TEST_F(Search_Service_Test, SearchesWritesThePageAndEndsTheHost)
{
    fill_store(3);
    options_.criteria.from = second(2);
    Host host("kr_search", folder_, "kr_search");
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

TEST_F(Search_Service_Test, FailureComesOutOfTake)
{
    Host host("kr_search", folder_, "kr_search");
    Search_Service service(host, options_); // there is no store
    ASSERT_TRUE(host.run(service));
    EXPECT_THROW((void)service.take(), Failure);
    EXPECT_FALSE(std::filesystem::exists(options_.html));
}

TEST_F(Search_Service_Test, WritesNoPageAfterCtrlC)
{
    fill_store(3);
    Host host("kr_search", folder_, "kr_search");
    Search_Service service(host, options_);
    std::raise(SIGINT);
    ASSERT_TRUE(host.run(service));
    EXPECT_FALSE(service.take());
    EXPECT_FALSE(std::filesystem::exists(options_.html));
}
