#include "Serve_Options.h"

#include "Access.h"
#include "host/Program.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>

namespace video_search {

std::optional<Serve_Options> parse_serve_options(int argc, const char* const* argv,
                                                 const std::string& version, std::ostream& out)
{
    Serve_Options options;
    CLI::App app{"Serves the objects of a store: a web page, JSON and SOAP.", "kr_serve"};
    app.set_version_flag("--version", "kr_serve " + version);
    app.add_option("--store", options.store, "The store to search, or clickhouse://...")
        ->type_name("FILE")
        ->required();
    app.add_option("--logs", options.logs, "Folder of the log files")->type_name("DIR")->required();
    app.add_option("--port", options.port, "To listen on; 8080 at first, 0 for any free one")
        ->type_name("N")
        ->check(CLI::Range(0, 65'535));
    app.add_option("--bind", options.address, "To listen on; 127.0.0.1 at first")
        ->type_name("ADDRESS");
    app.add_option("--token-file", options.token_file,
                   "The first line is what clients must bring; needed beyond this machine")
        ->type_name("FILE");
    app.add_option("--recordings", options.recordings,
                   "Folder of the recordings; at first they are where they were analysed")
        ->type_name("DIR");
    app.add_option("--clients", options.limits.clients, "Most connections at once; 64 at first")
        ->type_name("N")
        ->check(CLI::Range(2, 1024));
    if (!parse(app, argc, argv, out))
        return std::nullopt;
    // Whoever follows events keeps its connection: the others need most of them.
    Limits& limits = options.limits;
    limits.event_clients = std::clamp<std::size_t>(limits.clients / 4, 1, limits.event_clients);
    if (!is_loopback(options.address) && options.token_file.empty())
        throw Usage_Error("--bind: " + options.address +
                          " can be reached from other machines; give a --token-file too");
    return options;
}

} // namespace video_search
