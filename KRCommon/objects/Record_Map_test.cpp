#include <KRCommon/objects/Record_Map.h>

#include <KRCommon/objects/Object_View.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Part = KR_Record_Part;

Bytes bytes_of(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

Bytes golden(const std::string& name)
{
    Bytes bytes = bytes_of(std::filesystem::path(KR_GOLDEN_RECORDS) / (name + ".bin"));
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

// "fixed_block 0 132/132", one for each piece.
std::vector<std::string> map_of(const Bytes& bytes, std::size_t length)
{
    static constexpr const char* names[] = {"fixed_block", "count",  "instance",
                                            "color",       "length", "data"};
    const Bytes exact(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    KR_Record_Map map(exact.data(), exact.size());
    KR_Record_Piece piece;
    std::vector<std::string> lines;
    while (map.next(piece)) {
        std::string line = names[static_cast<int>(piece.part)];
        if (piece.part == Part::instance || piece.part == Part::color)
            line += " " + std::to_string(piece.instance);
        if (piece.part == Part::color)
            line += "." + std::to_string(piece.color);
        lines.push_back(line + " " + std::to_string(piece.offset) + " " +
                        std::to_string(piece.size) + "/" + std::to_string(piece.whole_size));
    }
    return lines;
}

std::vector<std::string> map_of(const Bytes& bytes)
{
    return map_of(bytes, bytes.size());
}

} // namespace

TEST(RecordMap, ShowsEachPartInItsPlace)
{
    const std::vector<std::string> expected = {"fixed_block 0 132/132", "count 132 4/4",
                                               "instance 0 136 68/68",  "color 0.0 204 5/5",
                                               "color 0.1 209 5/5",     "instance 1 214 68/68",
                                               "length 282 4/4",        "data 286 3/3"};
    EXPECT_EQ(expected, map_of(golden("example")));
}

TEST(RecordMap, ARecordWithoutInstancesAndAuxiliaryDataHasThreeParts)
{
    const std::vector<std::string> expected = {"fixed_block 0 132/132", "count 132 4/4",
                                               "length 136 4/4"};
    EXPECT_EQ(expected, map_of(golden("minimal")));
}

TEST(RecordMap, WhatIsCutShowsThePartThatIsThereAndNothingBehindIt)
{
    const Bytes bytes = golden("example");
    EXPECT_EQ(std::vector<std::string>{}, map_of(bytes, 0));
    EXPECT_EQ(std::vector<std::string>{"fixed_block 0 131/132"}, map_of(bytes, 131));
    EXPECT_EQ("fixed_block 0 132/132", map_of(bytes, 132).back());
    EXPECT_EQ("count 132 1/4", map_of(bytes, 133).back());
    EXPECT_EQ("instance 0 136 67/68", map_of(bytes, 203).back());
    EXPECT_EQ("color 0.1 209 4/5", map_of(bytes, 213).back());
    EXPECT_EQ("length 282 3/4", map_of(bytes, 285).back());
    EXPECT_EQ("length 282 4/4", map_of(bytes, 286).back());
    EXPECT_EQ("data 286 2/3", map_of(bytes, 288).back());
}

TEST(RecordMap, NoBytesHaveNoPart)
{
    KR_Record_Map map(nullptr, 132);
    KR_Record_Piece piece;
    piece.instance = 77;
    EXPECT_FALSE(map.next(piece));
    EXPECT_FALSE(map.next(piece));
    EXPECT_EQ(77U, piece.instance);
    EXPECT_FALSE(map.is_complete());
    EXPECT_EQ(0U, map.position());
}

TEST(RecordMap, BytesBehindTheRecordAreNotItsOwn)
{
    const Bytes bytes = golden("read_bytes_behind_the_record");
    KR_Record_Map map(bytes.data(), bytes.size());
    KR_Record_Piece piece;
    while (map.next(piece)) {
    }
    EXPECT_TRUE(map.is_complete());
    EXPECT_EQ(bytes.size() - 2, map.position());
}

TEST(RecordMap, QuirkAnInstanceWithAColorCountBelowZeroHasNoColors)
{
    Bytes bytes = golden("example");
    bytes[0x88 + 57] = 0x80;
    EXPECT_EQ("instance 1 204 68/68", map_of(bytes)[3]);
}

// The reader and the map agree on every record there is, on what is left of each when it is cut
// anywhere, and on what fuzzing has found.
TEST(RecordMap, EndsWhereTheReaderEnds)
{
    std::size_t count = 0;
    for (const char* folder : {KR_GOLDEN_RECORDS, KR_FUZZ_CORPUS "/object_view"}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const Bytes whole = bytes_of(entry.path());
            for (std::size_t length = 0; length <= whole.size(); ++length) {
                const Bytes bytes(whole.begin(),
                                  whole.begin() + static_cast<std::ptrdiff_t>(length));
                const KR_Record_Status status = KR_Object_View::check(bytes.data(), length);
                KR_Record_Map map(bytes.data(), length);
                KR_Record_Piece piece;
                std::size_t end = 0;
                while (map.next(piece)) {
                    ASSERT_EQ(end, piece.offset) << entry.path() << " " << length;
                    end += piece.size;
                }
                ASSERT_EQ(end, map.position());
                ASSERT_LE(status.consumed, end) << entry.path() << " " << length;
                if (map.is_complete())
                    ASSERT_EQ(status.consumed, end) << entry.path() << " " << length;
                else
                    ASSERT_EQ(length, end) << entry.path() << " " << length;
            }
            ++count;
        }
    }
    EXPECT_GT(count, 40U);
}

TEST(RecordMap, FieldsFillTheirParts)
{
    for (int number = 0; number < 5; ++number) {
        const auto part = static_cast<Part>(number);
        std::size_t end = 0;
        for (const KR_Record_Field& field : kr_record_fields(part)) {
            EXPECT_EQ(end, field.offset) << field.name;
            end += field.size;
        }
        EXPECT_EQ(kr_record_part_size(part), end) << number;
    }
    EXPECT_EQ(0U, kr_record_fields(Part::auxiliary_data).count);
    EXPECT_EQ(0U, kr_record_part_size(Part::auxiliary_data));
    EXPECT_EQ(0U, kr_record_fields(static_cast<Part>(6)).count);
    EXPECT_EQ(0U, kr_record_part_size(static_cast<Part>(-1)));
}

TEST(RecordMap, FieldsHaveTheNamesTypesAndPlacesOfTheFormat)
{
    const KR_Record_Field& id = kr_record_fields(Part::fixed_block).first[4];
    EXPECT_STREQ("object_id", id.name);
    EXPECT_EQ(KR_Field_Type::uint64, id.type);
    EXPECT_EQ(20U, id.offset);
    const KR_Record_Field& seen = kr_record_fields(Part::fixed_block).first[7];
    EXPECT_STREQ("first_seen_time", seen.name);
    EXPECT_EQ(KR_Field_Type::time64, seen.type);
    EXPECT_EQ(44U, seen.offset);
    EXPECT_EQ(12U, seen.size);
    const KR_Record_Field& box = kr_record_fields(Part::instance).first[5];
    EXPECT_STREQ("box", box.name);
    EXPECT_EQ(KR_Field_Type::float32, box.type);
    EXPECT_EQ(12U, box.offset);
    EXPECT_EQ(16U, box.size);
}
