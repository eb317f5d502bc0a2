#pragma once

#include "Test_File.h"

#include <KRCommon/objects/Objects.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// The bytes of a file; a failure where there are none.
inline std::string file_bytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string golden(const std::string& name)
{
    return file_bytes(std::filesystem::path(KRTOOL_RECORDS) / "golden" / (name + ".bin"));
}

/// An object with so many instances of one red and one blue colour, first seen at 1700000000 + id.
inline KR_ObjectBase test_object(std::uint64_t id, int instances = 2)
{
    KR_ObjectBase object;
    object.SensorId.word1 = 17;
    object.ObjectId = id;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = ACE_Time_Value(1'700'000'000 + static_cast<time_t>(id));
    object.SecondTime = object.FirstSeenTime;
    object.Duration = static_cast<std::uint32_t>(id);
    object.ClassScores[id % 3] = 0.75F;
    for (int i = 0; i < instances; ++i) {
        KR_ObjectBase::Instance& instance = object.Instances.emplace_back();
        instance.Time = object.FirstSeenTime + ACE_Time_Value(i);
        instance.Box = Geom_Box2D<float>(10, 20, 30, 60);
        instance.PersonValue = 87;
        instance.Colors.resize(2);
        instance.Colors[0].color.red = 200;
        instance.Colors[0].area = 60;
        instance.Colors[1].color.blue = 150;
        instance.Colors[1].area = 40;
    }
    object.AuxiliaryData->assign(3, 0xAB);
    return object;
}

inline std::string bytes_of(const KR_ObjectBase& object)
{
    std::string bytes(object.serialize_size(1'000'000), '\0');
    bytes.resize(object.serialize(reinterpret_cast<unsigned char*>(bytes.data()), 1'000'000));
    return bytes;
}

inline std::string test_record(std::uint64_t id, int instances = 2)
{
    return bytes_of(test_object(id, instances));
}

/// A number as records have it.
template <typename Number>
std::string raw(Number number)
{
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

inline std::string with_length(const std::string& record)
{
    return raw(static_cast<std::uint32_t>(record.size())) + record;
}
