#include "search/Page.h"

#include "Search_Testing.h"
#include "host/Host.h"
#include "search/Page_File.h"

#include <cmath>
#include <limits>

using namespace video_search;

namespace {

int count(const std::string& text, const std::string& part)
{
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

Hit hit(std::uint64_t id)
{
    Hit hit;
    hit.run = "run-1";
    hit.sensor.word1 = 3;
    hit.first_seen = second(12);
    hit.object_class = ns__ObjectClass__person;
    hit.score = 0.75F;
    hit.scores = {0.75F, 0.2F, 0.05F};
    hit.colors = {{ns__ColorPreset__light_blue, 42.4F, color_area(1, 171, 255, 0).color}};
    hit.thumbnail = {0xFF, 0xD8, 'M', 'a'};
    test_object(id, 12, 3).Fill(hit.result, second(14), 0, 2, true);
    hit.instance_count = 4;
    hit.path.resize(2);
    hit.path[1].x = 30.25F;
    hit.path[1].y = 20;
    return hit;
}

Page page_with(std::vector<Hit> hits)
{
    Page page;
    page.run = "search-run";
    page.result.matches = hits.size();
    page.result.objects = 40;
    page.result.hits = std::move(hits);
    Recording recording;
    recording.run = "run-1";
    recording.video = "/videos/yard.avi";
    recording.sensor.word1 = 3;
    recording.start = second(0);
    recording.end = second(60);
    recording.width = 768;
    recording.height = 576;
    recording.frames = 600;
    recording.state = "complete";
    recording.background = {0xFF, 0xD8, 'b', 'g'};
    page.scenes.push_back({recording, {{second(1), {0xFF, 0xD8, 'p'}}}});
    return page;
}

#define EXPECT_HAS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (part)

} // namespace

TEST(Search_Page, ShowsEachHitOnACardOfItsOwn)
{
    const std::string html = html_of(page_with({hit(7), hit(12)}));
    EXPECT_EQ(count(html, "<article "), 2);
    EXPECT_HAS(html, "<article class=\"card person\" id=\"hit-1\">");
    EXPECT_HAS(html, "<h3>#7</h3><span class=\"badge\">person 0.75</span>");
    EXPECT_HAS(html, "<h3>#12</h3>");
    EXPECT_HAS(html, "<b>2024/03/05 07:08:21.000</b><br>to 2024/03/05 07:08:24.000<br>3 s, "
                     "sensor 3.1");
    EXPECT_HAS(html, "<span>vehicle</span><i class=\"vehicle\"><i style=\"width: 20%\"></i></i>"
                     "<span>0.20</span>");
    EXPECT_HAS(html, "background: #01abff\"></span>light blue <small>42 %</small>");
    EXPECT_HAS(html, "2 of 4 observations");
    EXPECT_HAS(html, "<p class=\"summary\">2 of 40 objects match</p>");
    EXPECT_EQ(count(html, "Nothing matches"), 0);
}

TEST(Search_Page, PicturesAreInThePageAndTheBackgroundOnce)
{
    const std::string html = html_of(page_with({hit(7), hit(12)}));
    EXPECT_EQ(count(html, "src=\"data:image/jpeg;base64,/9hNYQ==\""), 2);  // thumbnails
    EXPECT_EQ(count(html, "href=\"data:image/jpeg;base64,/9hiZw==\""), 1); // background
    EXPECT_EQ(count(html, "src=\"data:image/jpeg;base64,/9hw\""), 1);      // time line
    EXPECT_EQ(count(html, "<use href=\"#scene-1\""), 2);
    EXPECT_EQ(count(html, "data:"), 4);
}

TEST(Search_Page, NothingIsLoadedAndNothingRuns)
{
    const std::string html = html_of(page_with({hit(7)}));
    for (const char* const part : {"http", "<script", "<link", "@import", "url(", "//"})
        EXPECT_EQ(count(html, part), 0) << part;
}

TEST(Search_Page, DrawsTheTrackInTheScene)
{
    const std::string html = html_of(page_with({hit(7)}));
    EXPECT_HAS(html, "viewBox=\"0 0 768 576\"");
    EXPECT_EQ(count(html, "<rect class=\"box\""), 2);
    EXPECT_HAS(html, "<rect class=\"box\" x=\"10.0\" y=\"0.0\" width=\"10.0\" height=\"20.0\"/>");
    EXPECT_HAS(html, "<rect class=\"best\" x=\"20.0\" y=\"0.0\" width=\"10.0\" height=\"20.0\"");
    EXPECT_HAS(html, "points=\"0.0,0.0 30.2,20.0 30.2,20.0\"");
}

TEST(Search_Page, ShowsTheRecordingWithBarsThatLinkToTheCards)
{
    const std::string html = html_of(page_with({hit(7)}));
    EXPECT_HAS(html, "<h2 title=\"/videos/yard.avi\">yard.avi</h2>");
    EXPECT_HAS(html, "<dd>2024/03/05 07:08:09.000</dd>");
    EXPECT_HAS(html, "<dd>2024/03/05 07:09:09.000</dd>");
    EXPECT_HAS(html, "<dd>768 \u00D7 576</dd>");
    EXPECT_HAS(html, "<dd>600</dd>");
    EXPECT_HAS(html, "<dd>run-1</dd>");
    EXPECT_HAS(html, "1 object shown<");
    EXPECT_HAS(html, "href=\"#hit-1\" title=\"#7, person, 07:08:21, 3 s\" style=\"left: 20.00%; "
                     "width: 5.00%; top: 0px\">#7</a>");
    EXPECT_HAS(html, "style=\"left: 1.67%\">07:08:10</span>");
    EXPECT_EQ(count(html, "outside before\" style"), 0);
}

TEST(Search_Page, MarksWhatWasNotSearched)
{
    Page page = page_with({hit(7)});
    page.criteria.from = second(6);
    page.criteria.to = second(45);
    const std::string html = html_of(page);
    EXPECT_HAS(html, "<div class=\"outside before\" style=\"width: 10.00%\">");
    EXPECT_HAS(html, "<div class=\"outside after\" style=\"width: 25.00%\">");
    EXPECT_HAS(html, "<li>first seen from 2024/03/05 07:08:15.000</li>");
}

TEST(Search_Page, TextsFromOutsideAreEscaped)
{
    Page page = page_with({hit(7)});
    page.title = "<b>\"Yard\" & 'gate'</b>";
    page.scenes[0].recording.video = "a/<script>alert(1)</script>\xFF.avi";
    page.scenes[0].recording.state = "\"><img>";
    page.scenes.push_back(page.scenes[0]); // so that the cards name the video
    const std::string html = html_of(page);
    EXPECT_HAS(html, "<h1>&lt;b&gt;&quot;Yard&quot; &amp; &apos;gate&apos;&lt;/b&gt;</h1>");
    EXPECT_HAS(html, "a/&lt;script&gt;alert(1)&lt;/script&gt;\xEF\xBF\xBD.avi");
    EXPECT_EQ(count(html, "<script"), 0);
    EXPECT_EQ(count(html, "<img>"), 0);
    EXPECT_EQ(count(html, "\xFF"), 0);
}

TEST(Search_Page, WhatIsNoJpegIsNotShown)
{
    Page page = page_with({hit(7)});
    page.result.hits[0].thumbnail = {'<', 's', 'v', 'g'};
    page.scenes[0].recording.background = {0xFF, 0xD9, 1};
    page.scenes[0].pictures[0].jpeg = {0xFF};
    const std::string html = html_of(page);
    EXPECT_EQ(count(html, "data:"), 0);
    EXPECT_EQ(count(html, "<use"), 0);
    EXPECT_HAS(html, "no picture");
    EXPECT_EQ(count(html, "<rect class=\"best\""), 1);
}

TEST(Search_Page, EmptyResultIsAFriendlyPage)
{
    std::string html = html_of(page_with({}));
    EXPECT_HAS(html, "Nothing matches this search");
    EXPECT_HAS(html, "but none of this kind");
    EXPECT_HAS(html, "no object shown<");
    EXPECT_EQ(count(html, "<article"), 0);
    html = html_of({});
    EXPECT_HAS(html, "The store holds no object that was first seen in this time.");
}

TEST(Search_Page, OddNumbersOfARecordDoNoHarm)
{
    Page page = page_with({hit(7)});
    Hit& odd = page.result.hits[0];
    odd.scores = {NAN, 7.0F, -1.0F};
    odd.path[0].x = NAN;
    odd.path[1].y = std::numeric_limits<float>::infinity();
    odd.result.instanceBox.maxX = 1e38F;
    odd.result.instanceBox.minY = NAN;
    const std::string html = html_of(page);
    EXPECT_EQ(count(html, "nan"), 0);
    EXPECT_EQ(count(html, "inf"), 0);
    EXPECT_HAS(html, "width=\"100000.0\"");
    EXPECT_HAS(html, "width: 100%");
}

TEST(Search_Page, RecordingWithoutAnEndReachesToItsLastHit)
{
    Page page = page_with({hit(7)}); // seen from 12 to 15
    page.scenes[0].recording.end = {};
    EXPECT_HAS(html_of(page), "left: 80.00%; width: 20.00%");
    page.result.hits.clear();
    EXPECT_HAS(html_of(page), "no object shown<");
}

TEST(Search_Page_File, IsWrittenAsAWhole)
{
    const std::string path = fresh_folder() + "/a.html";
    write_whole("page", path, "old");
    write_whole("page", path, "new\n");
    EXPECT_EQ(text_of(path), "new\n");
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
}

namespace {

std::string complaint_about(const std::string& path)
{
    try {
        write_whole("page", path, "new");
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "none";
}

} // namespace

TEST(Search_Page_File, OldPageStaysWhenTheNewOneCannotBeWritten)
{
    const std::string path = fresh_folder() + "/a.html";
    write_whole("page", path, "old");
    std::filesystem::create_directory(path + ".part"); // no file can be opened there
    const std::string complaint = complaint_about(path);
    EXPECT_EQ(complaint.rfind("cannot write the page '" + path + "': ", 0), 0U) << complaint;
    EXPECT_EQ(text_of(path), "old");
}

TEST(Search_Page_File, NothingIsLeftWhenTheNameIsTaken)
{
    const std::string path = fresh_folder() + "/a.html";
    std::filesystem::create_directories(path + "/inner");
    EXPECT_EQ(complaint_about(path).rfind("cannot write the page '", 0), 0U);
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
    EXPECT_TRUE(std::filesystem::exists(path + "/inner"));
}

TEST(Search_Page_File, MissingFolderIsAFailure)
{
    const std::string path = fresh_folder() + "/missing/a.html";
    EXPECT_EQ(complaint_about(path),
              "cannot write the page '" + path + "': No such file or directory");
}
