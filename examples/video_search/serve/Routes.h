#pragma once

/// \file
/// Which address answers what. Addresses are compared as they come: none of them needs an escape, so one
/// that has any is unknown. Threads: constant after construction.

#include "Query_Text.h"

#include <httplib.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace video_search {

/// One request on its way.
struct Call {
    const httplib::Request& request;
    httplib::Response& response;
    std::vector<std::string> parts; ///< what stands for {...} in the path, in their order
    std::string_view query;         ///< behind the "?", as it came
};

class Routes {
public:
    using Handler = std::function<void(const Call&)>;

    /// path  "/api/objects/{sensor}/{id}"; each {...} is a whole part of a path
    void add(std::string method, std::string path, Handler handler);

    struct Route {
        std::string method;
        std::string path;
        Handler handler;
    };
    struct Match {
        const Route* route = nullptr;
        std::vector<std::string> parts;
    };

    /// HEAD counts as GET. Throws Api_Error: 404 for an unknown path, 405 for another method.
    [[nodiscard]] Match find(const std::string& method, std::string_view path) const;

    /// What a known path takes, as the header Allow has it: "GET, HEAD".
    [[nodiscard]] std::string methods_of(std::string_view path) const;

    [[nodiscard]] const std::vector<Route>& all() const noexcept { return routes_; }

private:
    std::vector<Route> routes_;
};

} // namespace video_search
