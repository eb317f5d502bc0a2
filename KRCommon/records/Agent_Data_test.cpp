#include <KRCommon/records/Agent_Data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<KR_Agent_Data>);
static_assert(std::is_base_of_v<ns__Agent, KR_Agent_Data>);
static_assert(std::is_convertible_v<KR_Agent_Data*, ns__Agent*>, "the base is public");
static_assert(std::is_convertible_v<const ns__Agent&, KR_Agent_Data>);

ns__Agent agent_with_everything()
{
    ns__Agent agent;
    agent.word1 = 0xFFFF'FFFF;
    agent.text1 = "one";
    agent.text2 = std::string("t\0wo", 4);
    agent.text3 = L"three \U0001F4F7";
    agent.text4 = "four";
    agent.word2 = 2;
    agent.word3 = 3;
    agent.text5 = "five";
    agent.text6 = "six \xFF";
    agent.text7 = "seven";
    agent.flag1 = 11;
    agent.flag2 = 12;
    agent.flag3 = 13;
    agent.word4 = -4;
    agent.word5 = 5;
    agent.word6 = 6;
    agent.word7 = 7;
    agent.word8 = 8;
    agent.word9 = 9;
    agent.values = {0x10, 0x8000'0000, 0x11};
    return agent;
}

void expect_everything(const ns__Agent& agent)
{
    EXPECT_EQ(0xFFFF'FFFFU, agent.word1);
    EXPECT_EQ("one", agent.text1);
    EXPECT_EQ(std::string("t\0wo", 4), agent.text2);
    EXPECT_EQ(L"three \U0001F4F7", agent.text3);
    EXPECT_EQ("four", agent.text4);
    EXPECT_EQ(2U, agent.word2);
    EXPECT_EQ(3U, agent.word3);
    EXPECT_EQ("five", agent.text5);
    EXPECT_EQ("six \xFF", agent.text6);
    EXPECT_EQ("seven", agent.text7);
    EXPECT_EQ(11, agent.flag1);
    EXPECT_EQ(12, agent.flag2);
    EXPECT_EQ(13, agent.flag3);
    EXPECT_EQ(-4, agent.word4);
    EXPECT_EQ(5U, agent.word5);
    EXPECT_EQ(6U, agent.word6);
    EXPECT_EQ(7U, agent.word7);
    EXPECT_EQ(8U, agent.word8);
    EXPECT_EQ(9U, agent.word9);
    EXPECT_THAT(agent.values, ElementsAre(0x10U, 0x8000'0000U, 0x11U));
}

template <class Number, std::size_t count>
void count_up(Number (&numbers)[count], Number first)
{
    for (Number& number : numbers)
        number = first++;
}

KR_Agent_Data data_with_everything()
{
    KR_Agent_Data data = agent_with_everything();
    data.AddedWord = 100;
    count_up(data.AddedValues, std::uint64_t{0x1'0000'0000});
    count_up(data.AddedWords, std::uint32_t{200});
    data.AddedByte = 250;
    count_up(data.LastWords, std::uint32_t{300});
    data.CombinedMask = 400;
    return data;
}

void expect_everything(const KR_Agent_Data& data)
{
    expect_everything(static_cast<const ns__Agent&>(data));
    EXPECT_EQ(100U, data.AddedWord);
    EXPECT_THAT(data.AddedValues, ElementsAre(0x1'0000'0000U, 0x1'0000'0001U, 0x1'0000'0002U,
                                              0x1'0000'0003U, 0x1'0000'0004U, 0x1'0000'0005U));
    EXPECT_THAT(data.AddedWords, ElementsAre(200U, 201U, 202U, 203U, 204U, 205U, 206U, 207U, 208U));
    EXPECT_EQ(250, data.AddedByte);
    EXPECT_THAT(data.LastWords, ElementsAre(300U, 301U, 302U, 303U));
    EXPECT_EQ(400U, data.CombinedMask);
}

void expect_nothing_added_but_the_mask(const KR_Agent_Data& data)
{
    EXPECT_EQ(0U, data.AddedWord);
    EXPECT_THAT(data.AddedValues, Each(0U));
    EXPECT_THAT(data.AddedWords, Each(0U));
    EXPECT_EQ(0, data.AddedByte);
    EXPECT_THAT(data.LastWords, Each(0U));
}

TEST(KrAgentData, StartsWithTheStatedDefaults)
{
    // On memory that held other bytes: a member that nobody sets would show them.
    alignas(KR_Agent_Data) unsigned char memory[sizeof(KR_Agent_Data)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_Agent_Data& data = *new (memory) KR_Agent_Data;
    EXPECT_EQ(0U, data.word1);
    EXPECT_EQ("", data.text1);
    EXPECT_EQ("", data.text2);
    EXPECT_EQ(L"", data.text3);
    EXPECT_EQ("", data.text4);
    EXPECT_EQ(0U, data.word2);
    EXPECT_EQ(0U, data.word3);
    EXPECT_EQ("", data.text5);
    EXPECT_EQ("", data.text6);
    EXPECT_EQ("", data.text7);
    EXPECT_EQ(0, data.flag1);
    EXPECT_EQ(1, data.flag2);
    EXPECT_EQ(1, data.flag3);
    EXPECT_EQ(-1, data.word4);
    EXPECT_EQ(0U, data.word5);
    EXPECT_EQ(0U, data.word6);
    EXPECT_EQ(0U, data.word7);
    EXPECT_EQ(0U, data.word8);
    EXPECT_EQ(0U, data.word9);
    EXPECT_THAT(data.values, IsEmpty());
    expect_nothing_added_but_the_mask(data);
    EXPECT_EQ(0U, data.CombinedMask);
    data.~KR_Agent_Data();
}

TEST(KrAgentData, TakesEveryFieldOfARecordAndZeroesWhatItAdds)
{
    alignas(KR_Agent_Data) unsigned char memory[sizeof(KR_Agent_Data)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_Agent_Data& data = *new (memory) KR_Agent_Data(agent_with_everything());
    expect_everything(static_cast<const ns__Agent&>(data));
    expect_nothing_added_but_the_mask(data);
    EXPECT_EQ(0x8000'0011U, data.CombinedMask);
    data.~KR_Agent_Data();
}

struct Masks {
    std::vector<std::uint32_t> values;
    std::uint32_t combined;
};

std::ostream& operator<<(std::ostream& out, const Masks& row)
{
    return out << testing::PrintToString(row.values);
}

TEST(KrAgentData, CombinedMaskJoinsAllValues)
{
    const Masks table[] = {
        {{}, 0},
        {{0}, 0},
        {{1, 4, 4}, 5},
        {{3, 6}, 7},
        {{0x8000'0000}, 0x8000'0000},
        {{0x8000'0000, 1}, 0x8000'0001},
        {{0xFFFF'FFFF}, 0xFFFF'FFFF},
        {{1, 0xFFFF'FFFF, 1}, 0xFFFF'FFFF},
        {{0xAAAA'AAAA, 0x5555'5555}, 0xFFFF'FFFF},
    };
    for (const Masks& row : table) {
        ns__Agent agent;
        agent.values = row.values;
        const KR_Agent_Data data = agent;
        EXPECT_EQ(row.combined, data.CombinedMask) << row;
        EXPECT_EQ(row.values, data.values) << row;
    }
}

TEST(KrAgentData, CombinedMaskStaysWhenTheValuesChangeLater)
{
    ns__Agent agent;
    agent.values = {1, 4};
    KR_Agent_Data data = agent;
    data.values.push_back(0x100);
    EXPECT_EQ(5U, data.CombinedMask);
    const KR_Agent_Data copy = data;
    EXPECT_EQ(5U, copy.CombinedMask);
}

TEST(KrAgentData, CopyHasEveryField)
{
    const KR_Agent_Data data = data_with_everything();
    const KR_Agent_Data copy = data;
    expect_everything(copy);
    expect_everything(data);
}

TEST(KrAgentData, AssignmentReplacesEveryField)
{
    const KR_Agent_Data data = data_with_everything();
    KR_Agent_Data assigned;
    assigned.values = {1, 2, 3, 4, 5, 6, 7};
    assigned = data;
    expect_everything(assigned);
    expect_everything(data);
    KR_Agent_Data& itself = assigned;
    assigned = itself;
    expect_everything(assigned);
}

TEST(KrAgentData, MoveHasEveryField)
{
    KR_Agent_Data data = data_with_everything();
    KR_Agent_Data moved = std::move(data);
    expect_everything(moved);
    KR_Agent_Data assigned;
    assigned = std::move(moved);
    expect_everything(assigned);
}

TEST(KrAgentData, CopyHasTextsAndValuesOfItsOwn)
{
    const KR_Agent_Data data = data_with_everything();
    KR_Agent_Data copy = data;
    copy.text1 = "changed";
    copy.text3[0] = L'T';
    copy.values[0] = 77;
    copy.AddedValues[5] = 78;
    copy.AddedWords[8] = 79;
    copy.LastWords[3] = 80;
    expect_everything(data);
}

TEST(KrAgentData, AssignmentFromARecordClearsWhatWasAdded)
{
    KR_Agent_Data data = data_with_everything();
    ns__Agent agent;
    agent.text1 = "other";
    agent.values = {2, 8};
    data = agent;
    EXPECT_EQ("other", data.text1);
    EXPECT_EQ("", data.text2);
    EXPECT_THAT(data.values, ElementsAre(2U, 8U));
    expect_nothing_added_but_the_mask(data);
    EXPECT_EQ(10U, data.CombinedMask);
}

TEST(KrAgentData, DataSeenAsARecordConvertsAsARecord)
{
    const KR_Agent_Data data = data_with_everything();
    const ns__Agent& record = data;
    const KR_Agent_Data converted(record);
    expect_everything(static_cast<const ns__Agent&>(converted));
    expect_nothing_added_but_the_mask(converted);
    EXPECT_EQ(0x8000'0011U, converted.CombinedMask);
}

TEST(KrAgentData, SlicesToARecord)
{
    const KR_Agent_Data data = data_with_everything();
    const ns__Agent record = data;
    expect_everything(record);
    ns__Agent assigned;
    assigned = data;
    expect_everything(assigned);
}

TEST(KrAgentData, IsDestroyedThroughTheRecord)
{
    // Texts too long to lie within their objects: the address sanitizer would report them lost.
    auto data = std::make_unique<KR_Agent_Data>(data_with_everything());
    data->text1.assign(1000, 'x');
    data->values.assign(1000, 1);
    std::unique_ptr<ns__Agent> record = std::move(data);
    EXPECT_NE(nullptr, dynamic_cast<KR_Agent_Data*>(record.get()));
    record.reset();
}

} // namespace
