#include <KRCommon/frame/SEH.h>

KR_SEH* KR_SEH::instance()
{
    static KR_SEH settings;
    return &settings;
}

void KR_SEH::init() noexcept {}

void KR_SEH::set_dump_type(_MINIDUMP_TYPE type) noexcept
{
    dump_type_ = type;
}

_MINIDUMP_TYPE KR_SEH::get_dump_type() const noexcept
{
    return dump_type_;
}
