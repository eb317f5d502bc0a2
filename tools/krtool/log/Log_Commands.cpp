#include "Log_Commands.h"

#include "../host/Program.h"
#include "Time_Text.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

namespace krtool {

namespace {

// The command line's texts, before they are looked at.
struct Log_Arguments {
    Log_Call call;
    std::vector<std::string> threads;
    std::string since;
    std::string until;
    bool is_counting = false;
    bool is_stalls = false;
};

std::uint64_t parse_thread(const std::string& text)
{
    const std::size_t first = !text.empty() && (text[0] == 'T' || text[0] == 't') ? 1 : 0;
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data() + first, end, number);
    if (result.ec != std::errc() || result.ptr != end)
        throw Failure("'" + text + "' is no thread's number, such as 42 or T0042");
    return number;
}

// "42,T1234"
void add_threads(const std::string& list, std::vector<std::uint64_t>& threads)
{
    std::istringstream parts(list);
    for (std::string part; std::getline(parts, part, ',');)
        threads.push_back(parse_thread(part));
}

std::optional<Local_Time> parse_point(const std::string& text, Local_Time now)
{
    if (text.empty())
        return std::nullopt;
    const std::optional<Local_Time> time = parse_time(text, now);
    if (!time)
        throw Failure("'" + text +
                      "' is no time, such as \"30 min ago\", 05:00 or \"2026/11/22 05:00\"");
    return time;
}

Log_Call read(const Log_Arguments& arguments)
{
    Log_Call call = arguments.call;
    for (const std::string& list : arguments.threads)
        add_threads(list, call.conditions.threads);
    const Local_Time now = local_now();
    call.conditions.since = parse_point(arguments.since, now);
    call.conditions.until = parse_point(arguments.until, now);
    if (arguments.is_counting)
        call.view.kind = View_Kind::counts;
    else if (arguments.is_stalls)
        call.view.kind = View_Kind::stalls;
    call.pause = [] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        return true;
    };
    return call;
}

// Files in, lines out.
class Log_Work {
public:
    Log_Work(const Log_Call& call, Output& output)
        : call_(call), output_(output), filter_(call.conditions),
          view_(make_view(call.view, output)),
          needs_head_(filter_.is_needed() || view_->needs_head()),
          merge_(merge_options(call, needs_head_), [this](auto& sentence) { warn(sentence); })
    {
    }

    int run()
    {
        merge_.update(find_logs(call_.files, call_.is_following));
        const Log_Merge::Take take = needs_head_
                                         ? Log_Merge::Take([this](auto& record, auto& stream) {
                                               take_wanted(record, stream);
                                           })
                                         : Log_Merge::Take([this](auto& record, auto& stream) {
                                               view_->take(record, nullptr, stream);
                                           });
        merge_.run(take);
        if (call_.is_following)
            follow(take);
        return view_->finish() ? good : findings;
    }

private:
    static Log_Merge::Options merge_options(const Log_Call& call, bool needs_head)
    {
        Log_Merge::Options options;
        options.gives_runs = !needs_head;
        options.is_growing = call.is_following;
        options.is_at_end = call.is_following && !call.conditions.since;
        options.since = call.conditions.since;
        options.until = call.conditions.until;
        return options;
    }

    // What has no head goes the way of what it continues.
    void take_wanted(const Log_Record& record, Log_Stream& stream)
    {
        std::optional<Line_Head> head;
        if (record.has_head)
            head = parse_head(record.text);
        const bool is_continued = !head && stream.has_taken;
        const bool is_wanted =
            is_continued ? stream.was_shown : filter_.accepts(record, head ? &*head : nullptr);
        stream.has_taken = stream.has_taken || head;
        stream.was_shown = is_wanted;
        if (is_wanted)
            view_->take(record, head ? &*head : nullptr, stream);
    }

    void follow(const Log_Merge::Take& take)
    {
        constexpr unsigned looks_per_search = 5;
        for (unsigned look = 0;; ++look) {
            view_->flush();
            output_.flush();
            if (!call_.pause())
                return;
            merge_.find_replaced();
            if (look % looks_per_search == 0)
                merge_.update(find_logs(call_.files, true));
            merge_.run(take);
        }
    }

    void warn(const std::string& sentence)
    {
        if (output_.is_json())
            output_.json({{"kind", "warning"}, {"text", sentence}});
        else
            std::fputs(("krtool: warning: " + sentence + "\n").c_str(), stderr);
    }

    const Log_Call& call_;
    Output& output_;
    Line_Filter filter_;
    std::unique_ptr<Log_View> view_;
    bool needs_head_;
    Log_Merge merge_;
};

} // namespace

int show_log(const Log_Call& call, Output& output)
{
    return Log_Work(call, output).run();
}

void add_log_commands(CLI::App& app, Program& program)
{
    const auto arguments = std::make_shared<Log_Arguments>();
    Log_Call& call = arguments->call;
    CLI::App& log = *app.add_subcommand(
        "log", "Shows the lines of log files in the order of time: parts, prefixes, folders");
    log.add_option("FILES", call.files,
                   "Log files, packed by gzip or not, folders with parts, or - for standard input")
        ->required();
    log.add_option("--since", arguments->since,
                   "From this time on: \"30 min ago\", today, 05:00, \"2026/11/22 05:00\"");
    log.add_option("--until", arguments->until, "Until before this time");
    const std::map<std::string, Level> levels{{"dbg", Level::debug},
                                              {"inf", Level::info},
                                              {"err", Level::error},
                                              {"emr", Level::emergency}};
    log.add_option("--level", call.conditions.level,
                   "Lines at least as bad: dbg, inf, err or emr, in this order")
        ->transform(CLI::CheckedTransformer(levels, CLI::ignore_case));
    log.add_option("--thread", arguments->threads, "Lines of these threads: 42,T1234")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    log.add_option("--text", call.conditions.texts, "Lines that hold this text; may be repeated")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    log.add_option("--regex", call.conditions.regex, "Lines that match this regular expression");
    log.add_flag("-i,--ignore-case", call.conditions.ignores_case, "For --text and --regex");
    log.add_flag("--with-date", call.view.has_date, "The date before each line");
    log.add_flag("--with-file", call.view.has_file, "The name of the file before each line");
    auto* const count =
        log.add_flag("--count", arguments->is_counting,
                     "How often each message comes, whatever its numbers and texts");
    log.add_option("--top", call.view.top, "With --count: so many at most");
    auto* const stalls = log.add_flag("--stalls", arguments->is_stalls,
                                      "Who waited for whose lock, where, how long, and its end");
    auto* const follow =
        log.add_flag("-f,--follow", call.is_following,
                     "Shows what comes from now on, or since --since, until ended");
    count->excludes(stalls);
    count->excludes(follow);
    program.on(log, [arguments](Output& output) { return show_log(read(*arguments), output); });
}

} // namespace krtool
