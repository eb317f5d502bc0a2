#include "Page_File.h"

#include "../host/Host.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace video_search {

namespace {

std::string last_reason()
{
    return std::generic_category().message(errno);
}

} // namespace

void write_whole(const char* what, const std::string& path, const std::string& text)
{
    const std::string part = path + ".part";
    const auto fail = [&](const std::string& reason) {
        throw Failure(std::string("cannot write the ") + what + " '" + path + "': " + reason);
    };
    const auto remove_and_fail = [&](const std::string& reason) {
        std::error_code ignored;
        std::filesystem::remove(to_path(part), ignored);
        fail(reason);
    };
    errno = 0;
    std::ofstream file(to_path(part), std::ios::binary);
    if (!file)
        fail(last_reason());
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close(); // a full disk may show only here
    if (!file)
        remove_and_fail(last_reason());
    std::error_code error;
    std::filesystem::rename(to_path(part), to_path(path), error);
    if (error)
        remove_and_fail(error.message());
}

} // namespace video_search
