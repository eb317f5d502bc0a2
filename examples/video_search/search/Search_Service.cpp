#include "Search_Service.h"

#include "Export.h"
#include "Page_File.h"
#include "Table.h"
#include "Upgrade.h"

#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

namespace video_search {

Search_Service::Search_Service(Host& host, const Options& options)
    : KR_Component_Base("search"), host_(host), options_(options)
{
}

Search_Service::~Search_Service()
{
    if (get_state() != STATE_STOPPED)
        component_stop();
}

std::optional<Result> Search_Service::take()
{
    KR_GUARD(outcome_mutex_);
    if (failure_)
        std::rethrow_exception(failure_);
    return std::exchange(result_, std::nullopt);
}

KR_Component_Base::State Search_Service::do_component_start(ACE_Reactor*)
{
    is_stopping_ = false;
    try {
        worker_ = std::thread([this] { work(); });
    } catch (const std::system_error& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR search: no thread: %s\n", error.what());
        return STATE_STOPPED;
    }
    return STATE_STARTED;
}

KR_Component_Base::State Search_Service::do_component_stop()
{
    is_stopping_ = true;
    worker_.join();
    return STATE_STOPPED;
}

bool Search_Service::is_stopped() const noexcept
{
    return is_stopping_ || host_.is_interrupted();
}

void Search_Service::work() noexcept
{
    try {
        std::optional<Page> page = find();
        if (page)
            write(*page);
        share(page ? std::optional(std::move(page->result)) : std::nullopt, nullptr);
    } catch (...) {
        share(std::nullopt, std::current_exception());
    }
    host_.end();
}

void Search_Service::share(std::optional<Result> result, std::exception_ptr failure)
{
    KR_GUARD(outcome_mutex_);
    result_ = std::move(result);
    failure_ = std::move(failure);
}

namespace {

void log(const Page& page)
{
    std::string query;
    for (const std::string& word : in_words(page.criteria))
        query += (query.empty() ? "" : ", ") + word;
    const std::uint64_t hits = page.result.hits.size();
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF search: %s: %Q %s; %s\n", query, hits,
           hits == 1 ? "hit" : "hits", summary_of(page.result));
}

void check_strict(const Options& options, const Result& result)
{
    if (options.is_strict && !result.unanswered.empty())
        throw Failure("the search is not whole: " + result.unanswered.front());
}

// What is not shown is not filled.
Criteria shown_by(const Options& options)
{
    Criteria criteria = options.criteria;
    if (!options.html.empty())
        return criteria;
    criteria.window = 0;
    criteria.detail = options.json.empty() ? Detail::line : Detail::path;
    return criteria;
}

} // namespace

// Nothing when it was stopped.
std::optional<Page> Search_Service::find()
{
    upgrade(options_.store, host_.profile(), [this] { return is_stopped(); });
    if (is_stopped())
        return std::nullopt;
    const std::unique_ptr<Object_Store> store =
        open_store(options_.store, Object_Store::Access::read);
    Page page;
    page.title = options_.title;
    page.run = host_.run_id();
    page.criteria = options_.criteria;
    page.result =
        search(*store, shown_by(options_), host_.profile(), [this] { return is_stopped(); });
    page.result.unanswered = store->unanswered();
    if (is_stopped())
        return std::nullopt;
    check_strict(options_, page.result);
    log(page);
    if (!options_.html.empty())
        page.scenes = scenes(*store, page.result);
    return page;
}

namespace {

// Whether it has a hit or lies in the time that was searched.
bool is_of_interest(const Recording& recording, const Criteria& criteria, const Result& result)
{
    const bool has_hit = std::any_of(result.hits.begin(), result.hits.end(),
                                     [&](const Hit& hit) { return hit.run == recording.run; });
    return has_hit ||
           (recording.end >= from_time(criteria) && recording.start <= to_time(criteria));
}

} // namespace

std::vector<Scene> Search_Service::scenes(Object_Store& store, const Result& result)
{
    const ProfileHelperBlock block(&host_.profile(), "query");
    std::vector<Scene> scenes;
    for (Recording& recording : store.recordings()) {
        if (!is_of_interest(recording, options_.criteria, result))
            continue;
        std::vector<Picture> pictures = store.pictures(recording.run);
        scenes.push_back({std::move(recording), std::move(pictures)});
    }
    return scenes;
}

namespace {

void write_if_asked(const char* what, const std::string& path, const Page& page,
                    std::string (*text_of)(const Page&))
{
    if (path.empty())
        return;
    write_whole(what, path, text_of(page));
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF search: wrote the %s '%s'\n", what, path);
}

} // namespace

void Search_Service::write(const Page& page)
{
    const ProfileHelperBlock block(&host_.profile(), "page");
    write_if_asked("page", options_.html, page, html_of);
    write_if_asked("CSV file", options_.csv, page,
                   [](const Page& each) { return csv_of(each.result); });
    write_if_asked("JSON file", options_.json, page,
                   [](const Page& each) { return json_of(each.result); });
}

} // namespace video_search
