#include "Web_Api.h"

#include "Assets.h"
#include "host/Host.h"
#include "openapi_text.h"
#include "search/Export.h"
#include "search/Json_Text.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <utility>

namespace video_search {

Web_Api::Web_Api(const Serve_Options& options, const std::string& token, ProfileHelper& profile)
    : limits_(options.limits), recordings_(options.recordings), access_(options.address, token),
      api_(options.store, limits_, profile), events_(api_, limits_), soap_(api_, limits_),
      swatches_(swatches(*KR_Colors::instance()))
{
    add_routes();
}

void Web_Api::stop() noexcept
{
    api_.stop();
    events_.stop();
}

namespace {

constexpr const char* json_type = "application/json; charset=utf-8";
constexpr const char* xml_type = "text/xml; charset=utf-8";

void set_body(const Call& call, std::string body, const char* type)
{
    call.response.set_content(std::string(), type);
    call.response.body = std::move(body);
}

void set_json(const Call& call, std::string json)
{
    json += '\n';
    set_body(call, std::move(json), json_type);
}

void set_jpeg(const Call& call, const Bytes& jpeg)
{
    call.response.set_content(reinterpret_cast<const char*>(jpeg.data()), jpeg.size(),
                              "image/jpeg");
    call.response.headers.erase("Cache-Control");
    call.response.set_header("Cache-Control", "private, max-age=3600");
}

// What a browser may do with all that comes from here.
void set_common_headers(httplib::Response& response)
{
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                        "connect-src 'self'; base-uri 'none'; form-action 'self'; "
                        "frame-ancestors 'none'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("X-Frame-Options", "DENY");
    response.set_header("Referrer-Policy", "same-origin");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    response.set_header("Cross-Origin-Opener-Policy", "same-origin");
    response.set_header("Permissions-Policy", "camera=(), microphone=(), geolocation=()");
    response.set_header("Cache-Control", "no-store");
}

// Whether the browser has it: one of a list, which a proxy may have made weak.
bool is_known(const std::string& tags, const Asset& asset)
{
    return tags == "*" || tags.find(asset.etag) != std::string::npos; // with its quotation marks
}

void set_asset(const Call& call, const Asset& asset)
{
    call.response.headers.erase("Cache-Control");
    call.response.set_header("Cache-Control", "no-cache");
    call.response.set_header("ETag", std::string(asset.etag));
    if (is_known(call.request.get_header_value("If-None-Match"), asset))
        call.response.status = 304;
    else
        call.response.set_content(asset.bytes.data(), asset.bytes.size(),
                                  std::string(asset.content_type));
}

} // namespace

void Web_Api::add_routes()
{
    const auto add = [this](const char* path, void (Web_Api::*member)(const Call&)) {
        routes_.add("GET", path, [this, member](const Call& call) { (this->*member)(call); });
    };
    add("/api/search", &Web_Api::search);
    add("/api/search.csv", &Web_Api::search_csv);
    add("/api/density", &Web_Api::density);
    add("/api/recordings", &Web_Api::recordings);
    add("/api/objects/{sensor}/{id}", &Web_Api::object);
    add("/health", &Web_Api::health);
    add("/metrics", &Web_Api::metrics);
    routes_.add("GET", "/api/presets",
                [this](const Call& call) { set_json(call, json_of_presets(swatches_)); });
    routes_.add("GET", "/api/events",
                [this](const Call& call) { events_.answer(call.request, call.response); });
    routes_.add("GET", "/api/openapi.json",
                [](const Call& call) { call.response.set_content(openapi_text, json_type); });
    routes_.add("POST", soap_path, [this](const Call& call) { soap(call); });
    routes_.add("GET", soap_path, [this](const Call& call) { soap(call); });
    add_pictures();
    add_pages();
}

void Web_Api::add_pictures()
{
    const auto add = [this](const char* path, void (Web_Api::*member)(const Call&)) {
        routes_.add("GET", path, [this, member](const Call& call) { (this->*member)(call); });
    };
    add("/api/objects/{sensor}/{id}/thumbnail.jpg", &Web_Api::thumbnail);
    add("/api/objects/{sensor}/{id}/frame.jpg", &Web_Api::frame);
    add("/api/recordings/{run}/still.jpg", &Web_Api::still);
}

void Web_Api::add_pages()
{
    for (const Asset& asset : assets())
        routes_.add("GET", std::string(asset.path), [this, &asset](const Call& call) {
            if (asset.path == "/" && call.query == "wsdl")
                soap(call);
            else
                set_asset(call, asset);
        });
}

namespace {

void set_error(httplib::Response& response, const Api_Error& error)
{
    response.status = error.status();
    response.content_provider_ = nullptr;
    if (error.status() == 401)
        response.set_header("WWW-Authenticate", "Bearer");
    if (error.status() == 503)
        response.set_header("Retry-After", "1");
    response.set_content(json_of(error) + "\n", json_type);
}

// What a store says names its file, which is no client's affair.
void set_failure(httplib::Response& response, const std::exception& error)
{
    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR serve: %s\n", error.what());
    set_error(response, Api_Error(500, "failed", "the service failed; its log tells more"));
}

std::string_view path_of(const httplib::Request& request)
{
    return std::string_view(request.target).substr(0, request.target.find('?'));
}

} // namespace

void Web_Api::answer(const httplib::Request& request, httplib::Response& response)
{
    const auto begin = std::chrono::steady_clock::now();
    set_common_headers(response);
    response.status = 200;
    std::string route = "none";
    try {
        handle(request, response, route);
    } catch (const Api_Error& error) {
        set_error(response, error);
        if (error.status() == 405)
            response.set_header("Allow", routes_.methods_of(path_of(request)));
    } catch (const std::exception& error) {
        set_failure(response, error);
    }
    metrics_.add(route, response.status,
                 std::chrono::duration_cast<std::chrono::microseconds>(
                     std::chrono::steady_clock::now() - begin));
}

// route  takes the one that answers, as soon as it is known
void Web_Api::handle(const httplib::Request& request, httplib::Response& response,
                     std::string& route)
{
    const std::string_view target = request.target;
    const std::string_view path = path_of(request);
    const std::string_view query = target.substr(std::min(path.size() + 1, target.size()));
    if (path != "/health") // tells nothing
        access_.check(request);
    if (path == "/" && access_.brings_token(request)) {
        response.set_header("Set-Cookie", access_.cookie());
        response.set_redirect("/", 303);
        return;
    }
    Routes::Match match = routes_.find(request.method, path);
    route = match.route->path;
    match.route->handler({request, response, std::move(match.parts), query});
}

Parameters Web_Api::parameters_of(const Call& call) const
{
    Parameters parameters = parse_query(call.query, limits_.parameters);
    const auto is_token = [](const auto& each) { return each.first == "token"; };
    parameters.erase(std::remove_if(parameters.begin(), parameters.end(), is_token),
                     parameters.end());
    return parameters;
}

void Web_Api::search(const Call& call)
{
    const auto begin = std::chrono::steady_clock::now();
    Search_Request request =
        read_search(parameters_of(call), limits_, limits_.page, limits_.most_per_page);
    request.criteria.window = 0; // no instances are shown
    request.criteria.detail = Detail::path;
    const Hit_Page page = api_.search(request);
    const auto duration = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - begin);
    set_json(call, json_of(page, limits_.path_points, duration));
}

// In parts, since hits are much larger than their lines, and each thread's heap keeps the room of its
// largest part. Small ones cost no more in the order of time; in others each part passes over those
// before it.
void Web_Api::search_csv(const Call& call)
{
    Search_Request request =
        read_search(parameters_of(call), limits_, limits_.most_csv_rows, limits_.most_csv_rows);
    request.criteria.window = 0;
    request.criteria.detail = Detail::line;
    std::string csv = csv_of({});
    const std::size_t header = csv.size();
    const bool is_by_time =
        request.criteria.order == Order::time || request.criteria.order == Order::latest;
    const std::size_t part = is_by_time ? 500 : 2000;
    std::set<std::string> missing;
    for (std::size_t left = *request.criteria.limit; left > 0;) {
        request.criteria.limit = std::min(left, part);
        Hit_Page page = api_.search(request);
        left = page.next ? left - page.hits.size() : 0;
        if (page.next)
            request.after = cursor_of(page.hits.back());
        for (std::string& each : page.unanswered)
            missing.insert(std::move(each));
        Result result;
        result.hits = std::move(page.hits);
        csv.append(csv_of(result), header);
    }
    set_body(call, std::move(csv), "text/csv; charset=utf-8");
    call.response.set_header("Content-Disposition", "attachment; filename=\"objects.csv\"");
    for (const std::string& each : missing)
        call.response.set_header("X-Unanswered", each);
}

void Web_Api::density(const Call& call)
{
    const Density_Request request = read_density(parameters_of(call), limits_);
    set_json(call, json_of(request, api_.density(request)));
}

// As the recording is found on this machine.
Recording Web_Api::readable(Recording recording) const
{
    if (!recordings_.empty())
        recording.video = (std::filesystem::path(recordings_) / name_of(recording)).string();
    return recording;
}

void Web_Api::recordings(const Call& call)
{
    Recording_List list = api_.recordings();
    std::vector<Shown_Recording> shown;
    for (Counted_Recording& each : list.recordings) {
        const bool has_frames = Frame_Source::has_frames(readable(each.recording));
        const std::string name = name_of(each.recording);
        shown.push_back({std::move(each), name, has_frames});
    }
    set_json(call, json_of(shown, list.unanswered));
}

void Web_Api::object(const Call& call)
{
    const Found_Object found =
        api_.object(read_sensor(call.parts[0]), read_object_id(call.parts[1]));
    const bool has_frames = found.recording && Frame_Source::has_frames(readable(*found.recording));
    set_json(call, json_of(found, has_frames));
}

void Web_Api::thumbnail(const Call& call)
{
    set_jpeg(call, api_.thumbnail(read_sensor(call.parts[0]), read_object_id(call.parts[1])));
}

namespace {

Api_Error error_of(const Frame_Failure& failure)
{
    switch (failure.error()) {
    case Frame_Error::busy:
    case Frame_Error::slow: return {503, "busy", failure.what()};
    default: return {404, "no_frame", failure.what()};
    }
}

} // namespace

void Web_Api::frame(const Call& call)
{
    const Parameters parameters = parameters_of(call);
    if (parameters.size() != 1 || parameters[0].first != "time")
        throw bad_parameter("time", "time, and nothing else, is needed");
    const ACE_Time_Value time = read_time("time", parameters[0].second);
    const Found_Object found =
        api_.object(read_sensor(call.parts[0]), read_object_id(call.parts[1]));
    if (!found.recording)
        throw not_found("the object's recording is not in the store");
    try {
        set_jpeg(call, *frames_.frame(readable(*found.recording), time));
    } catch (const Frame_Failure& failure) {
        throw error_of(failure);
    }
}

void Web_Api::still(const Call& call)
{
    try {
        set_jpeg(call, *frames_.still(readable(api_.recording(call.parts[0]))));
    } catch (const Frame_Failure& failure) {
        throw error_of(failure);
    }
}

void Web_Api::health(const Call& call)
{
    api_.check();
    set_json(call, json_object({{"schema_version", "1"}, {"status", "\"ok\""}}));
}

void Web_Api::metrics(const Call& call)
{
    std::string text =
        metrics_.text() +
        metric("kr_serve_event_clients", "Clients who follow events.", "gauge", events_.clients());
    if (server_metrics_)
        text += server_metrics_();
    call.response.set_content(text, "text/plain; version=0.0.4; charset=utf-8");
}

void Web_Api::soap(const Call& call)
{
    const bool is_post = call.request.method == "POST";
    if (!is_post && call.query != "wsdl")
        throw not_found("the description is at ?wsdl");
    if (is_post && call.request.body.empty()) // the server takes no other kind
        throw Api_Error(415, "not_xml", "a request is text/xml, of one length and not compressed");
    const std::string address = "http://" + call.request.get_header_value("Host") + soap_path;
    const Soap_Service::Answer answer = is_post
                                            ? soap_.answer(call.request.body)
                                            : Soap_Service::Answer{200, soap_.description(address)};
    call.response.status = answer.status;
    call.response.set_content(answer.xml, xml_type);
}

} // namespace video_search
