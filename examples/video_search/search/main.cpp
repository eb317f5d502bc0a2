// kr_search: finds objects in a store, prints them as a table and writes them as a page, as CSV and
// as JSON.
//
// Exit codes: 0 it is done, also when nothing matches; 1 it failed; 2 the command line is wrong;
// 130 Ctrl-C. In the last three cases nothing is written.

#include "../host/Host.h"
#include "../host/Program.h"
#include "Options.h"
#include "Search_Service.h"
#include "Table.h"
#include "Upgrade.h"

#include <KRCommon/frame/Log.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

namespace video_search {

namespace {

void print(const Result& result, const Options& options)
{
    std::string text = table_of(result);
    if (!options.html.empty())
        text += "page: " + options.html + "\n";
    if (!options.csv.empty())
        text += "CSV: " + options.csv + "\n";
    if (!options.json.empty())
        text += "JSON: " + options.json + "\n";
    if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
        throw Failure("cannot write the table to the standard output");
}

int search_and_print(Host& host, const Options& options)
{
    Search_Service service(host, options);
    if (!host.run(service))
        throw Failure("the search could not be started or stopped; the log tells more");
    const std::optional<Result> result = service.take();
    if (!result) {
        std::fputs("kr_search: interrupted\n", stderr);
        return interrupted;
    }
    print(*result, options);
    return done;
}

int work(const Options& options)
{
    check_exists(options.store);
    Host host("kr_search", options.logs);
    try {
        return search_and_print(host, options);
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s\n", error.what());
        throw;
    }
}

int run(int argc, char** argv)
{
    const std::optional<Options> options =
        parse_options(argc, argv, VIDEO_SEARCH_VERSION, std::cout);
    return options ? work(*options) : done;
}

} // namespace

} // namespace video_search

int main(int argc, char** argv)
{
    return video_search::run_program("kr_search", [=] { return video_search::run(argc, argv); });
}
