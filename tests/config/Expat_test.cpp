// The XML parser beside expat: both must accept and reject the same documents, but for the
// differences that are explained here, each of them met by at least one document.

#include <KRCommon/xml/Xml_Parser.h>

#include <expat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kr_internal::Xml_Code;
using kr_internal::Xml_Error;
using kr_internal::Xml_Parser;

// That no attribute comes twice is for the parser's user to check.
Xml_Error our_verdict(std::string_view document)
{
    Xml_Parser parser(document);
    Xml_Error twice;
    for (;;) {
        switch (parser.next()) {
        case Xml_Parser::Event::start_element: {
            std::set<std::string> names;
            Xml_Parser::Attribute attribute;
            while (parser.next_attribute(attribute))
                if (!names.emplace(attribute.name).second && !twice)
                    twice = {Xml_Code::attribute_already_read, parser.line(), {}, {}};
            break;
        }
        case Xml_Parser::Event::end_of_document: return twice;
        case Xml_Parser::Event::error: return twice ? twice : parser.error();
        default: break;
        }
    }
}

XML_Error expats_verdict(std::string_view document)
{
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), &XML_ParserFree);
    const auto status =
        XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_TRUE);
    return status == XML_STATUS_OK ? XML_ERROR_NONE : XML_GetErrorCode(parser.get());
}

bool is_ascii(std::string_view document)
{
    return std::all_of(document.begin(), document.end(), [](char c) { return c > 0; });
}

bool is_16_bit(std::string_view document)
{
    const std::string_view start = document.substr(0, 2);
    return start == "\xFE\xFF" || start == "\xFF\xFE" || start.find('\0') != std::string_view::npos;
}

// Why the two differ on a document; empty when there is no good reason.
std::string reason(const Xml_Error& ours, XML_Error expats, std::string_view document)
{
    if (!ours && expats == XML_ERROR_UNKNOWN_ENCODING)
        return "expat does not know ISO-10646-UCS-2";
    if (!ours && expats == XML_ERROR_INVALID_TOKEN && !is_ascii(document))
        return "expat has the name characters of XML's fourth edition, we those of the fifth";
    switch (ours.code) {
    case Xml_Code::bad_declaration:
        if (ours.name == "version")
            return "expat takes any version for 1.0";
        break;
    case Xml_Code::encoding_mismatch:
        if (is_16_bit(document))
            return "expat does not look for surrogates without their other half";
        break;
    case Xml_Code::external_entity: return "we refuse what is external, expat passes over it";
    case Xml_Code::unsupported_version: return "expat takes any version for 1.0";
    case Xml_Code::too_long: return "our bounds";
    case Xml_Code::bad_dtd:
        if (ours.name == "lt" || ours.name == "gt" || ours.name == "amp" || ours.name == "apos" ||
            ours.name == "quot")
            return "expat lets the predefined entities be declared as anything";
        break;
    case Xml_Code::unexpected_entity:
        if (document.find('%') != std::string_view::npos)
            return "we refuse references to parameter entities, expat passes over them";
        break;
    default: break;
    }
    return {};
}

const std::vector<std::string>& seeds()
{
    static const std::vector<std::string> all = [] {
        std::vector<std::string> texts{
            "<?xml version=\"1.0\" standalone=\"yes\" ?><!-- c --><?pi data?><a b=\"1\" c='2'>text "
            "&lt;&#65;&#x42; <b/><![CDATA[x<>&]]y]]]>]] > </a ><!-- e -->\n",
            "<!DOCTYPE a [\n<!ENTITY e \"<b x='&f;'>t</b>\">\n<!ENTITY f 'v&#38;lt;'>"
            "<!ENTITY % p 'q&e;'>\n<!ELEMENT a (b|(c,d?)*|x+)+>\n<!ELEMENT b (#PCDATA|c)*>"
            "<!ELEMENT c EMPTY><!ELEMENT d ANY><!ELEMENT m (#PCDATA)>\n<!ATTLIST a x (1|2) "
            "#IMPLIED y CDATA \"&f;\" z NMTOKENS #FIXED 'q' w NOTATION (n|m) #REQUIRED>\n"
            "<!NOTATION n SYSTEM 'foo'><!NOTATION m PUBLIC \"-//X//Y\" \"sys\">"
            "<!NOTATION o PUBLIC 'p'>\n<?pi in dtd?><!-- comment -->\n] >\n"
            "<a y='&f;&amp;'>&e;&f;&e;</a>",
            "<a>\r\n<b c='\t\r\n x'/>\r<d e=\"'\" f='\"'></d></a>",
            "<!DOCTYPE a><a/>",
            "\xEF\xBB\xBF<a \xC3\xA9='1'>\xE2\x82\xAC\xF0\x9F\x98\x80</a>",
            "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4\xF6\x85</a>",
            "<?xml version='1.0' encoding='US-ASCII'?><a>x</a>",
            "<!DOCTYPE a [<!ENTITY lt '&#38;#60;'><!ENTITY r1 '&r2;'><!ENTITY r2 '&r1;'>"
            "<!ENTITY h '</a><a>'><!ENTITY o '<b>'><!ENTITY c '</b>'>]><a>&lt;<b>x</b></a>",
            "<!DOCTYPE a [<!ENTITY e '<b>&#60;![CDATA[x]]&#62;</b><!-- c --><?p q?>'>"
            "<!ENTITY g '&#38;amp;'>]><a>&e;&g;</a>",
        };
        for (const char* const kind : {"good", "bad"})
            for (const auto& entry :
                 std::filesystem::directory_iterator(std::string(KR_SAMPLES) + '/' + kind)) {
                std::ifstream file(entry.path(), std::ios::binary);
                std::string text{std::istreambuf_iterator<char>(file), {}};
                if (text.size() <= 4'096)
                    texts.push_back(std::move(text));
            }
        return texts;
    }();
    return all;
}

const std::vector<std::string> tokens{"<",
                                      ">",
                                      "&",
                                      "'",
                                      "\"",
                                      "]]>",
                                      "<!--",
                                      "-->",
                                      "--",
                                      "<![CDATA[",
                                      "?>",
                                      "<?",
                                      "<?xml ?>",
                                      "<?xml version='1.0'?>",
                                      "&amp;",
                                      "&#0;",
                                      "&#65;",
                                      "&#xD800;",
                                      "&#x110000;",
                                      "&x;",
                                      "%p;",
                                      "%",
                                      "/",
                                      "/>",
                                      "</",
                                      "=",
                                      "!",
                                      "<!",
                                      "\t",
                                      "\r",
                                      "\n",
                                      " ",
                                      "a",
                                      "1",
                                      "-",
                                      ".",
                                      ":",
                                      "\x01",
                                      "\xFF",
                                      "\xC3\xA9",
                                      "\xC3\x97",
                                      "\xEF\xBF\xBE",
                                      "\xED\xA0\x80",
                                      "\xF4\x90\x80\x80",
                                      "<a>",
                                      "</a>",
                                      "<b/>",
                                      "x='1'",
                                      " b='1'",
                                      "[",
                                      "]",
                                      "(",
                                      ")",
                                      "|",
                                      ",",
                                      "*",
                                      "+",
                                      "?",
                                      "#PCDATA",
                                      "<!ENTITY e '1'>",
                                      "<!ENTITY q SYSTEM 'f'>",
                                      "<!DOCTYPE a>",
                                      "SYSTEM 'x'",
                                      "&e;",
                                      "&r1;",
                                      "&h;",
                                      "&o;",
                                      "&c;",
                                      "<!ELEMENT a ANY>",
                                      "<!ATTLIST a b CDATA #IMPLIED>",
                                      "EMPTY",
                                      "#REQUIRED",
                                      "#FIXED",
                                      std::string(1, '\0'),
                                      "\xC0\x80",
                                      "\xE2\x82",
                                      "1.1",
                                      "UTF-16",
                                      "&e;&e;",
                                      "<!NOTATION n SYSTEM \"a\">",
                                      "xml",
                                      "XML",
                                      ";",
                                      "#",
                                      "&#x3C;",
                                      "&#38;"};

using Random = std::mt19937;

std::size_t below(Random& random, std::size_t bound)
{
    return bound == 0 ? 0 : random() % bound;
}

void mutate(std::string& text, Random& random)
{
    const std::size_t at = below(random, text.size() + 1);
    const std::string& token = tokens[below(random, tokens.size())];
    switch (below(random, 9)) {
    case 0: text.erase(at, 1 + below(random, 3)); break;
    case 1: text.replace(at, at < text.size() ? 1 : 0, 1, token[0]); break;
    case 2:
        if (below(random, 4) == 0)
            text.resize(at);
        break;
    case 3: text.insert(at, text.substr(below(random, text.size()), below(random, 40))); break;
    case 4:
        text.replace(at, at < text.size() ? 1 : 0, 1, static_cast<char>(below(random, 256)));
        break;
    case 5:
        if (at < text.size())
            std::swap(text[at], text[below(random, text.size())]);
        break;
    default: text.insert(at, token);
    }
}

std::string printable(std::string_view text)
{
    std::string result;
    for (const char c : text)
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += escape;
        }
    return result;
}

struct Counts {
    unsigned long accepted = 0;
    unsigned long rejected = 0;
    std::map<std::string, unsigned long> explained;
};

void compare(const std::string& document, Counts& counts)
{
    const Xml_Error ours = our_verdict(document);
    const XML_Error expats = expats_verdict(document);
    ++(ours ? counts.rejected : counts.accepted);
    if (static_cast<bool>(ours) == (expats != XML_ERROR_NONE))
        return;
    const std::string why = reason(ours, expats, document);
    if (why.empty())
        ADD_FAILURE() << "ours: " << text_of(ours) << "\nexpat: "
                      << (expats == XML_ERROR_NONE ? "accepts" : XML_ErrorString(expats)) << "\n"
                      << printable(document);
    ++counts.explained[why];
}

TEST(XmlParserAgainstExpat, DocumentsAsTheyAreGetTheSameVerdict)
{
    Counts counts;
    for (const std::string& document : seeds())
        compare(document, counts);
    EXPECT_GT(counts.accepted, 20U);
    EXPECT_GT(counts.rejected, 20U);
}

TEST(XmlParserAgainstExpat, MutatedDocumentsGetTheSameVerdict)
{
    Random random(1);
    Counts counts;
    for (int i = 0; i < 50'000; ++i) {
        std::string document = seeds()[below(random, seeds().size())];
        for (std::size_t n = 1 + below(random, 3) / 2; n > 0; --n)
            mutate(document, random);
        compare(document, counts);
    }
    EXPECT_GT(counts.accepted, 1'000U);
    EXPECT_GT(counts.rejected, 1'000U);
    std::printf("%lu accepted, %lu rejected\n", counts.accepted, counts.rejected);
    for (const auto& [why, count] : counts.explained)
        std::printf("%lu times: %s\n", count, why.c_str());
}

} // namespace
