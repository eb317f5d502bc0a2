#include <KRCommon/objects/Objects.h>

#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

static_assert(std::is_nothrow_move_constructible_v<KR_ObjectBase> &&
              std::is_nothrow_move_assignable_v<KR_ObjectBase>);
static_assert(std::is_nothrow_move_constructible_v<KR_ObjectBase::Instance> &&
                  std::is_nothrow_move_assignable_v<KR_ObjectBase::Instance>,
              "a growing instance list would copy every colour list");

KR_ObjectBase::KR_ObjectBase() : AuxiliaryData(std::make_shared<std::vector<unsigned char>>()) {}

KR_ObjectBase::KR_ObjectBase(const KR_ObjectBase& other) = default;
KR_ObjectBase::KR_ObjectBase(KR_ObjectBase&& other) noexcept = default;
KR_ObjectBase& KR_ObjectBase::operator=(const KR_ObjectBase& other) = default;
KR_ObjectBase& KR_ObjectBase::operator=(KR_ObjectBase&& other) noexcept = default;
KR_ObjectBase::~KR_ObjectBase() = default;

KR_ObjectBase::KR_ObjectBase(KR_Auxiliary_Data block) noexcept : AuxiliaryData(std::move(block)) {}

namespace {

bool is_shared(const KR_Auxiliary_Data& block)
{
    if (block.use_count() > 1)
        return true;
    // Giving back a share makes sure that what another thread did with the one that it has just
    // given back comes before what is done with the block from here on.
    KR_Auxiliary_Data(block).reset();
    return false;
}

// The block, taken over without its bytes, or a new one where it has sharers.
KR_Auxiliary_Data emptied(KR_Auxiliary_Data& block)
{
    if (block == nullptr || is_shared(block))
        return std::make_shared<std::vector<unsigned char>>();
    block->clear();
    return std::move(block);
}

// Does without when there is no memory: the lists go with their instances then.
void spare_lists(std::vector<KR_ObjectBase::Instance>& instances,
                 std::vector<std::vector<ns__RgbColorArea>>& spare) noexcept
{
    try {
        spare.reserve(spare.size() + instances.size());
    } catch (const std::bad_alloc&) {
        return;
    }
    for (KR_ObjectBase::Instance& instance : instances) {
        if (instance.Colors.capacity() == 0)
            continue;
        instance.Colors.clear();
        spare.push_back(std::move(instance.Colors));
    }
}

} // namespace

void KR_ObjectBase::clear()
{
    KR_ObjectBase cleared(emptied(AuxiliaryData));
    spare_lists(Instances, spare_colors_.lists);
    Instances.clear();
    Metadata.clear();
    pending_instances_.clear();
    cleared.Instances = std::move(Instances);
    cleared.Metadata = std::move(Metadata);
    cleared.pending_instances_ = std::move(pending_instances_);
    cleared.spare_colors_ = std::move(spare_colors_);
    *this = std::move(cleared);
}

bool KR_ObjectBase::operator==(const KR_ObjectBase& other) const
{
    return ObjectId == other.ObjectId && SensorId == other.SensorId;
}

void KR_ObjectBase::set_pending_instances(const unsigned char* list, unsigned length)
{
    pending_instances_ = list != nullptr ? std::vector<unsigned char>(list, list + length)
                                         : std::vector<unsigned char>();
}

unsigned KR_ObjectBase::pending_instances_length() const noexcept
{
    return static_cast<unsigned>(pending_instances_.size());
}
