#include <KRCommon/platform/Entry.h>

namespace {

__attribute__((constructor)) void attach_process()
{
    kr_platform::on_process_attach();
}

} // namespace
