#include <KRCommon/records/Scheduled_Task.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using testing::IsEmpty;
using KR_Action = KR_Scheduled_Task::KR_Action;

constexpr std::int64_t int64_min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t int64_max = std::numeric_limits<std::int64_t>::max();

// Numbers without a name of their own.
constexpr auto recurrence_5 = static_cast<ns__ScheduledTaskRecurrence>(5);
constexpr auto recurrence_last = static_cast<ns__ScheduledTaskRecurrence>(0x7FFF'FFFF);
constexpr auto type_6 = static_cast<ns__ObjectType>(6);
constexpr auto type_below_zero = static_cast<ns__ObjectType>(-6);
constexpr auto action_7 = static_cast<ns__ObjectAction>(7);
constexpr auto action_below_zero = static_cast<ns__ObjectAction>(-7);

static_assert(std::is_convertible_v<const ns__ScheduledTask&, KR_Scheduled_Task>);
static_assert(std::is_convertible_v<const KR_Scheduled_Task&, ns__ScheduledTask>);
#if defined(__int64)
static_assert(std::is_same_v<__int64, std::int64_t>, "hosts pass the times as __int64");
#endif

KR_Action make_action(std::uint32_t first_word, std::uint32_t last_word)
{
    KR_Action action(0xFFFF'FFFF, type_6, action_7, std::string("arg\0ument \xFF", 11));
    action.FirstWord = first_word;
    action.LastWord = last_word;
    return action;
}

void expect_action(const KR_Action& action, std::uint32_t first_word, std::uint32_t last_word)
{
    EXPECT_EQ(first_word, action.FirstWord);
    EXPECT_EQ(0xFFFF'FFFFU, action.TargetId);
    EXPECT_EQ(6, action.ObjectType);
    EXPECT_EQ(7, action.Action);
    EXPECT_EQ(std::string("arg\0ument \xFF", 11), action.Argument);
    EXPECT_EQ(last_word, action.LastWord);
}

KR_Scheduled_Task task_with_everything()
{
    KR_Scheduled_Task task(L"task \U0001F4F7", int64_min, int64_max, recurrence_5, 0xFFFF'FFFE);
    task.Id = 0xFFFF'FFFF;
    task.StateFlag = 3;
    task.Actions = {make_action(10, 11), make_action(12, 13)};
    return task;
}

void expect_everything(const KR_Scheduled_Task& task)
{
    EXPECT_EQ(0xFFFF'FFFFU, task.Id);
    EXPECT_EQ(L"task \U0001F4F7", task.Name);
    EXPECT_EQ(3U, task.StateFlag);
    EXPECT_EQ(int64_min, task.FirstTime);
    EXPECT_EQ(int64_max, task.SecondTime);
    EXPECT_EQ(5, task.Recurrence);
    EXPECT_EQ(0xFFFF'FFFEU, task.Parameter);
    ASSERT_EQ(2U, task.Actions.size());
    expect_action(task.Actions[0], 10, 11);
    expect_action(task.Actions[1], 12, 13);
}

ns__ScheduledTask record_with_everything()
{
    ns__ScheduledTask record;
    record.id = 21;
    record.name = L"record";
    record.flag = 1;
    record.time1 = 0x1'0000'0000;
    record.time2 = -1;
    record.recurrence = recurrence_last;
    record.parameter = 22;
    record.targetId = 23;
    record.objectType = type_below_zero;
    record.action = action_below_zero;
    record.argument = "argument";
    return record;
}

void expect_everything(const ns__ScheduledTask& record)
{
    EXPECT_EQ(21U, record.id);
    EXPECT_EQ(L"record", record.name);
    EXPECT_EQ(1, record.flag);
    EXPECT_EQ(0x1'0000'0000, record.time1);
    EXPECT_EQ(-1, record.time2);
    EXPECT_EQ(0x7FFF'FFFF, record.recurrence);
    EXPECT_EQ(22U, record.parameter);
    EXPECT_EQ(23U, record.targetId);
    EXPECT_EQ(-6, record.objectType);
    EXPECT_EQ(-7, record.action);
    EXPECT_EQ("argument", record.argument);
}

TEST(KrAction, StartsZeroAndEmpty)
{
    // On memory that held other bytes: a member that nobody sets would show them.
    alignas(KR_Action) unsigned char memory[sizeof(KR_Action)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_Action& action = *new (memory) KR_Action;
    EXPECT_EQ(0U, action.FirstWord);
    EXPECT_EQ(0U, action.TargetId);
    EXPECT_EQ(0, action.ObjectType);
    EXPECT_EQ(0, action.Action);
    EXPECT_EQ("", action.Argument);
    EXPECT_EQ(0U, action.LastWord);
    action.~KR_Action();
}

TEST(KrAction, TakesItsFourArguments)
{
    alignas(KR_Action) unsigned char memory[sizeof(KR_Action)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_Action& action = *new (memory) KR_Action(12U, type_6, action_below_zero, "on");
    EXPECT_EQ(0U, action.FirstWord);
    EXPECT_EQ(12U, action.TargetId);
    EXPECT_EQ(6, action.ObjectType);
    EXPECT_EQ(-7, action.Action);
    EXPECT_EQ("on", action.Argument);
    EXPECT_EQ(0U, action.LastWord);
    action.~KR_Action();
}

TEST(KrAction, CopyAndAssignmentHaveEveryField)
{
    const KR_Action action = make_action(10, 11);
    const KR_Action copy = action;
    expect_action(copy, 10, 11);
    KR_Action assigned(1, type_below_zero, action_below_zero, "an argument that is replaced");
    assigned = copy;
    expect_action(assigned, 10, 11);
    KR_Action& itself = assigned;
    assigned = itself;
    expect_action(assigned, 10, 11);
    assigned.Argument[0] = 'A';
    expect_action(copy, 10, 11);
    expect_action(action, 10, 11);
}

TEST(KrAction, MoveHasEveryField)
{
    KR_Action action = make_action(10, 11);
    KR_Action moved = std::move(action);
    expect_action(moved, 10, 11);
    KR_Action assigned;
    assigned = std::move(moved);
    expect_action(assigned, 10, 11);
}

TEST(KrScheduledTask, StartsZeroAndEmpty)
{
    alignas(KR_Scheduled_Task) unsigned char memory[sizeof(KR_Scheduled_Task)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_Scheduled_Task& task = *new (memory) KR_Scheduled_Task;
    EXPECT_EQ(0U, task.Id);
    EXPECT_EQ(L"", task.Name);
    EXPECT_EQ(0U, task.StateFlag);
    EXPECT_EQ(0, task.FirstTime);
    EXPECT_EQ(0, task.SecondTime);
    EXPECT_EQ(0, task.Recurrence);
    EXPECT_EQ(0U, task.Parameter);
    EXPECT_THAT(task.Actions, IsEmpty());
    task.~KR_Scheduled_Task();
}

TEST(KrScheduledTask, TakesItsFiveArgumentsAndHasNoActions)
{
    const std::wstring name = L"nightly";
    alignas(KR_Scheduled_Task) unsigned char memory[sizeof(KR_Scheduled_Task)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_Scheduled_Task& task =
        *new (memory) KR_Scheduled_Task(name, -1, 0x1'0000'0000, recurrence_5, 0xFFFF'FFFF);
    EXPECT_EQ(0U, task.Id);
    EXPECT_EQ(L"nightly", task.Name);
    EXPECT_EQ(0U, task.StateFlag);
    EXPECT_EQ(-1, task.FirstTime);
    EXPECT_EQ(0x1'0000'0000, task.SecondTime);
    EXPECT_EQ(5, task.Recurrence);
    EXPECT_EQ(0xFFFF'FFFFU, task.Parameter);
    EXPECT_THAT(task.Actions, IsEmpty());
    task.~KR_Scheduled_Task();
}

TEST(KrScheduledTask, CopyHasEveryField)
{
    const KR_Scheduled_Task task = task_with_everything();
    const KR_Scheduled_Task copy = task;
    expect_everything(copy);
    expect_everything(task);
}

TEST(KrScheduledTask, AssignmentReplacesEveryField)
{
    const KR_Scheduled_Task task = task_with_everything();
    KR_Scheduled_Task assigned(L"a longer name", 1, 2, recurrence_last, 3);
    assigned.Actions.resize(5);
    assigned = task;
    expect_everything(assigned);
    expect_everything(task);
    KR_Scheduled_Task& itself = assigned;
    assigned = itself;
    expect_everything(assigned);
}

TEST(KrScheduledTask, MoveHasEveryField)
{
    KR_Scheduled_Task task = task_with_everything();
    KR_Scheduled_Task moved = std::move(task);
    expect_everything(moved);
    KR_Scheduled_Task assigned;
    assigned = std::move(moved);
    expect_everything(assigned);
}

TEST(KrScheduledTask, CopyHasANameAndActionsOfItsOwn)
{
    const KR_Scheduled_Task task = task_with_everything();
    KR_Scheduled_Task copy = task;
    copy.Name[0] = L'T';
    copy.Actions[0].Argument = "changed";
    copy.Actions.pop_back();
    expect_everything(task);
}

TEST(KrScheduledTask, FromARecordTakesEveryFieldAndItsOneAction)
{
    const KR_Scheduled_Task task = record_with_everything();
    EXPECT_EQ(21U, task.Id);
    EXPECT_EQ(L"record", task.Name);
    EXPECT_EQ(0U, task.StateFlag);
    EXPECT_EQ(0x1'0000'0000, task.FirstTime);
    EXPECT_EQ(-1, task.SecondTime);
    EXPECT_EQ(0x7FFF'FFFF, task.Recurrence);
    EXPECT_EQ(22U, task.Parameter);
    ASSERT_EQ(1U, task.Actions.size());
    EXPECT_EQ(0U, task.Actions[0].FirstWord);
    EXPECT_EQ(23U, task.Actions[0].TargetId);
    EXPECT_EQ(-6, task.Actions[0].ObjectType);
    EXPECT_EQ(-7, task.Actions[0].Action);
    EXPECT_EQ("argument", task.Actions[0].Argument);
    EXPECT_EQ(0U, task.Actions[0].LastWord);
}

TEST(KrScheduledTask, ToARecordGivesEveryField)
{
    KR_Scheduled_Task task(L"record", 0x1'0000'0000, -1, recurrence_last, 22);
    task.Id = 21;
    task.Actions.emplace_back(23U, type_below_zero, action_below_zero, "argument");
    const ns__ScheduledTask record = task;
    expect_everything(record);
    const ns__ScheduledTask constructed(task);
    expect_everything(constructed);
    ns__ScheduledTask assigned;
    assigned = task;
    expect_everything(assigned);
}

TEST(KrScheduledTask, RecordComesBackFromATaskUnchanged)
{
    const KR_Scheduled_Task task = record_with_everything();
    const ns__ScheduledTask record = task;
    expect_everything(record);
}

TEST(KrScheduledTask, ConvertingLeavesTheTaskAsItIs)
{
    const KR_Scheduled_Task task = task_with_everything();
    const ns__ScheduledTask record = task;
    EXPECT_EQ(0xFFFF'FFFFU, record.id);
    expect_everything(task);
}

TEST(KrScheduledTask, AssignmentFromARecordReplacesAllActions)
{
    KR_Scheduled_Task task = task_with_everything();
    task = record_with_everything();
    EXPECT_EQ(L"record", task.Name);
    ASSERT_EQ(1U, task.Actions.size());
    EXPECT_EQ(23U, task.Actions[0].TargetId);
}

TEST(KrScheduledTask, QuirkWithoutActionsTheRecordsActionStartsAsGeneratedAndComesBackAsOne)
{
    const KR_Scheduled_Task task(L"idle", 1, 2, recurrence_5, 3);
    const ns__ScheduledTask record = task;
    EXPECT_EQ(L"idle", record.name);
    EXPECT_EQ(1, record.flag);
    EXPECT_EQ(1, record.time1);
    EXPECT_EQ(2, record.time2);
    EXPECT_EQ(5, record.recurrence);
    EXPECT_EQ(3U, record.parameter);
    EXPECT_EQ(0U, record.targetId);
    EXPECT_EQ(0, record.objectType);
    EXPECT_EQ(0, record.action);
    EXPECT_EQ("", record.argument);
    const KR_Scheduled_Task back = record;
    ASSERT_EQ(1U, back.Actions.size());
    EXPECT_EQ(0U, back.Actions[0].FirstWord);
    EXPECT_EQ(0U, back.Actions[0].TargetId);
    EXPECT_EQ(0, back.Actions[0].ObjectType);
    EXPECT_EQ(0, back.Actions[0].Action);
    EXPECT_EQ("", back.Actions[0].Argument);
    EXPECT_EQ(0U, back.Actions[0].LastWord);
}

TEST(KrScheduledTask, OneActionComesBackWithoutItsOuterWords)
{
    KR_Scheduled_Task task;
    task.Actions = {make_action(10, 11)};
    const KR_Scheduled_Task back = static_cast<ns__ScheduledTask>(task);
    ASSERT_EQ(1U, back.Actions.size());
    expect_action(back.Actions[0], 0, 0);
}

TEST(KrScheduledTask, OfThreeActionsTheFirstComesBack)
{
    KR_Scheduled_Task task;
    task.Actions.emplace_back(1U, type_6, action_7, "first");
    task.Actions.emplace_back(2U, type_below_zero, action_below_zero, "second");
    task.Actions.emplace_back(3U, type_below_zero, action_below_zero, "third");
    const KR_Scheduled_Task back = static_cast<ns__ScheduledTask>(task);
    ASSERT_EQ(1U, back.Actions.size());
    EXPECT_EQ(1U, back.Actions[0].TargetId);
    EXPECT_EQ(6, back.Actions[0].ObjectType);
    EXPECT_EQ(7, back.Actions[0].Action);
    EXPECT_EQ("first", back.Actions[0].Argument);
    EXPECT_EQ(3U, task.Actions.size());
}

TEST(KrScheduledTask, RecordFlagIsTheInverseOfTheLowestBit)
{
    struct Row {
        std::uint32_t state_flag;
        int record_flag;
        std::uint32_t back;
    };
    const Row table[] = {
        {0, 1, 0},     {1, 0, 1},           {2, 1, 0},           {3, 0, 1},           {0x100, 1, 0},
        {0x101, 0, 1}, {0x8000'0000, 1, 0}, {0xFFFF'FFFE, 1, 0}, {0xFFFF'FFFF, 0, 1},
    };
    for (const Row& row : table) {
        KR_Scheduled_Task task;
        task.StateFlag = row.state_flag;
        const ns__ScheduledTask record = task;
        EXPECT_EQ(row.record_flag, record.flag) << row.state_flag;
        EXPECT_EQ(row.back, KR_Scheduled_Task(record).StateFlag) << row.state_flag;
    }
}

TEST(KrScheduledTask, StateFlagIsSetOnlyWhereTheRecordFlagIsZero)
{
    struct Row {
        std::uint8_t record_flag;
        std::uint32_t state_flag;
        int back;
    };
    const Row table[] = {{0, 1, 0}, {1, 0, 1}, {2, 0, 1}, {3, 0, 1}, {128, 0, 1}, {255, 0, 1}};
    for (const Row& row : table) {
        ns__ScheduledTask record;
        record.flag = row.record_flag;
        const KR_Scheduled_Task task = record;
        EXPECT_EQ(row.state_flag, task.StateFlag) << int{row.record_flag};
        EXPECT_EQ(row.back, static_cast<ns__ScheduledTask>(task).flag) << int{row.record_flag};
    }
}

TEST(KrScheduledTask, NamesPassUnchanged)
{
    const std::wstring names[] = {
        L"",
        L"\u043E\u0431\u0445\u043E\u0434",
        L"\U0001F4F7 \U0010FFFF",            // outside the basic plane
        std::wstring(1, wchar_t{0xD83D}),    // half of a character
        std::wstring(L"before\0behind", 13), // a zero within
        std::wstring(10000, L'\u4E2D'),
    };
    for (const std::wstring& name : names) {
        const KR_Scheduled_Task task(name, 0, 0, recurrence_5, 0);
        EXPECT_EQ(name, task.Name);
        const ns__ScheduledTask record = task;
        EXPECT_EQ(name, record.name);
        EXPECT_EQ(name, KR_Scheduled_Task(record).Name);
    }
}

TEST(KrScheduledTask, TimesPassWithAll64Bits)
{
    for (const std::int64_t time : {int64_min, std::int64_t{-0x8000'0001LL}, std::int64_t{-1},
                                    std::int64_t{0}, std::int64_t{0x1'0000'0001LL}, int64_max}) {
        const KR_Scheduled_Task task(L"", time, 7, recurrence_5, 0);
        const ns__ScheduledTask record = task;
        EXPECT_EQ(time, record.time1);
        EXPECT_EQ(7, record.time2);
        const KR_Scheduled_Task swapped(L"", 7, time, recurrence_5, 0);
        EXPECT_EQ(time, KR_Scheduled_Task(static_cast<ns__ScheduledTask>(swapped)).SecondTime);
    }
}

} // namespace
