#pragma once

/// \file
/// What the tests of the C interface share: texts and bytes that come in two steps, and records.

#include <KRCommon/capi/krcommon_c.h>
#include <KRCommon/objects/Objects.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace kr_c_testing {

/// A text as a host gets it: its length asked for, then the text, with a zero behind it where there is room
/// and nothing written beyond. give(out, capacity, length) calls the function.
template <typename Give>
std::string text_of(Give give)
{
    std::size_t length = 0;
    const kr_c_error asked = give(static_cast<char*>(nullptr), std::size_t{0}, &length);
    if (asked == KR_C_OK)
        EXPECT_EQ(0U, length);
    else
        EXPECT_EQ(KR_C_BUFFER_TOO_SMALL, asked);
    std::string room(length + 3, '#');
    std::size_t written = 0;
    if (length > 0) {
        EXPECT_EQ(KR_C_BUFFER_TOO_SMALL, give(&room[0], length - 1, &written));
        EXPECT_EQ(length, written);
        EXPECT_EQ(std::string(length + 3, '#'), room) << "something was written";
    }
    EXPECT_EQ(KR_C_OK, give(&room[0], length, &written));
    EXPECT_EQ("###", room.substr(length)) << "written beyond the capacity";
    EXPECT_EQ(KR_C_OK, give(&room[0], length + 2, &written));
    EXPECT_EQ(length, written);
    EXPECT_EQ(std::string("\0##", 3), room.substr(length));
    return room.substr(0, length);
}

/// The same of bytes, which have no zero.
template <typename Give>
std::vector<std::uint8_t> bytes_of(Give give)
{
    std::size_t size = 0;
    const kr_c_error asked = give(static_cast<std::uint8_t*>(nullptr), std::size_t{0}, &size);
    EXPECT_EQ(size == 0 ? KR_C_OK : KR_C_BUFFER_TOO_SMALL, asked);
    std::vector<std::uint8_t> room(size + 3, 0xEE);
    EXPECT_EQ(KR_C_OK, give(room.data(), room.size(), &size));
    EXPECT_EQ(3, std::count(room.begin() + static_cast<std::ptrdiff_t>(size), room.end(), 0xEE));
    room.resize(size);
    return room;
}

template <typename Struct>
Struct sized()
{
    Struct value{};
    value.size = sizeof value;
    return value;
}

inline std::vector<unsigned char> bytes_of(const KR_ObjectBase& object)
{
    std::vector<unsigned char> bytes(object.serialize_size(0xFFFFFFFF));
    object.serialize(bytes.data(), 0xFFFFFFFF);
    return bytes;
}

/// A record with so many instances of so many colours; numbers differ from one to the next.
inline KR_ObjectBase some_object(unsigned id, unsigned instances, unsigned colors)
{
    KR_ObjectBase object;
    object.ObjectId = id;
    object.SensorId.word1 = -5;
    object.SensorId.word2 = 6;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = ACE_Time_Value(1'700'000'000 + id, 250'000);
    object.SecondTime = ACE_Time_Value(-1, -500'000);
    object.Word1 = 1;
    object.Word2 = 2;
    object.StatisticsWord1 = 3;
    object.StatisticsWord2 = 4;
    object.Duration = 9;
    object.ClassScores[0] = 0.5F;
    object.ClassScores[1] = 0.25F;
    object.ClassScores[2] = 0.125F;
    object.StatisticsWord7 = 7;
    object.StatisticsWord8 = -8;
    for (unsigned i = 0; i < instances; ++i) {
        KR_ObjectBase::Instance& instance = object.Instances.emplace_back();
        instance.Time = ACE_Time_Value(1'700'000'000 + i, 1);
        instance.PersonValue = static_cast<float>(i + 1);
        instance.VehicleValue = -2;
        instance.ObjectValue = 3;
        instance.UnknownValue = 4;
        instance.Box = Geom_Box2D<float>(1, 2, 3, 4.5F);
        instance.Float1 = 5;
        instance.Float2 = 6;
        instance.Flag = 200;
        for (int g = 0; g < 4; ++g)
            instance.Group[g] = static_cast<float>(10 + g);
        instance.Number = -7;
        instance.PointX = 8;
        instance.PointY = 9;
        for (unsigned c = 0; c < colors; ++c) {
            ns__RgbColorArea& color = instance.Colors.emplace_back();
            color.color.red = static_cast<std::uint8_t>(c);
            color.color.green = 20;
            color.color.blue = 30;
            color.area = 40;
            color.code = -50;
        }
    }
    *object.AuxiliaryData = {1, 2, 3, static_cast<unsigned char>(id)};
    return object;
}

} // namespace kr_c_testing
