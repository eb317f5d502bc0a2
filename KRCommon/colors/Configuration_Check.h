#pragma once

/// \file
/// kr_check_configuration() and its KR_Configuration_Report: what the library thinks of a file.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/colors/Colors.h>

#include <krsoap/krsoap.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// One mistake. Offsets are bytes in KR_Configuration_Report::text.
struct KR_Configuration_Error {
    /// As kr_configuration_status() would tell it, were all mistakes before it mended:
    /// "line:7-'color'-Value does not match enumerations". It may quote the file.
    std::string text;

    int code = 0;         ///< the message's number, as docs/configuration.md lists it
    std::string message;  ///< the message alone
    std::string name;     ///< of what is at fault, as the text names it; may be empty
    std::size_t line = 0; ///< that of the text. 0 stands for the file as a whole

    /// What is at fault, [begin, end). Where something is missing it is what stands before it or in
    /// its place, which may be another line than the text's. Never beyond the text; may be empty.
    std::size_t begin = 0;
    std::size_t end = 0; ///< behind the last byte
};

/// The attributes of a preset, in the order of KR_Configured_Range::attributes.
enum KR_Preset_Attribute : std::size_t {
    KR_PRESET_COLOR,
    KR_PRESET_RGB,
    KR_PRESET_HUE_FROM,
    KR_PRESET_HUE_TO,
    KR_PRESET_SAT_FROM,
    KR_PRESET_SAT_TO,
    KR_PRESET_VAL_FROM,
    KR_PRESET_VAL_TO,
    KR_PRESET_ATTRIBUTES ///< how many there are
};

/// The name in the file: "color" to "val_to"; empty for another number.
KRCOMMON_EXPORT std::string_view kr_preset_attribute_name(KR_Preset_Attribute attribute) noexcept;

/// The name of a preset in the file: "white" to "purple"; empty for a number that names none.
KRCOMMON_EXPORT std::string_view kr_color_preset_name(ns__ColorPreset preset) noexcept;

/// One preset element as the library reads it. Offsets are bytes in KR_Configuration_Report::text.
struct KR_Configured_Range {
    /// An attribute as it stands in the file.
    struct Attribute {
        bool is_present = false; ///< whether the file has it
        std::string value;       ///< with references resolved
        std::size_t begin = 0;   ///< of the name
        std::size_t end = 0;     ///< behind the closing quote
    };

    ns__ColorPreset preset{};  ///< 0 without a colour name
    ns__RgbColor rgb;          ///< of the palette, which reads any text
    std::int32_t hue_from = 0; ///< as in the file, not taken modulo 360
    std::int32_t hue_to = 0;   ///< as hue_from
    float sat_from = 0.0F;     ///< the saturation's lower end
    float sat_to = 0.0F;       ///< the saturation's upper end
    float val_from = 0.0F;     ///< the value's lower end
    float val_to = 0.0F;       ///< the value's upper end

    std::array<Attribute, KR_PRESET_ATTRIBUTES> attributes; ///< by KR_Preset_Attribute
    std::size_t begin = 0;                                  ///< of the tag
    std::size_t end = 0;                                    ///< behind its ">"

    /// Whether the range holds the colour: KR_Colors reports a preset when one of its ranges does.
    KRCOMMON_EXPORT bool holds(const ns__HsvColor& color) const noexcept;
};

/// What the library thinks of a configuration file, for programs that help to write one: its own
/// verdict, every further mistake that it can find, the ranges that it reads, and a classifier of
/// these. The reader is the one that reads KRCommon.xml while the library is loaded.
///
///     const KR_Configuration_Report report = kr_check_configuration(bytes);
///     for (const KR_Configuration_Error& error : report.errors)
///         std::printf("%s\n", error.text.c_str()); // line:7-'color'-Value does not match ...
///     std::vector<ns__ColorPreset> presets;
///     report.colors->get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
///
/// Threads: no state; a report belongs to one thread at a time. Nothing is logged, and the presets
/// of KR_Colors::instance() stay as they are. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
struct KR_Configuration_Report {
    /// The document as UTF-8, without its byte order mark, and with its line ends. Up to the first
    /// byte that is no character, but in UTF-8 and US-ASCII, where such bytes stand as they are.
    std::string text;

    /// In the order in which the reader meets them; the first is its verdict. Empty when the
    /// document is accepted. At most 100.
    std::vector<KR_Configuration_Error> errors;

    /// Whether the document was read to its end, beyond its mistakes.
    bool is_complete = false;

    /// What was read, in the document's order; without what was at fault.
    std::vector<KR_Configured_Range> ranges;

    /// A classifier of these ranges, of the report's own. Never null.
    std::shared_ptr<const KR_Colors> colors;
};

/// Reads a document of any size and content. After a mistake it is left out or mended, in a copy, and
/// the reader starts anew, so that each text is one of its own. What only follows from an earlier
/// mistake can be among the errors.
KRCOMMON_EXPORT KR_Configuration_Report kr_check_configuration(std::string_view document);
