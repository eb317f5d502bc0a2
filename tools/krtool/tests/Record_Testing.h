#pragma once

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

/// A file with these bytes, for as long as the object lives.
class Test_File {
public:
    explicit Test_File(const std::string& bytes, const char* name = "records.bin")
    {
        static int number = 0;
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        folder_ = std::filesystem::temp_directory_path() /
                  ("krtool_" + std::string(test->test_suite_name()) + "_" + test->name() +
                   std::to_string(number++));
        std::filesystem::create_directories(folder_);
        path_ = (folder_ / name).string();
        std::ofstream(path_, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    ~Test_File()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    Test_File(const Test_File&) = delete;
    Test_File& operator=(const Test_File&) = delete;

    const std::string& path() const { return path_; }

private:
    std::filesystem::path folder_;
    std::string path_;
};

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
