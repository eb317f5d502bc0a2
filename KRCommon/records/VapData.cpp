#include <KRCommon/records/VapData.h>

#include <type_traits>

static_assert(std::is_nothrow_move_constructible_v<VapData> &&
              std::is_nothrow_move_assignable_v<VapData>);

VapData::VapData() = default;
VapData::VapData(const VapData& other) = default;
VapData::VapData(VapData&& other) noexcept = default;
VapData& VapData::operator=(const VapData& other) = default;
VapData& VapData::operator=(VapData&& other) noexcept = default;
VapData::~VapData() = default;

bool VapData::operator<(const VapData& other) const noexcept
{
    return Id < other.Id;
}

bool VapData::operator==(const VapData& other) const noexcept
{
    return Id == other.Id;
}
