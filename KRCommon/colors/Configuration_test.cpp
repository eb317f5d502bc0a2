#include <KRCommon/colors/Configuration.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using KRCMN::color_enumeration;
using KRCMN::XML_configuration;
using XML_presets = XML_configuration::XML_colors::XML_presets;
using XML_preset = XML_presets::XML_preset;

TEST(Configuration, ColorNamesAreNumberedFromOneInTheirOrder)
{
    EXPECT_EQ(1, color_enumeration("white"));
    EXPECT_EQ(2, color_enumeration("black"));
    EXPECT_EQ(3, color_enumeration("gray"));
    EXPECT_EQ(4, color_enumeration("light_blue"));
    EXPECT_EQ(5, color_enumeration("dark_blue"));
    EXPECT_EQ(6, color_enumeration("brown"));
    EXPECT_EQ(7, color_enumeration("light_green"));
    EXPECT_EQ(8, color_enumeration("dark_green"));
    EXPECT_EQ(9, color_enumeration("yellow"));
    EXPECT_EQ(10, color_enumeration("orange"));
    EXPECT_EQ(11, color_enumeration("red"));
    EXPECT_EQ(12, color_enumeration("pink"));
    EXPECT_EQ(13, color_enumeration("purple"));
}

TEST(Configuration, AnyOtherColorNameIsZero)
{
    for (const char* name : {"", "Red", "RED", "grey", "re", "redd", " red", "red ", "light blue",
                             "light-blue", "blue", "green", "0", "11"})
        EXPECT_EQ(0, color_enumeration(name)) << '\'' << name << '\'';
    EXPECT_EQ(0, color_enumeration(std::string_view("red\0", 4)));
}

TEST(Configuration, AFreshPresetHoldsNothing)
{
    const XML_preset preset;
    EXPECT_EQ("", preset.get_color());
    EXPECT_EQ(0, preset.get_color_enumeration());
    EXPECT_EQ("", preset.get_rgb());
    EXPECT_EQ(0, preset.get_hue_from());
    EXPECT_EQ(0, preset.get_hue_to());
    EXPECT_EQ(0.0F, preset.get_sat_from());
    EXPECT_EQ(0.0F, preset.get_sat_to());
    EXPECT_EQ(0.0F, preset.get_val_to());
    EXPECT_EQ(0.0F, preset.get_val_from());
    EXPECT_FALSE(preset.has_color());
    EXPECT_FALSE(preset.has_rgb());
    EXPECT_FALSE(preset.has_hue_from());
    EXPECT_FALSE(preset.has_hue_to());
    EXPECT_FALSE(preset.has_sat_from());
    EXPECT_FALSE(preset.has_sat_to());
    EXPECT_FALSE(preset.has_val_to());
    EXPECT_FALSE(preset.has_val_from());
}

// Which attributes a preset has, as a text.
std::string present(const XML_preset& preset)
{
    std::string text;
    text += preset.has_color() ? "c" : "-";
    text += preset.has_rgb() ? "r" : "-";
    text += preset.has_hue_from() ? "h" : "-";
    text += preset.has_hue_to() ? "H" : "-";
    text += preset.has_sat_from() ? "s" : "-";
    text += preset.has_sat_to() ? "S" : "-";
    text += preset.has_val_from() ? "v" : "-";
    text += preset.has_val_to() ? "V" : "-";
    return text;
}

TEST(Configuration, EachSetterMarksItsOwnAttributeOnly)
{
    XML_preset preset;
    EXPECT_EQ("--------", present(preset));
    preset.set_val_to(0.75F);
    EXPECT_EQ("-------V", present(preset));
    preset.set_hue_from(-30);
    EXPECT_EQ("--h----V", present(preset));
    preset.set_color("pink");
    EXPECT_EQ("c-h----V", present(preset));
    preset.set_sat_from(0.25F);
    EXPECT_EQ("c-h-s--V", present(preset));
    preset.set_rgb("FFC0CB");
    EXPECT_EQ("crh-s--V", present(preset));
    preset.set_sat_to(0.5F);
    EXPECT_EQ("crh-sS-V", present(preset));
    preset.set_hue_to(30);
    EXPECT_EQ("crhHsS-V", present(preset));
    preset.set_val_from(0.125F);
    EXPECT_EQ("crhHsSvV", present(preset));

    EXPECT_EQ("pink", preset.get_color());
    EXPECT_EQ(12, preset.get_color_enumeration());
    EXPECT_EQ("FFC0CB", preset.get_rgb());
    EXPECT_EQ(-30, preset.get_hue_from());
    EXPECT_EQ(30, preset.get_hue_to());
    EXPECT_EQ(0.25F, preset.get_sat_from());
    EXPECT_EQ(0.5F, preset.get_sat_to());
    EXPECT_EQ(0.125F, preset.get_val_from());
    EXPECT_EQ(0.75F, preset.get_val_to());
}

TEST(Configuration, AnAttributeSetToNothingIsPresent)
{
    XML_preset preset;
    preset.set_color("");
    preset.set_rgb("");
    preset.set_hue_from(0);
    preset.set_sat_to(0.0F);
    EXPECT_EQ("crh--S--", present(preset));
    EXPECT_EQ("", preset.get_color());
    EXPECT_EQ(0, preset.get_color_enumeration());
}

TEST(Configuration, AnIndexBeyondTheEndAppendsPresetsUntilItExists)
{
    XML_presets presets;
    EXPECT_EQ(0u, presets.count());
    presets.get_preset(2).set_rgb("third");
    EXPECT_EQ(3u, presets.count());
    EXPECT_EQ("--------", present(presets.get_preset(0)));
    EXPECT_EQ("--------", present(presets.get_preset(1)));
    EXPECT_EQ("third", presets.get_preset(2).get_rgb());
    EXPECT_EQ(3u, presets.count());
}

TEST(Configuration, ReferencesToPresetsOutliveAppending)
{
    XML_presets presets;
    XML_preset& first = presets.get_preset(0);
    XML_preset& second = presets.get_preset(1);
    presets.get_preset(999);
    first.set_rgb("first");
    second.set_rgb("second");
    EXPECT_EQ("first", presets.get_preset(0).get_rgb());
    EXPECT_EQ("second", presets.get_preset(1).get_rgb());
    EXPECT_EQ(1000u, presets.count());
}

TEST(Configuration, ElementsArePresentOnceMarked)
{
    XML_configuration configuration;
    EXPECT_FALSE(configuration.has_colors());
    EXPECT_FALSE(configuration.get_colors().has_presets());
    configuration.mark_colors();
    EXPECT_TRUE(configuration.has_colors());
    EXPECT_FALSE(configuration.get_colors().has_presets());
    configuration.get_colors().mark_presets();
    EXPECT_TRUE(configuration.get_colors().has_presets());
}

TEST(Configuration, ACopyOwnsItsPresets)
{
    XML_configuration original;
    original.mark_colors();
    original.get_colors().get_presets().get_preset(0).set_color("red");

    XML_configuration copy = original;
    copy.get_colors().get_presets().get_preset(0).set_color("pink");
    copy.get_colors().get_presets().get_preset(1).set_rgb("FF0000");

    EXPECT_TRUE(copy.has_colors());
    EXPECT_EQ("pink", copy.get_colors().get_presets().get_preset(0).get_color());
    EXPECT_EQ("red", original.get_colors().get_presets().get_preset(0).get_color());
    EXPECT_EQ(1u, original.get_colors().get_presets().count());
}

} // namespace
