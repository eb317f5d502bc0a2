#pragma once

/// \file
/// Objects and folders for the tests of the search.

#include "store/Store.h"

#include <KRCommon/util/Time_Text.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace video_search {

/// A fresh folder of the running test, without a separator at its end.
inline std::string fresh_folder()
{
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() /
        (std::string(test->test_suite_name()) + "." + test->name());
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder.string();
}

inline std::string text_of(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline ns__RgbColorArea color_area(int red, int green, int blue, float percent)
{
    ns__RgbColorArea part;
    part.color.red = static_cast<std::uint8_t>(red);
    part.color.green = static_cast<std::uint8_t>(green);
    part.color.blue = static_cast<std::uint8_t>(blue);
    part.area = percent;
    return part;
}

/// One second after another from 2024/03/05 07:08:09.
inline ACE_Time_Value second(int number)
{
    return kr_to_ace_time_value("2024/03/05 07:08:09.000000") + ACE_Time_Value(number);
}

/// An object of sensor 3.1, first seen at second `start`, with an instance per second; instance k
/// has the box (10k, 0, 10k + 10, 20) and stands at (10k + 5, 20).
inline KR_ObjectBase test_object(std::uint64_t id, int start, int duration)
{
    KR_ObjectBase object;
    object.SensorId.word1 = 3;
    object.ObjectId = id;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = second(start);
    object.Duration = static_cast<std::uint32_t>(duration);
    for (int k = 0; k <= duration; ++k) {
        const auto x = static_cast<float>(10 * k);
        KR_ObjectBase::Instance instance;
        instance.Time = second(start + k);
        instance.Box = Geom_Box2D<float>(x, 0, x + 10, 20);
        instance.PointX = x + 5;
        instance.PointY = 20;
        object.Instances.push_back(instance);
    }
    return object;
}

inline Stored_Record record_of(const KR_ObjectBase& object, const std::string& run = "run-1")
{
    return {run, object.ObjectId, encode(object, 1'000'000)};
}

} // namespace video_search
