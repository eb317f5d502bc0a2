#include <KRCommon/util/Code_Pages.h>

#include <KRCommon/platform/Code_Pages.h>

using kr_platform::Code_Page;

std::string kr_to_multibyte(const std::wstring& text)
{
    return kr_platform::narrow(text, Code_Page::ansi);
}

std::string kr_to_utf8(const std::wstring& text)
{
    return kr_platform::narrow(text, Code_Page::utf8);
}

std::wstring kr_to_widechar(const std::string& text)
{
    return kr_platform::widen(text, Code_Page::ansi);
}

std::wstring utf8_to_widechar(const std::string& text)
{
    return kr_platform::widen(text, Code_Page::utf8);
}
