#pragma once

/// \file
/// The service as SOAP 1.1, document/literal (krsearch.wsdl): its requests are the JSON interface's
/// parameters as elements, its results the web-service types of the library.
///
/// Threads: all functions may be called from any at once.

#include "Limits.h"
#include "Search_Api.h"
#include "Xml_Element.h"

#include <string>
#include <string_view>

namespace video_search {

class Soap_Service {
public:
    /// Both must live longer.
    Soap_Service(Search_Api& api, const Limits& limits) : api_(api), limits_(limits) {}

    struct Answer {
        int status = 200; ///< of HTTP: 500 for a fault
        std::string xml;
    };

    /// The answer to a request, which may be a fault. Throws nothing but std::bad_alloc.
    [[nodiscard]] Answer answer(std::string_view request);

    /// The WSDL, for a service at this address.
    [[nodiscard]] static std::string description(const std::string& address);

private:
    std::string respond(const Xml_Element& operation);
    std::string search(const Xml_Element& operation);
    std::string object(const Xml_Element& operation);
    std::string thumbnail(const Xml_Element& operation);
    std::string recordings();

    Search_Api& api_;
    const Limits& limits_;
};

/// The operation that an envelope asks for: the one element of its body. Throws Api_Error.
[[nodiscard]] Xml_Element read_envelope(std::string_view request, const Limits& limits);

/// The elements of an operation as parameters: "minArea" is "min_area". Throws Api_Error.
[[nodiscard]] Parameters parameters_of(const Xml_Element& operation);

} // namespace video_search
