#pragma once

/// \file
/// The configuration file KRCommon.xml as objects. Not exported.

#include <krsoap/krsoap.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace KRCMN {

/// The configuration file KRCommon.xml as objects, one class an element. The library fills them
/// while it is loaded and hands them to KR_Colors; hosts have no use for them, and they are not
/// exported: they stand here because KR_Colors names them.
///
///     XML_configuration        <configuration>
///       XML_colors               <colors>
///         XML_presets              <presets>
///           XML_preset...            <preset color='red' rgb='FF0000' hue_from='340' .../>
///
/// Each object owns its children and is copied with them. Threads: one at a time.
class XML_configuration {
public:
    /// The element colors.
    class XML_colors {
    public:
        /// The element presets: a list of ranges.
        class XML_presets {
        public:
            /// One range of one colour. A setter marks its attribute as present; the getter of an
            /// attribute that is not present gives an empty text or 0.
            class XML_preset {
            public:
                /// The colour's name.
                const std::string& get_color() const noexcept { return text_of(color_); }
                /// The palette's colour, hexadecimal.
                const std::string& get_rgb() const noexcept { return text_of(rgb_); }
                /// The hue's lower end in degrees.
                std::int32_t get_hue_from() const noexcept { return hue_from_.value_or(0); }
                /// The hue's upper end in degrees.
                std::int32_t get_hue_to() const noexcept { return hue_to_.value_or(0); }
                /// The saturation's lower end.
                float get_sat_from() const noexcept { return sat_from_.value_or(0.0F); }
                /// The saturation's upper end.
                float get_sat_to() const noexcept { return sat_to_.value_or(0.0F); }
                /// The value's upper end.
                float get_val_to() const noexcept { return val_to_.value_or(0.0F); }
                /// The value's lower end.
                float get_val_from() const noexcept { return val_from_.value_or(0.0F); }

                /// The colour's number: 1 (white) to 13 (purple), 0 for any other text.
                ns__ColorPreset get_color_enumeration() const noexcept;

                /// Whether the attribute color is there.
                bool has_color() const noexcept { return color_.has_value(); }
                /// Whether the attribute rgb is there.
                bool has_rgb() const noexcept { return rgb_.has_value(); }
                /// Whether the attribute hue_from is there.
                bool has_hue_from() const noexcept { return hue_from_.has_value(); }
                /// Whether the attribute hue_to is there.
                bool has_hue_to() const noexcept { return hue_to_.has_value(); }
                /// Whether the attribute sat_from is there.
                bool has_sat_from() const noexcept { return sat_from_.has_value(); }
                /// Whether the attribute sat_to is there.
                bool has_sat_to() const noexcept { return sat_to_.has_value(); }
                /// Whether the attribute val_to is there.
                bool has_val_to() const noexcept { return val_to_.has_value(); }
                /// Whether the attribute val_from is there.
                bool has_val_from() const noexcept { return val_from_.has_value(); }

                /// Sets the colour's name.
                void set_color(std::string_view text) { color_.emplace(text); }
                /// Sets the palette's colour, hexadecimal.
                void set_rgb(std::string_view text) { rgb_.emplace(text); }
                /// Sets the hue's lower end in degrees.
                void set_hue_from(std::int32_t degrees) noexcept { hue_from_ = degrees; }
                /// Sets the hue's upper end in degrees.
                void set_hue_to(std::int32_t degrees) noexcept { hue_to_ = degrees; }
                /// Sets the saturation's lower end.
                void set_sat_from(float bound) noexcept { sat_from_ = bound; }
                /// Sets the saturation's upper end.
                void set_sat_to(float bound) noexcept { sat_to_ = bound; }
                /// Sets the value's upper end.
                void set_val_to(float bound) noexcept { val_to_ = bound; }
                /// Sets the value's lower end.
                void set_val_from(float bound) noexcept { val_from_ = bound; }

            private:
                static const std::string& text_of(const std::optional<std::string>& text) noexcept;

                std::optional<std::string> color_;
                std::optional<std::string> rgb_;
                std::optional<std::int32_t> hue_from_;
                std::optional<std::int32_t> hue_to_;
                std::optional<float> sat_from_;
                std::optional<float> sat_to_;
                std::optional<float> val_to_;
                std::optional<float> val_from_;
            };

            /// How many presets there are.
            std::size_t count() const noexcept { return presets_.size(); }

            /// The preset at an index, in document order. An index beyond the end appends default
            /// presets until it exists. References stay valid while presets are appended.
            XML_preset& get_preset(std::size_t index);

        private:
            std::deque<XML_preset> presets_;
        };

        /// The element's one child, there or not.
        XML_presets& get_presets() noexcept { return presets_; }

        /// Whether the element presets is there.
        bool has_presets() const noexcept { return has_presets_; }
        /// Notes that the element presets is there.
        void mark_presets() noexcept { has_presets_ = true; }

    private:
        XML_presets presets_;
        bool has_presets_ = false;
    };

    /// The document's one child, there or not.
    XML_colors& get_colors() noexcept { return colors_; }

    /// Whether the element colors is there.
    bool has_colors() const noexcept { return has_colors_; }
    /// Notes that the element colors is there.
    void mark_colors() noexcept { has_colors_ = true; }

private:
    XML_colors colors_;
    bool has_colors_ = false;
};

/// The number of a colour name as the configuration file writes it: 1 (white) to 13 (purple) in
/// the order of ns__ColorPreset, 0 for any other text. The case of letters counts.
ns__ColorPreset color_enumeration(std::string_view name) noexcept;

/// The other way round; empty for a number that names no colour.
std::string_view color_name(ns__ColorPreset preset) noexcept;

} // namespace KRCMN
