#include <KRCommon/records/Scheduled_Task.h>

#include <type_traits>

using KR_Action = KR_Scheduled_Task::KR_Action;

static_assert(std::is_nothrow_move_constructible_v<KR_Action> &&
              std::is_nothrow_move_assignable_v<KR_Action>);
static_assert(std::is_nothrow_move_constructible_v<KR_Scheduled_Task> &&
              std::is_nothrow_move_assignable_v<KR_Scheduled_Task>);

KR_Action::KR_Action() = default;

KR_Action::KR_Action(unsigned target_id, ns__ObjectType object_type, ns__ObjectAction action,
                     const std::string& argument)
    : TargetId(target_id), ObjectType(object_type), Action(action), Argument(argument)
{
}

KR_Action::KR_Action(const KR_Action& other) = default;
KR_Action::KR_Action(KR_Action&& other) noexcept = default;
KR_Action& KR_Action::operator=(const KR_Action& other) = default;
KR_Action& KR_Action::operator=(KR_Action&& other) noexcept = default;
KR_Action::~KR_Action() = default;

KR_Scheduled_Task::KR_Scheduled_Task() = default;

KR_Scheduled_Task::KR_Scheduled_Task(const std::wstring& name, std::int64_t first,
                                     std::int64_t second, ns__ScheduledTaskRecurrence recurrence,
                                     unsigned parameter)
    : Name(name), FirstTime(first), SecondTime(second), Recurrence(recurrence), Parameter(parameter)
{
}

KR_Scheduled_Task::KR_Scheduled_Task(const ns__ScheduledTask& record)
    : Id(record.id), Name(record.name), StateFlag(record.flag == 0 ? 1 : 0),
      FirstTime(record.time1), SecondTime(record.time2), Recurrence(record.recurrence),
      Parameter(record.parameter)
{
    Actions.emplace_back(record.targetId, record.objectType, record.action, record.argument);
}

KR_Scheduled_Task::operator ns__ScheduledTask() const
{
    ns__ScheduledTask record;
    record.id = Id;
    record.name = Name;
    record.flag = (StateFlag & 1U) == 0 ? 1 : 0;
    record.time1 = FirstTime;
    record.time2 = SecondTime;
    record.recurrence = Recurrence;
    record.parameter = Parameter;
    if (Actions.empty())
        return record; // Quirk: the record has an action nevertheless, as it starts
    const KR_Action& action = Actions.front();
    record.targetId = action.TargetId;
    record.objectType = action.ObjectType;
    record.action = action.Action;
    record.argument = action.Argument;
    return record;
}

KR_Scheduled_Task::KR_Scheduled_Task(const KR_Scheduled_Task& other) = default;
KR_Scheduled_Task::KR_Scheduled_Task(KR_Scheduled_Task&& other) noexcept = default;
KR_Scheduled_Task& KR_Scheduled_Task::operator=(const KR_Scheduled_Task& other) = default;
KR_Scheduled_Task& KR_Scheduled_Task::operator=(KR_Scheduled_Task&& other) noexcept = default;
KR_Scheduled_Task::~KR_Scheduled_Task() = default;
