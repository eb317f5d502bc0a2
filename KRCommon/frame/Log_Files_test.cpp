#include <KRCommon/frame/Log_Files.h>

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Temp_Folder.h>

#include <ace/Dirent.h>

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <thread>

namespace {

using namespace kr_internal;

const std::string separator(1, kr_platform::path_separator());

ACE_Date_Time date(long day, long month, long year)
{
    return ACE_Date_Time(day, month, year);
}

TEST(LogFileName, LeftIsDirectoryPrefixAndDate)
{
    EXPECT_EQ("C:\\Logs" + separator + "server_2014_03_05",
              log_file_left("C:\\Logs", "server", date(5, 3, 2014)));
    EXPECT_EQ("logs" + separator + "server_1999_12_31",
              log_file_left("logs", "server", date(31, 12, 1999)));
    EXPECT_EQ("a b" + separator + "my server_2014_10_01",
              log_file_left("a b", "my server", date(1, 10, 2014)));
}

TEST(LogFileName, LeftTakesDirectoryAndPrefixAsTheyStand)
{
    EXPECT_EQ(separator + "_2014_03_05", log_file_left("", "", date(5, 3, 2014)));
    EXPECT_EQ("logs" + separator + separator + "s%d_12014_03_05",
              log_file_left("logs" + separator, "s%d", date(5, 3, 12014)));
}

TEST(LogFileName, RightOfTheParts0To100)
{
    for (unsigned part = 0; part <= 100; ++part) {
        const std::string digits = (part < 10 ? "0" : "") + std::to_string(part);
        EXPECT_EQ("_part_" + digits + ".log", log_file_right(part));
    }
    EXPECT_EQ("_part_00.log", log_file_right(0));
    EXPECT_EQ("_part_03.log", log_file_right(3));
    EXPECT_EQ("_part_99.log", log_file_right(99));
    EXPECT_EQ("_part_100.log", log_file_right(100));
    EXPECT_EQ("_part_4294967295.log", log_file_right(4294967295u));
}

class HighestPart : public testing::Test {
protected:
    std::uint32_t of(std::initializer_list<const char*> names, const std::string& prefix = "server")
    {
        const Temp_Folder folder;
        for (const char* name : names)
            folder.write(name, "");
        return highest_part(folder.path(), log_file_left(folder.path(), prefix, date(5, 3, 2014)));
    }
};

TEST_F(HighestPart, IsZeroInAnEmptyFolder)
{
    EXPECT_EQ(0u, of({}));
}

TEST_F(HighestPart, IsTheHighestNumberAndNotTheLastName)
{
    EXPECT_EQ(4u, of({"server_2014_03_05_part_00.log", "server_2014_03_05_part_04.log",
                      "server_2014_03_05_part_01.log"}));
    EXPECT_EQ(100u, of({"server_2014_03_05_part_100.log", "server_2014_03_05_part_99.log"}));
}

TEST_F(HighestPart, ReadsLeadingDigitsOnly)
{
    EXPECT_EQ(7u, of({"server_2014_03_05_part_07.log"}));
    EXPECT_EQ(12u, of({"server_2014_03_05_part_12x3.log.old"}));
    EXPECT_EQ(0u, of({"server_2014_03_05_part_x.log"}));
    EXPECT_EQ(0u, of({"server_2014_03_05_part_-3.log"}));
}

TEST_F(HighestPart, ANumberBeyond32BitsIsLimited)
{
    EXPECT_EQ(2'147'483'647u, of({"server_2014_03_05_part_99999999999999999999.log"}));
    EXPECT_EQ(2'147'483'647u, of({"server_2014_03_05_part_4294967296.log"}));
}

TEST_F(HighestPart, IgnoresOtherDaysPrefixesAndNamesWithoutAPart)
{
    EXPECT_EQ(0u, of({"server_2014_03_06_part_09.log", "server2_2014_03_05_part_09.log",
                      "xserver_2014_03_05_part_09.log", "server_2014_03_05.log", "part_09.log"}));
}

TEST_F(HighestPart, QuirkAPrefixWithThePartMarkIsReadBehindItsFirstOne)
{
    EXPECT_EQ(0u, of({"a_part_b_2014_03_05_part_09.log"}, "a_part_b"));
    EXPECT_EQ(3u, of({"a_part_3_2014_03_05_part_09.log"}, "a_part_3"));
}

TEST_F(HighestPart, OfAFolderThatCannotBeReadIsZeroAndNothingIsLogged)
{
    const Log_Capture capture;
    const Temp_Folder folder;
    const std::string file = folder.write("file", "");
    for (const std::string& path : {folder.path("missing"), file, std::string()})
        EXPECT_EQ(0u, highest_part(path, log_file_left(path, "server", date(5, 3, 2014)))) << path;
    EXPECT_TRUE(capture.lines().empty());
}

// A folder of real files whose sizes and times are told by the test.
class PruneLogFiles : public testing::Test {
protected:
    void add(const std::string& name, std::uint64_t size, std::int64_t created)
    {
        infos_[folder_.write(name, "")] = {size, created, false};
    }

    void prune(std::uint32_t limit, const std::string& prefix = "server")
    {
        prune_log_files({folder_.path(), prefix, limit},
                        [this](const std::string& path) -> std::optional<kr_platform::File_Info> {
                            const auto found = infos_.find(path);
                            if (found == infos_.end())
                                return std::nullopt;
                            return found->second;
                        });
    }

    using Names = std::set<std::string>;
    Temp_Folder folder_;
    std::map<std::string, kr_platform::File_Info> infos_;
};

TEST_F(PruneLogFiles, OldestGoFirstUntilTheTotalIsAtTheLimit)
{
    add("server_c", 100, 3);
    add("server_a", 100, 1);
    add("server_b", 100, 2);
    prune(300);
    EXPECT_EQ((Names{"server_a", "server_b", "server_c"}), folder_.names()) << "exactly the limit";
    prune(299);
    EXPECT_EQ((Names{"server_b", "server_c"}), folder_.names());
    infos_.erase(folder_.path("server_a"));
    prune(0);
    EXPECT_EQ(Names{}, folder_.names());
}

TEST_F(PruneLogFiles, ByTimeAndNotByName)
{
    add("server_a", 10, 30);
    add("server_b", 10, 10);
    add("server_c", 10, 20);
    prune(10);
    EXPECT_EQ(Names{"server_a"}, folder_.names());
}

TEST_F(PruneLogFiles, SixMiBFilesArePrunedTo100MiB)
{
    for (int i = 0; i < 20; ++i)
        add("server_" + std::to_string(i), 6'291'456, 1000 + i);
    prune(104'857'600); // 16 files have 100,663,296 bytes, 17 would have 106,954,752
    const Names left = folder_.names();
    EXPECT_EQ(16u, left.size());
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(i >= 4 ? 1u : 0u, left.count("server_" + std::to_string(i))) << i;
}

TEST_F(PruneLogFiles, OnlyEntriesThatBeginWithThePrefixCount)
{
    add("server_a", 100, 2);
    add("xserver_a", 100, 1);
    add("other", 1'000'000, 0);
    add("serve", 1'000'000, 0);
    prune(100);
    EXPECT_EQ((Names{"other", "serve", "server_a", "xserver_a"}), folder_.names());
}

TEST_F(PruneLogFiles, QuirkALongerPrefixThatBeginsTheSameIsPrunedToo)
{
    add("server_a", 100, 2);
    add("server2_a", 100, 1);
    prune(100);
    EXPECT_EQ(Names{"server_a"}, folder_.names());
}

TEST_F(PruneLogFiles, QuirkOfEqualCreationTimesOneIsACandidateAndAllSizesCount)
{
    add("server_a", 100, 1);
    add("server_b", 100, 1);
    add("server_c", 100, 2);
    prune(150);
    // 300 bytes count; one of a and b goes (200 left), then c goes (100 left).
    const Names left = folder_.names();
    ASSERT_EQ(1u, left.size());
    EXPECT_EQ(0u, left.count("server_c"));
}

TEST_F(PruneLogFiles, QuirkOfEqualCreationTimesTheLastOneFoundIsTheCandidate)
{
    for (const char* name : {"server_a", "server_b", "server_c"})
        add(name, 100, 1);
    std::string last;
    ACE_Dirent reader;
    ASSERT_EQ(0, reader.open(folder_.path().c_str()));
    while (const ACE_DIRENT* const entry = reader.read())
        if (entry->d_name[0] == 's')
            last = entry->d_name;
    reader.close();
    prune(250);
    EXPECT_EQ(2u, folder_.names().size());
    EXPECT_EQ(0u, folder_.names().count(last)) << last;
}

TEST_F(PruneLogFiles, QuirkFilesHiddenByAnEqualTimeKeepTheTotalAboveTheLimit)
{
    for (int i = 0; i < 10; ++i)
        add("server_" + std::to_string(i), 100, 1);
    prune(50);
    EXPECT_EQ(9u, folder_.names().size()) << "one candidate, and the map is exhausted";
}

TEST_F(PruneLogFiles, QuirkTheTotalIsCountedIn32Bits)
{
    add("server_a", 4'294'967'295u, 1);
    add("server_b", 6, 2);
    prune(5); // together 5 in 32 bits
    EXPECT_EQ((Names{"server_a", "server_b"}), folder_.names());
}

TEST_F(PruneLogFiles, AFileThatCannotBeDeletedIsPassedOver)
{
    std::filesystem::create_directory(folder_.path("server_folder"));
    infos_[folder_.path("server_folder")] = {100, 1, false};
    add("server_a", 100, 2);
    prune(100);
    EXPECT_EQ((Names{"server_a", "server_folder"}), folder_.names()) << "it counts as deleted";
}

TEST_F(PruneLogFiles, AnEntryThatVanishesMeanwhileIsPassedOver)
{
    add("server_a", 100, 1);
    folder_.write("server_unknown", "");
    prune(100);
    EXPECT_EQ((Names{"server_a", "server_unknown"}), folder_.names());
}

TEST_F(PruneLogFiles, AnEmptyPrefixCountsEveryFileAndLeavesFoldersAlone)
{
    std::filesystem::create_directory(folder_.path("sub"));
    infos_[folder_.path("sub")] = {0, 1, true};
    add("a", 100, 2);
    prune(99, "");
    EXPECT_EQ(Names{"sub"}, folder_.names());
}

TEST_F(PruneLogFiles, AFolderThatCannotBeReadIsPassedOverAndNothingIsLogged)
{
    const Log_Capture capture;
    prune_log_files({folder_.path("missing"), "server", 0});
    prune_log_files({"", "server", 0});
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(PruneLogFiles, AgeIsTheFilesOwnCreationTime)
{
    folder_.write("server_z", std::string(100, 'x'));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    folder_.write("server_a", std::string(100, 'x'));
    prune_log_files({folder_.path(), "server", 100});
    EXPECT_EQ(Names{"server_a"}, folder_.names());
}

TEST_F(PruneLogFiles, AgeIsNotThatOfTheLastLine)
{
    const std::string oldest = folder_.write("server_z", std::string(100, 'x'));
    if (!kr_platform_testing::keeps_creation_time(oldest))
        GTEST_SKIP() << "files have no creation time of their own here";
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    folder_.write("server_a", std::string(100, 'x'));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    std::ofstream(oldest, std::ios::app) << "y";
    prune_log_files({folder_.path(), "server", 100});
    EXPECT_EQ(Names{"server_a"}, folder_.names());
}

} // namespace
