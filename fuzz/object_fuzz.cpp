// Any bytes as an object record and as an instance list. What can be read of them is asked as
// queries ask, then written and read again, after which nothing may have changed.

#include <KRCommon/objects/Objects.h>

#include <ace/Log_Msg.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned no_limit = std::numeric_limits<unsigned>::max();

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// Trimmed instances are logged, which would fill the terminal.
const bool is_silent = [] {
    ACE_LOG_MSG->priority_mask(LM_EMERGENCY, ACE_Log_Msg::PROCESS);
    ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::THREAD);
    return true;
}();

// An object that ends without an instance would end the process.
KR_ObjectBase object_with_an_instance()
{
    KR_ObjectBase object;
    object.Instances.resize(1);
    return object;
}

Bytes encode(const KR_ObjectBase& object, unsigned limit)
{
    Bytes bytes(object.serialize_size(limit));
    require(object.serialize(bytes.data(), limit) == bytes.size());
    return bytes;
}

KR_ObjectBase decode(Bytes bytes, KR_ObjectBase object)
{
    const auto length = static_cast<unsigned>(bytes.size());
    require(KR_ObjectBase::deserialize(bytes.data(), length, &object) <= length);
    return object;
}

KR_ObjectBase decode_list(Bytes bytes)
{
    KR_ObjectBase object = object_with_an_instance();
    const auto length = static_cast<unsigned>(bytes.size());
    const unsigned consumed = KR_ObjectBase::deserialize_instances(bytes.data(), length, &object);
    require(consumed <= length);
    return object;
}

// One object takes in all inputs that come by, another one this input alone.
void require_decoded_alike(const Bytes& bytes)
{
    static KR_ObjectBase reused;
    KR_ObjectBase fresh;
    const KR_Record_Status status = fresh.decode(bytes.data(), bytes.size());
    require(status.consumed <= bytes.size() && status.position <= bytes.size());
    require(status.instances == fresh.Instances.size());
    if (status.state == KR_Record_State::cut_in_fixed_block)
        return; // which leaves what was there
    require(reused.decode(bytes.data(), bytes.size()) == status);
    require(encode(reused, no_limit) == encode(fresh, no_limit));
}

void require_pending_alike(const Bytes& bytes, const KR_ObjectBase& expected)
{
    KR_ObjectBase object = object_with_an_instance();
    object.set_pending_instances(bytes.data(), static_cast<unsigned>(bytes.size()));
    require(object.pending_instances_length() == bytes.size());
    object.deserialize_instances();
    require(object.pending_instances_length() == 0);
    require(encode(object, no_limit) == encode(expected, no_limit));
}

void ask(const KR_ObjectBase& object, float percent)
{
    const ACE_Time_Value& seen = object.FirstSeenTime;
    require(object.test(seen, seen, object.DetectorType, ns__ObjectClass__unknown, 0.0F, 0.0F));
    for (const int object_class : {1, 2, 3})
        require(object.test(seen, seen, object.DetectorType,
                            static_cast<ns__ObjectClass>(object_class),
                            object.ClassScores[object_class - 1], 0.0F));

    const auto count = static_cast<unsigned>(object.Instances.size());
    for (unsigned index = 0; index < count; ++index)
        require(!(percent > 0) || object.GetExtendedBoundingBox(index, percent).IsSet == 1);

    for (const int window :
         {std::numeric_limits<int>::min(), -1, 0, 1, 5, std::numeric_limits<int>::max()}) {
        ns__QueryResultObject result;
        object.Fill(result, object.Instances[count / 2].Time, percent, window, true);
        require(result.instanceCount >= 0 && unsigned(result.instanceCount) <= count);
        require(result.instances.size() == unsigned(result.instanceCount));
        require(result.debugInstances.size() == result.instances.size());
        require(window >= 0 || result.instances.size() == count);
    }
}

// Times of instances have 32 bits. One that microseconds carried beyond them does not come back.
void pull_times_back(KR_ObjectBase& object)
{
    for (KR_ObjectBase::Instance& instance : object.Instances)
        if (instance.Time.sec() != static_cast<std::int32_t>(instance.Time.sec()))
            instance.Time = ACE_Time_Value::zero;
}

void require_stable(KR_ObjectBase object)
{
    pull_times_back(object);
    const Bytes first = encode(object, no_limit);
    const KR_ObjectBase again = decode(first, KR_ObjectBase());
    require(again.Instances.size() == object.Instances.size());
    require(encode(again, no_limit) == first);
}

void require_trimmed_well(const KR_ObjectBase& object, unsigned limit)
{
    const Bytes bytes = encode(object, limit);
    const KR_ObjectBase again = decode(bytes, object_with_an_instance());
    require(again.Instances.size() <= object.Instances.size());
    require(bytes.size() <= encode(object, no_limit).size());
}

void use(const KR_ObjectBase& object, unsigned limit)
{
    require(!object.Instances.empty());
    ask(object, static_cast<float>(limit) / 3.0F);
    ask(object, object.ClassScores[0]);
    require_stable(object);
    require_trimmed_well(object, limit);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    require(is_silent);
    const Bytes bytes(data, data + size);
    // 4 and more: below, the writer writes more than its size says.
    const unsigned limit = 4 + (size > 0 ? data[size / 2] * 3U : 0);
    use(decode(bytes, object_with_an_instance()), limit);
    require_decoded_alike(bytes);

    const KR_ObjectBase of_list = decode_list(bytes);
    use(of_list, limit);
    require_pending_alike(bytes, of_list);
    return 0;
}
