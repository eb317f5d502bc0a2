#include <KRCommon/xml/Xml_Error.h>

#include <array>

namespace kr_internal {

namespace {

// By code, from 0.
constexpr std::array<std::string_view, 41> messages{
    "No Error",
    "Unable to open file",
    "Violation of xs:all cardinality constraints",
    "Attribute has already been read",
    "Attributes found in anonymous compositor",
    "XML badly formed",
    "XML character encoding not supported",
    "Inappropriate choice option selected",
    "Badly formed comment",
    "Badly formed DTD",
    "Bad end of element",
    "Bad start tag end",
    "Syntax error in end tag",
    "Bad XML Decl spec",
    "Unsupported XML version",
    "Mis-match between specified char encoding and read bytes",
    "Element not found",
    "Reference to external entity",
    "Fraction digits exceeded",
    "Length too long",
    "Length too short",
    "Mandatory element missing",
    "No pattern matched",
    "Not well formed",
    "Recursive entity definition",
    "Require attribute(s) missing",
    "Element instances exceeds maxOccurs",
    "Total digits exceeded",
    "Unable to read attribute value",
    "Unable to read element value",
    "Unknown element in xs:all",
    "Unknown element in complexContent",
    "Unexpected empty element",
    "Unexpected entity",
    "Unexpected end of message",
    "Invalid value format for this type",
    "Value greater than specified maximum",
    "Value less than specified minimum",
    "Value does not match enumerations",
    "Unexpected attribute",
    "Nilled element body not empty",
};

} // namespace

std::string_view message_of(Xml_Code code) noexcept
{
    const auto index = static_cast<std::size_t>(code); // a negative number becomes a huge one
    return index < messages.size() ? messages[index] : std::string_view{};
}

std::string text_of(const Xml_Error& error)
{
    if (!error)
        return std::string(message_of(Xml_Code::no_error));
    const std::string_view message = error.message.empty() ? message_of(error.code) : error.message;
    std::string text = "line:" + std::to_string(error.line) + "-'" + error.name + "'-";
    return text.append(message);
}

} // namespace kr_internal
