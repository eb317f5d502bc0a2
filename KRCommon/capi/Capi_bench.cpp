// What a call through the C interface costs beside the same call in C++, in the same run.
//
// Batches of 1,000; the bar is 1.1 x the call in C++:
//
//   RgbToHsv1000      planes to planes            ...C
//   Presets1000       planes to masks             ...C
//   Scan1000          records one behind the other, of which a half match: their positions     ...C
//   ScanList1000      the same with the lengths known     ...C
//   Instances1000     boxes and times of 1,000 instances of one record into columns     ...C
//   Lines1000         not written, since the level drops them     ...C
//
// Single calls, for the figure:
//
//   RgbToHsv, Check, GuidText, Base64, Sha1, Encode     ...C
//
// Sha1 and Encode have a handle, which is looked up.

#include <KRCommon/capi/krcommon_c.h>
#include <KRCommon/colors/Colors.h>
#include <KRCommon/colors/Configuration_Check.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/objects/Object_Scan.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Guid.h>
#include <KRCommon/util/SHA1.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t batch = 1000;

void require(kr_c_error error)
{
    if (error != KR_C_OK)
        std::abort();
}

struct Colors {
    Colors()
    {
        for (std::size_t i = 0; i < batch; ++i) {
            red[i] = static_cast<std::uint8_t>(i * 37);
            green[i] = static_cast<std::uint8_t>(i * 101);
            blue[i] = static_cast<std::uint8_t>(i * 7);
        }
        std::string document = "<configuration><colors><presets>";
        for (int i = 1; i <= 13; ++i)
            document += "<preset color='" + std::string(kr_c_preset_name(i)) +
                        "' rgb='FF0000' hue_from='" + std::to_string(i * 27) + "' hue_to='" +
                        std::to_string(i * 27 - 20) +
                        "' sat_from='0.2' sat_to='1' val_from='0.2' val_to='1'/>";
        document += "</presets></colors></configuration>";
        kr_c_owned_configuration configuration = nullptr;
        require(kr_c_configuration_check(document.data(), document.size(), &configuration));
        require(kr_c_configuration_colors(configuration, &handle));
        require(kr_c_configuration_destroy(&configuration));
        colors = kr_check_configuration(document).colors;
    }

    std::vector<std::uint8_t> red = std::vector<std::uint8_t>(batch);
    std::vector<std::uint8_t> green = red;
    std::vector<std::uint8_t> blue = red;
    std::vector<std::int32_t> hue = std::vector<std::int32_t>(batch);
    std::vector<float> saturation = std::vector<float>(batch);
    std::vector<float> value = saturation;
    std::vector<std::uint32_t> masks = std::vector<std::uint32_t>(batch);
    kr_c_owned_colors handle = nullptr;
    std::shared_ptr<const KR_Colors> colors;
};

Colors& colors()
{
    static Colors& colors = *new Colors;
    return colors;
}

void RgbToHsv1000(benchmark::State& state)
{
    Colors& c = colors();
    for (auto _ : state)
        c.colors->rgb_to_hsv_batch({c.red.data(), c.green.data(), c.blue.data()}, batch,
                                   {c.hue.data(), c.saturation.data(), c.value.data()});
}

void RgbToHsv1000C(benchmark::State& state)
{
    Colors& c = colors();
    for (auto _ : state)
        require(kr_c_rgb_to_hsv_batch(c.red.data(), c.green.data(), c.blue.data(), 1, batch,
                                      c.hue.data(), c.saturation.data(), c.value.data(),
                                      sizeof(float)));
}

void Presets1000(benchmark::State& state)
{
    Colors& c = colors();
    for (auto _ : state)
        c.colors->get_color_preset_masks({c.hue.data(), c.saturation.data(), c.value.data()}, batch,
                                         c.masks.data());
}

void Presets1000C(benchmark::State& state)
{
    Colors& c = colors();
    for (auto _ : state)
        require(kr_c_color_presets_batch(c.handle, c.hue.data(), c.saturation.data(),
                                         c.value.data(), sizeof(float), batch, c.masks.data()));
}

KR_ObjectBase make_object(std::size_t number, std::size_t instances)
{
    KR_ObjectBase object;
    object.ObjectId = number;
    object.DetectorType = static_cast<ns__DetectorType>(number * 7919 % 2);
    object.FirstSeenTime = ACE_Time_Value(1'700'000'000 + static_cast<time_t>(number));
    for (std::size_t i = 0; i < instances; ++i) {
        KR_ObjectBase::Instance& instance = object.Instances.emplace_back();
        instance.Time = object.FirstSeenTime;
        instance.Box = Geom_Box2D<float>(1, 2, 3, 4);
        instance.Colors.resize(4);
    }
    return object;
}

void append(std::vector<unsigned char>& bytes, const KR_ObjectBase& object)
{
    constexpr unsigned no_limit = 0xFFFFFFFF;
    const std::size_t begin = bytes.size();
    bytes.resize(begin + object.serialize_size(no_limit));
    object.serialize(bytes.data() + begin, no_limit);
}

struct Records {
    Records()
    {
        for (std::size_t i = 0; i < batch; ++i) {
            append(bytes, make_object(i, 6));
            ends.push_back(bytes.size());
        }
        for (std::size_t i = 0; i < batch; ++i) {
            const std::size_t begin = i == 0 ? 0 : static_cast<std::size_t>(ends[i - 1]);
            list.push_back({bytes.data() + begin, static_cast<std::size_t>(ends[i]) - begin});
        }
        append(large, make_object(1, batch));
        filter.detector = ns__DetectorType__value_1;
        c_filter.size = sizeof c_filter;
        require(kr_c_filter_init(&c_filter));
        c_filter.detector_type = 1;
        records.size = sizeof records;
        records.bytes = bytes.data();
        records.bytes_size = bytes.size();
    }

    std::vector<unsigned char> bytes;
    std::vector<std::uint64_t> ends;
    std::vector<KR_Byte_Span> list;
    std::vector<unsigned char> large;
    KR_Object_Filter filter;
    kr_c_filter c_filter{};
    kr_c_records records{};
};

Records& records()
{
    static Records& records = *new Records;
    return records;
}

void Scan1000(benchmark::State& state)
{
    const Records& r = records();
    std::vector<std::size_t> matches;
    for (auto _ : state) {
        matches.clear();
        kr_scan_records({r.bytes.data(), r.bytes.size()}, r.filter, matches);
        benchmark::DoNotOptimize(matches.data());
    }
    if (matches.size() != batch / 2)
        std::abort();
}

void ScanList1000(benchmark::State& state)
{
    const Records& r = records();
    std::vector<std::size_t> matches;
    for (auto _ : state) {
        matches.clear();
        kr_scan_records(r.list.data(), r.list.size(), r.filter, matches);
        benchmark::DoNotOptimize(matches.data());
    }
}

void scan(benchmark::State& state, const kr_c_records& from)
{
    std::vector<std::uint64_t> position(batch);
    kr_c_record_columns columns{};
    columns.size = sizeof columns;
    columns.position = position.data();
    std::size_t count = 0;
    for (auto _ : state) {
        kr_c_cursor cursor{};
        cursor.size = sizeof cursor;
        require(kr_c_scan_records(&from, &records().c_filter, &cursor, &columns, batch, &count));
        benchmark::DoNotOptimize(position.data());
    }
    if (count != batch / 2)
        std::abort();
}

void Scan1000C(benchmark::State& state)
{
    scan(state, records().records);
}

void ScanList1000C(benchmark::State& state)
{
    kr_c_records from = records().records;
    from.ends = records().ends.data();
    from.count = records().ends.size();
    scan(state, from);
}

struct Boxes {
    std::vector<std::int64_t> time = std::vector<std::int64_t>(batch);
    std::vector<float> min_x = std::vector<float>(batch);
    std::vector<float> min_y = min_x;
    std::vector<float> max_x = min_x;
    std::vector<float> max_y = min_x;
};

void Instances1000(benchmark::State& state)
{
    const std::vector<unsigned char>& bytes = records().large;
    Boxes boxes;
    for (auto _ : state) {
        std::size_t row = 0;
        for (const KR_Instance_View instance :
             KR_Object_View(bytes.data(), bytes.size()).instances()) {
            const ACE_Time_Value time = instance.time();
            boxes.time[row] = std::int64_t{time.sec()} * 1'000'000 + time.usec();
            const Geom_Box2D<float> box = instance.box();
            boxes.min_x[row] = box.MinX;
            boxes.min_y[row] = box.MinY;
            boxes.max_x[row] = box.MaxX;
            boxes.max_y[row] = box.MaxY;
            ++row;
        }
        benchmark::ClobberMemory();
    }
}

void Instances1000C(benchmark::State& state)
{
    const std::vector<unsigned char>& bytes = records().large;
    Boxes boxes;
    kr_c_instance_columns columns{};
    columns.size = sizeof columns;
    columns.time = boxes.time.data();
    columns.min_x = boxes.min_x.data();
    columns.min_y = boxes.min_y.data();
    columns.max_x = boxes.max_x.data();
    columns.max_y = boxes.max_y.data();
    std::size_t count = 0;
    for (auto _ : state)
        require(kr_c_view_instances(bytes.data(), bytes.size(), 0, &columns, batch, &count));
    if (count != batch)
        std::abort();
}

void Lines1000(benchmark::State& state)
{
    require(kr_c_log_set_level(1));
    const std::string text = "a line that nobody wants";
    for (auto _ : state)
        for (std::size_t i = 0; i < batch; ++i)
            kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s\n", text);
}

void Lines1000C(benchmark::State& state)
{
    require(kr_c_log_set_level(1));
    const std::string text = "a line that nobody wants";
    for (auto _ : state)
        for (std::size_t i = 0; i < batch; ++i)
            require(kr_c_log_line(KR_C_LOG_INFO, text.data(), text.size()));
}

void RgbToHsv(benchmark::State& state)
{
    ns__RgbColor rgb;
    rgb.red = 255;
    rgb.green = 128;
    ns__HsvColor hsv;
    for (auto _ : state) {
        benchmark::DoNotOptimize(rgb);
        colors().colors->rgb_to_hsv(rgb, hsv);
        benchmark::DoNotOptimize(hsv);
    }
}

void RgbToHsvC(benchmark::State& state)
{
    kr_c_rgb rgb{255, 128, 0};
    kr_c_hsv hsv{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(rgb);
        require(kr_c_rgb_to_hsv(&rgb, &hsv));
        benchmark::DoNotOptimize(hsv);
    }
}

void Check(benchmark::State& state)
{
    const KR_Byte_Span record = records().list[0];
    for (auto _ : state)
        benchmark::DoNotOptimize(KR_Object_View::check(record.data, record.size));
}

void CheckC(benchmark::State& state)
{
    const KR_Byte_Span record = records().list[0];
    kr_c_record_status status{};
    status.size = sizeof status;
    for (auto _ : state)
        require(kr_c_view_check(record.data, record.size, &status));
}

void GuidText(benchmark::State& state)
{
    const KR_GUID guid = kr_create_guid_v4();
    for (auto _ : state)
        benchmark::DoNotOptimize(kr_to_guid_text(guid));
}

void GuidTextC(benchmark::State& state)
{
    kr_c_guid guid{};
    require(kr_c_guid_create(4, &guid, 1));
    char text[40];
    std::size_t length = 0;
    for (auto _ : state) {
        require(kr_c_guid_to_text(&guid, text, sizeof text, &length));
        benchmark::DoNotOptimize(text);
    }
}

void Base64(benchmark::State& state)
{
    const std::string bytes(300, 'x');
    std::string text;
    for (auto _ : state) {
        KR_Base64::encode(bytes, text, false);
        benchmark::DoNotOptimize(text.data());
    }
}

void Base64C(benchmark::State& state)
{
    const std::string bytes(300, 'x');
    char text[400];
    std::size_t length = 0;
    for (auto _ : state) {
        require(kr_c_base64_encode(bytes.data(), bytes.size(), 0, text, sizeof text, &length));
        benchmark::DoNotOptimize(text);
    }
}

void Sha1(benchmark::State& state)
{
    cSHA1 hash;
    const std::vector<unsigned char> bytes(64);
    for (auto _ : state)
        hash.input(bytes.data(), 64);
}

void Sha1C(benchmark::State& state)
{
    kr_c_owned_sha1 hash = nullptr;
    require(kr_c_sha1_create(&hash));
    const std::vector<unsigned char> bytes(64);
    for (auto _ : state)
        require(kr_c_sha1_feed(hash, bytes.data(), bytes.size()));
    require(kr_c_sha1_destroy(&hash));
}

void Encode(benchmark::State& state)
{
    const KR_ObjectBase object = make_object(1, 6);
    std::vector<unsigned char> bytes(2000);
    for (auto _ : state) {
        if (object.serialize_size(KR_C_NO_LIMIT) > bytes.size())
            std::abort();
        benchmark::DoNotOptimize(object.serialize(bytes.data(), KR_C_NO_LIMIT));
    }
}

void EncodeC(benchmark::State& state)
{
    kr_c_owned_record record = nullptr;
    require(kr_c_record_create(&record));
    kr_c_record_status status{};
    status.size = sizeof status;
    const KR_Byte_Span bytes = records().list[1];
    require(kr_c_record_decode(record, bytes.data, bytes.size, &status));
    std::vector<unsigned char> out(2000);
    std::size_t size = 0;
    for (auto _ : state)
        require(kr_c_record_encode(record, KR_C_NO_LIMIT, out.data(), out.size(), &size));
    require(kr_c_record_destroy(&record));
}

BENCHMARK(RgbToHsv1000);
BENCHMARK(RgbToHsv1000C);
BENCHMARK(Presets1000);
BENCHMARK(Presets1000C);
BENCHMARK(Scan1000);
BENCHMARK(Scan1000C);
BENCHMARK(ScanList1000);
BENCHMARK(ScanList1000C);
BENCHMARK(Instances1000);
BENCHMARK(Instances1000C);
BENCHMARK(Lines1000);
BENCHMARK(Lines1000C);
BENCHMARK(RgbToHsv);
BENCHMARK(RgbToHsvC);
BENCHMARK(Check);
BENCHMARK(CheckC);
BENCHMARK(GuidText);
BENCHMARK(GuidTextC);
BENCHMARK(Base64);
BENCHMARK(Base64C);
BENCHMARK(Sha1);
BENCHMARK(Sha1C);
BENCHMARK(Encode);
BENCHMARK(EncodeC);

} // namespace
