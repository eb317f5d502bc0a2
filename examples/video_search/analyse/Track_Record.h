#pragma once

/// \file
/// From what was seen of a track to the record of an object.
///
/// Threads: one at a time. The same observations give the same record.

#include <KRCommon/objects/Objects.h>

#include <opencv2/core/types.hpp>

#include <optional>
#include <vector>

namespace video_search {

/// A track in one picture.
struct Observation {
    ACE_Time_Value time;
    cv::Rect2f box;                        ///< pixels
    int sharers = 1;                       ///< objects that are in the same blob
    std::optional<double> person;          ///< People::score(), where it was asked
    double fill = 0.0;                     ///< share of the box that is the object, 0 to 1
    std::vector<ns__RgbColorArea> colours; ///< at most four
};

/// What an object is taken for, 0.0-1.0 each; the largest is at least 0.5.
struct Class_Scores {
    double person = 0.0;
    double vehicle = 0.0;
    double object = 0.0;
};

/// Whether a track is an object that moved: seen for half a second at least, and somewhere away
/// from its beginning by a third of its size. A flickering lamp and a gap that somebody leaves in
/// the learnt scene do not move.
bool is_moving_object(const std::vector<Observation>& track);

/// A person is what the detector of people takes for one; a shape that is wider than high speaks
/// against it. OpenCV has no detector of vehicles, so for these a rule of thumb stands in: what is
/// no person, is wide and large, fills its box, keeps its shape like a rigid body and has travelled
/// its own length is a vehicle. All else is an object.
///
/// frame  size of the pictures
Class_Scores classify(const std::vector<Observation>& track, cv::Size frame);

/// The object of a track that has at least one observation. Each observation is an instance: its
/// point is the foot point, the middle of the box's lower edge, its Number how many objects share
/// its blob, its Flag 1 where that is more than one. The value of the class that the object is
/// taken for is 1-100 in each instance; for a person it is what the detector says of that moment.
/// The duration is truncated to whole seconds. Id, sensor and thumbnail are the caller's affair.
KR_ObjectBase make_object(const std::vector<Observation>& track, cv::Size frame);

/// The least budget for fit(): the bytes of a list of one instance with four colours.
unsigned least_budget();

/// Thins the instances evenly, so that their list needs no more bytes than the budget and nothing
/// is cut off at its end. The first and the last stay; of one instance, the first.
///
/// budget  bytes, at least least_budget()
void fit(KR_ObjectBase& object, unsigned budget);

} // namespace video_search
