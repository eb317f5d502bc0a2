// What reading a configuration from memory costs, beside other XML libraries in the same run. All
// fill the same objects from the same bytes, check names, duplicates, counts and values, and stop
// at the first error. The argument is the number of presets.
//
//   Reader              the library's reader
//   Expat, Pugixml      these parsers with the values converted and checked by hand; Expat does not
//                       count lines unless asked, Pugixml cannot
//   Libxml2Schema       libxml2's reader, validating by KRCommon.xsd, with the values converted
//   Libxml2TreeSchema   libxml2's tree, validated by KRCommon.xsd, with the values converted
//   ReaderUtf16, ReaderLatin1
//                       the same document in UTF-16 and ISO-8859-1
//   ReaderErrorAtEnd    the same document with a mistake in its last preset

#include <KRCommon/colors/Configuration_Reader.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>

#if __has_include(<expat.h>) && __has_include(<libxml/xmlreader.h>) && __has_include(<pugixml.hpp>)
#define KR_HAS_XML_PEERS 1
#include <expat.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlschemas.h>
#include <pugixml.hpp>
#endif

namespace {

using namespace kr_internal;
using KRCMN::XML_configuration;
using XML_preset = XML_configuration::XML_colors::XML_presets::XML_preset;

std::string hundredths(unsigned number)
{
    return number == 100 ? "1" : "0." + std::to_string(100 + number).substr(1);
}

std::string preset_text(unsigned number, const std::string& color)
{
    const unsigned hash = number * 2'654'435'761u >> 8;
    char rgb[8];
    std::snprintf(rgb, sizeof rgb, "%06X", hash & 0xFFFFFFu);
    return "      <preset color=\"" + color + "\" rgb=\"" + rgb + "\" hue_from=\"" +
           std::to_string(hash % 360) + "\" hue_to=\"" + std::to_string(hash / 360 % 360) +
           "\" sat_from=\"" + hundredths(hash % 50) + "\" sat_to=\"" +
           hundredths(50 + hash / 50 % 51) + "\" val_from=\"" + hundredths(hash / 100 % 50) +
           "\" val_to=\"" + hundredths(50 + hash / 1000 % 51) + "\"/>\n";
}

std::string document(std::int64_t presets, const char* last_color = "red",
                     const char* encoding = "UTF-8")
{
    static const char* const colors[] = {
        "white",      "black",  "gray",   "light_blue", "dark_blue", "brown", "light_green",
        "dark_green", "yellow", "orange", "red",        "pink",      "purple"};
    std::string text = "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) +
                       "\"?>\n<configuration>\n  <colors>\n    <presets>\n";
    const auto count = static_cast<unsigned>(presets);
    for (unsigned i = 0; i + 1 < count; ++i)
        text += preset_text(i, colors[i % 13]);
    text += preset_text(count, last_color);
    return text + "    </presets>\n  </colors>\n</configuration>\n";
}

std::string in_utf_16(const std::string& ascii)
{
    std::string bytes = "\xFF\xFE";
    for (const char character : ascii)
        (bytes += character) += '\0';
    return bytes;
}

void read_repeatedly(benchmark::State& state, const std::string& bytes, Xml_Code code)
{
    for (auto _ : state) {
        XML_configuration configuration;
        if (read_configuration(bytes, configuration).code != code)
            state.SkipWithError("another result");
        benchmark::DoNotOptimize(configuration.get_colors().get_presets().count());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void Reader(benchmark::State& state)
{
    read_repeatedly(state, document(state.range(0)), Xml_Code::no_error);
}

void ReaderErrorAtEnd(benchmark::State& state)
{
    read_repeatedly(state, document(state.range(0), "Red"), Xml_Code::not_in_enumeration);
}

void ReaderUtf16(benchmark::State& state)
{
    const std::string text = document(state.range(0), "red", "UTF-16");
    read_repeatedly(state, in_utf_16(text), Xml_Code::no_error);
}

void ReaderLatin1(benchmark::State& state)
{
    read_repeatedly(state, document(state.range(0), "red", "ISO-8859-1"), Xml_Code::no_error);
}

BENCHMARK(Reader)->Arg(26)->Arg(1000);
BENCHMARK(ReaderErrorAtEnd)->Arg(26)->Arg(1000);
BENCHMARK(ReaderUtf16)->Arg(26)->Arg(1000);
BENCHMARK(ReaderLatin1)->Arg(26)->Arg(1000);

#ifdef KR_HAS_XML_PEERS

template <typename Number>
bool convert(std::string_view text, Number& number)
{
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return stop == end && error == std::errc();
}

template <typename Number>
bool store_number(XML_preset& preset, void (XML_preset::*set)(Number), std::string_view text)
{
    Number number = 0;
    if (!convert(text, number))
        return false;
    (preset.*set)(number);
    return true;
}

bool store_value(XML_preset& preset, unsigned attribute, std::string_view value)
{
    switch (attribute) {
    case 0:
        if (KRCMN::color_enumeration(value) == 0)
            return false;
        preset.set_color(value);
        return true;
    case 1: preset.set_rgb(value); return true;
    case 2: return store_number(preset, &XML_preset::set_hue_from, value);
    case 3: return store_number(preset, &XML_preset::set_hue_to, value);
    case 4: return store_number(preset, &XML_preset::set_sat_from, value);
    case 5: return store_number(preset, &XML_preset::set_sat_to, value);
    case 6: return store_number(preset, &XML_preset::set_val_from, value);
    case 7: return store_number(preset, &XML_preset::set_val_to, value);
    default: return false;
    }
}

// Stores one attribute; false when it is unknown, there already, or its value is bad.
bool store(XML_preset& preset, unsigned& seen, std::string_view name, std::string_view value)
{
    static constexpr std::string_view names[] = {"color",    "rgb",    "hue_from", "hue_to",
                                                 "sat_from", "sat_to", "val_from", "val_to"};
    unsigned attribute = 0;
    while (attribute < 8 && names[attribute] != name)
        ++attribute;
    if (attribute == 8 || (seen >> attribute & 1) != 0)
        return false;
    seen |= 1u << attribute;
    return store_value(preset, attribute, value);
}

bool is_blank(std::string_view text)
{
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// Runs a function that fills a configuration from bytes and tells whether they were good.
template <typename Read>
void run_peer(benchmark::State& state, Read read)
{
    const std::string bytes = document(state.range(0));
    for (auto _ : state) {
        XML_configuration configuration;
        if (!read(bytes, configuration) || configuration.get_colors().get_presets().count() !=
                                               static_cast<std::size_t>(state.range(0)))
            state.SkipWithError("not read");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

struct Expat_Reading {
    XML_Parser parser = nullptr;
    XML_configuration* configuration = nullptr;
    unsigned depth = 0;
    unsigned counts[4] = {};
    bool is_good = true;

    void fail()
    {
        is_good = false;
        XML_StopParser(parser, XML_FALSE);
    }

    void start(std::string_view name, const char** attributes)
    {
        static constexpr std::string_view names[] = {"configuration", "colors", "presets",
                                                     "preset"};
        static constexpr unsigned most[] = {1, 1, 1, 1000};
        if (depth == 4 || names[depth] != name || counts[depth]++ == most[depth])
            return fail();
        if (depth++ < 3)
            return attributes[0] == nullptr ? void() : fail();
        XML_preset& preset = configuration->get_colors().get_presets().get_preset(counts[3] - 1);
        unsigned seen = 0;
        for (; attributes[0] != nullptr; attributes += 2)
            if (!store(preset, seen, attributes[0], attributes[1]))
                return fail();
    }

    void end()
    {
        if (depth < 4 && counts[depth] == 0)
            fail();
        --depth;
    }
};

Expat_Reading& reading(void* user_data)
{
    return *static_cast<Expat_Reading*>(user_data);
}

bool read_by_expat(const std::string& bytes, XML_configuration& configuration)
{
    Expat_Reading state;
    state.parser = XML_ParserCreate(nullptr);
    state.configuration = &configuration;
    XML_SetUserData(state.parser, &state);
    XML_SetElementHandler(
        state.parser,
        [](void* data, const char* name, const char** attributes) {
            reading(data).start(name, attributes);
        },
        [](void* data, const char*) { reading(data).end(); });
    XML_SetCharacterDataHandler(state.parser, [](void* data, const char* text, int size) {
        if (!is_blank({text, static_cast<std::size_t>(size)}))
            reading(data).fail();
    });
    const XML_Status status =
        XML_Parse(state.parser, bytes.data(), static_cast<int>(bytes.size()), 1);
    XML_ParserFree(state.parser);
    return status == XML_STATUS_OK && state.is_good;
}

// The only child of a node, when it has the name and no attributes.
pugi::xml_node only_child(const pugi::xml_node& parent, std::string_view name)
{
    const pugi::xml_node child = parent.first_child();
    const bool is_good = child.name() == name && !child.next_sibling() && !child.first_attribute();
    return is_good ? child : pugi::xml_node();
}

bool read_by_pugixml(const std::string& bytes, XML_configuration& configuration)
{
    pugi::xml_document document;
    if (!document.load_buffer(bytes.data(), bytes.size()))
        return false;
    const pugi::xml_node presets =
        only_child(only_child(only_child(document, "configuration"), "colors"), "presets");
    std::size_t count = 0;
    for (const pugi::xml_node& node : presets.children()) {
        if (node.name() != std::string_view("preset") || node.first_child() || count == 1000)
            return false;
        XML_preset& preset = configuration.get_colors().get_presets().get_preset(count++);
        unsigned seen = 0;
        for (const pugi::xml_attribute& attribute : node.attributes())
            if (!store(preset, seen, attribute.name(), attribute.value()))
                return false;
    }
    return count > 0;
}

// The compiled schema, made once.
xmlSchemaPtr schema()
{
    static const xmlSchemaPtr schema = [] {
        const xmlSchemaParserCtxtPtr context =
            xmlSchemaNewParserCtxt(KR_CONFIG_DIR "/KRCommon.xsd");
        const xmlSchemaPtr result = xmlSchemaParse(context);
        xmlSchemaFreeParserCtxt(context);
        return result;
    }();
    return schema;
}

std::string_view view_of(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

bool read_by_libxml2(const std::string& bytes, XML_configuration& configuration)
{
    const xmlTextReaderPtr reader = xmlReaderForMemory(bytes.data(), static_cast<int>(bytes.size()),
                                                       nullptr, nullptr, XML_PARSE_NONET);
    bool is_good = schema() != nullptr && xmlTextReaderSetSchema(reader, schema()) == 0;
    std::size_t count = 0;
    int status = 0;
    while (is_good && (status = xmlTextReaderRead(reader)) == 1) {
        if (xmlTextReaderNodeType(reader) != XML_READER_TYPE_ELEMENT ||
            view_of(xmlTextReaderConstName(reader)) != "preset")
            continue;
        XML_preset& preset = configuration.get_colors().get_presets().get_preset(count++);
        unsigned seen = 0;
        while (is_good && xmlTextReaderMoveToNextAttribute(reader) == 1)
            is_good = store(preset, seen, view_of(xmlTextReaderConstName(reader)),
                            view_of(xmlTextReaderConstValue(reader)));
    }
    is_good = is_good && status == 0 && xmlTextReaderIsValid(reader) == 1;
    xmlFreeTextReader(reader);
    return is_good;
}

const xmlNode* next_element(const xmlNode* node)
{
    while (node != nullptr && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return node;
}

// The document is valid: there is no need to look at names and counts again.
bool read_tree(const xmlNode* root, XML_configuration& configuration)
{
    const xmlNode* const presets = next_element(next_element(root->children)->children);
    std::size_t count = 0;
    for (const xmlNode* node = next_element(presets->children); node != nullptr;
         node = next_element(node->next)) {
        XML_preset& preset = configuration.get_colors().get_presets().get_preset(count++);
        unsigned seen = 0;
        for (const xmlAttr* attribute = node->properties; attribute != nullptr;
             attribute = attribute->next)
            if (!store(preset, seen, view_of(attribute->name),
                       view_of(attribute->children->content)))
                return false;
    }
    return true;
}

bool read_by_libxml2_tree(const std::string& bytes, XML_configuration& configuration)
{
    const xmlDocPtr document = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                             nullptr, XML_PARSE_NONET);
    const xmlSchemaValidCtxtPtr context = xmlSchemaNewValidCtxt(schema());
    const bool is_good = document != nullptr && xmlSchemaValidateDoc(context, document) == 0 &&
                         read_tree(xmlDocGetRootElement(document), configuration);
    xmlSchemaFreeValidCtxt(context);
    xmlFreeDoc(document);
    return is_good;
}

void Expat(benchmark::State& state)
{
    run_peer(state, read_by_expat);
}

void Pugixml(benchmark::State& state)
{
    run_peer(state, read_by_pugixml);
}

void Libxml2Schema(benchmark::State& state)
{
    run_peer(state, read_by_libxml2);
}

void Libxml2TreeSchema(benchmark::State& state)
{
    run_peer(state, read_by_libxml2_tree);
}

BENCHMARK(Expat)->Arg(26)->Arg(1000);
BENCHMARK(Pugixml)->Arg(26)->Arg(1000);
BENCHMARK(Libxml2Schema)->Arg(26)->Arg(1000);
BENCHMARK(Libxml2TreeSchema)->Arg(26)->Arg(1000);

#endif // KR_HAS_XML_PEERS

} // namespace
