#include <KRCommon/records/VapData.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;

VapData make_vap(std::uint32_t id, const std::string& text = "")
{
    VapData vap;
    vap.Id = id;
    vap.FirstText = text;
    return vap;
}

VapData vap_with_everything()
{
    VapData vap;
    vap.Id = 0x8000'0001;
    vap.FirstText = std::string("fi\0rst", 6);
    vap.Word = 0xFFFF'FFFF;
    vap.SecondText = "second \xFF";
    vap.LastWord = 4;
    return vap;
}

void expect_everything(const VapData& vap)
{
    EXPECT_EQ(0x8000'0001U, vap.Id);
    EXPECT_EQ(std::string("fi\0rst", 6), vap.FirstText);
    EXPECT_EQ(0xFFFF'FFFFU, vap.Word);
    EXPECT_EQ("second \xFF", vap.SecondText);
    EXPECT_EQ(4U, vap.LastWord);
}

TEST(VapData, StartsZeroAndEmpty)
{
    // On memory that held other bytes: a member that nobody sets would show them.
    alignas(VapData) unsigned char memory[sizeof(VapData)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const VapData& vap = *new (memory) VapData;
    EXPECT_EQ(0U, vap.Id);
    EXPECT_EQ("", vap.FirstText);
    EXPECT_EQ(0U, vap.Word);
    EXPECT_EQ("", vap.SecondText);
    EXPECT_EQ(0U, vap.LastWord);
    vap.~VapData();
}

TEST(VapData, CopyHasEveryField)
{
    const VapData vap = vap_with_everything();
    const VapData copy = vap;
    expect_everything(copy);
    expect_everything(vap);
}

TEST(VapData, AssignmentReplacesEveryField)
{
    const VapData vap = vap_with_everything();
    VapData assigned = make_vap(1, "a text that is longer than what it is replaced with");
    assigned = vap;
    expect_everything(assigned);
    expect_everything(vap);
    VapData& itself = assigned;
    assigned = itself;
    expect_everything(assigned);
}

TEST(VapData, MoveHasEveryField)
{
    VapData vap = vap_with_everything();
    VapData moved = std::move(vap);
    expect_everything(moved);
    VapData assigned;
    assigned = std::move(moved);
    expect_everything(assigned);
}

TEST(VapData, CopyHasTextsOfItsOwn)
{
    const VapData vap = vap_with_everything();
    VapData copy = vap;
    copy.FirstText[0] = 'F';
    copy.SecondText.clear();
    expect_everything(vap);
}

TEST(VapData, SameIdentifierIsEqualWhateverElseDiffers)
{
    const VapData one = vap_with_everything();
    const VapData other = make_vap(one.Id, "different");
    EXPECT_TRUE(one == other);
    EXPECT_TRUE(other == one);
    EXPECT_FALSE(one < other);
    EXPECT_FALSE(other < one);
}

TEST(VapData, SameTextsAreNotEqualWhenTheIdentifierDiffers)
{
    const VapData one = vap_with_everything();
    VapData other = one;
    other.Id ^= 0x8000'0000;
    EXPECT_FALSE(one == other);
    EXPECT_FALSE(one < other);
    EXPECT_TRUE(other < one);
}

TEST(VapData, IdentifiersCompareUnsigned)
{
    const std::uint32_t ascending[] = {0, 1, 0x7FFF'FFFF, 0x8000'0000, 0x8000'0001, 0xFFFF'FFFF};
    for (const std::uint32_t& left : ascending) {
        for (const std::uint32_t& right : ascending) {
            EXPECT_EQ(&left < &right, make_vap(left) < make_vap(right)) << left << ' ' << right;
            EXPECT_EQ(&left == &right, make_vap(left) == make_vap(right)) << left << ' ' << right;
        }
    }
}

TEST(VapData, SetIsSortedByIdentifier)
{
    std::set<VapData> vaps;
    for (const std::uint32_t id : {0x8000'0000U, 1U, 0xFFFF'FFFFU, 0U, 0x7FFF'FFFFU, 1U})
        vaps.insert(make_vap(id));
    std::vector<std::uint32_t> ids;
    for (const VapData& vap : vaps)
        ids.push_back(vap.Id);
    EXPECT_THAT(ids, ElementsAre(0U, 1U, 0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFFFU));
}

TEST(VapData, SetKeepsTheFirstOfOneIdentifier)
{
    std::set<VapData> vaps;
    EXPECT_TRUE(vaps.insert(make_vap(5, "first")).second);
    EXPECT_FALSE(vaps.insert(make_vap(5, "second")).second);
    ASSERT_EQ(1U, vaps.size());
    EXPECT_EQ("first", vaps.find(make_vap(5, "third"))->FirstText);
    EXPECT_EQ(0U, vaps.count(make_vap(6, "first")));
}

TEST(VapData, MapFindsByIdentifier)
{
    std::map<VapData, int> ports;
    ports[make_vap(0x8000'0000, "a")] = 80;
    ports[make_vap(1, "b")] = 81;
    ports[make_vap(1, "c")] = 82;
    ASSERT_EQ(2U, ports.size());
    EXPECT_EQ(1U, ports.begin()->first.Id);
    EXPECT_EQ("b", ports.begin()->first.FirstText);
    EXPECT_EQ(82, ports.at(make_vap(1)));
    EXPECT_EQ(80, ports.at(make_vap(0x8000'0000)));
}

TEST(VapData, ListIsSortedByIdentifier)
{
    std::vector<VapData> vaps = {make_vap(3, "c"), make_vap(0x8000'0000, "d"), make_vap(2, "b")};
    std::sort(vaps.begin(), vaps.end());
    EXPECT_EQ("b", vaps[0].FirstText);
    EXPECT_EQ("c", vaps[1].FirstText);
    EXPECT_EQ("d", vaps[2].FirstText);
}

} // namespace
