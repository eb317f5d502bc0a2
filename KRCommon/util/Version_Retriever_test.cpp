#include <KRCommon/util/Version_Retriever.h>

#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

constexpr const char* not_supported = "Version not supported";

std::string sample(const std::string& name)
{
    return std::string(KR_VERSION_SAMPLES) + "/" + name + ".dll";
}

std::string version_of(const std::string& path)
{
    return KR_Version_Retriever(path.c_str()).GetVersionInfo();
}

TEST(KrVersionRetriever, ReadsLibrariesOfBothSizes)
{
    EXPECT_EQ("6.3.2.15", version_of(sample("x86_6.3.2.15")));
    EXPECT_EQ("6.3.2.15", version_of(sample("x64_6.3.2.15")));
}

TEST(KrVersionRetriever, PartsAbove32767ArePositive)
{
    EXPECT_EQ("40000.1.65535.0", version_of(sample("x86_40000.1.65535.0")));
    EXPECT_EQ("40000.1.65535.0", version_of(sample("x64_40000.1.65535.0")));
}

TEST(KrVersionRetriever, FindsTheVersionAmongOtherResources)
{
    EXPECT_EQ("1.2.3.4", version_of(sample("x86_several_1.2.3.4")));
}

TEST(KrVersionRetriever, AFileWithoutVersionResourceIsNotSupported)
{
    EXPECT_EQ(not_supported, version_of(sample("x86_other_resource")));
    EXPECT_EQ(not_supported, version_of(sample("x64_no_resources")));
}

TEST(KrVersionRetriever, WhatIsNoLibraryIsNotSupported)
{
    const Temp_Folder folder;
    EXPECT_EQ(not_supported, version_of(folder.path("missing.dll")));
    EXPECT_EQ(not_supported, version_of(folder.path()));
    EXPECT_EQ(not_supported, version_of(""));
    EXPECT_EQ(not_supported, version_of(folder.write("empty.dll", "")));
    EXPECT_EQ(not_supported, version_of(folder.write("text.dll", "6.3.2.15\n")));
    EXPECT_EQ(not_supported, version_of(folder.write("short.dll", "MZ")));
    EXPECT_EQ(not_supported, version_of(folder.write("zeros.dll", std::string(4096, '\0'))));
}

TEST(KrVersionRetriever, ANullPathLeavesPathAndTextEmpty)
{
    const KR_Version_Retriever retriever(nullptr);
    EXPECT_STREQ("", retriever.GetVersionInfo());
    EXPECT_EQ("", retriever.path());
}

TEST(KrVersionRetriever, GetReplacesTheText)
{
    KR_Version_Retriever retriever(sample("x86_40000.1.65535.0").c_str());
    retriever.get(sample("x86_6.3.2.15").c_str());
    EXPECT_STREQ("6.3.2.15", retriever.GetVersionInfo());
    EXPECT_EQ(sample("x86_6.3.2.15"), retriever.path());
    retriever.get(sample("x86_other_resource").c_str());
    EXPECT_STREQ(not_supported, retriever.GetVersionInfo());
    retriever.get(sample("x64_6.3.2.15").c_str());
    EXPECT_STREQ("6.3.2.15", retriever.GetVersionInfo());
}

TEST(KrVersionRetriever, GetOfNullEmptiesTheTextAndKeepsThePath)
{
    KR_Version_Retriever retriever(sample("x86_6.3.2.15").c_str());
    retriever.get(nullptr);
    EXPECT_STREQ("", retriever.GetVersionInfo());
    EXPECT_EQ(sample("x86_6.3.2.15"), retriever.path());
}

TEST(KrVersionRetriever, AssignmentOfAPathReadsIt)
{
    KR_Version_Retriever retriever(nullptr);
    KR_Version_Retriever& result = (retriever = sample("x64_6.3.2.15").c_str());
    EXPECT_EQ(&retriever, &result);
    EXPECT_STREQ("6.3.2.15", retriever.GetVersionInfo());
    retriever = static_cast<const char*>(nullptr);
    EXPECT_STREQ("", retriever.GetVersionInfo());
    EXPECT_EQ(sample("x64_6.3.2.15"), retriever.path());
}

TEST(KrVersionRetriever, CopiesDoNotReadTheFileAgain)
{
    const Temp_Folder folder;
    const std::string path = folder.write("copied.dll", "MZ");
    KR_Version_Retriever original(path.c_str());
    ASSERT_STREQ(not_supported, original.GetVersionInfo());
    std::filesystem::remove(path);
    std::filesystem::copy_file(sample("x86_6.3.2.15"), path);

    const KR_Version_Retriever copy(original);
    EXPECT_STREQ(not_supported, copy.GetVersionInfo());
    EXPECT_EQ(path, copy.path());
    KR_Version_Retriever assigned(sample("x86_40000.1.65535.0").c_str());
    assigned = original;
    EXPECT_STREQ(not_supported, assigned.GetVersionInfo());
    EXPECT_EQ(path, assigned.path());

    original.get(path.c_str());
    EXPECT_STREQ("6.3.2.15", original.GetVersionInfo());
    EXPECT_STREQ(not_supported, copy.GetVersionInfo());
}

TEST(KrVersionRetriever, ItsOwnTextsMayBeThePath)
{
    KR_Version_Retriever retriever(sample("x86_6.3.2.15").c_str());
    retriever.get(retriever.path().c_str());
    EXPECT_STREQ("6.3.2.15", retriever.GetVersionInfo());
    retriever = retriever.GetVersionInfo();
    EXPECT_EQ("6.3.2.15", retriever.path());
    EXPECT_STREQ(not_supported, retriever.GetVersionInfo());
}

TEST(KrVersionRetriever, IsDestroyedThroughItsBase)
{
    static int destroyed = 0;
    struct Derived : KR_Version_Retriever {
        using KR_Version_Retriever::KR_Version_Retriever;
        ~Derived() override { ++destroyed; }
    };
    std::unique_ptr<KR_Version_Retriever> retriever = std::make_unique<Derived>(nullptr);
    retriever.reset();
    EXPECT_EQ(1, destroyed);
}

} // namespace
