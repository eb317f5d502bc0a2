#include <KRCommon/objects/Objects.h>

#include <type_traits>

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
