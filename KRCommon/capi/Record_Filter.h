#pragma once

/// \file
/// What a host asks records for, as the library takes it.
///
/// Threads: a filter belongs to one call.

#include <KRCommon/capi/Types.h>
#include <KRCommon/objects/Object_Scan.h>

namespace kr_internal::c {

class Record_Filter {
public:
    /// Of a filter of the host's, whose classifier is held from here on. Null takes every record.
    explicit Record_Filter(const kr_c_filter* filter);

    [[nodiscard]] kr_c_error error() const noexcept { return error_; }
    [[nodiscard]] bool takes(const KR_Object_View& record) const noexcept
    {
        return takes_all_ || kr_matches(record, filter_);
    }

private:
    Colors_Use colors_;
    KR_Object_Filter filter_;
    bool takes_all_;
    kr_c_error error_;
};

kr_c_record_status status_of(const KR_Record_Status& status) noexcept;

} // namespace kr_internal::c
