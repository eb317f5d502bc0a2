#include "Xml_Element.h"

#include "Api_Error.h"

#include <expat.h>

#include <exception>
#include <limits>
#include <memory>
#include <new>

namespace video_search {

namespace {

constexpr char separator = '\n'; // between namespace and name: stands in neither

// Expat is C: what is thrown waits until it has returned.
class Reader {
public:
    Reader(std::size_t depth, std::size_t elements)
        : parser_(XML_ParserCreateNS(nullptr, separator), XML_ParserFree), depth_(depth),
          elements_(elements)
    {
        if (!parser_)
            throw std::bad_alloc();
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), start, end);
        XML_SetCharacterDataHandler(parser_.get(), text);
        XML_SetStartDoctypeDeclHandler(parser_.get(), doctype);
    }

    Xml_Element read(std::string_view document)
    {
        if (document.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            throw Api_Error(413, "bad_xml", "the XML is too long");
        const XML_Status status =
            XML_Parse(parser_.get(), document.data(), static_cast<int>(document.size()), XML_TRUE);
        if (failure_)
            std::rethrow_exception(failure_);
        if (status != XML_STATUS_OK)
            throw Api_Error(400, "bad_xml",
                            "line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) +
                                " of the XML: " + XML_ErrorString(XML_GetErrorCode(parser_.get())));
        return std::move(root_.children.at(0));
    }

private:
    template <class Function>
    void guarded(Function function) noexcept
    {
        if (failure_)
            return;
        try {
            function();
        } catch (...) {
            failure_ = std::current_exception();
            XML_StopParser(parser_.get(), XML_FALSE);
        }
    }

    static void start(void* self, const char* name, const char** attributes)
    {
        Reader& reader = *static_cast<Reader*>(self);
        reader.guarded([&] { reader.open(name, attributes); });
    }

    static void end(void* self, const char* /*name*/)
    {
        Reader& reader = *static_cast<Reader*>(self);
        if (!reader.failure_)
            reader.open_.pop_back();
    }

    static void text(void* self, const char* data, int size)
    {
        Reader& reader = *static_cast<Reader*>(self);
        reader.guarded(
            [&] { reader.open_.back()->text.append(data, static_cast<std::size_t>(size)); });
    }

    static void doctype(void* self, const char*, const char*, const char*, int)
    {
        Reader& reader = *static_cast<Reader*>(self);
        reader.guarded([] { throw Api_Error(400, "bad_xml", "the XML must have no DOCTYPE"); });
    }

    void open(std::string_view name, const char** attributes)
    {
        if (open_.size() > depth_ || ++count_ > elements_)
            throw Api_Error(400, "bad_xml", "the XML has too many elements");
        const std::size_t place = name.rfind(separator);
        Xml_Element element;
        if (place != std::string_view::npos)
            element.space = name.substr(0, place);
        element.name = name.substr(place + 1); // npos + 1 is 0
        for (; *attributes != nullptr; attributes += 2)
            element.must_be_understood |= is_demand(attributes[0], attributes[1]);
        std::vector<Xml_Element>& siblings = open_.back()->children;
        siblings.push_back(std::move(element));
        open_.push_back(&siblings.back()); // no sibling comes before its end
    }

    static bool is_demand(std::string_view name, std::string_view value)
    {
        return name.substr(name.rfind(separator) + 1) == "mustUnderstand" &&
               (value == "1" || value == "true");
    }

    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser_;
    const std::size_t depth_;
    const std::size_t elements_;
    std::size_t count_ = 0;
    Xml_Element root_;
    std::vector<Xml_Element*> open_{&root_};
    std::exception_ptr failure_;
};

} // namespace

Xml_Element parse_xml(std::string_view document, std::size_t depth, std::size_t elements)
{
    return Reader(depth, elements).read(document);
}

std::string xml_text(std::string_view text)
{
    std::string xml;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        switch (c) {
        case '&': xml += "&amp;"; break;
        case '<': xml += "&lt;"; break;
        case '>': xml += "&gt;"; break;
        case '"': xml += "&quot;"; break;
        case '\r': xml += "&#13;"; break;
        default:
            if (code < 0x20 && c != '\t' && c != '\n')
                xml += "\xEF\xBF\xBD";
            else
                xml += c;
        }
    }
    return xml;
}

std::string xml_element(std::string_view name, std::string_view content)
{
    std::string xml;
    xml.reserve(2 * name.size() + content.size() + 5);
    xml.append("<").append(name).append(">").append(content);
    return xml.append("</").append(name).append(">");
}

} // namespace video_search
