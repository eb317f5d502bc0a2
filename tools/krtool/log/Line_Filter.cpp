#include "Line_Filter.h"

#include "../host/Program.h"

#include <algorithm>

namespace krtool {

namespace {

char lower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// For matches of whole lines. The library's usual way takes stack with every character of a line, which a long
// one does not have, and a search begins anew at every character; this way takes time in proportion to the line,
// whatever the expression.
std::regex compile(const std::string& expression, bool ignores_case)
{
    auto flags = std::regex::ECMAScript | std::regex::nosubs | std::regex_constants::__polynomial;
    if (ignores_case)
        flags |= std::regex::icase;
    try {
        static_cast<void>(
            std::regex(expression, flags)); // it is whole without what is put around it
        return std::regex("[\\s\\S]*(?:" + expression + ")[\\s\\S]*", flags);
    } catch (const std::regex_error&) {
        throw Failure("'" + expression + "' is no regular expression that can be used");
    }
}

} // namespace

Line_Filter::Line_Filter(Line_Conditions conditions) : conditions_(std::move(conditions))
{
    const Line_Conditions& given = conditions_;
    is_needed_ = given.level != Level::unknown || !given.threads.empty() || given.since ||
                 given.until || !given.texts.empty() || !given.regex.empty();
    if (!given.regex.empty())
        regex_ = compile(given.regex, given.ignores_case);
    if (given.ignores_case)
        for (std::string& text : conditions_.texts)
            std::transform(text.begin(), text.end(), text.begin(), lower);
}

bool Line_Filter::has_text(std::string_view line, const std::string& text) const
{
    if (!conditions_.ignores_case)
        return line.find(text) != std::string_view::npos;
    return std::search(line.begin(), line.end(), text.begin(), text.end(),
                       [](char a, char b) { return lower(a) == b; }) != line.end();
}

// Line by line, so that ^ and $ are the ends of one.
bool Line_Filter::matches(std::string_view record) const
{
    while (!record.empty()) {
        const std::size_t end = std::min(record.find('\n'), record.size() - 1) + 1;
        const std::string_view line = without_end(record.substr(0, end));
        if (std::regex_match(line.begin(), line.end(), regex_))
            return true;
        record.remove_prefix(end);
    }
    return false;
}

bool Line_Filter::accepts(const Log_Record& record, const Line_Head* head) const
{
    const Line_Conditions& wanted = conditions_;
    const Local_Time time = record.place.time;
    if ((wanted.since && time < *wanted.since) || (wanted.until && time >= *wanted.until))
        return false;
    if (wanted.level != Level::unknown && (head == nullptr || head->level < wanted.level))
        return false;
    if (!wanted.threads.empty() &&
        (head == nullptr || std::find(wanted.threads.begin(), wanted.threads.end(), head->thread) ==
                                wanted.threads.end()))
        return false;
    for (const std::string& text : wanted.texts)
        if (!has_text(record.text, text))
            return false;
    return wanted.regex.empty() || matches(record.text);
}

} // namespace krtool
