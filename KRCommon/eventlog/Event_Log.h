#pragma once

/// \file
/// The event log writer KR_Event_Log.

#include <KRCommon/KRCommon_Export.h>

#include <krsoap/krsoap.h>

#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kr_platform {
class Event_System;
struct Event_Source;
} // namespace kr_platform

/// KR_Event_Log writes a service's notifications into the system's event log: it declares the
/// service as a source of events, writes events under that name, and makes an event's text of a
/// notification and its parameters.
///
///     KR_Event_Log events("Video Server", false);
///     events.createRegistry();     // once, by an installer; needs administrative rights
///     events.registerToEventLog(); // at each start of the service
///
///     std::string text;
///     events.prepareEventMsg(code, message, params, entity, text);
///     events.write(code, 1, text);
///
/// docs/event_log.md has the registry's entries, the message table that Windows needs to show an
/// event, and where events go on Linux.
///
/// Failure: no operation returns an error. What the system refuses is logged as below with the
/// system's error number, and ends the operation. Nothing is thrown but std::bad_alloc, also where a
/// text would be longer than any can be.
///
/// Each line is logged as from "Event_Log.cpp", after the stamp and the thread.
/// Quirk: those of createRegistry() and registerToEventLog() name the constructor.
///
/// Threads: createRegistry(), write() and the destructor take turns on one recursive mutex, for the
/// whole call: events go out one at a time. prepareEventMsg() takes no lock and may be called at
/// once from any thread. registerToEventLog() takes no lock either and must not run beside any
/// other call but prepareEventMsg().
///
/// Linux: there is no registry, so createRegistry() fails with error 95; events go to syslog.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_Event_Log {
public:
    /// An unregistered writer. Touches neither registry nor event log and logs nothing.
    ///
    /// log_name   the source's name, and in the exclusive case the log's; in the ANSI code page on
    ///            Windows. Any text is taken here; createRegistry() says what can be registered
    /// exclusive  true: the source has a log of its own; false: it writes into "Application"
    KR_Event_Log(const std::string& log_name, bool exclusive);

    /// Gives the source back, when the writer is registered.
    /// Quirk: one line says that this failed when it succeeded, and none when it failed. So every
    /// orderly shutdown of a registered writer leaves this line; its error is 0:
    ///
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function DeregisterEventSource - error 0
    ~KR_Event_Log();
    KR_Event_Log(const KR_Event_Log&) = delete;
    KR_Event_Log& operator=(const KR_Event_Log&) = delete;

    /// Makes the registry key of the source and fills it, unless it is there: then nothing is
    /// changed. All is below
    /// `HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Services\Eventlog`:
    ///
    /// | exclusive | key                      | value              | type      | data             |
    /// |-----------|--------------------------|--------------------|-----------|------------------|
    /// | no        | `Application\<log_name>` | EventMessageFile   | REG_SZ    | as below         |
    /// | yes       | `<log_name>`             | AutoBackupLogFiles | REG_DWORD | 0                |
    /// |           |                          | MaxSize            | REG_DWORD | 524,288 (bytes)  |
    /// | yes       | `<log_name>\<log_name>`  | EventMessageFile   | REG_SZ    | as below         |
    ///
    /// EventMessageFile is the first 520 bytes of the process's working folder, followed by
    /// "\..\common\eventMessages.dll;", the semicolon included: the message table lies in a folder
    /// "common" beside the working folder. When that cannot be told it counts as empty.
    ///
    /// A log_name that is empty or holds a backslash or a zero byte is refused with error 123; one
    /// above 255 characters is refused by Windows itself. What was made before a failure stays, so
    /// that a further call finds the key and leaves it as it is.
    ///
    /// Lines, in the order of the calls, with the name in the place of %s:
    ///
    ///      DBG KR_Event_Log::KR_Event_Log - log_name = %s. exclusive = %d
    ///      DBG KR_Event_Log::KR_Event_Log - reg_path = %s
    ///      DBG KR_Event_Log::KR_Event_Log - registry key exists already
    ///      DBG KR_Event_Log::KR_Event_Log - registry key does NOT yet exists, creating and
    ///          configuring now
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx - error %d
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function RegSetValueEx with argument '%s' -
    ///          error %d
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey (exclusive case) -
    ///          error %d
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx (exclusive case) -
    ///          error %d
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey - error %d
    ///
    /// All but the first end in a blank.
    /// Quirk: the handle of a key that was there already stays open until the process ends.
    void createRegistry();

    /// Registers as source of events on this machine; from then on write() writes. Windows takes
    /// names that are not in its registry too. When that fails the writer is unregistered, and one
    /// line tells it:
    ///
    ///     *ERR KR_Event_Log::KR_Event_Log - Failed in function RegisterEventSource - error %d
    ///
    /// A further call gives the former source back, without a line, and registers anew.
    void registerToEventLog();

    /// Reports one event; without registration does nothing, not even log.
    ///
    /// id    selects the message in the message table; any 32 bits. As a rule a
    ///       notification's code
    /// type  1 error, 2 warning, 4 information, 0 success, 8 audit success, 16 audit failure;
    ///       passed through as it is, of which the system looks at the low 16 bits
    /// text  the message's only insertion, up to its first zero byte; in the ANSI code page on
    ///       Windows, where more than 31,839 characters are refused
    ///
    /// Lines, of which the first ends in a blank.
    /// Quirk: the second ends in two line feeds.
    ///
    ///      DBG KR_Event_Log::write - id = %d
    ///     *ERR KR_Event_Log::write - Failed in function ReportEvent - error %d
    ///
    /// Linux: the second line tells with error 2 or 111 that no daemon is there, with 90 that the
    /// text is too long (the program's and the source's names and the text have some 212,900 bytes
    /// in all by default), and with 110 that the daemon has not read for a second. From then on
    /// events are not waited for until one got through again.
    void write(int id, int type, const std::string& text);

    /// The text of an event:
    ///
    ///     Message = <message>
    ///     <name> = <value>
    ///     ...
    ///
    /// where the first line has a line feed after it even when no parameter follows, and each
    /// parameter's line ends in one.
    ///
    /// code     15: the message alone, without line feed and parameters. 14, 24, 35, 36, 38, 39:
    ///          without the entity's parameters
    /// message  only read
    /// params   of these, only those with one of the reported names: AsIpAddress, AsHostAddress,
    ///          ServiceName, IsPrimaryLbs, DBInstance, IsPrimaryDB, DBCurrentSize, DBLimitSize,
    ///          DaysBeforeExpiry, VmsId, VmsHost, VmsName, Host, Port, VmsProxyHost
    /// entity   all of its parameters follow, whatever their names
    /// result   replaced; may be the same object as message
    ///
    /// Names and values become bytes: of each UTF-16 unit the low byte. So Latin-1 stays, other
    /// letters become something else, and some a zero byte, where write() ends the text. Where
    /// wchar_t has 32 bits, a character beyond U+FFFF counts as the two units that it is in UTF-16,
    /// for the same result on both systems.
    void prepareEventMsg(ns__NotificationCode code, std::string& message,
                         const std::vector<ns__LogParam>& params, const ns__LogEntity& entity,
                         std::string& result) const;

private:
    void create_registry();
    std::string parameters_text(ns__NotificationCode code, const std::vector<ns__LogParam>& params,
                                const ns__LogEntity& entity) const;

    kr_platform::Event_Source* source_ = nullptr; // null: unregistered
    std::recursive_mutex mutex_;
    const std::string log_name_;
    const std::set<std::string> reported_names_;
    const bool exclusive_;
    kr_platform::Event_System& system_;
};
