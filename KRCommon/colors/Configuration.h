#pragma once

/// \file
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

#include <krsoap/krsoap.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace KRCMN {

class XML_configuration {
public:
    class XML_colors {
    public:
        class XML_presets {
        public:
            /// One range of one colour. A setter marks its attribute as present; the getter of an
            /// attribute that is not present gives an empty text or 0.
            class XML_preset {
            public:
                const std::string& get_color() const noexcept { return text_of(color_); }
                const std::string& get_rgb() const noexcept { return text_of(rgb_); }
                std::int32_t get_hue_from() const noexcept { return hue_from_.value_or(0); }
                std::int32_t get_hue_to() const noexcept { return hue_to_.value_or(0); }
                float get_sat_from() const noexcept { return sat_from_.value_or(0.0F); }
                float get_sat_to() const noexcept { return sat_to_.value_or(0.0F); }
                float get_val_to() const noexcept { return val_to_.value_or(0.0F); }
                float get_val_from() const noexcept { return val_from_.value_or(0.0F); }

                /// The colour's number: 1 (white) to 13 (purple), 0 for any other text.
                ns__ColorPreset get_color_enumeration() const noexcept;

                bool has_color() const noexcept { return color_.has_value(); }
                bool has_rgb() const noexcept { return rgb_.has_value(); }
                bool has_hue_from() const noexcept { return hue_from_.has_value(); }
                bool has_hue_to() const noexcept { return hue_to_.has_value(); }
                bool has_sat_from() const noexcept { return sat_from_.has_value(); }
                bool has_sat_to() const noexcept { return sat_to_.has_value(); }
                bool has_val_to() const noexcept { return val_to_.has_value(); }
                bool has_val_from() const noexcept { return val_from_.has_value(); }

                void set_color(std::string_view text) { color_.emplace(text); }
                void set_rgb(std::string_view text) { rgb_.emplace(text); }
                void set_hue_from(std::int32_t degrees) noexcept { hue_from_ = degrees; }
                void set_hue_to(std::int32_t degrees) noexcept { hue_to_ = degrees; }
                void set_sat_from(float bound) noexcept { sat_from_ = bound; }
                void set_sat_to(float bound) noexcept { sat_to_ = bound; }
                void set_val_to(float bound) noexcept { val_to_ = bound; }
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

        XML_presets& get_presets() noexcept { return presets_; }

        bool has_presets() const noexcept { return has_presets_; }
        void mark_presets() noexcept { has_presets_ = true; }

    private:
        XML_presets presets_;
        bool has_presets_ = false;
    };

    XML_colors& get_colors() noexcept { return colors_; }

    bool has_colors() const noexcept { return has_colors_; }
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
