// A client of kr_serve by SOAP, on what gSOAP makes of the WSDL; serve_test.py generates and compiles it.
//
//     soap_client ADDRESS: a search for each line of stdin, "color=red limit=2 ..."; prints what kr_search
//     would write as JSON, an array a line.

#include "KRSearch.nsmap"
#include "soapKRSearchProxy.h"

#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

std::string number(float value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
    return text;
}

std::string quoted(const std::string& text)
{
    return '"' + text + '"'; // nothing in it needs an escape
}

template <class List, class Function>
std::string array_of(const List& list, Function text_of)
{
    std::string json;
    for (const auto& each : list)
        json += (json.empty() ? "" : ", ") + text_of(*each);
    return '[' + json + ']';
}

std::string json_of(const ns1__Object& object)
{
    const auto color = [](const ns1__Color& each) {
        return "{\"name\": " + quoted(each.preset) + ", \"percent\": " + number(each.percent) +
               ", \"rgb\": " + quoted(each.rgb) + '}';
    };
    const auto point = [](const ns1__Point& each) {
        return '[' + number(each.x) + ", " + number(each.y) + ']';
    };
    return "{\"id\": " + std::to_string(object.result->objectId) +
           ", \"sensor\": " + quoted(object.sensor) + ", \"run\": " + quoted(object.run) +
           ", \"first_seen\": " + quoted(object.from) + ", \"last_seen\": " + quoted(object.to) +
           ", \"duration\": " + std::to_string(object.result->duration) +
           ", \"class\": " + quoted(object.class_) + ", \"score\": " + number(object.score) +
           ", \"scores\": {\"person\": " + number(object.personScore) +
           ", \"vehicle\": " + number(object.vehicleScore) +
           ", \"object\": " + number(object.objectScore) +
           "}, \"colors\": " + array_of(object.color, color) +
           ", \"instances\": " + std::to_string(object.observations) +
           ", \"path\": " + array_of(object.path, point) + '}';
}

// The criteria of one search, which the request points to.
class Request {
public:
    explicit Request(const std::string& line)
    {
        std::istringstream words(line);
        for (std::string word; words >> word;)
            set(word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
    }

    _ns1__Search search;

private:
    void set(const std::string& name, std::string value)
    {
        if (name == "stoodIn" || name == "crossed") // corners, with ";" between them
            for (char& c : value)
                c = c == ';' ? ' ' : c;
        std::string& text = texts_[name] = value;
        if (name == "color" || name == "sensor") {
            std::istringstream parts(value);
            for (std::string part; std::getline(parts, part, ',');)
                (name == "color" ? search.color : search.sensor).push_back(part);
        }
        const std::map<std::string, std::string**> by_text{
            {"from", &search.from},       {"to", &search.to},         {"hours", &search.hours},
            {"class", &search.class_},    {"colors", &search.colors}, {"stoodIn", &search.stoodIn},
            {"crossed", &search.crossed}, {"sort", &search.sort}};
        const std::map<std::string, float**> by_number{{"minScore", &search.minScore},
                                                       {"minArea", &search.minArea},
                                                       {"minDuration", &search.minDuration},
                                                       {"maxDuration", &search.maxDuration}};
        if (const auto found = by_text.find(name); found != by_text.end())
            *found->second = &text;
        if (const auto found = by_number.find(name); found != by_number.end())
            *found->second = &(numbers_[name] = std::stof(value));
        if (name == "limit")
            search.limit = &(limit_ = std::stoi(value));
    }

    std::map<std::string, std::string> texts_;
    std::map<std::string, float> numbers_;
    int limit_ = 0;
};

} // namespace

int main(int, char** argv)
{
    KRSearchProxy service(argv[1], SOAP_XML_STRICT | SOAP_C_UTFSTRING);
    for (std::string line; std::getline(std::cin, line);) {
        Request request(line);
        _ns1__SearchResponse response;
        if (service.Search(&request.search, response) != SOAP_OK) {
            std::cout << "fault: " << service.soap_fault_string() << '\n';
            continue;
        }
        std::cout << array_of(response.object, json_of) << '\n';
        service.destroy();
    }
}
