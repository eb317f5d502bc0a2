#include <KRCommon/util/Version_Retriever.h>

#include <KRCommon/platform/Version_Info.h>

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
