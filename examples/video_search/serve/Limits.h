#pragma once

/// \file
/// What one client may ask of the service, and all of them together.

#include <chrono>
#include <cstddef>

namespace video_search {

struct Limits {
    // Requests
    std::size_t head_bytes = std::size_t{16} * 1024;  ///< request line and headers
    std::size_t body_bytes = std::size_t{256} * 1024; ///< of a SOAP request; no other has a body
    std::size_t parameters = 64;                      ///< of a query string
    std::size_t xml_depth = 16;
    std::size_t xml_elements = 1000;

    // Connections
    std::size_t clients = 64;       ///< served at once; one more takes the place of one that waits
    std::size_t event_clients = 16; ///< of these, who follow events: a quarter at most
    std::chrono::milliseconds idle{15'000};     ///< between two requests of a connection
    std::chrono::milliseconds request{10'000};  ///< from a request's first byte to its last
    std::chrono::milliseconds response{30'000}; ///< for a response that is made, to be taken
    std::size_t requests_per_connection = 1000;

    // Answers
    std::size_t page = 50; ///< objects, when no limit is given
    std::size_t most_per_page = 500;
    std::size_t most_csv_rows = 10'000;
    std::size_t most_buckets = 1000;
    int most_window = 1000;                   ///< instances of each object
    std::size_t path_points = 64;             ///< of an object in a list
    std::chrono::milliseconds search{20'000}; ///< for one search, waiting for its turn included
    std::size_t searches = 4;                 ///< at once; others wait
};

} // namespace video_search
