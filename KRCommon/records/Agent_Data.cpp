#include <KRCommon/records/Agent_Data.h>

#include <functional>
#include <numeric>
#include <type_traits>
#include <vector>

static_assert(std::is_nothrow_move_constructible_v<KR_Agent_Data> &&
              std::is_nothrow_move_assignable_v<KR_Agent_Data>);

namespace {

std::uint32_t combine(const std::vector<std::uint32_t>& masks)
{
    return std::accumulate(masks.begin(), masks.end(), std::uint32_t{0}, std::bit_or<>());
}

} // namespace

KR_Agent_Data::KR_Agent_Data() = default;

KR_Agent_Data::KR_Agent_Data(const ns__Agent& agent)
    : ns__Agent(agent), CombinedMask(combine(agent.values))
{
}

KR_Agent_Data::KR_Agent_Data(const KR_Agent_Data& other) = default;
KR_Agent_Data::KR_Agent_Data(KR_Agent_Data&& other) noexcept = default;
KR_Agent_Data& KR_Agent_Data::operator=(const KR_Agent_Data& other) = default;
KR_Agent_Data& KR_Agent_Data::operator=(KR_Agent_Data&& other) noexcept = default;
KR_Agent_Data::~KR_Agent_Data() = default;
