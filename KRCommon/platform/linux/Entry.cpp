#include <KRCommon/platform/Entry.h>

#include <pthread.h>

namespace {

__attribute__((constructor)) void attach_process()
{
    pthread_atfork(nullptr, nullptr, &kr_platform::on_forked);
    kr_platform::on_process_attach();
}

} // namespace
