#include "Config_Commands.h"

#include "../host/Program.h"
#include "Check_Command.h"
#include "Diff_Command.h"
#include "Swatch_Command.h"

#include <memory>
#include <string>

namespace krtool {

namespace {

void add_check(CLI::App& config, Program& program)
{
    CLI::App* const check = config.add_subcommand(
        "check",
        "Says what the library thinks of a configuration file, and what looks wrong in it");
    const auto file = std::make_shared<std::string>();
    check->add_option("FILE", *file, "KRCommon.xml, or - for the standard input")->required();
    program.on(*check, [file](Output& out) { return check_configuration(out, *file); });
}

void add_swatch(CLI::App& config, Program& program)
{
    CLI::App* const swatch = config.add_subcommand(
        "swatch", "Shows the ranges of a configuration file as a page or a picture");
    const auto options = std::make_shared<Swatch_Options>();
    swatch->add_option("FILE", options->file, "KRCommon.xml, or - for the standard input")
        ->required();
    CLI::Option* const html =
        swatch->add_option("--html", options->html, "Write a page into this file");
    CLI::Option* const png =
        swatch->add_option("--png", options->png, "Write a picture into this file");
    program.on(*swatch, [options, html, png](Output& out) {
        if (!*html && !*png)
            throw Failure("where to? give --html FILE or --png FILE");
        return show_swatches(out, *options);
    });
}

void add_diff(CLI::App& config, Program& program)
{
    CLI::App* const diff = config.add_subcommand(
        "diff", "Tells which colours change their names from one configuration file to another");
    const auto options = std::make_shared<Diff_Options>();
    diff->add_option("OLD", options->old_file, "The one file")->required();
    diff->add_option("NEW", options->new_file, "The other")->required();
    diff->add_option("--html", options->html,
                     "Write a page with swatches side by side into this file");
    diff->add_option(
        "--survey", options->survey,
        "What people call colours (config/survey/c3_data.json): tells how well each file agrees");
    program.on(*diff, [options](Output& out) { return compare_configurations(out, *options); });
}

} // namespace

void add_config_commands(CLI::App& app, Program& program)
{
    CLI::App* const config =
        app.add_subcommand("config", "The configuration file with the named colours");
    config->require_subcommand(1);
    add_check(*config, program);
    add_swatch(*config, program);
    add_diff(*config, program);
}

} // namespace krtool
