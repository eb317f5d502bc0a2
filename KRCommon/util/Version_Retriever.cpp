#include <KRCommon/util/Version_Retriever.h>

#include <KRCommon/platform/Version_Info.h>
#include <KRCommon/text/Digits.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

KR_Version_Retriever::KR_Version_Retriever(const char* path)
{
    get(path);
}

KR_Version_Retriever::~KR_Version_Retriever() = default;

KR_Version_Retriever& KR_Version_Retriever::operator=(const char* path)
{
    get(path);
    return *this;
}

void KR_Version_Retriever::get(const char* path)
{
    // The path is stored before the text is cleared: it may be this object's own text.
    const bool has_path = Init(path);
    std::fill(std::begin(version_text_), std::end(version_text_), '\0');
    if (has_path)
        GetVersion();
}

bool KR_Version_Retriever::Init(const char* path)
{
    if (path == nullptr)
        return false;
    path_ = path;
    return true;
}

void KR_Version_Retriever::GetVersion()
{
    if (const auto version = kr_platform::file_version(path_))
        std::snprintf(version_text_, sizeof version_text_, "%d.%d.%d.%d", (*version)[0],
                      (*version)[1], (*version)[2], (*version)[3]);
    else
        std::snprintf(version_text_, sizeof version_text_, "Version not supported");
}

KR_Parse_Result kr_try_to_version(std::string_view text, KR_Version& out) noexcept
{
    using kr_internal::digit_value;
    using kr_internal::is_decimal_digit;
    KR_Version version{};
    std::size_t at = 0;
    for (std::uint16_t& number : version) {
        const std::size_t begin = at;
        std::uint32_t value = 0;
        for (; at < text.size() && is_decimal_digit(text[at]); ++at) {
            value = value * 10 + digit_value(text[at]);
            if (value > 65'535)
                return {KR_Parse_Error::range, begin};
        }
        if (at == begin)
            return {at == text.size() ? KR_Parse_Error::cut : KR_Parse_Error::character, at};
        number = static_cast<std::uint16_t>(value);
        if (at == text.size()) {
            out = version;
            return {KR_Parse_Error::none, at};
        }
        if (&number == &version.back())
            break;
        if (text[at] != '.')
            return {KR_Parse_Error::character, at};
        ++at;
    }
    return {KR_Parse_Error::surplus, at};
}

std::string kr_to_string(const KR_Version& version)
{
    std::string text;
    for (const std::uint16_t number : version)
        text.append(text.empty() ? "" : ".").append(std::to_string(number));
    return text;
}
