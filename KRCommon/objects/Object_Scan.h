#pragma once

/// \file
/// Many records asked one question: which of them match a query. Each is read where it lies
/// (Object_View.h), and most are left after one look at their first-seen time.
///
///     KR_Object_Filter filter;
///     filter.from = ACE_Time_Value(1700000000);
///     filter.detector = ns__DetectorType__value_1;
///     filter.preset = ns__ColorPreset__red;
///     filter.min_percent = 20;
///
///     std::vector<std::size_t> matches;
///     const KR_Record_Scan scan = kr_scan_records({file.data(), file.size()}, filter, matches);
///     if (scan.end != file.size())
///         report(scan.end + scan.status.position, scan.status.state); // nothing behind was looked at
///
/// Ownership and bounds: as in Object_View.h. Threads: any number of scans may run at once, of the
/// same bytes and with the same filter too. A scan makes no thread. A host with several shares the
/// records out: kr_list_records() finds those that lie one behind the other, and each thread scans a
/// part of the list.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h; a list that was appended to keeps what was
/// appended by then.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Record_Status.h>

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstddef>
#include <optional>
#include <vector>

/// What records are asked for: the parameters of KR_ObjectBase::test(), and a colour.
struct KR_Object_Filter {
    ACE_Time_Value from;                          ///< 1970 at first
    ACE_Time_Value to = ACE_Time_Value::max_time; ///< the last first-seen time that matches
    ns__DetectorType detector = ns__DetectorType__value_7;   ///< must be the record's
    ns__ObjectClass object_class = ns__ObjectClass__unknown; ///< at first no score is asked for
    float min_score = 0.0F;                                  ///< least score of object_class
    float min_duration = 0.0F;                               ///< seconds

    /// The record must have this preset with this share at least, as KR_Object_View::has_color() says.
    /// Without a preset no colour is asked for.
    std::optional<ns__ColorPreset> preset;
    float min_percent = 0.0F;          ///< least share of preset, in percent
    const KR_Colors* colors = nullptr; ///< null is the library's own, KR_Colors::instance()
};

/// Whether a record passes test() and, where a preset is asked for, has_color(), and has an instance,
/// so that it can be decoded. Of one that is cut short the whole parts count, as they do when it is
/// decoded; ask check() where that matters.
[[nodiscard]] KRCOMMON_EXPORT bool kr_matches(const KR_Object_View& record,
                                              const KR_Object_Filter& filter) noexcept;

/// Appends the index of each record that matches, in ascending order.
///
/// records  `count` of them, each by itself: damage in one does not matter to the next. May be null
///          when there are none
/// matches  is not cleared
KRCOMMON_EXPORT void kr_scan_records(const KR_Byte_Span* records, std::size_t count,
                                     const KR_Object_Filter& filter,
                                     std::vector<std::size_t>& matches);

/// How far a scan of records came that lie one behind the other.
struct KR_Record_Scan {
    std::size_t records = 0; ///< that are whole, those without instances too
    std::size_t end = 0;     ///< position behind the last of them; the length when there is no more
    /// Why the scan ended there: what KR_Object_View::check() says of the bytes from `end` on; its
    /// positions count from there. `whole` when no bytes were left.
    KR_Record_Status status;
};

/// Appends the position, the offset of the first byte, of each record that matches, of records that
/// lie one behind the other without anything between them.
///
/// Such records have no mark between them: where one ends is told by its counts alone. So the scan
/// walks over each, 2 ns for an instance, and stops before the first that is cut short or has a bad
/// colour count: where the next one would begin is not known. A count that is wrong and fits in the
/// bytes cannot be told from a right one; it puts the scan out of step, and what is found from there
/// on means nothing. Keep the lengths of records that may be damaged, and use the other form.
///
/// A record without instances is passed over. It matches nothing.
///
/// matches  is not cleared
KRCOMMON_EXPORT KR_Record_Scan kr_scan_records(KR_Byte_Span records, const KR_Object_Filter& filter,
                                               std::vector<std::size_t>& matches);

/// The same for all records, those without instances too: appends where each lies, for instance to
/// share them out among threads.
///
/// list  is not cleared
KRCOMMON_EXPORT KR_Record_Scan kr_list_records(KR_Byte_Span records,
                                               std::vector<KR_Byte_Span>& list);
