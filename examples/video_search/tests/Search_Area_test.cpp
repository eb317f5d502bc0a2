#include "Search_Testing.h"
#include "search/Area.h"

#include <limits>

using namespace video_search;

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// Whether an object whose foot is at these places one after the other was present.
bool was_there(const std::vector<Foot>& feet, const std::vector<Foot>& corners, Presence presence)
{
    KR_ObjectBase object = test_object(1, 0, 0);
    object.Instances.resize(feet.size());
    for (std::size_t k = 0; k < feet.size(); ++k)
        object.Instances[k].Box =
            Geom_Box2D<float>(feet[k].x - 5, feet[k].y - 20, feet[k].x + 5, feet[k].y);
    const Bytes record = encode(object, 1'000'000);
    return was_present(KR_Object_View(record.data(), record.size()), {corners, presence});
}

const std::vector<Foot> square = rectangle({100, 100}, {200, 200});
// The letter U: its right arm begins at x 180, its left one ends at 120, its floor begins at y 180.
const std::vector<Foot> cup{{100, 100}, {120, 100}, {120, 180}, {180, 180},
                            {180, 100}, {200, 100}, {200, 200}, {100, 200}};

bool stood(const std::vector<Foot>& feet)
{
    return was_there(feet, square, Presence::stood);
}

bool crossed(const std::vector<Foot>& feet)
{
    return was_there(feet, square, Presence::crossed);
}

bool is_in_cup(const Foot& foot)
{
    return is_in(foot, {cup, Presence::stood});
}

} // namespace

TEST(Search_Area, EdgesAndCornersBelongToIt)
{
    const Area area{square, Presence::stood};
    for (const Foot& foot : {Foot{150, 150}, Foot{100, 150}, Foot{200, 150}, Foot{150, 100},
                             Foot{150, 200}, Foot{100, 100}, Foot{200, 200}, Foot{200, 100}})
        EXPECT_TRUE(is_in(foot, area)) << foot.x << ' ' << foot.y;
    for (const Foot& foot : {Foot{99.9F, 150}, Foot{200.1F, 150}, Foot{150, 99.9F},
                             Foot{150, 200.1F}, Foot{0, 100}, Foot{300, 200}, Foot{0, 200}})
        EXPECT_FALSE(is_in(foot, area)) << foot.x << ' ' << foot.y;
}

TEST(Search_Area, RectangleMayBeDrawnFromAnyCorner)
{
    for (const auto& [one, other] :
         {std::pair(Foot{200, 100}, Foot{100, 200}), std::pair(Foot{200, 200}, Foot{100, 100}),
          std::pair(Foot{100, 200}, Foot{200, 100})}) {
        EXPECT_TRUE(is_in({150, 150}, {rectangle(one, other), Presence::stood}));
        EXPECT_FALSE(is_in({250, 150}, {rectangle(one, other), Presence::stood}));
    }
}

TEST(Search_Area, PolygonMayBeHollow)
{
    EXPECT_TRUE(is_in_cup({110, 120}));
    EXPECT_FALSE(is_in_cup({150, 120}));
    EXPECT_TRUE(is_in_cup({190, 120}));
    EXPECT_TRUE(is_in_cup({150, 190}));
    EXPECT_TRUE(is_in_cup({120, 150}));
    EXPECT_FALSE(is_in_cup({150, 100}));
}

TEST(Search_Area, WhatIsEnclosedTwiceIsOutside)
{
    // A star of five points; the middle is enclosed twice.
    const Area star{{{150, 100}, {180, 190}, {100, 135}, {200, 135}, {120, 190}}, Presence::stood};
    EXPECT_TRUE(is_in({150, 120}, star));
    EXPECT_FALSE(is_in({150, 150}, star));
}

TEST(Search_Area, AreaWithoutExtentHasItsEdgesAlone)
{
    const Area line{{{100, 100}, {200, 100}, {150, 100}}, Presence::stood};
    EXPECT_TRUE(is_in({120, 100}, line));
    EXPECT_FALSE(is_in({120, 101}, line));
    EXPECT_FALSE(is_in({0, 0}, {{}, Presence::stood}));
}

TEST(Search_Area, BoxAroundHoldsAllCorners)
{
    const Geom_Box2D<float> box = box_around({cup, Presence::stood});
    EXPECT_EQ(box.MinX, 100.0F);
    EXPECT_EQ(box.MinY, 100.0F);
    EXPECT_EQ(box.MaxX, 200.0F);
    EXPECT_EQ(box.MaxY, 200.0F);
    EXPECT_EQ(box_around({}).MaxX, 0.0F);
}

TEST(Search_Area, StoodIsWhoseFootWasSeenInIt)
{
    EXPECT_TRUE(stood({{0, 0}, {150, 150}, {0, 0}}));
    EXPECT_TRUE(stood({{150, 150}}));
    EXPECT_TRUE(stood({{0, 0}, {100, 100}}));
    EXPECT_FALSE(stood({{0, 0}, {99, 150}}));
    EXPECT_FALSE(stood({{0, 150}, {300, 150}})) << "passed between two observations";
    EXPECT_FALSE(stood({{150, 210}})) << "its box reaches into the area, its foot does not";
}

TEST(Search_Area, CrossedIsWhoCameFromOutsideAndWentOutAgain)
{
    EXPECT_TRUE(crossed({{0, 150}, {150, 150}, {300, 150}}));
    EXPECT_TRUE(crossed({{0, 150}, {150, 150}, {160, 150}, {0, 150}})) << "on the same side";
    EXPECT_TRUE(crossed({{150, 150}, {0, 150}, {150, 150}, {0, 150}})) << "the second time";
    EXPECT_FALSE(crossed({{150, 150}, {300, 150}})) << "began in it";
    EXPECT_FALSE(crossed({{0, 150}, {150, 150}})) << "ended in it";
    EXPECT_FALSE(crossed({{0, 150}, {0, 300}}));
    EXPECT_FALSE(crossed({{120, 150}, {180, 150}})) << "stayed in it";
    EXPECT_FALSE(crossed({{150, 150}}));
}

TEST(Search_Area, CrossedIsAlsoWhoPassedBetweenTwoObservations)
{
    EXPECT_TRUE(crossed({{0, 150}, {300, 150}}));
    EXPECT_TRUE(crossed({{150, 0}, {150, 300}}));
    EXPECT_TRUE(crossed({{90, 120}, {120, 90}})) << "cuts a corner";
    EXPECT_TRUE(crossed({{50, 100}, {300, 100}})) << "along an edge";
    EXPECT_TRUE(crossed({{50, 150}, {150, 50}})) << "touches a corner";
    EXPECT_FALSE(crossed({{50, 149}, {149, 50}})) << "passes before a corner";
    EXPECT_FALSE(crossed({{0, 150}, {99, 150}}));
}

TEST(Search_Area, ObservationsThatAreNowhereArePassedOver)
{
    EXPECT_TRUE(crossed({{0, 150}, {nan, 150}, {300, 150}}));
    EXPECT_TRUE(stood({{nan, nan}, {150, 150}}));
    EXPECT_FALSE(stood({{nan, 150}}));
    EXPECT_FALSE(crossed({{0, 150}, {std::numeric_limits<float>::infinity(), 150}}));
}
