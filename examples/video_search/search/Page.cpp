#include "Page.h"

#include "Page_Data.h"
#include "Table.h"
#include "page_template.h"

#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Code_Pages.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace video_search {

std::string picture_uri(const Bytes& jpeg)
{
    if (jpeg.size() < 2 || jpeg[0] != 0xFF || jpeg[1] != 0xD8)
        return {};
    const std::string bytes(jpeg.begin(), jpeg.end());
    std::string text;
    KR_Base64::encode(bytes, text, false);
    return "data:image/jpeg;base64," + text;
}

std::string css_color(const ns__RgbColor& color)
{
    constexpr std::array digits{'0', '1', '2', '3', '4', '5', '6', '7',
                                '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    std::string text = "#";
    for (const unsigned part : {color.red, color.green, color.blue})
        text += {digits[part / 16], digits[part % 16]};
    return text;
}

std::string stored_text(const std::string& text)
{
    return kr_to_utf8(utf8_to_widechar(text));
}

namespace {

std::string title_of(const Page& page)
{
    return page.title.empty() ? "Search result" : kr_to_utf8(kr_to_widechar(page.title));
}

Page_List words_of(const Criteria& criteria)
{
    Page_List words;
    for (const std::string& word : in_words(criteria))
        words.emplace_back("word", word);
    return words;
}

std::string id_of(const Scene& scene, const Page& page)
{
    return std::to_string(&scene - page.scenes.data() + 1);
}

// Each background stands in the page once; the cards refer to it.
Page_List backgrounds_of(const Page& page)
{
    Page_List backgrounds;
    for (const Scene& scene : page.scenes) {
        const std::string picture = picture_uri(scene.recording.background);
        if (picture.empty())
            continue;
        Page_Data data;
        data.set("number", id_of(scene, page));
        data.set("width", std::to_string(scene.recording.width));
        data.set("height", std::to_string(scene.recording.height));
        data.set("picture", picture);
        backgrounds.push_back(std::move(data));
    }
    return backgrounds;
}

Page_List recordings_of(const Page& page)
{
    Page_List recordings;
    for (const Scene& scene : page.scenes)
        recordings.push_back(recording_data(scene, page));
    return recordings;
}

Page_List hits_of(const Page& page)
{
    Page_List hits;
    for (std::size_t k = 0; k < page.result.hits.size(); ++k)
        hits.push_back(card_data(page, k));
    return hits;
}

std::string advice_for(const Page& page)
{
    if (page.result.objects == 0)
        return "The store holds no object that was first seen in this time.";
    return "Objects were seen in this time, but none of this kind. A lower score, a shorter "
           "duration or another colour may find some.";
}

} // namespace

std::string html_of(const Page& page)
{
    Page_Data data;
    data.set("title", title_of(page));
    data.set("summary", summary_of(page.result));
    data.set("words", words_of(page.criteria));
    data.set("backgrounds", backgrounds_of(page));
    data.set("recordings", recordings_of(page));
    data.set("hits", hits_of(page));
    data.set("is_empty", page.result.hits.empty());
    data.set("advice", advice_for(page));
    data.set("search_run", page.run);
    kainjow::mustache::mustache form{std::string(page_template)};
    std::string html = form.render(data);
    if (!form.is_valid())
        throw std::logic_error("the page's template: " + form.error_message());
    return html;
}

} // namespace video_search
