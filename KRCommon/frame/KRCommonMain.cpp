#include <KRCommon/frame/KRCommonMain.h>

#include <KRCommon/colors/Colors.h>
#include <KRCommon/colors/Configuration_Reader.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/platform/Entry.h>
#include <KRCommon/platform/Platform.h>

#include <ace/Init_ACE.h>

#include <exception>

namespace kr_internal {

namespace {

constexpr KR_Log_Site cannot_read{"KRCommonMain.cpp", 32, LM_EMERGENCY};

} // namespace

void Start_Up::attach_process() noexcept
{
    try {
        ACE::init();
        // ACE allocates thread-local slots each time it is loaded and never gives them back, and
        // threads that have logged run its clean-up when they end: it stays when this library goes.
        kr_platform::keep_loaded(reinterpret_cast<void (*)()>(&ACE::init));
        attach_thread();
        load_configuration(configuration_path(kr_platform::module_path()), *KR_Colors::instance());
    } catch (...) {
        // Out of memory. The loader is no place to report it; the host goes on with what there is.
    }
}

void Start_Up::attach_thread() noexcept
{
    try {
        KR_LOG_MANAGER::instance()->non_ace_thread_init_log();
    } catch (...) {
        // Out of memory: the thread joins the log with its first line.
    }
}

std::string Start_Up::configuration_path(const std::string& module_path)
{
    const char separator = kr_platform::path_separator();
    return module_path.substr(0, module_path.rfind(separator)) + separator + "KRCommon.xml";
}

void Start_Up::load_configuration(const std::string& path, KR_Colors& colors)
{
    KRCMN::XML_configuration configuration;
    const Xml_Error error = read_configuration_file(path, configuration);
    if (error)
        kr_log(cannot_read, "%T T%04t*EMR Failed to read '%s' file: %s\n", path, text_of(error));
    else
        colors.init(configuration.get_colors());
}

} // namespace kr_internal

void kr_platform::on_process_attach() noexcept
{
    kr_internal::Start_Up::attach_process();
}

void kr_platform::on_thread_attach() noexcept
{
    kr_internal::Start_Up::attach_thread();
}

void kr_platform::on_forked() noexcept
{
    kr_internal::Log_Gate::of_process().forget_other_threads();
}
