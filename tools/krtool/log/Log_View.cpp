#include "Log_View.h"

#include "Lock_Stalls.h"
#include "Message_Shape.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

// Collects small texts.
class Text_Buffer {
public:
    explicit Text_Buffer(Output& output) : output_(output), text_(limit) {}

    void add(std::string_view text)
    {
        if (text.size() > limit - size_)
            flush();
        if (text.size() > limit / 4 && size_ == 0) {
            output_.text(text);
            return;
        }
        std::memcpy(text_.data() + size_, text.data(), text.size());
        size_ += text.size();
    }

    void flush()
    {
        const std::size_t size = std::exchange(size_, 0);
        if (size > 0)
            output_.text({text_.data(), size});
    }

private:
    static constexpr std::size_t limit = std::size_t{64} * 1024;

    Output& output_;
    std::vector<char> text_;
    std::size_t size_ = 0;
};

// Lines as they stand.
class Raw_View final : public Log_View {
public:
    explicit Raw_View(Output& output) : text_(output) {}

    void take(const Log_Record& record, const Line_Head*, const Log_Stream&) override
    {
        text_.add(record.text);
        if (record.text.back() != '\n' && record.text.size() < Part_Reader::record_limit)
            text_.add("\n"); // not within a line that comes in pieces;
        has_any_ = true;
    }

    bool needs_head() const override { return false; }
    void flush() override { text_.flush(); }
    bool finish() override
    {
        flush();
        return has_any_;
    }

private:
    Text_Buffer text_;
    bool has_any_ = false;
};

Paint paint_of(const Line_Head* head) noexcept
{
    if (head == nullptr)
        return Paint::yellow;
    switch (head->level) {
    case Level::emergency:
    case Level::error: return Paint::red;
    case Level::debug: return Paint::dim;
    default: return Paint::plain;
    }
}

// What a terminal would obey becomes visible: log lines may hold what somebody else has sent.
std::string harmless(std::string_view line)
{
    std::string text;
    for (const char c : line) {
        const auto code = static_cast<unsigned char>(c);
        if ((code >= 0x20 && code != 0x7f) || c == '\t') {
            text += c;
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", code);
        text += escape;
    }
    return text;
}

// Lines for people: with colours, dates and names of files, as is wanted.
class Text_View final : public Log_View {
public:
    Text_View(const View_Options& options, Output& output)
        : options_(options), output_(output), text_(output)
    {
    }

    void take(const Log_Record& record, const Line_Head* head, const Log_Stream& stream) override
    {
        has_any_ = true;
        std::string begin;
        if (options_.has_file)
            begin = output_.painted(Paint::blue, stream.part.name + ":") + " ";
        bool is_first = true;
        std::string_view rest = record.text;
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('\n'), rest.size() - 1) + 1;
            const std::string_view line = without_end(rest.substr(0, end));
            text_.add(begin);
            if (options_.has_date && head != nullptr)
                text_.add(is_first ? date_text(record.place.time) + " " : std::string(11, ' '));
            is_first = false;
            if (output_.is_colored())
                text_.add(output_.painted(paint_of(head), harmless(line)));
            else
                text_.add(line);
            text_.add("\n");
            rest.remove_prefix(end);
        }
    }

    void flush() override { text_.flush(); }
    bool finish() override
    {
        flush();
        return has_any_;
    }

private:
    View_Options options_;
    Output& output_;
    Text_Buffer text_;
    bool has_any_ = false;
};

class Json_View final : public Log_View {
public:
    explicit Json_View(Output& output) : output_(output) {}

    void take(const Log_Record& record, const Line_Head* head, const Log_Stream& stream) override
    {
        has_any_ = true;
        Json line = {{"kind", "line"}, {"time", time_text(record.place.time)}};
        std::string_view message = without_end(record.text);
        if (head != nullptr) {
            line["thread"] = head->thread;
            if (head->level != Level::unknown)
                line["level"] = level_text(head->level);
            message.remove_prefix(std::min(head->message, message.size()));
            if (const std::uint64_t held_back = held_back_of(message); held_back != 0)
                line["held_back"] = held_back;
        }
        line["message"] = message;
        line["file"] = stream.part.path;
        output_.json(line);
    }

    void flush() override {}
    bool finish() override { return has_any_; }

private:
    Output& output_;
    bool has_any_ = false;
};

class Count_View final : public Log_View {
public:
    Count_View(const View_Options& options, Output& output) : top_(options.top), output_(output) {}

    void take(const Log_Record& record, const Line_Head* head, const Log_Stream&) override
    {
        const std::string_view message = record.text.substr(head != nullptr ? head->message : 0);
        counts_.add(head != nullptr ? head->level : Level::unknown, message, record.place.time);
    }

    void flush() override {}

    bool finish() override
    {
        std::vector<Shape_Counts::Count> all = counts_.result();
        if (top_ != 0 && all.size() > top_)
            all.resize(top_);
        for (const Shape_Counts::Count& count : all)
            if (output_.is_json())
                tell_json(count);
            else
                tell(count);
        return !all.empty();
    }

private:
    void tell(const Shape_Counts::Count& count)
    {
        char number[24];
        const unsigned long long lines = count.lines + count.held_back;
        std::snprintf(number, sizeof number, "%9llu", lines);
        const char* const level = count.level == Level::unknown ? "  -" : level_text(count.level);
        Line_Head head;
        head.level = count.level;
        output_.text(std::string(number) + "  " + output_.painted(paint_of(&head), level) + "  " +
                     harmless(count.shape) + "\n");
    }

    void tell_json(const Shape_Counts::Count& count)
    {
        Json shape = {{"kind", "shape"},
                      {"count", count.lines + count.held_back},
                      {"lines", count.lines},
                      {"held_back", count.held_back}};
        if (count.level != Level::unknown)
            shape["level"] = level_text(count.level);
        shape["shape"] = count.shape;
        shape["example"] = count.example;
        shape["first"] = time_text(count.first);
        shape["last"] = time_text(count.last);
        output_.json(shape);
    }

    std::size_t top_;
    Output& output_;
    Shape_Counts counts_;
};

std::string thread_text(std::uint64_t thread)
{
    char text[32];
    std::snprintf(text, sizeof text, "T%04llu", static_cast<unsigned long long>(thread));
    return text;
}

std::string counted(std::uint64_t number, const std::string& what)
{
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

class Stall_View final : public Log_View {
public:
    explicit Stall_View(Output& output) : output_(output) {}

    void take(const Log_Record& record, const Line_Head* head, const Log_Stream& stream) override
    {
        if (head == nullptr)
            return;
        stalls_.add(stream.chain, *head, record.text.substr(head->message), record.place.time);
        tell_all(stalls_.take_over());
    }

    void flush() override {}

    bool finish() override
    {
        tell_all(stalls_.take_over());
        tell_all(stalls_.take_open());
        for (const auto& [place, sum] : sums_)
            if (output_.is_json())
                tell_sum_json(place, sum);
            else
                tell_sum(place, sum);
        return has_any_;
    }

private:
    struct Sum {
        std::uint64_t stalls = 0;
        std::uint64_t seconds = 0;
        std::uint64_t longest = 0;
        std::uint64_t ends = 0; // of the process
    };
    using Place = std::pair<std::string, std::string>; // the holder's, the mutex
    static constexpr std::size_t most_sums = 10'000;

    void tell_all(const std::vector<Lock_Stall>& stalls)
    {
        for (const Lock_Stall& stall : stalls) {
            has_any_ = true;
            if (output_.is_json())
                tell_json(stall);
            else
                tell(stall);
            if (stall.end != Stall_End::order)
                add_to_sums(stall);
        }
    }

    void add_to_sums(const Lock_Stall& stall)
    {
        Place place{stall.holder_site, stall.mutex};
        if (sums_.size() >= most_sums && sums_.find(place) == sums_.end())
            place = {"(other places)", ""};
        Sum& sum = sums_[place];
        ++sum.stalls;
        sum.seconds += stall.seconds;
        sum.longest = std::max(sum.longest, stall.seconds);
        sum.ends += stall.end == Stall_End::failed || stall.end == Stall_End::panic ? 1 : 0;
    }

    std::string end_sentence(const Lock_Stall& stall) const
    {
        switch (stall.end) {
        case Stall_End::acquired:
            return output_.painted(Paint::green,
                                   "acquired after " + counted(stall.seconds, "second"));
        case Stall_End::failed:
            return output_.painted(Paint::red,
                                   "the process ended after " + counted(stall.seconds, "second"));
        case Stall_End::panic:
            return output_.painted(Paint::red, "the process ended: " + harmless(stall.detail));
        case Stall_End::open:
            return output_.painted(Paint::yellow, "no line tells its end, after " +
                                                      counted(stall.seconds, "second"));
        case Stall_End::order: break;
        }
        return {};
    }

    void tell(const Lock_Stall& stall)
    {
        const std::string time = time_text(stall.begin, ' ');
        const std::string who = thread_text(stall.waiter) + " at " + harmless(stall.waiter_site);
        if (stall.end == Stall_End::order) {
            output_.text(time + "  " + who + " took " + harmless(stall.mutex) +
                         " while it held the lock of " + harmless(stall.holder_site) +
                         ", but before it was the other way round: " + harmless(stall.detail) +
                         "\n");
            return;
        }
        output_.text(time + "  " + who + " waited for " + harmless(stall.mutex) + ": " +
                     end_sentence(stall) + "\n");
        if (!stall.holder_site.empty())
            output_.text("    held by " + thread_text(stall.holder) + " at " +
                         harmless(stall.holder_site) + " since " + harmless(stall.holder_since) +
                         ", locked " + counted(stall.holder_depth, "time") + "\n");
        for (const std::string& lock : stall.locks)
            output_.text("    " + harmless(lock) + "\n");
    }

    void tell_json(const Lock_Stall& stall)
    {
        Json json = {
            {"kind", "stall"},
            {"begin", time_text(stall.begin)},
            {"end", end_text(stall.end)},
            {"ends_process", stall.end == Stall_End::failed || stall.end == Stall_End::panic},
            {"seconds", stall.seconds},
            {"mutex", stall.mutex},
            {"waiter", {{"thread", stall.waiter}, {"site", stall.waiter_site}}}};
        if (!stall.holder_site.empty()) {
            json["holder"] = {{"thread", stall.holder}, {"site", stall.holder_site}};
            if (!stall.holder_since.empty()) {
                json["holder"]["since"] = stall.holder_since;
                json["holder"]["depth"] = stall.holder_depth;
            }
        }
        if (!stall.detail.empty())
            json["detail"] = stall.detail;
        if (!stall.locks.empty())
            json["locks"] = stall.locks;
        json["log"] = stall.source;
        output_.json(json);
    }

    void tell_sum(const Place& place, const Sum& sum)
    {
        const std::string where = place.first.empty() ? "an unknown holder" : harmless(place.first);
        std::string text = where + " held " + harmless(place.second) + ": " +
                           counted(sum.stalls, "stall") + ", " + counted(sum.seconds, "second") +
                           " in all, the longest " + counted(sum.longest, "second");
        if (sum.ends != 0)
            text +=
                output_.painted(Paint::red, ", " + std::to_string(sum.ends) + " ended the process");
        output_.text(text + "\n");
    }

    void tell_sum_json(const Place& place, const Sum& sum)
    {
        output_.json({{"kind", "stall_sum"},
                      {"holder_site", place.first},
                      {"mutex", place.second},
                      {"stalls", sum.stalls},
                      {"seconds", sum.seconds},
                      {"longest_seconds", sum.longest},
                      {"process_ends", sum.ends}});
    }

    Output& output_;
    Lock_Stalls stalls_;
    std::map<Place, Sum> sums_;
    bool has_any_ = false;
};

} // namespace

std::unique_ptr<Log_View> make_view(const View_Options& options, Output& output)
{
    switch (options.kind) {
    case View_Kind::counts: return std::make_unique<Count_View>(options, output);
    case View_Kind::stalls: return std::make_unique<Stall_View>(output);
    case View_Kind::lines: break;
    }
    if (output.is_json())
        return std::make_unique<Json_View>(output);
    if (output.is_colored() || options.has_date || options.has_file)
        return std::make_unique<Text_View>(options, output);
    return std::make_unique<Raw_View>(output);
}

} // namespace krtool
