#include "Record_Commands.h"

#include "../host/Program.h"
#include "Record_Annotate.h"
#include "Record_Bytes.h"
#include "Record_Filter.h"
#include "Record_Json.h"
#include "Record_Report.h"
#include "Record_Show.h"
#include "Record_Stats.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <limits>
#include <memory>
#include <vector>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

// What the commands have in common.
struct Arguments {
    std::vector<std::string> files;
    Record_Filter filter;
    std::uint32_t max_record_mib = 64;
    bool is_store = false;
    bool has_lengths = false;
    bool is_concatenated = false;

    std::uint64_t limit = 0; // records; 0 is none
    std::int64_t instances = 8;
    bool shows_all = false;
    bool makes_bytes = false;
    bool leaves_out_colors = false;
    std::string out;

    [[nodiscard]] Source_Options source() const
    {
        Source_Options options;
        options.longest = std::size_t{max_record_mib} * 1024 * 1024;
        options.form = is_store          ? Form::store
                       : has_lengths     ? Form::lengths
                       : is_concatenated ? Form::concatenated
                                         : Form::automatic;
        return options;
    }
};

void add_inputs(CLI::App& command, Arguments& arguments)
{
    command
        .add_option("FILE", arguments.files,
                    "Files of records, stores of the video search, or - for the standard input")
        ->required()
        ->type_name("");
    CLI::Option* const store = command.add_flag("--store", arguments.is_store,
                                                "The files are stores of the video search; "
                                                "without it what looks like one is taken for one");
    CLI::Option* const lengths = command.add_flag("--lengths", arguments.has_lengths,
                                                  "Each record stands behind its length, a uint32");
    CLI::Option* const concatenated =
        command.add_flag("--concatenated", arguments.is_concatenated,
                         "The records lie one behind the other, without lengths");
    store->excludes(lengths)->excludes(concatenated);
    lengths->excludes(concatenated);
    command
        .add_option("--max-record", arguments.max_record_mib,
                    "Longest record in MiB; what is longer is damage. 64 at first")
        ->check(CLI::Range(1, 1024))
        ->type_name("MIB");
}

void add_limit(CLI::App& command, Arguments& arguments)
{
    command.add_option("--limit", arguments.limit, "Most records to look at that match")
        ->check(CLI::Range(1, 2'147'483'647))
        ->type_name("N");
}

// Calls look(item, file) for each item of each file; stops when it says false.
void for_each_item(const Arguments& arguments,
                   const std::function<bool(const Record_Item&, const std::string&)>& look)
{
    for (const std::string& file : arguments.files) {
        const std::unique_ptr<Record_Source> source = open_records(file, arguments.source());
        Record_Item item;
        while (source->next(item) && !arguments.filter.is_past(item))
            if (!look(item, file))
                return;
    }
}

// The same for the items that match, up to the limit. Gives the exit code: whether there was one, and
// none of them damaged.
int for_each_match(Arguments& arguments,
                   const std::function<void(const Record_Item&, const std::string&)>& look)
{
    arguments.filter.read();
    std::uint64_t found = 0;
    bool is_damaged = false;
    for_each_item(arguments, [&](const Record_Item& item, const std::string& file) {
        if (!arguments.filter.matches(item))
            return true;
        found += item.is_first ? 1 : 0;
        is_damaged = is_damaged || item.damage != Damage::none;
        look(item, file);
        return !item.is_last || found != arguments.limit;
    });
    return found > 0 && !is_damaged ? good : findings;
}

// verify

int verify(const Arguments& arguments, Output& output)
{
    bool is_good = true;
    for (const std::string& file : arguments.files)
        is_good = verify_file(file, arguments.source(), arguments.shows_all, output) && is_good;
    return is_good ? good : findings;
}

// show, annotate, json, stats

void write_file_name(std::string& last, const std::string& file, const Arguments& arguments,
                     Output& output)
{
    if (arguments.files.size() > 1 && file != last)
        output.text(output.painted(Paint::bold, "== " + file) + "\n");
    last = file;
}

int write_json(Arguments& arguments, Output& output)
{
    return for_each_match(arguments, [&](const Record_Item& item, const std::string& file) {
        if (item.is_first || !item.bytes.empty())
            output.json(to_json(item, file));
    });
}

int show_records(Arguments& arguments, Output& output)
{
    if (output.is_json())
        return write_json(arguments, output);
    const auto most = arguments.instances < 0 || arguments.shows_all
                          ? std::numeric_limits<std::size_t>::max()
                          : static_cast<std::size_t>(arguments.instances);
    std::string last;
    return for_each_match(arguments, [&](const Record_Item& item, const std::string& file) {
        write_file_name(last, file, arguments, output);
        show(item, most, output);
    });
}

int annotate_records(Arguments& arguments, Output& output)
{
    constexpr std::size_t few = 64;
    const std::size_t most = arguments.shows_all ? std::numeric_limits<std::size_t>::max() : few;
    std::string last;
    return for_each_match(arguments, [&](const Record_Item& item, const std::string& file) {
        if (output.is_json()) {
            Json json = {{"file", file}};
            json.update(annotation(item, most));
            output.json(json);
            return;
        }
        write_file_name(last, file, arguments, output);
        annotate(item, most, output);
    });
}

int write_stats(Arguments& arguments, Output& output)
{
    arguments.filter.read();
    Record_Stats stats(!arguments.leaves_out_colors);
    for (const std::string& file : arguments.files) {
        const std::unique_ptr<Record_Source> source = open_records(file, arguments.source());
        stats.add_file();
        Record_Item item;
        while (source->next(item))
            stats.add(item, arguments.filter.is_any() || arguments.filter.matches(item));
    }
    stats.write(output);
    return stats.matches() > 0 && stats.damaged() == 0 ? good : findings;
}

int json_records(Arguments& arguments, Output& output)
{
    if (arguments.makes_bytes)
        return write_bytes(arguments.files, arguments.out, output) ? good : findings;
    if (!arguments.out.empty())
        throw Failure("--out: needs --to-bytes");
    return write_json(arguments, output);
}

// The commands

using Work = int (*)(Arguments&, Output&);

CLI::App& add_command(CLI::App& records, Program& program, const char* name, const char* text,
                      const std::shared_ptr<Arguments>& arguments, Work work)
{
    CLI::App& command = *records.add_subcommand(name, text);
    add_inputs(command, *arguments);
    program.on(command, [arguments, work](Output& output) { return work(*arguments, output); });
    return command;
}

} // namespace

void add_record_commands(CLI::App& app, Program& program)
{
    CLI::App& records = *app.add_subcommand("record", "Looks into records of detected objects");
    records.require_subcommand(1);
    const auto add = [&](const char* name, const char* text, Work work, bool filters = true) {
        const auto arguments = std::make_shared<Arguments>();
        CLI::App& command = add_command(records, program, name, text, arguments, work);
        if (filters)
            arguments->filter.add_options(command);
        return std::pair<CLI::App&, Arguments&>(command, *arguments);
    };

    auto [verify_command, verify_arguments] = add(
        "verify", "Checks records: can they be read, are they whole, do their values make sense",
        [](Arguments& arguments, Output& output) { return verify(arguments, output); }, false);
    verify_command.add_flag("--all", verify_arguments.shows_all,
                            "Show all findings, not the first ten of each kind in a file");

    auto [show_command, show_arguments] =
        add("show", "Shows the fields and instances of records", show_records);
    add_limit(show_command, show_arguments);
    show_command
        .add_option("--instances", show_arguments.instances,
                    "Instances to show of each record; 8 at first, -1 for all")
        ->check(CLI::Range(-1, 2'147'483'647))
        ->type_name("N");

    auto [annotate_command, annotate_arguments] =
        add("annotate", "Shows each byte of records with its field, value and meaning",
            annotate_records);
    add_limit(annotate_command, annotate_arguments);
    annotate_command.add_flag("--all", annotate_arguments.shows_all,
                              "Show all bytes of auxiliary data and of damage, not the first 64");

    auto [json_command, json_arguments] =
        add("json", "Writes records as JSON lines, and makes records of such lines", json_records);
    add_limit(json_command, json_arguments);
    json_command.add_flag("--to-bytes", json_arguments.makes_bytes,
                          "The files are JSON lines: write the bytes of their records");
    json_command.add_option("--out", json_arguments.out, "Write the bytes to this file")
        ->type_name("FILE");

    auto [stats_command, stats_arguments] = add(
        "stats", "Counts, sizes, times, classes, colours and durations of records", write_stats);
    stats_command.add_flag("--no-colors", stats_arguments.leaves_out_colors,
                           "Do not name the colours, which takes half of the time");
}

} // namespace krtool
