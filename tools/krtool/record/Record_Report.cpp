#include "Record_Report.h"

#include "Record_Text.h"
#include "Record_Verify.h"

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <string_view>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

Json finding_json(const Record_Finding& finding, const std::string& file)
{
    Json json = {{"type", "finding"},
                 {"file", file},
                 {"record", finding.record},
                 {"offset", finding.offset},
                 {"level", finding.is_error ? "error" : "warning"},
                 {"tier", name_of(finding.tier)},
                 {"code", finding.code},
                 {"count", finding.count},
                 {"message", finding.text}};
    if (finding.instance)
        json["instance"] = *finding.instance;
    return json;
}

void write_finding(const Record_Finding& finding, const std::string& file, Output& output)
{
    std::string text = file + ": record " + std::to_string(finding.record) + ", byte " +
                       std::to_string(finding.offset) + ": ";
    text += finding.is_error ? output.painted(Paint::red, "error")
                             : output.painted(Paint::yellow, "warning");
    text += ": " + finding.text;
    if (finding.instance)
        text += ", instance " + std::to_string(*finding.instance);
    if (finding.count > 1)
        text += " (" + std::to_string(finding.count) + " times in this record)";
    output.text(text + " [" + finding.code + "]\n");
}

void write_summary(const Record_Verifier& verifier, const std::string& file, Output& output)
{
    if (output.is_json()) {
        Json codes = Json::object();
        for (const auto& [code, count] : verifier.counts())
            codes[std::string(code)] = count;
        output.json({{"type", "summary"},
                     {"file", file},
                     {"bytes", verifier.bytes()},
                     {"records", verifier.records()},
                     {"read", verifier.passed(Tier::read)},
                     {"whole", verifier.passed(Tier::whole)},
                     {"values", verifier.passed(Tier::values)},
                     {"errors", verifier.errors()},
                     {"warnings", verifier.warnings()},
                     {"codes", codes}});
        return;
    }
    output.text(file + ": " + counted(verifier.records(), "record") + " in " +
                counted(verifier.bytes(), "byte") + ": " +
                std::to_string(verifier.passed(Tier::read)) + " can be read, " +
                std::to_string(verifier.passed(Tier::whole)) + " are whole, of " +
                std::to_string(verifier.passed(Tier::values)) + " all values make sense; " +
                counted(verifier.errors(), "error") + ", " +
                counted(verifier.warnings(), "warning") + "\n");
}

} // namespace

bool verify_file(const std::string& file, const Source_Options& options, bool shows_all,
                 Output& output)
{
    constexpr std::uint64_t most_of_a_code = 10;
    const std::unique_ptr<Record_Source> source = open_records(file, options);
    Record_Verifier verifier;
    Record_Item item;
    std::map<std::string_view, std::uint64_t> shown;
    while (source->next(item)) {
        for (const Record_Finding& finding : verifier.look_at(item)) {
            if (output.is_json())
                output.json(finding_json(finding, file));
            else if (++shown[finding.code] <= most_of_a_code || shows_all)
                write_finding(finding, file, output);
        }
    }
    if (!output.is_json() && !shows_all)
        for (const auto& [code, count] : shown)
            if (count > most_of_a_code)
                output.text(file + ": and " + std::to_string(count - most_of_a_code) + " more [" +
                            std::string(code) + "], with --all to be seen\n");
    if (verifier.records() == 0) {
        Record_Finding empty;
        empty.is_error = true;
        empty.tier = Tier::read;
        empty.code = "empty";
        empty.text = "there is no record";
        if (output.is_json())
            output.json(finding_json(empty, file));
        else
            write_finding(empty, file, output);
    }
    write_summary(verifier, file, output);
    return verifier.errors() == 0 && verifier.records() > 0;
}

} // namespace krtool
