#include "host/Host.h"
#include "store/Store.h"

#include <KRCommon/util/Time_Text.h>

#include <ace/OS_NS_unistd.h>

#include <SQLiteCpp/SQLiteCpp.h>

#include <sqlite3.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <limits>
#include <thread>

using namespace video_search;

namespace {

namespace fs = std::filesystem;

Bytes bytes_of(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const fs::path& file, const Bytes& bytes)
{
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

// The sentence of the failure of a function.
template <class Function>
std::string failure_of(Function function)
{
    try {
        function();
        return "no failure";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

ns__SensorId sensor(int word1, int word2 = 1)
{
    ns__SensorId result;
    result.word1 = word1;
    result.word2 = word2;
    return result;
}

KR_ObjectBase make_object(int sensor1, std::uint64_t id, const ACE_Time_Value& first_seen)
{
    KR_ObjectBase object;
    object.SensorId = sensor(sensor1);
    object.ObjectId = id;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = first_seen;
    object.SecondTime = first_seen;
    object.ClassScores[0] = 0.75F;
    for (int i = 0; i < 3; ++i) {
        KR_ObjectBase::Instance& instance = object.Instances.emplace_back();
        instance.Time = ACE_Time_Value(1'700'000'000 + i);
        instance.PersonValue = 75;
        instance.Box = Geom_Box2D<float>(10, 20, 30, 60);
        instance.Colors.resize(static_cast<std::size_t>(i));
    }
    *object.AuxiliaryData = {0xFF, 0xD8, 0x00, 0x01, 0xFF, 0xD9};
    return object;
}

Recording make_recording(const std::string& run, const ACE_Time_Value& start)
{
    Recording recording;
    recording.run = run;
    recording.video = "the street's \"video\".avi";
    recording.sensor = sensor(17, 1);
    recording.start = start;
    recording.end = start + ACE_Time_Value(12, 500'000);
    recording.width = 640;
    recording.height = 480;
    recording.frames = 300;
    recording.state = "complete";
    recording.background = {0xFF, 0xD8, 0x00, 0xFF, 0xD9};
    return recording;
}

class StoreTest : public testing::Test {
protected:
    void SetUp() override
    {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        folder_ = fs::path(testing::TempDir()) /
                  ("video search store " + std::to_string(ACE_OS::getpid()) + ' ' + test->name());
        std::error_code error;
        fs::remove_all(folder_, error);
        fs::create_directories(folder_);
    }
    void TearDown() override
    {
        std::error_code error;
        fs::remove_all(folder_, error);
    }

    std::string path(const std::string& name = "objects.db") const
    {
        return (folder_ / name).string();
    }

    std::size_t files_in_folder() const
    {
        const auto files = fs::directory_iterator(folder_);
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    // A store of some pages.
    void make_store(int objects) const
    {
        Store store(path(), Store::Access::write);
        store.put(make_recording("run", ACE_Time_Value(1000)));
        for (int i = 0; i < objects; ++i) {
            KR_ObjectBase object =
                make_object(17, static_cast<std::uint64_t>(i) + 1, ACE_Time_Value(1000 + i));
            object.AuxiliaryData->assign(1500, static_cast<unsigned char>(i));
            store.add("run", object, encode(object, 65536));
        }
    }

    // The failure of opening the file, which leaves the folder as it was.
    std::string failure_of_opening(Store::Access access) const
    {
        const Bytes before = bytes_of(path());
        const std::size_t files = files_in_folder();
        const std::string failure = failure_of([&] { Store(path(), access); });
        EXPECT_EQ(before, bytes_of(path()));
        EXPECT_EQ(files, files_in_folder());
        return failure;
    }

    fs::path folder_;
};

// Records

TEST(RecordTest, DecodesWhatWasEncoded)
{
    const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1'700'000'000, 250'000));
    const Bytes record = encode(object, 65536);
    EXPECT_EQ(132U + 4 + 3 * 68 + 3 * 5 + 4 + 6, record.size());
    const auto decoded = decode(record);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(17, decoded->SensorId.word1);
    EXPECT_EQ(5U, decoded->ObjectId);
    EXPECT_EQ(ACE_Time_Value(1'700'000'000, 250'000), decoded->FirstSeenTime);
    EXPECT_EQ(3U, decoded->Instances.size());
    EXPECT_EQ(2U, decoded->Instances[2].Colors.size());
    EXPECT_EQ((Bytes{0xFF, 0xD8, 0x00, 0x01, 0xFF, 0xD9}), *decoded->AuxiliaryData);
    EXPECT_EQ(record, encode(*decoded, 65536));
}

TEST(RecordTest, BudgetLimitsTheInstances)
{
    const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1000));
    const auto decoded = decode(encode(object, 4 + 68 + 73));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(2U, decoded->Instances.size());
}

TEST(RecordTest, RecordWithoutInstancesIsNothing)
{
    const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1000));
    for (const unsigned budget : {0U, 1U, 3U, 4U, 71U}) {
        const Bytes record = encode(object, budget);
        EXPECT_EQ(132U + 4 + 4 + 6, record.size()) << budget;
        EXPECT_FALSE(decode(record)) << budget;
    }
}

TEST(RecordTest, EveryTruncatedPrefixIsNothing)
{
    const Bytes record = encode(make_object(17, 5, ACE_Time_Value(1000)), 65536);
    for (std::size_t size = 0; size < record.size(); ++size) {
        // Of exactly so many bytes, so that a read past the end is found out.
        const Bytes prefix(record.data(), record.data() + size);
        EXPECT_FALSE(decode(prefix)) << size;
    }
    EXPECT_TRUE(decode(record));
}

TEST(RecordTest, BytesBehindTheRecordAreNoRecord)
{
    Bytes record = encode(make_object(17, 5, ACE_Time_Value(1000)), 65536);
    record.push_back(0);
    EXPECT_FALSE(decode(record));
}

TEST(RecordTest, WrongCountsAreNoRecord)
{
    const Bytes record = encode(make_object(17, 5, ACE_Time_Value(1000)), 65536);
    for (const auto& [offset, value] :
         std::vector<std::pair<std::size_t, unsigned char>>{{132, 0},    // no instances
                                                            {132, 2},    // one less
                                                            {132, 4},    // one more
                                                            {135, 0xFF}, // four thousand million
                                                            {136 + 57, 2},
                                                            {136 + 57, 127},
                                                            {136 + 57, 255}, // -1 to a reader
                                                            {record.size() - 10, 5},
                                                            {record.size() - 10, 7},
                                                            {record.size() - 7, 0xFF}}) {
        Bytes damaged = record;
        damaged[offset] = value;
        EXPECT_FALSE(decode(damaged)) << offset << ' ' << int{value};
    }
}

// Contents

TEST_F(StoreTest, NewStoreIsEmptyAndMarked)
{
    {
        Store store(path(), Store::Access::write);
        EXPECT_TRUE(store.recordings().empty());
        EXPECT_TRUE(store.pictures("run").empty());
        EXPECT_TRUE(store.select(ACE_Time_Value::zero, ACE_Time_Value::max_time).empty());
        EXPECT_EQ(1U, store.next_object_id(sensor(17)));
    }
    EXPECT_EQ(1U, files_in_folder()); // no journal stays
    SQLite::Database database(path());
    EXPECT_EQ(0x4B525653, database.execAndGet("PRAGMA application_id").getInt());
    EXPECT_EQ(2, database.execAndGet("PRAGMA user_version").getInt());
    EXPECT_STREQ("delete", database.execAndGet("PRAGMA journal_mode").getText());
}

TEST_F(StoreTest, TimesStandAsMicroseconds)
{
    {
        Store store(path(), Store::Access::write);
        store.put(make_recording("run", kr_to_ace_time_value("2024/03/05 07:08:09.000123")));
        const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1'700'000'000, 5));
        store.add("run", object, encode(object, 65536));
        store.add("run", Picture{ACE_Time_Value(-1, -500'000), {1}});
    }
    SQLite::Database database(path());
    EXPECT_EQ(1'709'622'489'000'123,
              database.execAndGet("SELECT start_us FROM recording").getInt64());
    EXPECT_EQ(1'709'622'501'500'123,
              database.execAndGet("SELECT end_us FROM recording").getInt64());
    EXPECT_EQ(1'700'000'000'000'005,
              database.execAndGet("SELECT first_seen_us FROM object").getInt64());
    EXPECT_EQ(-1'500'000, database.execAndGet("SELECT time_us FROM picture").getInt64());
}

TEST_F(StoreTest, RecordingComesBackWhole)
{
    {
        Store store(path(), Store::Access::write);
        store.put(make_recording("run", ACE_Time_Value(1'700'000'000, 5)));
    }
    Store store(path(), Store::Access::read);
    const auto recordings = store.recordings();
    ASSERT_EQ(1U, recordings.size());
    const Recording& recording = recordings[0];
    EXPECT_EQ("run", recording.run);
    EXPECT_EQ("the street's \"video\".avi", recording.video);
    EXPECT_EQ(17, recording.sensor.word1);
    EXPECT_EQ(1, recording.sensor.word2);
    EXPECT_EQ(ACE_Time_Value(1'700'000'000, 5), recording.start);
    EXPECT_EQ(ACE_Time_Value(1'700'000'012, 500'005), recording.end);
    EXPECT_EQ(640, recording.width);
    EXPECT_EQ(480, recording.height);
    EXPECT_EQ(300, recording.frames);
    EXPECT_EQ("complete", recording.state);
    EXPECT_EQ((Bytes{0xFF, 0xD8, 0x00, 0xFF, 0xD9}), recording.background);
}

TEST_F(StoreTest, RecordingOfTheSameRunIsReplaced)
{
    Store store(path(), Store::Access::write);
    Recording recording = make_recording("run", ACE_Time_Value(1000));
    recording.state = "running";
    recording.background.clear();
    store.put(recording);
    EXPECT_TRUE(store.recordings().at(0).background.empty());
    recording.state = "stopped";
    recording.frames = 7;
    store.put(recording);
    const auto recordings = store.recordings();
    ASSERT_EQ(1U, recordings.size());
    EXPECT_EQ("stopped", recordings[0].state);
    EXPECT_EQ(7, recordings[0].frames);
}

TEST_F(StoreTest, RecordingsComeInTheOrderOfTheirStart)
{
    Store store(path(), Store::Access::write);
    store.put(make_recording("c", ACE_Time_Value(2000)));
    store.put(make_recording("b", ACE_Time_Value(3000)));
    store.put(make_recording("a", ACE_Time_Value(2000)));
    store.put(make_recording("d", ACE_Time_Value(1000)));
    std::string order;
    for (const Recording& recording : store.recordings())
        order += recording.run;
    EXPECT_EQ("dacb", order);
}

TEST_F(StoreTest, PicturesComeInTimeOrderAndOfTheirRunAlone)
{
    Store store(path(), Store::Access::write);
    store.add("run", Picture{ACE_Time_Value(20, 1), {2, 0, 2}});
    store.add("run", Picture{ACE_Time_Value(10, 999'999), {}});
    store.add("other", Picture{ACE_Time_Value(15), {3}});
    const auto pictures = store.pictures("run");
    ASSERT_EQ(2U, pictures.size());
    EXPECT_EQ(ACE_Time_Value(10, 999'999), pictures[0].time);
    EXPECT_TRUE(pictures[0].jpeg.empty());
    EXPECT_EQ(ACE_Time_Value(20, 1), pictures[1].time);
    EXPECT_EQ((Bytes{2, 0, 2}), pictures[1].jpeg);
    EXPECT_EQ(path() + ": the picture is there already", failure_of([&] {
                  store.add("run", Picture{ACE_Time_Value(20, 1), {4}});
              }));
    EXPECT_EQ((Bytes{2, 0, 2}), store.pictures("run").at(1).jpeg);
}

TEST_F(StoreTest, RecordComesBackByteForByte)
{
    const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1000, 7));
    const Bytes record = encode(object, 65536);
    {
        Store store(path(), Store::Access::write);
        store.add("run", object, record);
    }
    Store store(path(), Store::Access::read);
    const auto found = store.select(ACE_Time_Value(1000, 7), ACE_Time_Value(1000, 7));
    ASSERT_EQ(1U, found.size());
    EXPECT_EQ("run", found[0].run);
    EXPECT_EQ(5U, found[0].object_id);
    EXPECT_EQ(record, found[0].record);
}

TEST_F(StoreTest, BoundsOfASearchAreInclusive)
{
    Store store(path(), Store::Access::write);
    const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1000, 7));
    store.add("run", object, encode(object, 65536));
    const auto count = [&](const ACE_Time_Value& from, const ACE_Time_Value& to) {
        return store.select(from, to).size();
    };
    EXPECT_EQ(1U, count(ACE_Time_Value(1000, 7), ACE_Time_Value(2000)));
    EXPECT_EQ(1U, count(ACE_Time_Value(0), ACE_Time_Value(1000, 7)));
    EXPECT_EQ(0U, count(ACE_Time_Value(1000, 8), ACE_Time_Value(2000)));
    EXPECT_EQ(0U, count(ACE_Time_Value(0), ACE_Time_Value(1000, 6)));
    EXPECT_EQ(0U, count(ACE_Time_Value(2000), ACE_Time_Value(0)));
}

TEST_F(StoreTest, BoundsBeyondTheRangeCountAsItsEnds)
{
    Store store(path(), Store::Access::write);
    const ACE_Time_Value earliest(std::numeric_limits<time_t>::min(), 0);
    std::uint64_t id = 0;
    for (const ACE_Time_Value& time :
         {earliest, ACE_Time_Value(0), ACE_Time_Value(1'700'000'000), ACE_Time_Value::max_time}) {
        const KR_ObjectBase object = make_object(17, ++id, time);
        store.add("run", object, encode(object, 65536));
    }
    EXPECT_EQ(4U, store.select(earliest, ACE_Time_Value::max_time).size());
    EXPECT_EQ(2U, store.select(earliest, ACE_Time_Value(0)).size());
    const auto late = store.select(ACE_Time_Value(1'700'000'001), ACE_Time_Value::max_time);
    ASSERT_EQ(1U, late.size());
    EXPECT_EQ(ACE_Time_Value::max_time.sec(), decode(late[0].record)->FirstSeenTime.sec());
}

TEST_F(StoreTest, RecordsComeByTimeThenSensorThenId)
{
    Store store(path(), Store::Access::write);
    const auto add = [&](int sensor1, std::uint64_t id, int seconds) {
        const KR_ObjectBase object = make_object(sensor1, id, ACE_Time_Value(seconds));
        store.add(std::to_string(sensor1), object, encode(object, 65536));
    };
    add(2, 10, 50);
    add(2, 9, 50);
    add(1, 11, 50);
    add(3, 1, 40);
    add(-1, 12, 50);
    std::string order;
    for (const Stored_Record& record : store.select(ACE_Time_Value(0), ACE_Time_Value(100)))
        order += record.run + ':' + std::to_string(record.object_id) + ' ';
    EXPECT_EQ("3:1 -1:12 1:11 2:9 2:10 ", order);
}

TEST_F(StoreTest, NextObjectIdCountsPerSensor)
{
    Store store(path(), Store::Access::write);
    const KR_ObjectBase object = make_object(17, 41, ACE_Time_Value(1000));
    store.add("run", object, encode(object, 65536));
    EXPECT_EQ(42U, store.next_object_id(sensor(17, 1)));
    EXPECT_EQ(1U, store.next_object_id(sensor(17, 2)));
    EXPECT_EQ(1U, store.next_object_id(sensor(18, 1)));
}

TEST_F(StoreTest, HighestObjectIdIsTheLast)
{
    constexpr std::uint64_t last = 9'223'372'036'854'775'807U;
    Store store(path(), Store::Access::write);
    KR_ObjectBase object = make_object(17, last - 1, ACE_Time_Value(1000));
    store.add("run", object, encode(object, 65536));
    EXPECT_EQ(last, store.next_object_id(sensor(17)));
    object.ObjectId = last;
    store.add("run", object, encode(object, 65536));
    EXPECT_EQ(path() + ": no object id is left",
              failure_of([&] { (void)store.next_object_id(sensor(17)); }));
    object.ObjectId = last + 1;
    EXPECT_EQ(path() + ": object 9223372036854775808 of sensor 17, 1 has too high an id",
              failure_of([&] { store.add("run", object, encode(object, 65536)); }));
    const auto found = store.select(ACE_Time_Value(0), ACE_Time_Value(2000));
    ASSERT_EQ(2U, found.size());
    EXPECT_EQ(last, found[1].object_id);
}

TEST_F(StoreTest, SecondObjectOfTheSameKeyIsAFailure)
{
    Store store(path(), Store::Access::write);
    const KR_ObjectBase object = make_object(17, 5, ACE_Time_Value(1000));
    store.add("run", object, encode(object, 65536));
    KR_ObjectBase second = make_object(17, 5, ACE_Time_Value(2000));
    EXPECT_EQ(path() + ": object 5 of sensor 17, 1 is there already",
              failure_of([&] { store.add("other", second, encode(second, 65536)); }));
    second.SensorId.word2 = 2;
    store.add("other", second, encode(second, 65536));
    EXPECT_EQ(2U, store.select(ACE_Time_Value(0), ACE_Time_Value(3000)).size());
}

// Several at a time

TEST_F(StoreTest, ReaderSeesWhatTheWriterHasAdded)
{
    Store writer(path(), Store::Access::write);
    Store reader(path(), Store::Access::read);
    for (std::uint64_t id = 1; id <= 3; ++id) {
        const KR_ObjectBase object = make_object(17, id, ACE_Time_Value(1000));
        writer.add("run", object, encode(object, 65536));
        EXPECT_EQ(id, reader.select(ACE_Time_Value(0), ACE_Time_Value(2000)).size());
    }
    EXPECT_EQ(4U, reader.next_object_id(sensor(17)));
}

TEST_F(StoreTest, ReaderCannotWrite)
{
    make_store(1);
    const Bytes before = bytes_of(path());
    Store reader(path(), Store::Access::read);
    const std::string failure =
        failure_of([&] { reader.put(make_recording("other", ACE_Time_Value(1))); });
    EXPECT_TRUE(has(failure, path() + " cannot be written: ")) << failure;
    EXPECT_EQ(before, bytes_of(path()));
}

TEST_F(StoreTest, ReaderOfALockedStoreGivesUp)
{
    make_store(1);
    SQLite::Database other(path(), SQLite::OPEN_READWRITE);
    other.exec("BEGIN EXCLUSIVE");
    EXPECT_EQ(path() + " is in use by another program",
              failure_of([&] { Store(path(), Store::Access::read); }));
    other.exec("ROLLBACK");
    EXPECT_EQ(1U, Store(path(), Store::Access::read).recordings().size());
}

using StoreTest_Slow = StoreTest;

TEST_F(StoreTest_Slow, WriterWaitsForALongSearch)
{
    make_store(1);
    Store writer(path(), Store::Access::write);
    std::promise<void> begun;
    std::thread searcher([&] {
        SQLite::Database reader(path(), SQLite::OPEN_READWRITE);
        reader.exec("BEGIN");
        reader.execAndGet("SELECT count(*) FROM object");
        begun.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(6000)); // 5000 end all other waits
        reader.exec("ROLLBACK");
    });
    begun.get_future().wait();
    EXPECT_NO_THROW(writer.put(make_recording("other", ACE_Time_Value(1))));
    searcher.join();
    EXPECT_EQ(writer.recordings().size(), 2U);
}

TEST_F(StoreTest, ReopenedStoreGoesOn)
{
    make_store(2);
    Store store(path(), Store::Access::write);
    EXPECT_EQ(3U, store.next_object_id(sensor(17)));
    EXPECT_EQ(1U, store.recordings().size());
}

TEST_F(StoreTest, ReaderTakesBackWhatACrashedWriterLeft)
{
    make_store(20);
    const std::size_t objects = 20;
    {
        // The file and its journal in the middle of a transaction that has begun to write pages.
        SQLite::Database database(path(), SQLite::OPEN_READWRITE);
        database.exec("PRAGMA cache_size = 1; BEGIN IMMEDIATE; UPDATE object SET record = "
                      "zeroblob(3000)");
        ASSERT_TRUE(fs::exists(path() + "-journal"));
        fs::copy_file(path(), path("crashed.db"));
        fs::copy_file(path() + "-journal", path("crashed.db-journal"));
    }
    ASSERT_NE(bytes_of(path("crashed.db")), bytes_of(path()));
    Store reader(path("crashed.db"), Store::Access::read);
    const auto found = reader.select(ACE_Time_Value(0), ACE_Time_Value(5000));
    ASSERT_EQ(objects, found.size());
    for (const Stored_Record& record : found)
        EXPECT_TRUE(decode(record.record)) << record.object_id;
}

// Files that are no stores

TEST_F(StoreTest, MissingFileIsAFailureOfTheReaderAndIsNotMade)
{
    EXPECT_EQ(path() + ": no such file", failure_of([&] { Store(path(), Store::Access::read); }));
    EXPECT_EQ(0U, files_in_folder());
}

TEST_F(StoreTest, MissingFolderIsAFailure)
{
    const std::string file = path("none") + "/objects.db";
    EXPECT_EQ(file + ": there is no folder '" + path("none") + "'",
              failure_of([&] { Store(file, Store::Access::write); }));
    EXPECT_EQ(file + ": no such file", failure_of([&] { Store(file, Store::Access::read); }));
    EXPECT_EQ(0U, files_in_folder());
}

TEST_F(StoreTest, FolderIsNoStore)
{
    fs::create_directories(path());
    for (const auto access : {Store::Access::read, Store::Access::write})
        EXPECT_EQ(path() + " is a folder", failure_of([&] { Store(path(), access); }));
    EXPECT_TRUE(fs::is_empty(path()));
}

TEST_F(StoreTest, EmptyFileIsNoStoreToReadButOneToWrite)
{
    write_file(path(), {});
    EXPECT_EQ(path() + " is no video search store but an empty file",
              failure_of_opening(Store::Access::read));
    {
        Store store(path(), Store::Access::write);
        store.put(make_recording("run", ACE_Time_Value(1000)));
    }
    EXPECT_EQ(1U, Store(path(), Store::Access::read).recordings().size());
}

TEST_F(StoreTest, TextFileIsNoStore)
{
    for (const std::size_t size : {1U, 15U, 16U, 99U, 100U, 5000U}) {
        write_file(path(), Bytes(size, 'x'));
        for (const auto access : {Store::Access::read, Store::Access::write})
            EXPECT_EQ(path() + " is no video search store", failure_of_opening(access)) << size;
    }
}

TEST_F(StoreTest, ForeignDatabaseIsNoStoreAndIsNotTouched)
{
    for (const std::string mode : {"DELETE", "WAL"}) {
        fs::remove(path());
        {
            SQLite::Database database(path(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
            (void)database.execAndGet("PRAGMA journal_mode = " + mode);
            database.exec("CREATE TABLE object (id INTEGER); INSERT INTO object VALUES (1)");
        }
        for (const auto access : {Store::Access::read, Store::Access::write})
            EXPECT_EQ(path() + " is no video search store but another SQLite database",
                      failure_of_opening(access))
                << mode;
    }
}

TEST_F(StoreTest, StoreOfALaterVersionIsRefused)
{
    make_store(1);
    SQLite::Database(path(), SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 3");
    for (const auto access : {Store::Access::read, Store::Access::write})
        EXPECT_EQ(path() + " was written by a later version of this program (store version 3)",
                  failure_of_opening(access));
}

TEST_F(StoreTest, ReadOnlyFileIsAFailureOfTheWriterAlone)
{
    make_store(1);
    const fs::perms all_write =
        fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions(path(), all_write, fs::perm_options::remove);
    const bool is_enforced = !std::ofstream(path(), std::ios::app).is_open();
    const std::string failure = failure_of([&] { Store(path(), Store::Access::write); });
    EXPECT_EQ(1U, Store(path(), Store::Access::read).recordings().size());
    fs::permissions(path(), all_write, fs::perm_options::add);
    if (!is_enforced)
        GTEST_SKIP() << "this user may write read-only files";
    EXPECT_EQ(path() + " cannot be written: the file is read-only", failure);
}

TEST_F(StoreTest, NameThatMeansSomethingElseToSqliteIsAFile)
{
    const fs::path previous = fs::current_path();
    fs::current_path(folder_);
    for (const std::string name : {"file'memory.db", "object store ;.db"}) {
        {
            Store store(name, Store::Access::write);
            store.put(make_recording("run", ACE_Time_Value(1000)));
        }
        EXPECT_TRUE(fs::exists(folder_ / name)) << name;
        EXPECT_EQ(1U, Store(name, Store::Access::read).recordings().size());
    }
    fs::current_path(previous);
}

// Damage

TEST_F(StoreTest, TruncatedStoreIsDamagedAtEveryLength)
{
    make_store(20);
    const Bytes whole = bytes_of(path());
    ASSERT_GT(whole.size(), 40'000U);
    std::vector<std::size_t> sizes{16, 17, 60, 72, 99, 100, 101, 511, 512, whole.size() - 1};
    for (std::size_t size = 1000; size < whole.size(); size += 1000)
        sizes.push_back(size);
    for (std::size_t size = 4096; size < whole.size(); size += 4096)
        sizes.push_back(size);
    for (const std::size_t size : sizes) {
        write_file(path(), Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
        for (const auto access : {Store::Access::read, Store::Access::write}) {
            const std::string failure = failure_of_opening(access);
            EXPECT_EQ(0U, failure.find(path() + " is damaged: ")) << size << ' ' << failure;
        }
    }
}

TEST_F(StoreTest, OverwrittenPagesAreDamage)
{
    make_store(20);
    const Bytes whole = bytes_of(path());
    int failures = 0;
    for (std::size_t page = 4096; page < whole.size(); page += 4096) {
        Bytes damaged = whole;
        std::fill_n(damaged.begin() + static_cast<long>(page), 4096, 0xA5);
        write_file(path(), damaged);
        const std::string failure = failure_of([&] {
            Store store(path(), Store::Access::read);
            (void)store.recordings();
            for (const auto& record : store.select(ACE_Time_Value(0), ACE_Time_Value(5000)))
                (void)decode(record.record);
        });
        failures += failure == "no failure" ? 0 : 1;
        EXPECT_TRUE(failure == "no failure" || failure.find(path() + " is damaged: ") == 0)
            << page << ' ' << failure;
        EXPECT_EQ(damaged, bytes_of(path()));
    }
    EXPECT_GT(failures, 5);
}

TEST_F(StoreTest, MissingTableIsAFailure)
{
    make_store(1);
    SQLite::Database(path(), SQLite::OPEN_READWRITE).exec("DROP TABLE object");
    Store store(path(), Store::Access::read);
    EXPECT_EQ(path() + ": no such table: object",
              failure_of([&] { (void)store.next_object_id(sensor(17)); }));
    EXPECT_EQ(1U, store.recordings().size());
}

// A disk that gets full: SQLite's own file system, whose files take so many bytes more.
class Small_Disk {
public:
    explicit Small_Disk(sqlite3_int64 room)
    {
        room_ = room;
        system_ = sqlite3_vfs_find(nullptr);
        disk_ = *system_;
        disk_.zName = "small disk";
        disk_.xOpen = open;
        sqlite3_vfs_register(&disk_, 1);
    }
    ~Small_Disk()
    {
        sqlite3_vfs_unregister(&disk_);
        sqlite3_vfs_register(system_, 1);
    }
    Small_Disk(const Small_Disk&) = delete;
    Small_Disk& operator=(const Small_Disk&) = delete;

    static void make_room(sqlite3_int64 room) { room_ = room; }

private:
    // A database's file and its journal have different methods.
    template <bool is_journal>
    struct Methods {
        static inline const sqlite3_io_methods* system = nullptr;
        static inline sqlite3_io_methods limited = {};

        static void replace(sqlite3_file* file)
        {
            system = file->pMethods;
            limited = *system;
            limited.xWrite = write;
            file->pMethods = &limited;
        }
        static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset)
        {
            room_ -= size;
            return room_ < 0 ? SQLITE_FULL : system->xWrite(file, bytes, size, offset);
        }
    };

    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* result)
    {
        const int error = system_->xOpen(system_, name, file, flags, result);
        if (error != SQLITE_OK)
            return error;
        if ((flags & SQLITE_OPEN_MAIN_DB) != 0)
            Methods<false>::replace(file);
        else
            Methods<true>::replace(file);
        return error;
    }

    static inline sqlite3_int64 room_ = 0;
    static inline sqlite3_vfs* system_ = nullptr;
    sqlite3_vfs disk_ = {};
};

TEST_F(StoreTest, FullDiskLeavesNoHalfMadeStore)
{
    int failures = 0;
    for (sqlite3_int64 room = 0;; room += 700) {
        const Small_Disk disk(room);
        const std::string failure = failure_of([&] { Store(path(), Store::Access::write); });
        if (failure == "no failure")
            break;
        ++failures;
        EXPECT_EQ(path() + ": the disk is full", failure) << room;
        EXPECT_EQ(0U, files_in_folder()) << room;
    }
    EXPECT_GT(failures, 20);
    EXPECT_TRUE(Store(path(), Store::Access::read).recordings().empty());
}

TEST_F(StoreTest, FullDiskLeavesAnEmptyFileEmpty)
{
    write_file(path(), {});
    const Small_Disk disk(10'000);
    EXPECT_EQ(path() + ": the disk is full", failure_of_opening(Store::Access::write));
}

TEST_F(StoreTest, FullDiskTakesTheChangeBack)
{
    make_store(20);
    const Small_Disk disk(1'000'000);
    Store store(path(), Store::Access::write);
    KR_ObjectBase object = make_object(17, 21, ACE_Time_Value(3000));
    object.AuxiliaryData->assign(20'000, 0x5A);
    const Bytes record = encode(object, 65536);
    int failures = 0;
    for (sqlite3_int64 room = 0;; room += 700) {
        disk.make_room(room);
        const std::string failure = failure_of([&] { store.add("run", object, record); });
        disk.make_room(1'000'000);
        if (failure == "no failure")
            break;
        ++failures;
        EXPECT_EQ(path() + ": the disk is full", failure) << room;
        EXPECT_EQ(20U, store.select(ACE_Time_Value(0), ACE_Time_Value(5000)).size()) << room;
        EXPECT_EQ(1U, Store(path(), Store::Access::read).recordings().size()) << room;
    }
    EXPECT_GT(failures, 20);
    const auto found = store.select(ACE_Time_Value(3000), ACE_Time_Value(3000));
    ASSERT_EQ(1U, found.size());
    EXPECT_EQ(record, found[0].record);
    SQLite::Database database(path());
    EXPECT_STREQ("ok", database.execAndGet("PRAGMA integrity_check").getText());
}

} // namespace
