// The Linux side of Fork.h; its twin is ../windows/Fork.cpp.

#include <KRCommon/platform/Fork.h>

#include <pthread.h>

namespace kr_platform {

// Without memory for it the process is one whose children must not log, and goes on.
void around_forks(const Fork_Steps& steps) noexcept
{
    pthread_atfork(steps.before, steps.in_parent, steps.in_child);
}

} // namespace kr_platform
