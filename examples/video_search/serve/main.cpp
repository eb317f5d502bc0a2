// kr_serve: answers searches of a store over HTTP, until Ctrl-C: a web page for people, JSON for
// scripts, SOAP for programs (docs/serve.md).
//
// Exit codes: 0 it was stopped by Ctrl-C; 1 it failed; 2 the command line is wrong.

#include "../host/Host.h"
#include "../host/Program.h"
#include "Serve_Component.h"
#include "Serve_Options.h"
#include "search/Upgrade.h"

#include <KRCommon/frame/Log.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>

namespace video_search {

namespace {

int serve(Host& host, const Serve_Options& options)
{
    upgrade(options.store, host.profile(), [&] { return host.is_interrupted(); });
    Serve_Component service(host, options);
    std::printf("kr_serve: %s\n", service.address().c_str());
    std::fflush(stdout);
    if (!host.run(service))
        throw Failure("the service could not be started or stopped; the log tells more");
    if (!host.is_interrupted())
        throw Failure("the service ended; the log tells more");
    return done;
}

int work(const Serve_Options& options)
{
    check_exists(options.store);
    Host host("kr_serve", options.logs);
    try {
        return serve(host, options);
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s\n", error.what());
        throw;
    }
}

int run(int argc, char** argv)
{
    const std::optional<Serve_Options> options =
        parse_serve_options(argc, argv, VIDEO_SEARCH_VERSION, std::cout);
    return options ? work(*options) : done;
}

} // namespace

} // namespace video_search

int main(int argc, char** argv)
{
    return video_search::run_program("kr_serve", [=] { return video_search::run(argc, argv); });
}
