#pragma once

/// \file
/// The record of a scheduled task, KR_Scheduled_Task.

#include <KRCommon/KRCommon_Export.h>

#include <krsoap/krsoap.h>

#include <cstdint>
#include <string>
#include <vector>

/// A task that services carry out at given times: when, and a list of what to do. It converts to
/// and from the web-service record, which holds exactly one action.
///
///     KR_Scheduled_Task task(L"nightly", 1700000000, 1700003600, recurrence, 0);
///     task.Actions.emplace_back(12U, object_type, object_action, "on");
///     const ns__ScheduledTask record = task;
///     const KR_Scheduled_Task received = record;
///
/// What the conversions lose: all actions but the first, the two outer words of an action, and all
/// bits of the state flag but the lowest.
///
/// Verbatim: the times, the recurrence, the parameter, and what an action says have meanings that
/// the services agree on among themselves; they are carried as they are.
/// Threads: a value; it belongs to one thread at a time.
/// Failure: copying and converting may throw std::bad_alloc; moving never throws.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_Scheduled_Task {
public:
    /// One thing to do.
    class KRCOMMON_EXPORT KR_Action {
    public:
        /// Zero and empty throughout.
        KR_Action();

        /// The two outer words are 0.
        KR_Action(unsigned target_id, ns__ObjectType object_type, ns__ObjectAction action,
                  const std::string& argument);

        /// Copied and moved as a whole, member by member.
        /// @{
        KR_Action(const KR_Action& other);
        KR_Action(KR_Action&& other) noexcept;
        KR_Action& operator=(const KR_Action& other);
        KR_Action& operator=(KR_Action&& other) noexcept;
        ~KR_Action();
        /// @}

        std::uint32_t FirstWord = 0; ///< not part of the web-service record
        std::uint32_t TargetId = 0;  ///< the object that the action applies to
        ns__ObjectType ObjectType{}; ///< the kind of that object; 0 at first
        ns__ObjectAction Action{};   ///< what is done to it; 0 at first
        std::string Argument;        ///< bytes, in whatever encoding the services use
        std::uint32_t LastWord = 0;  ///< not part of the web-service record
    };

    /// Zero and empty throughout.
    KR_Scheduled_Task();

    /// A task without actions; identifier and state flag are 0.
    ///
    /// first, second  the two times, in the order and unit that the services agree on
    KR_Scheduled_Task(const std::wstring& name, std::int64_t first, std::int64_t second,
                      ns__ScheduledTaskRecurrence recurrence, unsigned parameter);

    /// A task with one action, the record's. StateFlag is 1 where the record's flag is 0, else 0.
    KR_Scheduled_Task(const ns__ScheduledTask& record); // NOLINT(google-explicit-constructor)

    /// The record of the task with its first action. The flag is 0 where the lowest bit of
    /// StateFlag is set, else 1. What the record holds beside the task's members starts as the
    /// generated type sets it.
    ///
    /// Quirk: without actions the record's action is left as the generated type starts it, so that
    /// the task comes back with one action.
    operator ns__ScheduledTask() const; // NOLINT(google-explicit-constructor)

    /// Copied and moved as a whole, member by member.
    /// @{
    KR_Scheduled_Task(const KR_Scheduled_Task& other);
    KR_Scheduled_Task(KR_Scheduled_Task&& other) noexcept;
    KR_Scheduled_Task& operator=(const KR_Scheduled_Task& other);
    KR_Scheduled_Task& operator=(KR_Scheduled_Task&& other) noexcept;
    ~KR_Scheduled_Task();
    /// @}

    std::uint32_t Id = 0;        ///< the task's number
    std::wstring Name;           ///< for people
    std::uint32_t StateFlag = 0; ///< the inverse of the record's flag: 0 here is 1 there
    std::int64_t FirstTime = 0;  ///< carried as it is
    std::int64_t SecondTime = 0; ///< carried as it is
    ns__ScheduledTaskRecurrence Recurrence{}; ///< how the task repeats; 0 at first
    std::uint32_t Parameter = 0;              ///< carried as it is
    std::vector<KR_Action> Actions;           ///< what to do, in order
};
