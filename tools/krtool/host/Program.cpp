#include "Program.h"

#include "../color/Color_Commands.h"
#include "../config/Config_Commands.h"
#include "../config/Configuration_File.h"
#include "../log/Log_Commands.h"
#include "../platform/Console.h"
#include "../profile/Profile_Commands.h"
#include "../record/Record_Commands.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

namespace krtool {

namespace {

int complain(const std::string& sentence)
{
    std::fputs(("krtool: " + printable(sentence) + "\n").c_str(), stderr);
    return wrong_call;
}

// As the terminals' users agreed: NO_COLOR with any text means none.
bool wants_colors(const std::string& choice, std::FILE* out)
{
    if (choice != "auto")
        return choice == "always";
    const char* none = std::getenv("NO_COLOR");
    return !(none && *none) && is_terminal(out);
}

} // namespace

Output_Lost::Output_Lost(int error)
    : std::runtime_error(std::string("cannot write the output: ") + std::strerror(error)),
      reader_gone_(error == EPIPE)
{
}

void Program::on(CLI::App& command, Command work)
{
    command.callback([this, work = std::move(work)] { work_ = work; });
}

int Program::run(int argc, const char* const* argv, std::FILE* out)
{
    make_binary(out); // one line end on all systems, and records as they are
    CLI::App app("Looks into the configuration, records, log files and profiles of KRCommon.",
                 "krtool");
    app.set_version_flag("--version", "krtool " KRTOOL_VERSION);
    app.allow_windows_style_options(false); // "/records" is a file on both systems
    app.require_subcommand(1);
    app.fallthrough();                      // the options below may stand behind a command
    app.allow_windows_style_options(false); // a "/" begins a path on each system
    app.add_flag("--json", is_json_, "JSON for scripts in place of text for people");
    app.add_option("--color", color_, "Colours in the text: auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    add_config_commands(app, *this);
    add_color_commands(app, *this);
    add_record_commands(app, *this);
    add_log_commands(app, *this);
    add_profile_commands(app, *this);
    try {
        app.parse(argc, argv);
        return run_command(out);
    } catch (const CLI::Success& help) { // or version
        std::fputs(help.get_name() == "CallForVersion" ? (std::string(help.what()) + "\n").c_str()
                                                       : app.help().c_str(),
                   out);
        return good;
    } catch (const CLI::ParseError& error) {
        return complain(error.what());
    } catch (const Output_Lost& error) {
        return error.has_reader_gone() ? static_cast<int>(wrong_call) : complain(error.what());
    } catch (const std::bad_alloc&) {
        return complain("there is not enough memory");
    } catch (const std::exception& error) {
        return complain(error.what());
    }
}

int Program::run_command(std::FILE* out)
{
    Output output(out, is_json_, !is_json_ && wants_colors(color_, out));
    const int code = work_(output);
    output.flush();
    return code;
}

} // namespace krtool
