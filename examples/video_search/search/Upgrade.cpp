#include "Upgrade.h"

#include "../host/Host.h"
#include "../store/Object_Store.h"
#include "Index_Progress.h"

#include <KRCommon/frame/Log.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace video_search {

namespace {

// A search works without it too, only slower: of a store that cannot be written, say.
void log_no_upgrade(const Failure& failure)
{
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF search: goes through all records, since %s\n",
           failure.what());
}

} // namespace

void check_exists(const std::string& store)
{
    std::error_code ignored;
    if (!is_cluster(store) && !std::filesystem::exists(to_path(store), ignored))
        throw Failure("there is no store '" + store + "'");
}

void upgrade(const std::string& store, ProfileHelper& profile,
             const std::function<bool()>& is_stopped)
{
    if (open_store(store, Object_Store::Access::read)->is_indexed())
        return;
    const ProfileHelperBlock block(&profile, "index");
    Index_Progress progress(stderr);
    try {
        const std::unique_ptr<Object_Store> file = open_store(store, Object_Store::Access::write);
        const bool is_done = file->index([&](std::size_t done, std::size_t total) {
            progress.show(done, total);
            return !is_stopped();
        });
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF search: the index of '%s' %s\n", store,
               is_done ? "is made" : "is to be made yet");
    } catch (const Failure& failure) {
        log_no_upgrade(failure);
    }
}

} // namespace video_search
