// Logs into a folder through the installed library and reads the file back. It is built with the flags
// that each kind of package gives, some of which change what is compiled of the headers: each is tried.

#include <KRCommon/KRCommon_Version.h>
#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Component_Base.h>
#include <KRCommon/frame/Configuration_Status.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/ProfileHelper.h>
#include <KRCommon/frame/SEH.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Utils.h>
#include <krsoap/krsoap.h>

#include <ace/Reactor.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

bool is_logged(const std::filesystem::path& folder, const std::string& text)
{
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);)
            if (line.find(text) != std::string::npos)
                return true;
    }
    return false;
}

// A host's timed waits must really wait, with the flags that the package brings.
bool does_wait()
{
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(49);
}

// The configuration that is installed beside the library has been found.
bool knows_colors()
{
    std::vector<ns__RgbColor> palette;
    KR_Colors::instance()->get_available_colors(palette);
    return kr_configuration_status().is_read && palette.size() >= 13;
}

bool stores_objects()
{
    KR_ObjectBase object;
    object.Instances.emplace_back();
    std::vector<unsigned char> bytes(object.serialize_size(65'536));
    bytes.resize(object.serialize(bytes.data(), 65'536));
    KR_ObjectBase stored;
    return KR_ObjectBase::deserialize(bytes.data(), static_cast<unsigned>(bytes.size()), &stored) ==
               bytes.size() &&
           stored == object;
}

// 64-bit seconds, in this unit's copy of ACE's classes as in the library's.
bool knows_2100()
{
    const ACE_Time_Value time(4'102'444'800);
    return sizeof(std::time_t) == 8 && ACE_Time_Value(time).sec() == 4'102'444'800;
}

// A float that passes through inline functions keeps its bits, those of a signalling NaN too.
bool keeps_float_bits()
{
    const std::uint32_t bits = 0x7FA00001;
    volatile float number;
    std::memcpy(const_cast<float*>(&number), &bits, sizeof bits);
    const Geom_Box2D<float> box(number, number, number, number);
    return std::memcmp(&box.MaxY, &bits, sizeof bits) == 0;
}

bool has_the_packages_version()
{
    return std::string(KRCOMMON_VERSION_TEXT) == PACKAGE_VERSION &&
           KRCOMMON_VERSION == KRCOMMON_VERSION_MAJOR * 10000 + KRCOMMON_VERSION_MINOR * 100 +
                                   KRCOMMON_VERSION_PATCH;
}

// By the package's function, where it writes notes.
bool tells_its_version()
{
#ifdef NOTED_VERSION
    if (kr_running_program_version().version != NOTED_VERSION)
        return false;
#endif
    KR_Version version{};
    return kr_try_to_version(kr_library_version().version, version) &&
           version[0] == KRCOMMON_VERSION_MAJOR;
}

} // namespace

int main() // without parameters, as hosts may write it
{
    const std::filesystem::path folder = std::filesystem::current_path() / "consumer logs";
    std::filesystem::remove_all(folder);
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->set_debug_level(3);
    logs->open(ACE_Reactor::instance(), folder.string().c_str(), "consumer");
    const ns__SensorId sensor;
    KR_Mutex_Ex<ACE_Process_Mutex> mutex;
    std::thread([&] {
        KR_GUARD(mutex);
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF sensor %d of %s\n", sensor.word2, "consumer");
    }).join();
    logs->close();
    if (!is_logged(folder, " INF sensor 1 of consumer") || !does_wait() || !knows_colors() ||
        !stores_objects() || !knows_2100() || !keeps_float_bits() || !has_the_packages_version() ||
        !tells_its_version() || KR_SEH::instance()->get_dump_type() != MiniDumpNormal) {
        std::puts("consumer: failed");
        return 1;
    }
    std::puts("consumer: ok");
    return 0;
}
