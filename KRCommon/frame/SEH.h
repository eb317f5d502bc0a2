#pragma once

/// \file
/// The crash-dump setting KR_SEH.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/platform/Minidump_Type.h>

/// The host's choice of what a crash dump is to hold. The library stores the choice for whoever
/// writes dumps; it writes none itself.
///
///     KR_SEH::instance()->set_dump_type(MiniDumpWithFullMemory);
///
/// Threads: the choice is not locked; make it before other threads read it.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_SEH {
public:
    /// The process's settings, built on the first call.
    static KR_SEH* instance();

    /// Does nothing; hosts may call it at their start.
    void init() noexcept;

    /// The type is stored as it is, without a check. At first it is 0, MiniDumpNormal.
    void set_dump_type(_MINIDUMP_TYPE type) noexcept;
    /// The type that was set last.
    _MINIDUMP_TYPE get_dump_type() const noexcept;

private:
    KR_SEH() = default;

    _MINIDUMP_TYPE dump_type_ = MiniDumpNormal;
};
