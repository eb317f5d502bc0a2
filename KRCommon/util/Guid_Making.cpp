#include <KRCommon/util/Guid_Making.h>

#include <KRCommon/platform/Random.h>

#include <algorithm>
#include <chrono>

namespace kr_internal {

namespace {

static_assert(sizeof(KR_GUID) == 16);

bool fill(KR_GUID* out, std::size_t count, Random_Bytes& random) noexcept
{
    if (random(static_cast<void*>(out), count * sizeof(KR_GUID)))
        return true;
    std::fill_n(out, count, KR_GUID());
    return false;
}

// RFC 9562 sections 4.1 and 4.2.
void mark(KR_GUID& guid, unsigned version) noexcept
{
    guid.Data3 = static_cast<std::uint16_t>((guid.Data3 & 0x0FFF) | version << 12);
    guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3F) | 0x80);
}

} // namespace

bool make_guids_v4(KR_GUID* out, std::size_t count, Random_Bytes& random) noexcept
{
    if (!fill(out, count, random))
        return false;
    std::for_each_n(out, count, [](KR_GUID& guid) { mark(guid, 4); });
    return true;
}

bool make_guids_v7(KR_GUID* out, std::size_t count, std::uint64_t first,
                   Random_Bytes& random) noexcept
{
    if (!fill(out, count, random))
        return false;
    std::for_each_n(out, count, [&first](KR_GUID& guid) {
        const std::uint64_t instant = first++;
        guid.Data1 = static_cast<std::uint32_t>(instant >> 28);
        guid.Data2 = static_cast<std::uint16_t>(instant >> 12);
        guid.Data3 = static_cast<std::uint16_t>(instant);
        mark(guid, 7);
    });
    return true;
}

std::uint64_t Guid_Clock::take(std::uint64_t now, std::size_t count) noexcept
{
    std::uint64_t next = next_.load(std::memory_order_relaxed);
    std::uint64_t first = 0;
    do
        first = std::max(now, next);
    while (!next_.compare_exchange_weak(next, first + count, std::memory_order_relaxed));
    return first;
}

namespace {

Guid_Clock guid_clock;

// In 1/4096 ms since 1970.
std::uint64_t now() noexcept
{
    using namespace std::chrono;
    const auto since_1970 = system_clock::now().time_since_epoch();
    const std::int64_t count = duration_cast<microseconds>(since_1970).count();
    const auto microseconds_since_1970 =
        static_cast<std::uint64_t>(std::max<std::int64_t>(count, 0));
    return (microseconds_since_1970 / 1'000 << 12) +
           (microseconds_since_1970 % 1'000 << 12) / 1'000;
}

} // namespace

} // namespace kr_internal

using namespace kr_internal;

bool kr_create_guids_v4(KR_GUID* out, std::size_t count) noexcept
{
    return make_guids_v4(out, count, kr_platform::random_bytes);
}

bool kr_create_guids_v7(KR_GUID* out, std::size_t count) noexcept
{
    return make_guids_v7(out, count, guid_clock.take(now(), count), kr_platform::random_bytes);
}

KR_GUID kr_create_guid_v4() noexcept
{
    KR_GUID guid;
    static_cast<void>(kr_create_guids_v4(&guid, 1)); // nil when it fails
    return guid;
}

KR_GUID kr_create_guid_v7() noexcept
{
    KR_GUID guid;
    static_cast<void>(kr_create_guids_v7(&guid, 1));
    return guid;
}
