#include <KRCommon/frame/Log_Files.h>

#include <ace/Dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace kr_internal {

namespace {

constexpr const char* part_mark = "_part_";
constexpr std::size_t part_mark_length = 6;

std::string join_path(const std::string& directory, const std::string& name)
{
    return directory + kr_platform::path_separator() + name;
}

bool begins_with(const std::string& name, const std::string& prefix)
{
    return name.compare(0, prefix.size(), prefix) == 0;
}

std::string two_digits(long number)
{
    char text[24];
    std::snprintf(text, sizeof text, "%02ld", number);
    return text;
}

// Names in the order in which the system gives them, "." and ".." included.
std::vector<std::string> entries_of(const std::string& directory)
{
    std::vector<std::string> names;
    ACE_Dirent reader; // the constructor that takes a path would log its failure
    if (reader.open(directory.c_str()) == -1)
        return names;
    while (const ACE_DIRENT* const entry = reader.read())
        names.emplace_back(entry->d_name);
    return names;
}

// As atol, limited to 32 bits on both systems; negative numbers give 0.
std::uint32_t read_part_number(const char* text)
{
    const long long number = std::strtoll(text, nullptr, 10);
    return static_cast<std::uint32_t>(std::clamp(number, 0LL, 2'147'483'647LL));
}

} // namespace

std::string log_file_left(const std::string& directory, const std::string& prefix,
                          const ACE_Date_Time& date)
{
    return join_path(directory, prefix) + '_' + std::to_string(date.year()) + '_' +
           two_digits(date.month()) + '_' + two_digits(date.day());
}

std::string log_file_right(std::uint32_t part)
{
    char text[24];
    std::snprintf(text, sizeof text, "_part_%02u.log", static_cast<unsigned>(part));
    return text;
}

std::uint32_t highest_part(const std::string& directory, const std::string& left)
{
    std::uint32_t highest = 0;
    for (const std::string& name : entries_of(directory)) {
        const std::string path = join_path(directory, name);
        const std::size_t mark = path.find(part_mark);
        if (mark != std::string::npos && path.find(left) != std::string::npos)
            highest = std::max(highest, read_part_number(path.c_str() + mark + part_mark_length));
    }
    return highest;
}

std::uint64_t bytes_of_log_files(const std::string& directory, const std::string& prefix)
{
    std::uint64_t bytes = 0;
    for (const std::string& name : entries_of(directory))
        if (begins_with(name, prefix))
            if (const auto info = kr_platform::file_info(join_path(directory, name)))
                bytes += info->size;
    return bytes;
}

void prune_log_files(const Prune_Request& request, const Get_File_Info& file_info)
{
    struct Candidate {
        std::string path;
        std::uint32_t size;
    };
    std::uint32_t total = 0; // Quirk: wraps at 4 GiB
    std::map<std::int64_t, Candidate> oldest_first;
    for (const std::string& name : entries_of(request.directory)) {
        if (!begins_with(name, request.prefix))
            continue;
        const std::string path = join_path(request.directory, name);
        if (const auto info = file_info(path)) {
            const auto size = static_cast<std::uint32_t>(info->size);
            total += size;
            // Quirk: replaces a file of the same second, whose size stays in the total.
            if (path != request.exempt)
                oldest_first[info->created] = {path, size};
        }
    }
    for (const auto& [created, candidate] : oldest_first) {
        if (total <= request.max_total_size)
            return;
        kr_platform::remove_file(candidate.path);
        total -= candidate.size;
    }
}

} // namespace kr_internal
