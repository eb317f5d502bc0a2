// Any bytes as a configuration file: the parser alone, then the whole reader, the check that goes on
// behind its errors, then the table that an accepted document fills.

#include <KRCommon/colors/Color_Table.h>
#include <KRCommon/colors/Configuration_Check.h>
#include <KRCommon/colors/Configuration_Reader.h>
#include <KRCommon/xml/Xml_Parser.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using kr_internal::Xml_Error;
using kr_internal::Xml_Parser;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void require_sound(const Xml_Error& error, std::string_view document)
{
    require(!message_of(error.code).empty());
    require(text_of(error).rfind("line:", 0) == 0);
    require(error.line <= document.size() + 1);
}

// True when the document is well formed, but for attributes that come twice.
bool walk(std::string_view document)
{
    Xml_Parser parser(document);
    std::vector<std::string> open;
    for (;;) {
        switch (parser.next()) {
        case Xml_Parser::Event::start_element: {
            open.emplace_back(parser.name());
            Xml_Parser::Attribute attribute;
            // Every second element's attributes are left to the parser.
            while (open.size() % 2 == 1 && parser.next_attribute(attribute))
                require(!attribute.name.empty());
            break;
        }
        case Xml_Parser::Event::end_element:
            require(!open.empty() && open.back() == parser.name());
            open.pop_back();
            break;
        case Xml_Parser::Event::text: require(!open.empty()); break;
        case Xml_Parser::Event::end_of_document:
            require(open.empty() && !parser.error());
            return true;
        case Xml_Parser::Event::error:
            require_sound(parser.error(), document);
            require(parser.next() == Xml_Parser::Event::error);
            return false;
        }
    }
}

void use(KRCMN::XML_configuration::XML_colors& colors)
{
    kr_internal::Color_Table table;
    table.rebuild(colors);
    std::vector<ns__ColorPreset> presets;
    ns__HsvColor color;
    for (color.hue = -1; color.hue < 360; color.hue += 60)
        table.append_presets(color, presets);
}

// The first error is the reader's, and all places lie in the text.
void check(std::string_view document, const Xml_Error& error)
{
    const KR_Configuration_Report report = kr_check_configuration(document);
    require(report.errors.empty() == !error && report.colors);
    require(!error || report.errors[0].text == text_of(error));
    for (const KR_Configuration_Error& each : report.errors)
        require(each.begin <= each.end && each.end <= report.text.size());
    for (const KR_Configured_Range& range : report.ranges)
        require(range.begin <= range.end && range.end <= report.text.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view document(reinterpret_cast<const char*>(data), size);
    const bool is_well_formed = walk(document);

    KRCMN::XML_configuration configuration;
    const Xml_Error error = kr_internal::read_configuration(document, configuration);
    check(document, error);
    if (error) {
        require_sound(error, document);
        return 0;
    }
    const std::size_t count = configuration.get_colors().get_presets().count();
    require(is_well_formed && count >= 1 && count <= kr_internal::max_presets);
    use(configuration.get_colors());
    return 0;
}
