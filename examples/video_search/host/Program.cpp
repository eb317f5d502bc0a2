#include "Program.h"

#include <KRCommon/util/Time_Text.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace video_search {

int run_program(const std::string& program, const std::function<int()>& work)
{
    try {
        return work();
    } catch (const Usage_Error& error) {
        std::fprintf(stderr, "%s: %s\n", program.c_str(), error.what());
        return wrong_usage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program.c_str(), error.what());
        return failed;
    }
}

bool parse(CLI::App& app, int argc, const char* const* argv, std::ostream& out)
{
    try {
        app.parse(argc, argv);
        return true;
    } catch (const CLI::CallForHelp&) {
        out << app.help();
    } catch (const CLI::CallForVersion& asked) {
        out << asked.what() << '\n';
    } catch (const CLI::ParseError& error) {
        throw Usage_Error(error.what());
    }
    return false;
}

// The library reads leniently, like scanf: a text is a time when it is the text of what was read.
std::optional<ACE_Time_Value> to_time(const std::string& text)
{
    constexpr std::size_t length_without_fraction = 19;
    const std::string whole = text.size() == length_without_fraction ? text + ".000000" : text;
    const ACE_Time_Value time = kr_to_ace_time_value(whole);
    if (time < ACE_Time_Value::zero || kr_to_string(time) != whole)
        return std::nullopt;
    return time;
}

} // namespace video_search
