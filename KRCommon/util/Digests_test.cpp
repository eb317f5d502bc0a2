#include <KRCommon/util/Digests.h>

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t piece = 262'144;

std::string varied(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 37 + (i >> 5));
    return text;
}

template <typename Hash>
std::string text_of(Hash& hash)
{
    std::string text = "before";
    EXPECT_TRUE(kr_digest_text(hash, text));
    return text;
}

template <typename Hash>
std::string text_of_message(const std::string& message)
{
    Hash hash;
    hash.input(reinterpret_cast<const unsigned char*>(message.data()),
               static_cast<unsigned>(message.size()));
    return text_of(hash);
}

TEST(DigestText, HasTheStandardsOrder)
{
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", text_of_message<cSHA1>("abc"));
    EXPECT_EQ("DA39A3EE5E6B4B0D3255BFEF95601890AFD80709", text_of_message<cSHA1>(""));
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD",
              text_of_message<cSHA256>("abc"));
    EXPECT_EQ("E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855",
              text_of_message<cSHA256>(""));
}

TEST(DigestText, StandsBesideTheDescribedOne)
{
    cSHA1 hash;
    hash << "abc";
    std::string described;
    ASSERT_TRUE(hash.computeHash(described));
    EXPECT_EQ("363E99A96A81064771253EBA6CC250789DD8D09C", described);
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", text_of(hash))
        << "and may be asked for after it";
}

TEST(DigestText, IsLeftAloneAfterWrongFeeding)
{
    cSHA1 sha1;
    text_of(sha1);
    sha1 << "late";
    cSHA256 sha256;
    text_of(sha256);
    sha256 << "late";
    std::string text = "before";
    EXPECT_FALSE(kr_digest_text(sha1, text));
    EXPECT_FALSE(kr_digest_text(sha256, text));
    EXPECT_EQ("before", text);
}

template <typename Hash>
class HashFile : public testing::Test {
};
using Hashes = testing::Types<cSHA1, cSHA256>;
TYPED_TEST_SUITE(HashFile, Hashes, );

TYPED_TEST(HashFile, GivesTheDigestOfItsBytes)
{
    const Temp_Folder folder;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{1'000}, piece - 1,
                                   piece, piece + 1, 3 * piece, 3 * piece + 77}) {
        const std::string bytes = varied(size);
        TypeParam hash;
        EXPECT_EQ(KR_Hash_File_Result::whole, kr_hash_file(folder.write("file", bytes), hash));
        EXPECT_EQ(text_of_message<TypeParam>(bytes), text_of(hash)) << size;
    }
}

TEST(HashFiles, LineEndsAndZerosCountAsTheyAre)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", std::string("a\r\n\x1A\0b\n", 7));
    cSHA256 hash;
    EXPECT_EQ(KR_Hash_File_Result::whole, kr_hash_file(path, hash));
    EXPECT_EQ("93525859A3FD271AAAC0B2ADF7306E23351A3A74B37A016BD7FCDFE4C9BA591F", text_of(hash));
}

TYPED_TEST(HashFile, GoesOnAfterWhatWasFedBefore)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "bc");
    TypeParam hash;
    hash << "a";
    EXPECT_EQ(KR_Hash_File_Result::whole, kr_hash_file(path, hash));
    EXPECT_EQ(KR_Hash_File_Result::whole, kr_hash_file(path, hash));
    hash << "d";
    EXPECT_EQ(text_of_message<TypeParam>("abcbcd"), text_of(hash));
}

using Calls = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

Calls calls_for(std::size_t size)
{
    const Temp_Folder folder;
    Calls calls;
    cSHA256 hash;
    const auto note = [&calls](std::uint64_t done, std::uint64_t all) {
        calls.emplace_back(done, all);
        return true;
    };
    EXPECT_EQ(KR_Hash_File_Result::whole,
              kr_hash_file(folder.write("file", varied(size)), hash, note));
    return calls;
}

TEST(HashFiles, TellHowFarTheyAre)
{
    EXPECT_EQ((Calls{{0, 0}}), calls_for(0));
    EXPECT_EQ((Calls{{0, 5}, {5, 5}}), calls_for(5));
    EXPECT_EQ((Calls{{0, piece}, {piece, piece}}), calls_for(piece));
    EXPECT_EQ((Calls{{0, 2 * piece + 1},
                     {piece, 2 * piece + 1},
                     {2 * piece, 2 * piece + 1},
                     {2 * piece + 1, 2 * piece + 1}}),
              calls_for(2 * piece + 1));
}

TEST(HashFiles, StopWhenTheyAreTold)
{
    const Temp_Folder folder;
    const std::string bytes = varied(2 * piece + 1);
    const std::string path = folder.write("file", bytes);
    for (const std::size_t last : {std::size_t{0}, piece, 2 * piece, 2 * piece + 1}) {
        cSHA256 hash;
        EXPECT_EQ(KR_Hash_File_Result::stopped,
                  kr_hash_file(path, hash,
                               [last](std::uint64_t done, std::uint64_t) { return done < last; }));
        EXPECT_EQ(text_of_message<cSHA256>(bytes.substr(0, last)), text_of(hash)) << last;
    }
}

TEST(HashFiles, LetAnExceptionOfTheProgressFunctionPass)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "abc");
    const auto throw_at_the_end = [](std::uint64_t done, std::uint64_t size) -> bool {
        return done < size ? true : throw std::runtime_error("enough");
    };
    cSHA256 first;
    EXPECT_THROW((void)kr_hash_file(path, first, throw_at_the_end), std::runtime_error);
    EXPECT_EQ(text_of_message<cSHA256>("abc"), text_of(first));

    // Windows: the process's first exception opens handles of the runtime.
    const unsigned handles = kr_platform_testing::open_handle_count();
    cSHA256 second;
    EXPECT_THROW((void)kr_hash_file(path, second, throw_at_the_end), std::runtime_error);
    EXPECT_EQ(handles, kr_platform_testing::open_handle_count()) << "the file is closed";
}

TEST(HashFiles, ThatGrowAreFedToTheirNewEnd)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "abc");
    cSHA256 hash;
    std::uint64_t most = 0;
    const auto grow_once = [&](std::uint64_t done, std::uint64_t size) {
        EXPECT_EQ(3u, size);
        if (done == 3)
            std::ofstream(path, std::ios::binary | std::ios::app) << "def";
        most = done;
        return true;
    };
    EXPECT_EQ(KR_Hash_File_Result::whole, kr_hash_file(path, hash, grow_once));
    EXPECT_EQ(6u, most);
    EXPECT_EQ(text_of_message<cSHA256>("abcdef"), text_of(hash));
}

TYPED_TEST(HashFile, WhatIsNoFileIsNotOpened)
{
    const Temp_Folder folder;
    for (const std::string& path : {folder.path("missing"), folder.path(), std::string()}) {
        TypeParam hash;
        bool is_asked = false;
        EXPECT_EQ(
            KR_Hash_File_Result::cannot_open,
            kr_hash_file(path, hash, [&](std::uint64_t, std::uint64_t) { return is_asked = true; }))
            << path;
        EXPECT_FALSE(is_asked);
        EXPECT_EQ(text_of_message<TypeParam>(""), text_of(hash));
    }
}

TEST(HashFiles, ThatCannotBeReadSaySo)
{
    const std::string path = kr_platform_testing::unreadable_file();
    if (path.empty())
        GTEST_SKIP() << "no file here opens and cannot be read";
    cSHA256 hash;
    EXPECT_EQ(KR_Hash_File_Result::cannot_read, kr_hash_file(path, hash));
}

} // namespace
