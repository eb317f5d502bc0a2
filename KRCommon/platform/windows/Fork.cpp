// The Windows side of Fork.h; its twin is ../linux/Fork.cpp.

#include <KRCommon/platform/Fork.h>

namespace kr_platform {

void around_forks(const Fork_Steps&) noexcept {}

} // namespace kr_platform
