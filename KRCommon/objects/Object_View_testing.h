#pragma once

/// \file
/// Whether a view of a record says what an object says that was decoded from it, for any bytes. For
/// tests and fuzzing; not part of the library.

#include <KRCommon/colors/Colors.h>
#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Little_Endian.h>
#include <tests/support/Private_Member.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

struct KR_Colors_Init {
    friend auto private_member(KR_Colors_Init);
};
template struct Private_Member<KR_Colors_Init, &KR_Colors::init>;

namespace kr_object_testing {

using Bytes = std::vector<unsigned char>;

struct Test_Preset {
    const char* color;
    std::int32_t hue_from, hue_to;
    float sat_from, sat_to, val_from, val_to;
};

/// A classifier with these presets; KR_Colors::instance() stays as it is.
inline KR_Colors colors_with(const std::vector<Test_Preset>& presets)
{
    KRCMN::XML_configuration::XML_colors configuration;
    for (const Test_Preset& given : presets) {
        auto& list = configuration.get_presets();
        auto& preset = list.get_preset(list.count());
        preset.set_color(given.color);
        preset.set_hue_from(given.hue_from);
        preset.set_hue_to(given.hue_to);
        preset.set_sat_from(given.sat_from);
        preset.set_sat_to(given.sat_to);
        preset.set_val_from(given.val_from);
        preset.set_val_to(given.val_to);
    }
    KR_Colors colors(*KR_Colors::instance());
    (colors.*private_member(KR_Colors_Init()))(configuration);
    return colors;
}

/// Some colours belong to none of these presets, some to several. One range has no name.
inline const KR_Colors& test_colors()
{
    static const KR_Colors colors = colors_with({{"white", 0, 0, 0.0F, 0.2F, 0.8F, 1.0F},
                                                 {"black", 0, 0, 0.0F, 1.0F, 0.0F, 0.25F},
                                                 {"gray", 0, 0, 0.0F, 0.25F, 0.15F, 0.85F},
                                                 {"red", 330, 30, 0.3F, 1.0F, 0.2F, 1.0F},
                                                 {"orange", 15, 50, 0.3F, 1.0F, 0.3F, 1.0F},
                                                 {"purple", 250, 340, 0.2F, 1.0F, 0.2F, 1.0F},
                                                 {"", 100, 200, 0.1F, 1.0F, 0.1F, 1.0F}});
    return colors;
}

struct Decoded {
    KR_ObjectBase object;
    unsigned consumed = 0;
};

inline Decoded decode_into(KR_ObjectBase object, Bytes bytes)
{
    const auto length = static_cast<unsigned>(bytes.size());
    const unsigned consumed = KR_ObjectBase::deserialize(bytes.data(), length, &object);
    return {std::move(object), consumed};
}

/// What deserialize() makes of a new object. Where that would end the process, since there is no
/// instance, one is lent to the object meanwhile, which the list then counts as well.
inline Decoded decode(const Bytes& bytes)
{
    constexpr std::size_t count_at = 132;
    Bytes counting_one_more = bytes;
    if (bytes.size() >= count_at + 4) {
        const std::uint32_t count = kr_internal::get_u32(bytes.data(), count_at);
        if (count < 0xFFFFFFFF) // as many are in no bytes
            kr_internal::put_u32(counting_one_more.data(), count_at, count + 1);
    }
    KR_ObjectBase lender;
    lender.Instances.resize(1);
    Decoded decoded = decode_into(lender, counting_one_more);
    decoded.object.Instances.erase(decoded.object.Instances.begin());
    return decoded.object.Instances.empty() ? decoded : decode_into(KR_ObjectBase(), bytes);
}

/// The same bits; of NaNs the kind does not matter, since passing one on may make it quiet.
inline bool same(float one, float other)
{
    std::uint32_t bits[2];
    std::memcpy(&bits[0], &one, sizeof one);
    std::memcpy(&bits[1], &other, sizeof other);
    return bits[0] == bits[1] || (std::isnan(one) && std::isnan(other));
}

/// As they stand.
inline bool same(const ACE_Time_Value& one, const ACE_Time_Value& other)
{
    return one.sec() == other.sec() && one.usec() == other.usec();
}

inline bool same(const Geom_Box2D<float>& one, const Geom_Box2D<float>& other)
{
    return same(one.MinX, other.MinX) && same(one.MinY, other.MinY) && same(one.MaxX, other.MaxX) &&
           same(one.MaxY, other.MaxY) && one.IsSet == other.IsSet;
}

inline ACE_Time_Value raw_time(std::int64_t seconds, std::int64_t microseconds)
{
    ACE_Time_Value time;
    time.sec(static_cast<time_t>(seconds));
    time.usec(static_cast<suseconds_t>(microseconds));
    return time;
}

/// The shares of an object, as the comment on KR_Object_View::color_shares() has them.
inline KR_Color_Shares shares_of(const KR_ObjectBase& object, const KR_Colors& colors)
{
    double sums[KR_Color_Shares::preset_count] = {};
    double count = 0;
    for (const KR_ObjectBase::Instance& instance : object.Instances) {
        count += instance.Colors.empty() ? 0 : 1;
        for (const ns__RgbColorArea& color : instance.Colors) {
            ns__HsvColor hsv;
            colors.rgb_to_hsv(color.color, hsv);
            std::vector<ns__ColorPreset> presets;
            colors.get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
            for (const ns__ColorPreset preset : presets)
                sums[preset] += color.area > 0 ? double(color.area) : 0;
        }
    }
    KR_Color_Shares shares;
    for (std::size_t i = 0; i < KR_Color_Shares::preset_count; ++i)
        shares.percent[i] = count > 0 ? static_cast<float>(sums[i] / count) : 0.0F;
    return shares;
}

/// Compares and keeps the name of the first thing that differs.
class Comparison {
public:
    Comparison(const unsigned char* bytes, std::size_t length, const KR_Colors& colors)
        : view_(bytes, length), length_(length), decoded_(decode(Bytes(bytes, bytes + length))),
          object_(decoded_.object), colors_(colors)
    {
    }

    /// Empty when view and object say the same.
    std::string run()
    {
        compare_extent();
        compare_fixed_block();
        compare_instances();
        compare_auxiliary_data();
        compare_tests();
        compare_selections();
        compare_checked_decoding();
        return difference_;
    }

    std::string run_with_colors()
    {
        run();
        compare_shares();
        return difference_;
    }

private:
    void require(bool holds, const char* what)
    {
        if (!holds && difference_.empty())
            difference_ = what;
    }

    void compare_extent()
    {
        using State = KR_Record_State;
        const KR_Record_Status status = view_.check();
        require(status.consumed == decoded_.consumed, "bytes consumed");
        require(status.instances == object_.Instances.size(), "number of instances");
        require(status.position <= length_, "position inside");
        require((status.state == State::cut_in_fixed_block) == (length_ < 132), "fixed block");
        const bool is_all = status.consumed == length_ && !object_.Instances.empty();
        require(status.state != State::whole || is_all, "whole record");
        require(status.state != State::no_instances || object_.Instances.empty(), "no instances");
        require(status.state != State::trailing_bytes || status.consumed < length_,
                "trailing bytes");
        require(status == KR_Object_View::check(view_.bytes().data, view_.bytes().size),
                "check of bytes");
    }

    void compare_fixed_block()
    {
        require(view_.sensor_id() == object_.SensorId, "sensor");
        require(view_.object_id() == object_.ObjectId, "object id");
        require(view_.detector_type() == object_.DetectorType, "detector");
        require(same(view_.first_seen_time(), object_.FirstSeenTime), "first-seen time");
        require(view_.word1() == object_.Word1 && view_.word2() == object_.Word2, "words");
        require(same(view_.second_time(), object_.SecondTime), "second time");
        require(view_.statistics_word1() == object_.StatisticsWord1 &&
                    view_.statistics_word2() == object_.StatisticsWord2 &&
                    view_.statistics_word7() == object_.StatisticsWord7 &&
                    view_.statistics_word8() == object_.StatisticsWord8,
                "statistics words");
        require(view_.duration() == object_.Duration, "duration");
        for (std::size_t i = 0; i < 3; ++i)
            require(same(view_.class_scores()[i], object_.ClassScores[i]), "class scores");
    }

    void compare_colors(KR_Color_Range seen, const std::vector<ns__RgbColorArea>& decoded)
    {
        require(seen.size() == decoded.size(), "number of colours");
        if (seen.size() != decoded.size())
            return;
        auto expected = decoded.begin();
        for (const KR_Color_View color : seen) {
            require(color.red() == expected->color.red && color.green() == expected->color.green &&
                        color.blue() == expected->color.blue,
                    "colour");
            require(color.area() == expected->area, "area");
            require(color.code() == expected->code, "code");
            ++expected;
        }
    }

    void compare_instance(KR_Instance_View seen, const KR_ObjectBase::Instance& decoded)
    {
        require(same(seen.time(), decoded.Time), "time");
        require(seen.person_value() == decoded.PersonValue &&
                    seen.vehicle_value() == decoded.VehicleValue &&
                    seen.object_value() == decoded.ObjectValue &&
                    seen.unknown_value() == decoded.UnknownValue,
                "class values");
        require(same(seen.box(), decoded.Box), "box");
        require(same(seen.float1(), decoded.Float1) && same(seen.float2(), decoded.Float2),
                "floats");
        require(seen.flag() == decoded.Flag, "flag");
        for (std::size_t i = 0; i < 4; ++i)
            require(same(seen.group()[i], decoded.Group[i]), "group");
        require(seen.number() == decoded.Number, "number");
        require(same(seen.point_x(), decoded.PointX) && same(seen.point_y(), decoded.PointY),
                "point");
        compare_colors(seen.colors(), decoded.Colors);
    }

    void compare_instances()
    {
        const KR_Instance_Range range = view_.instances();
        const std::size_t count = object_.Instances.size();
        require(range.empty() == (count == 0), "empty range");
        require(range.max_size() >= count, "bound of the number of instances");
        require(static_cast<std::size_t>(std::distance(range.begin(), range.end())) == count,
                "length of the range");
        if (!difference_.empty())
            return;
        auto expected = object_.Instances.begin();
        for (const KR_Instance_View instance : range)
            compare_instance(instance, *expected++);
    }

    void compare_auxiliary_data()
    {
        const KR_Byte_Span data = view_.auxiliary_data();
        require(Bytes(data.begin(), data.end()) == *object_.AuxiliaryData, "auxiliary data");
    }

    void compare_test(const ACE_Time_Value& from, const ACE_Time_Value& to, int detector,
                      int object_class, float score, float duration)
    {
        const auto kind = static_cast<ns__DetectorType>(detector);
        const auto klass = static_cast<ns__ObjectClass>(object_class);
        require(view_.test(from, to, kind, klass, score, duration) ==
                    object_.test(from, to, kind, klass, score, duration),
                "test");
    }

    // Around the object's own numbers.
    void compare_tests()
    {
        constexpr float infinity = std::numeric_limits<float>::infinity();
        constexpr float nan = std::numeric_limits<float>::quiet_NaN();
        const ACE_Time_Value seen = object_.FirstSeenTime;
        const ACE_Time_Value before = raw_time(seen.sec(), std::int64_t{seen.usec()} - 1);
        const ACE_Time_Value after = raw_time(seen.sec(), std::int64_t{seen.usec()} + 1);
        const ACE_Time_Value zero;
        const ACE_Time_Value last = ACE_Time_Value::max_time;
        const int detector = object_.DetectorType;
        const auto seconds = static_cast<float>(object_.Duration);

        for (const ACE_Time_Value& from : {seen, before, after, zero, last})
            for (const ACE_Time_Value& to : {seen, before, after, zero, last})
                compare_test(from, to, detector, 0, 0, 0);
        for (const int other : {0, 1, 7, -1, detector ^ 1})
            compare_test(seen, seen, other, 0, 0, 0);
        for (const float duration : {seconds, std::nextafter(seconds, infinity), nan, infinity})
            compare_test(seen, seen, detector, 0, 0, duration);
        for (const int object_class : {-1, 0, 1, 2, 3, 4})
            for (const float score : object_.ClassScores)
                for (const float least : {score, std::nextafter(score, infinity), nan, 0.5F})
                    compare_test(seen, seen, detector, object_class, least, 0);
    }

    void compare_selection(const ACE_Time_Value& time)
    {
        const KR_Instance_Iterator selected = view_.instances().select(time);
        const bool is_there = selected != view_.instances().end();
        require(is_there == !object_.Instances.empty(), "selected instance is there");
        if (!is_there || object_.Instances.empty())
            return;
        ns__QueryResultObject result;
        object_.Fill(result, time, 0, 0, false);
        require(selected->time().sec() == result.instanceTime.seconds &&
                    selected->time().usec() / 1000 == result.instanceTime.milliseconds,
                "time of the selected instance");
        const Geom_Box2D<float> box = selected->box();
        require(
            same(box.MinX, result.instanceBox.minX) && same(box.MinY, result.instanceBox.minY) &&
                same(box.MaxX, result.instanceBox.maxX) && same(box.MaxY, result.instanceBox.maxY),
            "box of the selected instance");
        require(same(selected->point_x(), result.instancePoint.x) &&
                    same(selected->point_y(), result.instancePoint.y),
                "point of the selected instance");
    }

    void compare_selections()
    {
        compare_selection(object_.FirstSeenTime);
        for (std::size_t i = 0; i < object_.Instances.size() && i < 4; ++i)
            compare_selection(object_.Instances[i].Time);
        if (!object_.Instances.empty())
            compare_selection(object_.Instances.back().Time);
    }

    static Bytes encoded(const KR_ObjectBase& object)
    {
        constexpr unsigned no_limit = std::numeric_limits<unsigned>::max();
        Bytes bytes(object.serialize_size(no_limit));
        object.serialize(bytes.data(), no_limit);
        return bytes;
    }

    void compare_checked_decoding()
    {
        KR_ObjectBase object;
        object.ObjectId = 77;
        object.Instances.resize(2);
        object.Instances[0].Colors.resize(3);
        object.AuxiliaryData->assign(5, 0x77);
        const Bytes before = encoded(object);
        const KR_Record_Status status = object.decode(view_.bytes().data, view_.bytes().size);
        require(status == view_.check(), "status of decoding");
        const bool is_filled = status.state != KR_Record_State::cut_in_fixed_block;
        require(encoded(object) == (is_filled ? encoded(object_) : before), "checked decoding");
    }

    void compare_color(int preset, float percent, const KR_Color_Shares& shares)
    {
        const auto number = static_cast<ns__ColorPreset>(preset);
        const bool expected = preset >= 0 && preset < 14 && shares.of(number) >= percent;
        require(view_.has_color(number, percent, colors_) == expected, "has_color");
    }

    void compare_shares()
    {
        const KR_Color_Shares shares = shares_of(object_, colors_);
        const KR_Color_Shares seen = view_.color_shares(colors_);
        for (int preset = -1; preset < 15; ++preset) {
            const float share = shares.of(static_cast<ns__ColorPreset>(preset));
            require(share == seen.of(static_cast<ns__ColorPreset>(preset)), "colour share");
            for (const float percent :
                 {share, std::nextafter(share, 1000.0F), std::nextafter(share, -1.0F), 0.0F, -1.0F,
                  20.0F, std::numeric_limits<float>::quiet_NaN()})
                compare_color(preset, percent, shares);
        }
    }

    KR_Object_View view_;
    std::size_t length_;
    Decoded decoded_;
    const KR_ObjectBase& object_;
    const KR_Colors& colors_;
    std::string difference_;
};

} // namespace kr_object_testing
