// What comes from outside: the first byte of the input says as what the rest is read, as a query string
// of a search ('q'), as one of a density ('d'), as a cursor ('c'), as a SOAP request ('s') or as a path
// ('p'). Nothing but Api_Error may come of it.

#include "serve/Api_Error.h"
#include "serve/Routes.h"
#include "serve/Search_Request.h"
#include "serve/Soap_Service.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace video_search;

namespace {

const Limits limits;

// A cursor that was taken is written as one that is taken again.
void read_cursor(const std::string& text)
{
    const Criteria criteria;
    const std::string again = to_text(parse_cursor(text, criteria), criteria);
    if (to_text(parse_cursor(again, criteria), criteria) != again)
        std::abort();
}

void read(char kind, const std::string& text)
{
    if (kind == 'q')
        (void)read_search(parse_query(text, limits.parameters), limits, 50, 500);
    if (kind == 'd')
        (void)read_density(parse_query(text, limits.parameters), limits);
    if (kind == 'c')
        read_cursor(text);
    if (kind == 's')
        (void)read_search(parameters_of(read_envelope(text, limits)), limits, 50, 500);
    if (kind == 'p') {
        Routes routes;
        routes.add("GET", "/api/objects/{sensor}/{id}", nullptr);
        const Routes::Match match = routes.find("GET", text);
        (void)read_sensor(match.parts[0]);
        (void)read_object_id(match.parts[1]);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    try {
        read(input[0], input.substr(1));
    } catch (const Api_Error&) { // says what is wrong
    }
    return 0;
}
