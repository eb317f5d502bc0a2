#include "Input.h"

#include "../platform/Console.h"
#include "Program.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace krtool {

namespace {

std::FILE* open(const std::string& path, const std::string& name)
{
    if (path == "-") {
        make_binary(stdin);
        return stdin;
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        throw Failure(name + " is a folder");
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        throw Failure("cannot open " + name + ": " + std::strerror(errno));
    return file;
}

} // namespace

void Input::Close::operator()(std::FILE* file) const noexcept
{
    if (file != stdin)
        std::fclose(file);
}

Input::Input(const std::string& path)
    : name_(path == "-" ? "the standard input" : "'" + path + "'"), file_(open(path, name_))
{
}

std::size_t Input::read(void* out, std::size_t size)
{
    const std::size_t count = std::fread(out, 1, size, file_.get());
    if (count < size && std::ferror(file_.get()))
        throw Failure("cannot read " + name_ + ": " + std::strerror(errno));
    return count;
}

std::string Input::rest(std::size_t limit)
{
    constexpr std::size_t step = std::size_t{64} << 10;
    std::string text;
    for (std::size_t got = step; got == step;) {
        const std::size_t size = text.size();
        text.resize(size + step);
        got = read(&text[size], step);
        text.resize(size + got);
        if (text.size() > limit)
            throw Failure(name_ + " has more than " + std::to_string(limit) + " bytes");
    }
    return text;
}

} // namespace krtool
