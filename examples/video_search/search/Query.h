#pragma once

/// \file
/// The search itself: from records to hits. Threads: no state beside what is passed.

#include "../store/Object_Source.h"
#include "../store/Object_Store.h"
#include "Criteria.h"

#include <KRCommon/frame/ProfileHelper.h>
#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Objects.h>

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace video_search {

/// How much of an object has a named colour. A colour may belong to several presets, so that the
/// shares of an object may sum up to more than 100.
struct Color_Share {
    ns__ColorPreset preset = ns__ColorPreset__white;
    float percent = 0.0F;
    ns__RgbColor color; ///< mean of the object's colours that belong to the preset
};

/// An object that matches. What is filled is said by the criteria's window and detail.
struct Hit {
    std::string run; ///< of the recording
    ns__SensorId sensor;
    ACE_Time_Value first_seen;

    /// Filled around the best instance with boxes extended by 50 percent. Debug instances are those
    /// of Detail::all.
    ns__QueryResultObject result;
    std::size_t instance_count = 0; ///< of the whole object

    /// The best instance: where the class is surest; among equals, where the box is largest.
    ACE_Time_Value best_time;
    Geom_Box2D<float> best_box; ///< as it was observed
    float best_value = 0.0F;    ///< of the class, percent

    /// The class that was asked for, else that of the highest score; unknown when none is above 0.
    ns__ObjectClass object_class = ns__ObjectClass__unknown;
    float score = 0.0F;            ///< of that class; 0.0-1.0
    std::array<float, 3> scores{}; ///< of person, vehicle, object

    std::vector<Color_Share> colors;          ///< largest share first; without shares of 0
    bool has_thumbnail = false;               ///< whether the object has one
    std::vector<ns__Geom_Point2D_Float> path; ///< where the object stood, instance by instance
    Bytes thumbnail;                          ///< JPEG; may be empty
};

struct Result {
    std::vector<Hit> hits;       ///< in the order that was asked for, at most the limit
    std::size_t matches = 0;     ///< objects that match, without the limit
    bool has_all_matches = true; ///< else there are more of them: the search ended at its limit
    std::size_t objects = 0;     ///< first seen in the time that was asked for
    std::size_t damaged = 0;     ///< records that are not whole; each has an error line
    std::vector<std::string> unanswered; ///< parts of the store whose objects are missing
};

/// The shares of the named colours: mean over the instances that have colours of the area that
/// belongs to the preset.
[[nodiscard]] std::vector<Color_Share> color_shares(const KR_Object_View& object);

/// Whether a whole record matches.
[[nodiscard]] bool is_match(const KR_Object_View& object, const Criteria& criteria);

/// What the order `score` goes by: the score of the class that is asked for, else the best one.
[[nodiscard]] float ranking_score(const KR_Object_View& object, const Criteria& criteria);

/// The hit that a record is, whether it matches or not. Nothing when it is damaged.
[[nodiscard]] std::optional<Hit> hit_of(const Stored_Record& record, const Criteria& criteria);

/// Finds the matching objects: what the source shows is checked and tested where it lies, and the
/// records of the hits are decoded. With a limit it ends when one object more than that matches,
/// unless all are to be counted. Stops between two records once is_stopped() says so; the result is
/// then of no use.
///
/// profile  gets "query", all records together, and for each hit "decode" and "fill"
[[nodiscard]] Result search(Object_Source& source, const Criteria& criteria, ProfileHelper& profile,
                            const std::function<bool()>& is_stopped);

} // namespace video_search
