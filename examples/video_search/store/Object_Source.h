#pragma once

/// \file
/// What a search asks of a store, whatever the store is made of: the records that may match, and how
/// many there are. A store answers as well as it can without looking into records, and the search
/// tests each record that it is shown: an answer may hold records that do not pass the filter, but
/// lacks none that does.

#include <KRCommon/objects/Geom_Box2D.h>
#include <KRCommon/objects/Object_View.h>

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace video_search {

/// The order of records; what is equal stands in time order, and what is of the same time in the
/// order of sensor and id.
enum class Order {
    time,     ///< first seen first
    latest,   ///< first seen last; of the same time, the order of `time` turned round
    duration, ///< longest first
    score,    ///< highest first: of the class that is asked for, else of the best class
};

/// Colour presets that count as one colour: bit n stands for preset n. Dark and light blue together
/// are blue.
using Preset_Set = std::uint32_t;

[[nodiscard]] constexpr Preset_Set set_of(ns__ColorPreset preset) noexcept
{
    return Preset_Set{1} << static_cast<unsigned>(preset);
}

/// Hours of the day, UTC, from the begin of one to the begin of the other: 8 to 17 ends at
/// 16:59:59.999999. 22 to 6 goes over midnight; equal hours are the whole day.
struct Hours {
    int from = 0; ///< 0-23
    int to = 0;   ///< 0-24
};

/// Every condition holds for what is asked for; at first there is none but the time.
struct Filter {
    ACE_Time_Value from; ///< first seen at this time or later
    ACE_Time_Value to;   ///< first seen at this time or earlier
    std::optional<Hours> hours;
    std::vector<ns__SensorId> sensors; ///< one of these; all when empty
    std::optional<ns__DetectorType> detector;

    /// 0.0-1.0, for the score of the class, else for the best of the three. unknown is no class.
    float min_score = 0.0F;
    ns__ObjectClass object_class = ns__ObjectClass__unknown;

    float min_duration = 0.0F;         ///< seconds
    std::optional<float> max_duration; ///< seconds

    std::vector<Preset_Set> colors; ///< each from preset 1 on; any when empty
    bool wants_all_colors = false;  ///< all of these, else one of them
    float min_area = 0.0F;          ///< percent of the object that each colour has at least

    /// The way of the object (foot_of() in Traits.h) touches this box.
    std::optional<Geom_Box2D<float>> place;

    Order order = Order::time;
};

/// A record that is looked at where it lies, for as long as a Visitor runs.
struct Found_Record {
    std::string_view run; ///< of the recording
    std::uint64_t object_id = 0;
    KR_Object_View record;
    /// Whether the records come in the filter's order. If not, all are shown in time order.
    bool is_in_order = false;
};

/// Looks at a record, and says whether it wants to see the next one. Asks nothing of the store.
using Visitor = std::function<bool(const Found_Record&)>;

class Object_Source {
public:
    Object_Source() = default;
    virtual ~Object_Source() = default;
    Object_Source(const Object_Source&) = delete;
    Object_Source& operator=(const Object_Source&) = delete;

    /// Shows the records that may pass the filter until the visitor wants no more. What the visitor
    /// throws passes through.
    virtual void visit(const Filter& filter, const Visitor& visitor) = 0;

    /// How many objects were first seen from `from` to `to`, both inclusive.
    virtual std::size_t count(const ACE_Time_Value& from, const ACE_Time_Value& to) = 0;
};

} // namespace video_search
