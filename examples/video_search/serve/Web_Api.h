#pragma once

/// \file
/// The service's addresses: the page, the JSON interface, pictures, events, SOAP and what operators ask.
/// Threads: answer() may be called from any at once.

#include "Access.h"
#include "Events.h"
#include "Frame_Source.h"
#include "Json_Answers.h"
#include "Limits.h"
#include "Metrics.h"
#include "Routes.h"
#include "Search_Api.h"
#include "Serve_Options.h"
#include "Soap_Service.h"
#include "Swatches.h"

#include <httplib.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace video_search {

class Web_Api {
public:
    static constexpr const char* soap_path = "/soap";

    /// token  empty for none. The profile must live longer. Failure when the store cannot be opened.
    Web_Api(const Serve_Options& options, const std::string& token, ProfileHelper& profile);

    /// Fills the response, whatever the request; throws nothing but std::bad_alloc.
    void answer(const httplib::Request& request, httplib::Response& response);

    /// Text for Prometheus that is put behind the service's own.
    void set_server_metrics(std::function<std::string()> text)
    {
        server_metrics_ = std::move(text);
    }

    /// Searches and events end soon, with an error.
    void stop() noexcept;

    [[nodiscard]] const Routes& routes() const noexcept { return routes_; }

private:
    void add_routes();
    void add_pages();
    void add_pictures();
    void handle(const httplib::Request& request, httplib::Response& response, std::string& route);
    void search(const Call& call);
    void search_csv(const Call& call);
    void density(const Call& call);
    void recordings(const Call& call);
    void object(const Call& call);
    void frame(const Call& call);
    void still(const Call& call);
    void thumbnail(const Call& call);
    void health(const Call& call);
    void metrics(const Call& call);
    void soap(const Call& call);
    [[nodiscard]] Parameters parameters_of(const Call& call) const;
    [[nodiscard]] Recording readable(Recording recording) const;

    const Limits limits_;
    const std::string recordings_;
    const Access access_;
    Search_Api api_;
    Events events_;
    Frame_Source frames_;
    Soap_Service soap_;
    const std::vector<Swatch> swatches_;
    Metrics metrics_;
    Routes routes_;
    std::function<std::string()> server_metrics_;
};

} // namespace video_search
