#include <KRCommon/objects/Objects.h>

#include <KRCommon/objects/Query_Test.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Box = Geom_Box2D<float>;
using Instance = KR_ObjectBase::Instance;

// An object's fields as a query asks for them.
struct Tested_Object {
    const KR_ObjectBase& object;

    std::int64_t first_seen_seconds() const noexcept { return object.FirstSeenTime.sec(); }
    std::int64_t first_seen_microseconds() const noexcept { return object.FirstSeenTime.usec(); }
    ns__DetectorType detector_type() const noexcept { return object.DetectorType; }
    std::uint32_t duration() const noexcept { return object.Duration; }
    float class_score(unsigned index) const noexcept { return object.ClassScores[index]; }
};

} // namespace

bool KR_ObjectBase::test(const ACE_Time_Value& from, const ACE_Time_Value& to,
                         ns__DetectorType detector, ns__ObjectClass object_class, float min_score,
                         float min_duration) const
{
    return kr_internal::passes(Tested_Object{*this},
                               {from, to, detector, object_class, min_score, min_duration});
}

namespace {

float moved_toward(float neighbour, float own, float percent)
{
    return own + (neighbour - own) * percent / 100.0F;
}

// Moves outward only.
Box extended_toward(const Box& neighbour, const Box& own, float percent)
{
    Box box = own;
    if (own.MinX > neighbour.MinX)
        box.MinX = moved_toward(neighbour.MinX, own.MinX, percent);
    if (own.MinY > neighbour.MinY)
        box.MinY = moved_toward(neighbour.MinY, own.MinY, percent);
    if (neighbour.MaxX > own.MaxX)
        box.MaxX = moved_toward(neighbour.MaxX, own.MaxX, percent);
    if (neighbour.MaxY > own.MaxY)
        box.MaxY = moved_toward(neighbour.MaxY, own.MaxY, percent);
    return box;
}

} // namespace

Geom_Box2D<float> KR_ObjectBase::GetExtendedBoundingBox(unsigned index, float percent) const
{
    const Box& own = Instances[index].Box;
    if (percent <= 0)
        return own;
    Box previous = own;
    Box next = own;
    if (index > 0)
        previous = extended_toward(Instances[index - 1].Box, own, percent);
    if (Instances.size() - index > 1)
        next = extended_toward(Instances[index + 1].Box, own, percent);
    previous.unite(next);
    return previous;
}

namespace {

std::int32_t milliseconds_of(const ACE_Time_Value& time)
{
    return static_cast<std::int32_t>(time.usec() / 1000);
}

// In 64 bits; wraps around where it must.
std::int64_t seconds_later(std::int64_t seconds, std::uint32_t duration)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(seconds) + duration);
}

void fill_object(ns__QueryResultObject& result, const KR_ObjectBase& object)
{
    result.objectId = object.ObjectId;
    result.detectorType = object.DetectorType;
    result.startTimeSeconds = object.FirstSeenTime.sec();
    result.startTimeMilliseconds = milliseconds_of(object.FirstSeenTime);
    result.endTimeSeconds = seconds_later(object.FirstSeenTime.sec(), object.Duration);
    // Quirk: the end is the start moved by whole seconds.
    result.endTimeMilliseconds = result.startTimeMilliseconds;
    result.duration = object.Duration;
}

std::size_t index_of(const ACE_Time_Value& time, const std::vector<Instance>& instances)
{
    const auto found = std::find_if(instances.begin(), instances.end(),
                                    [&](const Instance& each) { return each.Time == time; });
    return found == instances.end() ? 0 : static_cast<std::size_t>(found - instances.begin());
}

// The instances [start, end). 64 bits hold every sum here.
struct Range {
    std::int64_t start = 0;
    std::int64_t end = 0;
};

Range range_around(std::size_t selected_index, std::size_t instance_count, int window)
{
    const auto selected = static_cast<std::int64_t>(selected_index);
    const auto count = static_cast<std::int64_t>(instance_count);
    if (window < 0)
        return {0, count};
    const std::int64_t half = window / 2;
    const std::int64_t shortfall = std::max<std::int64_t>(half - selected, 0);
    Range range{selected - half + shortfall, selected + half + shortfall};
    const std::int64_t excess = range.end - count;
    if (excess > 0) {
        range.end = count;
        range.start = std::max<std::int64_t>(range.start - excess, 0);
    }
    return range;
}

ns__Time to_result_time(const ACE_Time_Value& time)
{
    ns__Time result;
    result.seconds = time.sec();
    result.milliseconds = milliseconds_of(time);
    return result;
}

ns__Box to_result_box(const Box& box)
{
    ns__Box result;
    result.minX = box.MinX;
    result.minY = box.MinY;
    result.maxX = box.MaxX;
    result.maxY = box.MaxY;
    return result;
}

ns__Geom_Point2D_Float to_result_point(const Instance& instance)
{
    ns__Geom_Point2D_Float result;
    result.x = instance.PointX;
    result.y = instance.PointY;
    return result;
}

ns__QueryResultObjectInstance to_result_instance(const Instance& instance, const Box& box)
{
    ns__QueryResultObjectInstance result;
    result.time = to_result_time(instance.Time);
    result.box = to_result_box(box);
    result.point = to_result_point(instance);
    return result;
}

std::string class_names(const Instance& instance)
{
    std::string names;
    if (instance.ObjectValue > 0)
        names += "object ";
    if (instance.PersonValue > 0)
        names += "person ";
    if (instance.VehicleValue > 0)
        names += "vehicle ";
    if (instance.UnknownValue > 0)
        names += "unknown ";
    return names;
}

ns__QueryResultObjectInstanceDebug to_debug_instance(const Instance& instance)
{
    ns__QueryResultObjectInstanceDebug result;
    // Quirk: in this order, and the group's fourth number is not reported.
    result.float1 = instance.Group[2];
    result.float2 = instance.Group[1];
    result.float3 = instance.Float2;
    result.float4 = instance.Group[0];
    result.colors = instance.Colors;
    result.classNames = class_names(instance);
    result.personValue = instance.PersonValue;
    result.vehicleValue = instance.VehicleValue;
    result.objectValue = instance.ObjectValue;
    result.unknownValue = instance.UnknownValue;
    return result;
}

void fill_selected(ns__QueryResultObject& result, const KR_ObjectBase& object, std::size_t selected,
                   float percent)
{
    const Instance& instance = object.Instances[selected];
    result.instanceTime = to_result_time(instance.Time);
    result.instanceBox =
        to_result_box(object.GetExtendedBoundingBox(static_cast<unsigned>(selected), percent));
    result.instancePoint = to_result_point(instance);
}

// A list that is filled once gets its room at once; one that grows on keeps growing by factors.
template <typename Entry>
void reserve_if_empty(std::vector<Entry>& list, Range range)
{
    if (list.empty())
        list.reserve(static_cast<std::size_t>(range.end - range.start));
}

void append_instances(ns__QueryResultObject& result, const KR_ObjectBase& object, Range range,
                      float percent)
{
    reserve_if_empty(result.instances, range);
    for (std::int64_t k = range.start; k < range.end; ++k) {
        const auto index = static_cast<unsigned>(k);
        const Box box = object.GetExtendedBoundingBox(index, percent);
        result.instances.push_back(to_result_instance(object.Instances[index], box));
    }
}

void append_debug_instances(ns__QueryResultObject& result, const KR_ObjectBase& object, Range range)
{
    reserve_if_empty(result.debugInstances, range);
    for (std::int64_t k = range.start; k < range.end; ++k)
        result.debugInstances.push_back(
            to_debug_instance(object.Instances[static_cast<std::size_t>(k)]));
}

} // namespace

void KR_ObjectBase::Fill(ns__QueryResultObject& result, const ACE_Time_Value& time, float percent,
                         int window, bool debug) const
{
    fill_object(result, *this);
    result.instanceCount = 0;
    if (Instances.empty())
        return;

    const std::size_t selected = index_of(time, Instances);
    fill_selected(result, *this, selected, percent);

    const Range range = range_around(selected, Instances.size(), window);
    result.instanceCount = static_cast<std::int32_t>(range.end - range.start);
    append_instances(result, *this, range, percent);
    if (debug)
        append_debug_instances(result, *this, range);
}
