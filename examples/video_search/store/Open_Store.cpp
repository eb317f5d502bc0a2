#include "Object_Store.h"

#include "Store.h"
#ifdef VIDEO_SEARCH_CLICKHOUSE
#include "Cluster_Store.h"
#endif
#include "../host/Host.h"

namespace video_search {

bool is_cluster(const std::string& store)
{
    return store.rfind("clickhouse:", 0) == 0;
}

namespace {

std::unique_ptr<Object_Store> open_cluster(const std::string& address, Object_Store::Access access,
                                           const std::string& folder)
{
#ifdef VIDEO_SEARCH_CLICKHOUSE
    return std::make_unique<Cluster_Store>(parse_cluster_address(address), access, folder);
#else
    (void)address; // may have a password in it
    (void)access;
    (void)folder;
    throw Failure("--store: this program was built without clusters, since libcurl was not there");
#endif
}

} // namespace

std::unique_ptr<Object_Store> open_store(const std::string& store, Object_Store::Access access,
                                         const std::string& folder)
{
    if (is_cluster(store))
        return open_cluster(store, access, folder);
    return std::make_unique<Store>(store, access);
}

} // namespace video_search
