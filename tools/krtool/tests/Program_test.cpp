#include "Run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using testing::StartsWith;

TEST(Program, WithoutACommandIsAWrongCall)
{
    const Ran none = run({});
    EXPECT_EQ(2, none.code);
    EXPECT_EQ("", none.out);
    EXPECT_THAT(none.errors, StartsWith("krtool: "));
}

TEST(Program, AnUnknownCommandIsAWrongCall)
{
    const Ran unknown = run({"shake"});
    EXPECT_EQ(2, unknown.code);
    EXPECT_EQ("", unknown.out);
    EXPECT_THAT(unknown.errors, StartsWith("krtool: "));
}

TEST(Program, VersionAndHelpAreGood)
{
    const Ran version = run({"--version"});
    EXPECT_EQ(0, version.code);
    EXPECT_EQ("krtool " KRTOOL_VERSION "\n", version.out);
    const Ran help = run({"--help"});
    EXPECT_EQ(0, help.code);
    EXPECT_THAT(help.out, HasSubstr("--json"));
}

TEST(Program, WhatIsWrongIsOneLineThatNoTerminalObeys)
{
    const Ran ran = run({"color", "--config", KRTOOL_CONFIG_DIR "/KRCommon.xml", "a\nb\x1b[31m"});
    EXPECT_EQ(2, ran.code);
    EXPECT_THAT(ran.errors, StartsWith("krtool: 'a?b?[31m' is no colour: "));
}
