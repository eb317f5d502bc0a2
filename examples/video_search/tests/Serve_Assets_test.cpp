#include "../serve/Assets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace video_search {
namespace {

std::string text_of(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string file_of(const Asset& asset)
{
    return asset.path == "/" ? "index.html" : std::string(asset.path.substr(8)); // after "/assets/"
}

TEST(Assets, HoldEachFileOfTheFolderByteForByte)
{
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(VIDEO_SEARCH_WEB_FOLDER))
        files.insert(entry.path().filename().string());
    std::set<std::string> held;
    for (const Asset& asset : assets()) {
        const std::string name = file_of(asset);
        held.insert(name);
        EXPECT_EQ(asset.bytes, text_of(std::filesystem::path(VIDEO_SEARCH_WEB_FOLDER) / name))
            << name;
    }
    EXPECT_EQ(held, files);
}

TEST(Assets, TheFirstIsThePageItself)
{
    EXPECT_EQ(assets().front().path, "/");
    EXPECT_EQ(assets().front().content_type, "text/html; charset=utf-8");
    EXPECT_THAT(std::string(assets().front().bytes), testing::StartsWith("<!doctype html>"));
}

TEST(Assets, AreFoundByTheirWholePathAlone)
{
    ASSERT_NE(find_asset("/assets/app.css"), nullptr);
    EXPECT_EQ(find_asset("/assets/app.css")->content_type, "text/css; charset=utf-8");
    EXPECT_EQ(find_asset("/assets/app.js")->content_type, "text/javascript; charset=utf-8");
    EXPECT_EQ(find_asset("/assets/icons.svg")->content_type, "image/svg+xml");
    for (const char* const path :
         {"", "/index.html", "/assets/", "/assets/app.cs", "assets/app.css", "/assets/app.css/",
          "/assets/../assets/app.css", "/ASSETS/app.css"})
        EXPECT_EQ(find_asset(path), nullptr) << path;
}

TEST(Assets, TagsAreQuotedAndDifferByContent)
{
    std::set<std::string_view> tags;
    for (const Asset& asset : assets()) {
        ASSERT_EQ(asset.etag.size(), 34U) << asset.path;
        EXPECT_EQ(asset.etag.front(), '"');
        EXPECT_EQ(asset.etag.back(), '"');
        EXPECT_EQ(asset.etag.substr(1, 32).find_first_not_of("0123456789abcdef"),
                  std::string_view::npos);
        tags.insert(asset.etag);
    }
    EXPECT_EQ(tags.size(), assets().size());
}

// What a strict content security policy would block anyway.
TEST(Assets, ThePageHasNoInlineScriptOrStyleAndNothingFromElsewhere)
{
    const std::string page(assets().front().bytes);
    for (const char* const bad :
         {"<style", " style=", "<script>", " onclick", " onload", "javascript:"})
        EXPECT_EQ(page.find(bad), std::string::npos) << bad;
    for (const Asset& asset : assets()) {
        const std::string text(asset.bytes);
        for (const char* const bad : {"https://", "src=\"//", "url(//", "eval(", "innerHTML",
                                      "insertAdjacentHTML", "document.write"})
            EXPECT_EQ(text.find(bad), std::string::npos) << asset.path << ": " << bad;
    }
}

} // namespace
} // namespace video_search
