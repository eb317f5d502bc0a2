#include "../record/Record_Source.h"

#include "Record_Testing.h"

#include <gtest/gtest.h>

#include <vector>

using krtool::Form;
using krtool::Source_Options;

namespace {

// "0: 0+354" for a record: number, place, size; "1: 354+20 cut_in_instances" for damage.
std::vector<std::string> items_of(const std::string& bytes, Source_Options options = {})
{
    const Test_File file(bytes);
    const auto source = krtool::open_records(file.path(), options);
    krtool::Record_Item item;
    std::vector<std::string> lines;
    std::string seen;
    while (source->next(item)) {
        if (item.has_length)
            seen += raw(item.length);
        seen.append(item.bytes.begin(), item.bytes.end());
        if (!item.is_last)
            continue;
        std::string line = std::to_string(item.number) + ": ";
        if (item.damage == krtool::Damage::none || item.has_length)
            line += std::to_string(item.offset) + "+" + std::to_string(item.bytes.size);
        else
            line += std::to_string(item.offset + item.bytes.size - item.damage_size) + "+" +
                    std::to_string(item.damage_size);
        if (item.damage != krtool::Damage::none)
            line += std::string(" ") + code_of(item.damage);
        lines.push_back(line);
    }
    EXPECT_TRUE(bytes == seen) << "every byte once";
    return lines;
}

using Lines = std::vector<std::string>;

constexpr std::size_t size = 132 + 4 + 2 * (68 + 2 * 5) + 4 + 3; // of test_record()
static_assert(size == 299);

} // namespace

TEST(RecordSource, FindsRecordsThatLieOneBehindTheOther)
{
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+143", "2: 442+299"}),
              items_of(test_record(1) + test_record(2, 0) + test_record(3)));
    EXPECT_EQ(Lines{}, items_of(""));
}

TEST(RecordSource, FindsRecordsThatStandBehindTheirLengths)
{
    const std::string bytes = with_length(test_record(1)) + with_length(test_record(2));
    EXPECT_EQ((Lines{"0: 4+299", "1: 307+299"}), items_of(bytes));
    Source_Options options;
    options.form = Form::lengths;
    EXPECT_EQ((Lines{"0: 4+299", "1: 307+299"}), items_of(bytes, options));
}

TEST(RecordSource, EveryPrefixOfAFileIsRecordsAndOnePieceOfDamage)
{
    for (const bool has_lengths : {false, true}) {
        const std::string one = has_lengths ? with_length(test_record(1)) : test_record(1);
        const std::string bytes = one + one;
        Source_Options options;
        options.form = has_lengths ? Form::lengths : Form::concatenated;
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const Lines lines = items_of(bytes.substr(0, length), options);
            const std::size_t whole = length / one.size();
            ASSERT_EQ(whole + (length % one.size() != 0 ? 1 : 0), lines.size()) << length;
            if (length % one.size() != 0) {
                const std::string expected = std::to_string(whole) + ": " +
                                             std::to_string(whole * one.size()) + "+" +
                                             std::to_string(length % one.size()) + " ";
                ASSERT_EQ(expected, lines.back().substr(0, expected.size()));
            }
        }
    }
}

TEST(RecordSource, GoesOnWhereTheNextRecordBeginsBehindLostBytes)
{
    std::string damaged = test_record(2);
    damaged.erase(200, 20); // within an instance and its colours
    const Lines lines = items_of(test_record(1) + damaged + test_record(3));
    ASSERT_EQ(3U, lines.size());
    EXPECT_EQ("1: 299+279 ", lines[1].substr(0, 11));
    EXPECT_EQ("2: 578+299", lines[2]);
}

TEST(RecordSource, GoesOnBehindBytesThatAreNoRecord)
{
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+5 cut_in_instances", "2: 304+299"}).size(),
              items_of(test_record(1) + "noise" + test_record(3)).size());
    EXPECT_EQ("2: 304+299", items_of(test_record(1) + "noise" + test_record(3)).back());
}

TEST(RecordSource, ACountThatIsTooHighAndFitsIsToldByTheRecordThatItSwallows)
{
    std::string wrong = test_record(2);
    wrong[132] = 3; // goes on into the auxiliary data and the next record
    const Lines lines = items_of(test_record(1) + wrong + test_record(3) + test_record(4));
    ASSERT_EQ(4U, lines.size());
    EXPECT_EQ("1: 299+299 ", lines[1].substr(0, 11));
    EXPECT_EQ("2: 598+299", lines[2]);
    EXPECT_EQ("3: 897+299", lines[3]);
}

TEST(RecordSource, ACountThatIsTooLowMakesDamageUpToTheNextRecord)
{
    std::string wrong = test_record(2);
    wrong[132] = 1; // takes the next instance's time for the length of the auxiliary data
    const Lines lines = items_of(test_record(1) + wrong + test_record(3));
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+299 cut_in_auxiliary_data", "2: 598+299"}), lines);
}

TEST(RecordSource, AnAuxiliaryLengthThatIsTooHighAndFitsIsToldByTheRecordsThatItSwallows)
{
    std::string wrong = test_record(2);
    wrong.replace(299 - 7, 4, raw(std::uint32_t{3 + 299 + 50}));
    const Lines lines =
        items_of(test_record(1) + wrong + test_record(3) + test_record(4) + test_record(5));
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+299 cut_in_auxiliary_data", "2: 598+299", "3: 897+299",
                     "4: 1196+299"}),
              lines);
}

TEST(RecordSource, AColorCountBelowZeroIsDamageUpToTheNextRecord)
{
    std::string wrong = test_record(2);
    wrong[136 + 57] = '\x80';
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+299 bad_color_count", "2: 598+299"}),
              items_of(test_record(1) + wrong + test_record(3)));
}

TEST(RecordSource, ZerosAreOneDamageHoweverMany)
{
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+1000000 zeros", "2: 1000299+299"}),
              items_of(test_record(1) + std::string(1'000'000, '\0') + test_record(3)));
    Source_Options options;
    options.form = Form::lengths;
    const std::string record = with_length(test_record(1));
    EXPECT_EQ((Lines{"0: 4+299", "1: 303+1000000 wrong_length", "2: 1000307+299"}),
              items_of(record + std::string(1'000'000, '\0') + record, options));
}

TEST(RecordSource, DamageThatIsLongerThanTheWindowComesInPieces)
{
    std::string noise;
    for (std::uint32_t i = 0; noise.size() < 3'000'000; ++i)
        noise += raw(i * 2654435761U + 12345U);
    const Lines lines = items_of(test_record(1) + noise + test_record(3));
    ASSERT_EQ(3U, lines.size());
    EXPECT_EQ("1: 299+3000000 ", lines[1].substr(0, 15));
    EXPECT_EQ("2: 3000299+299", lines[2]);
}

TEST(RecordSource, ARecordThatIsLongerThanTheLongestIsDamage)
{
    KR_ObjectBase object = test_object(2);
    object.AuxiliaryData->assign(2'000'000, 0x55);
    const std::string bytes = test_record(1) + bytes_of(object) + test_record(3);
    EXPECT_EQ("1: 299+2000296", items_of(bytes)[1]);
    Source_Options options;
    options.longest = 1'000'000;
    const Lines lines = items_of(bytes, options);
    ASSERT_EQ(3U, lines.size());
    EXPECT_EQ("1: 299+2000296 too_long", lines[1]);
}

TEST(RecordSource, AWrongLengthIsDamageUpToTheNextRecordBehindItsLength)
{
    std::string wrong = with_length(test_record(2));
    wrong[0] = 77;
    wrong[1] = 0;
    const std::string record = with_length(test_record(1));
    EXPECT_EQ((Lines{"0: 4+299", "1: 303+303 wrong_length", "2: 610+299"}),
              items_of(record + wrong + record));
}

TEST(RecordSource, DamageWithinARightLengthStaysThere)
{
    std::string cut = test_record(2);
    cut.resize(200);
    const std::string record = with_length(test_record(1));
    EXPECT_EQ((Lines{"0: 4+299", "1: 307+200 cut_in_instances", "2: 511+299"}),
              items_of(record + with_length(cut) + record));
    EXPECT_EQ((Lines{"0: 4+299", "1: 307+301 trailing_bytes", "2: 612+299"}),
              items_of(record + with_length(test_record(2) + "xy") + record));
}

TEST(RecordSource, ReservedBytesThatAreSetAreNoDamageWithoutARecordInside)
{
    const std::string odd = golden("read_reserved_bytes_set");
    const Lines lines = items_of(test_record(1) + odd + test_record(3));
    EXPECT_EQ((Lines{"0: 0+299", "1: 299+289", "2: 588+299"}), lines);
}

// Whatever the bytes are, each of them comes once, and it ends.
TEST(RecordSource, AnyBytesComeOnce)
{
    std::size_t count = 0;
    for (const char* folder : {"/object", "/object_view"}) {
        for (const auto& entry :
             std::filesystem::directory_iterator(std::string(KRTOOL_FUZZ_CORPUS) + folder)) {
            const std::string bytes = file_bytes(entry.path());
            for (const Form form : {Form::automatic, Form::concatenated, Form::lengths}) {
                Source_Options options;
                options.form = form;
                (void)items_of(bytes, options);
                (void)items_of(bytes + test_record(1) + bytes, options);
            }
            ++count;
        }
    }
    EXPECT_GT(count, 40U);
}
