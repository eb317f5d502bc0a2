#include "Soap_Service.h"

#include "Api_Error.h"
#include "Frame_Source.h"
#include "Soap_Types.h"
#include "Swatches.h"
#include "wsdl_text.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/util/Base64.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <utility>

namespace video_search {

namespace {

constexpr std::string_view envelope_space = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr std::string_view own_space = "urn:krsearch";

Api_Error fault(const std::string& message)
{
    return {400, "bad_request", message};
}

bool is_envelope_part(const Xml_Element& element, std::string_view name)
{
    return element.space == envelope_space && element.name == name;
}

bool is_demanding(const Xml_Element& header)
{
    return std::any_of(header.children.begin(), header.children.end(),
                       [](const Xml_Element& each) { return each.must_be_understood; });
}

} // namespace

Xml_Element read_envelope(std::string_view request, const Limits& limits)
{
    Xml_Element envelope = parse_xml(request, limits.xml_depth, limits.xml_elements);
    if (envelope.name == "Envelope" && envelope.space != envelope_space)
        throw Api_Error(400, "version_mismatch", "the envelope is not of SOAP 1.1");
    if (!is_envelope_part(envelope, "Envelope"))
        throw fault("there is no SOAP envelope");
    std::vector<Xml_Element>& parts = envelope.children;
    if (!parts.empty() && is_envelope_part(parts[0], "Header")) {
        if (is_demanding(parts[0]))
            throw Api_Error(400, "must_understand", "no header of SOAP is understood here");
        parts.erase(parts.begin());
    }
    if (parts.size() != 1 || !is_envelope_part(parts[0], "Body"))
        throw fault("the envelope has not one body");
    if (parts[0].children.size() != 1)
        throw fault("the body has not one operation");
    return std::move(parts[0].children[0]);
}

namespace {

std::string snake_case(const std::string& name)
{
    std::string result;
    for (const char c : name) {
        if (c >= 'A' && c <= 'Z')
            result += {'_', static_cast<char>(c - 'A' + 'a')};
        else
            result += c;
    }
    return result;
}

// As schemas have it: white space at both ends of a value means nothing.
std::string trimmed(const std::string& text)
{
    constexpr const char* space = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(space);
    const std::size_t end = text.find_last_not_of(space);
    return begin == std::string::npos ? std::string() : text.substr(begin, end - begin + 1);
}

} // namespace

Parameters parameters_of(const Xml_Element& operation)
{
    constexpr std::size_t longest = 8192;
    Parameters parameters;
    for (const Xml_Element& element : operation.children) {
        if (element.space != own_space || !element.children.empty())
            throw fault("'" + element.name + "' is no parameter");
        std::string value = trimmed(element.text);
        if (value.size() > longest)
            throw bad_parameter(element.name, "the value is too long");
        parameters.emplace_back(snake_case(element.name), std::move(value));
    }
    return parameters;
}

namespace {

std::string envelope_of(const std::string& body)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?>)"
           "\n"
           R"(<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>)" +
           body + "</s:Body></s:Envelope>\n";
}

// As the element is called.
std::string camel_case(const std::string& name)
{
    std::string result;
    bool is_begin = false;
    for (const char c : name) {
        if (c != '_')
            result += is_begin && c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        is_begin = c == '_';
    }
    return result;
}

std::string fault_code(const Api_Error& error)
{
    if (error.code() == "version_mismatch")
        return "s:VersionMismatch";
    if (error.code() == "must_understand")
        return "s:MustUnderstand";
    return error.status() < 500 ? "s:Client" : "s:Server";
}

std::string fault_of(const Api_Error& error)
{
    std::string detail = xml_element("code", xml_text(error.code()));
    if (!error.parameter().empty())
        detail += xml_element("parameter", xml_text(camel_case(error.parameter())));
    return envelope_of("<s:Fault>" + xml_element("faultcode", fault_code(error)) +
                       xml_element("faultstring", xml_text(error.what())) +
                       "<detail><error xmlns=\"urn:krsearch\">" + detail +
                       "</error></detail></s:Fault>");
}

} // namespace

Soap_Service::Answer Soap_Service::answer(std::string_view request)
{
    try {
        return {200, envelope_of(respond(read_envelope(request, limits_)))};
    } catch (const Api_Error& error) {
        return {500, fault_of(error)};
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR serve: %s\n", error.what());
        return {500, fault_of(Api_Error(500, "failed", "the service failed; its log tells more"))};
    }
}

std::string Soap_Service::respond(const Xml_Element& operation)
{
    if (operation.space != own_space)
        throw fault("the operation is not of the namespace urn:krsearch");
    std::string content;
    if (operation.name == "Search")
        content = search(operation);
    else if (operation.name == "GetObject")
        content = object(operation);
    else if (operation.name == "GetThumbnail")
        content = thumbnail(operation);
    else if (operation.name == "GetPresets")
        content = xml_of_presets(swatches(*KR_Colors::instance()));
    else if (operation.name == "GetRecordings")
        content = recordings();
    else
        throw fault("there is no operation '" + operation.name + "'");
    return "<" + operation.name + "Response xmlns=\"urn:krsearch\">" + content + "</" +
           operation.name + "Response>";
}

std::string Soap_Service::search(const Xml_Element& operation)
{
    Search_Request request =
        read_search(parameters_of(operation), limits_, limits_.page, limits_.most_per_page);
    request.criteria.detail = Detail::path;
    const Hit_Page page = api_.search(request);
    std::string xml;
    for (const Hit& hit : page.hits)
        xml += xml_of(hit);
    if (page.next)
        xml += xml_element("next", xml_text(*page.next));
    return xml + xml_element("complete", page.next || !page.unanswered.empty() ? "false" : "true");
}

namespace {

struct Object_Key {
    ns__SensorId sensor;
    std::uint64_t id = 0;
};

Object_Key key_of(const Xml_Element& operation)
{
    const Parameters parameters = parameters_of(operation);
    if (parameters.size() != 2 || parameters[0].first != "sensor" || parameters[1].first != "id")
        throw fault("sensor and id, and nothing else, are needed");
    return {read_sensor(parameters[0].second), read_object_id(parameters[1].second)};
}

} // namespace

std::string Soap_Service::object(const Xml_Element& operation)
{
    const Object_Key key = key_of(operation);
    return xml_of(api_.object(key.sensor, key.id).hit);
}

std::string Soap_Service::thumbnail(const Xml_Element& operation)
{
    const Object_Key key = key_of(operation);
    const Bytes jpeg = api_.thumbnail(key.sensor, key.id);
    std::string text;
    KR_Base64::encode(std::string(jpeg.begin(), jpeg.end()), text, false);
    return xml_element("jpeg", text);
}

std::string Soap_Service::recordings()
{
    std::string xml;
    for (const Counted_Recording& each : api_.recordings().recordings)
        xml += xml_of(each, name_of(each.recording));
    return xml;
}

std::string Soap_Service::description(const std::string& address)
{
    const std::string place = "@ADDRESS@";
    std::string text = wsdl_text;
    return text.replace(text.find(place), place.size(), xml_text(address));
}

} // namespace video_search
