#include "Routes.h"

#include "Api_Error.h"

#include <optional>
#include <utility>

namespace video_search {

void Routes::add(std::string method, std::string path, Handler handler)
{
    routes_.push_back({std::move(method), std::move(path), std::move(handler)});
}

namespace {

// The text up to the next "/", which is taken from it too.
std::string_view next_part(std::string_view& path)
{
    const std::size_t end = path.find('/');
    const std::string_view part = path.substr(0, end);
    path = end == std::string_view::npos ? std::string_view() : path.substr(end + 1);
    return part;
}

// What stands for {...}, when the path has the pattern's form.
std::optional<std::vector<std::string>> parts_of(std::string_view path, std::string_view pattern)
{
    std::vector<std::string> parts;
    if ((path.back() == '/') != (pattern.back() == '/'))
        return std::nullopt;
    while (!path.empty() && !pattern.empty()) {
        const std::string_view part = next_part(path);
        const std::string_view expected = next_part(pattern);
        if (!expected.empty() && expected.front() == '{')
            parts.emplace_back(part);
        else if (part != expected)
            return std::nullopt;
    }
    return path.empty() && pattern.empty() ? std::optional(parts) : std::nullopt;
}

} // namespace

Routes::Match Routes::find(const std::string& method, std::string_view path) const
{
    bool is_known = false;
    if (!path.empty() && path.front() == '/')
        for (const Route& route : routes_) {
            std::optional<std::vector<std::string>> parts = parts_of(path, route.path);
            if (!parts)
                continue;
            is_known = true;
            if (route.method == method || (route.method == "GET" && method == "HEAD"))
                return {&route, std::move(*parts)};
        }
    if (is_known)
        throw Api_Error(405, "wrong_method", "the address does not take this method");
    throw Api_Error(404, "not_found", "there is no such address");
}

std::string Routes::methods_of(std::string_view path) const
{
    std::string methods;
    for (const Route& route : routes_)
        if (parts_of(path, route.path))
            methods += (methods.empty() ? "" : ", ") +
                       (route.method == "GET" ? std::string("GET, HEAD") : route.method);
    return methods;
}

} // namespace video_search
