// The Windows side of Code_Pages.h; its twin is ../linux/Code_Pages.cpp.

#include <KRCommon/platform/Code_Pages.h>

#include <limits>
#include <new>
#include <windows.h>

namespace kr_platform {

namespace {

UINT number_of(Code_Page code_page) noexcept
{
    return code_page == Code_Page::ansi ? CP_ACP : CP_UTF8;
}

template <typename Text>
bool is_too_long(const Text& text) noexcept
{
    return text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max());
}

// convert(buffer, size) answers with the size, terminating zero included, and then fills the buffer.
// Behind a character that is cut at the text's end, Wine leaves that zero out.
template <typename Text, typename Convert>
Text converted(Convert convert)
{
    const int size = convert(nullptr, 0);
    if (size <= 0)
        return {};
    Text text;
    if (static_cast<std::size_t>(size) > text.max_size())
        throw std::bad_alloc(); // not std::length_error
    text.resize(static_cast<std::size_t>(size));
    if (convert(text.data(), size) <= 0)
        return {};
    const std::size_t end = text.find(typename Text::value_type(0));
    if (end != Text::npos)
        text.resize(end);
    return text;
}

} // namespace

std::string narrow(const std::wstring& text, Code_Page code_page)
{
    if (is_too_long(text))
        return {};
    return converted<std::string>([&](char* buffer, int size) {
        return WideCharToMultiByte(number_of(code_page), 0, text.c_str(), -1, buffer, size, nullptr,
                                   nullptr);
    });
}

std::wstring widen(const std::string& text, Code_Page code_page)
{
    if (is_too_long(text))
        return {};
    return converted<std::wstring>([&](wchar_t* buffer, int size) {
        return MultiByteToWideChar(number_of(code_page), 0, text.c_str(), -1, buffer, size);
    });
}

} // namespace kr_platform
