#include <KRCommon/util/Rijndael.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using kr_internal::CRijndael;

// A copy would hold the keys once more.
static_assert(!std::is_copy_constructible_v<CRijndael>);
static_assert(!std::is_copy_assignable_v<CRijndael>);

using Bytes = std::vector<unsigned char>;

Bytes from_hex(const std::string& hex)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string to_hex(const Bytes& bytes)
{
    std::string hex;
    for (const unsigned char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(byte));
        hex += digits;
    }
    return hex;
}

// FIPS 197, appendix C.3.
const Bytes example_key =
    from_hex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
const Bytes example_plain = from_hex("00112233445566778899aabbccddeeff");
const char* const example_cipher = "8ea2b7ca516745bfeafc49904b496089";

// SP 800-38A, appendices F.1.5, F.1.6, F.2.5, F.2.6.
const Bytes key = from_hex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");
const Bytes chain = from_hex("000102030405060708090a0b0c0d0e0f");
const std::string plain = "6bc1bee22e409f96e93d7e117393172a"
                          "ae2d8a571e03ac9c9eb76fac45af8e51"
                          "30c81c46a35ce411e5fbc1191a0a52ef"
                          "f69f2445df4f9b17ad2b417be66c3710";
const std::string ecb_cipher = "f3eed1bdb5d2a03c064b5a7e3db181f8"
                               "591ccb10d410ed26dc5ba74a31362870"
                               "b6ed21b99ca6f4f9f153e7b1beafed1d"
                               "23304b7a39f9f3ff067d8d8f9e24ecc7";
const std::string cbc_cipher = "f58c4c04d6e5f1ba779eabfb5f7bfbd6"
                               "9cfc4e967edb808d679f777bc6702c7d"
                               "39f23369a9d9bacfa530e26304231461"
                               "b2eb05e2c39be9fcda6c19078c6a9d1b";

constexpr int succeeded = 0;
constexpr int no_key = 1;
constexpr int refused = -1;

using Rijndael = Kernel_Test;
INSTANTIATE_TEST_SUITE_P(Each, Rijndael, each_form(&kr_internal::Kernels::encrypt_aes),
                         name_of_set);

TEST_P(Rijndael, OneBlockOfTheStandardsExample)
{
    CRijndael cipher;
    ASSERT_EQ(succeeded, cipher.MakeKey(example_key.data(), nullptr));
    Bytes block(16);
    EXPECT_EQ(succeeded, cipher.EncryptBlock(example_plain.data(), block.data()));
    EXPECT_EQ(example_cipher, to_hex(block));
    EXPECT_EQ(succeeded, cipher.DecryptBlock(block.data(), block.data()));
    EXPECT_EQ(example_plain, block);
}

TEST_P(Rijndael, BlocksAloneOfThePublishedExample)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    const Bytes in = from_hex(plain);
    Bytes out(in.size());
    for (std::size_t at = 0; at < in.size(); at += 16)
        cipher.EncryptBlock(in.data() + at, out.data() + at);
    EXPECT_EQ(ecb_cipher, to_hex(out));
    for (std::size_t at = 0; at < in.size(); at += 16)
        cipher.DecryptBlock(out.data() + at, out.data() + at);
    EXPECT_EQ(plain, to_hex(out));
}

TEST_P(Rijndael, ChainedBlocksOfThePublishedExample)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    const Bytes in = from_hex(plain);
    Bytes out(in.size());
    EXPECT_EQ(succeeded, cipher.Encrypt(in.data(), out.data(), in.size()));
    EXPECT_EQ(cbc_cipher, to_hex(out));

    Bytes back(in.size());
    cipher.ResetChain();
    EXPECT_EQ(succeeded, cipher.Decrypt(out.data(), back.data(), out.size()));
    EXPECT_EQ(plain, to_hex(back));
}

TEST_P(Rijndael, TenThousandBlocksInAChain)
{
    struct Row {
        Bytes key;
        const char* last_block;
    };
    const Row rows[] = {{Bytes(32, 0x00), "8b79eecc93a0ee5dff30b4ea21636da4"},
                        {Bytes(32, 0xFF), "8931b236a79f1976cbcea8b61cc0399e"},
                        {key, "797ebc47c455dd009a75561e1a35fb37"}};
    for (const Row& row : rows) {
        const Bytes zeros(160'000);
        Bytes bytes = zeros;
        CRijndael cipher;
        cipher.MakeKey(row.key.data(), nullptr);
        cipher.Encrypt(bytes.data(), bytes.data(), bytes.size());
        EXPECT_EQ(row.last_block, to_hex(Bytes(bytes.end() - 16, bytes.end())));
        cipher.ResetChain();
        cipher.Decrypt(bytes.data(), bytes.data(), bytes.size());
        EXPECT_TRUE(zeros == bytes);
    }
}

TEST_P(Rijndael, InputAndOutputMayBeTheSameMemory)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    Bytes both = from_hex(plain);
    cipher.Encrypt(both.data(), both.data(), both.size());
    EXPECT_EQ(cbc_cipher, to_hex(both));
    cipher.ResetChain();
    cipher.Decrypt(both.data(), both.data(), both.size());
    EXPECT_EQ(plain, to_hex(both));
}

TEST_P(Rijndael, TheChainRunsOnFromCallToCall)
{
    for (std::size_t first = 16; first < 64; first += 16) {
        CRijndael cipher;
        cipher.MakeKey(key.data(), chain.data());
        Bytes bytes = from_hex(plain);
        cipher.Encrypt(bytes.data(), bytes.data(), first);
        cipher.Encrypt(bytes.data() + first, bytes.data() + first, bytes.size() - first);
        EXPECT_EQ(cbc_cipher, to_hex(bytes));
        cipher.ResetChain();
        cipher.Decrypt(bytes.data(), bytes.data(), first);
        cipher.Decrypt(bytes.data() + first, bytes.data() + first, bytes.size() - first);
        EXPECT_EQ(plain, to_hex(bytes));
    }
}

TEST_P(Rijndael, BlocksAloneLeaveTheChain)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    Bytes bytes = from_hex(plain);
    cipher.Encrypt(bytes.data(), bytes.data(), 16);
    Bytes other(16);
    cipher.EncryptBlock(other.data(), other.data());
    cipher.DecryptBlock(other.data(), other.data());
    cipher.Encrypt(bytes.data() + 16, bytes.data() + 16, 48);
    EXPECT_EQ(cbc_cipher, to_hex(bytes));
}

TEST_P(Rijndael, WithoutAKeyNothingIsDone)
{
    CRijndael cipher;
    const Bytes in(16, 0x11);
    Bytes out(16, 0xEE);
    const Bytes before = out;
    EXPECT_EQ(no_key, cipher.Encrypt(in.data(), out.data(), 16));
    EXPECT_EQ(no_key, cipher.Decrypt(in.data(), out.data(), 16));
    EXPECT_EQ(no_key, cipher.Encrypt(in.data(), out.data(), 0)) << "comes before the length";
    EXPECT_EQ(no_key, cipher.Decrypt(in.data(), out.data(), 5));
    EXPECT_EQ(no_key, cipher.EncryptBlock(in.data(), out.data()));
    EXPECT_EQ(no_key, cipher.DecryptBlock(in.data(), out.data()));
    EXPECT_EQ(before, out);
}

TEST_P(Rijndael, PartialBlocksAndNoBytesAreRefused)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    Bytes bytes = from_hex(plain);
    for (const std::size_t n : {0U, 1U, 15U, 17U, 31U, 33U, 63U}) {
        EXPECT_EQ(refused, cipher.Encrypt(bytes.data(), bytes.data(), n)) << n;
        EXPECT_EQ(refused, cipher.Decrypt(bytes.data(), bytes.data(), n)) << n;
    }
    EXPECT_EQ(plain, to_hex(bytes));
    EXPECT_EQ(succeeded, cipher.Encrypt(bytes.data(), bytes.data(), bytes.size()));
    EXPECT_EQ(cbc_cipher, to_hex(bytes)) << "the chain is as it was";
}

TEST_P(Rijndael, ANullKeyIsRefusedAndTheKeyBeforeStays)
{
    CRijndael cipher;
    Bytes bytes = from_hex(plain);
    EXPECT_EQ(refused, cipher.MakeKey(nullptr, chain.data()));
    EXPECT_EQ(no_key, cipher.Encrypt(bytes.data(), bytes.data(), bytes.size()));

    EXPECT_EQ(succeeded, cipher.MakeKey(key.data(), chain.data()));
    EXPECT_EQ(refused, cipher.MakeKey(nullptr, nullptr));
    cipher.Encrypt(bytes.data(), bytes.data(), bytes.size());
    EXPECT_EQ(cbc_cipher, to_hex(bytes));
}

TEST_P(Rijndael, ANullChainStandsForZeros)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    cipher.MakeKey(example_key.data(), nullptr);
    Bytes bytes = example_plain;
    cipher.Encrypt(bytes.data(), bytes.data(), 16);
    EXPECT_EQ(example_cipher, to_hex(bytes));
}

TEST_P(Rijndael, ANewKeyServesBothDirections)
{
    CRijndael cipher;
    cipher.MakeKey(key.data(), chain.data());
    Bytes bytes = from_hex(cbc_cipher);
    cipher.Decrypt(bytes.data(), bytes.data(), bytes.size());
    EXPECT_EQ(plain, to_hex(bytes));

    cipher.MakeKey(example_key.data(), nullptr);
    bytes = from_hex(example_cipher);
    cipher.Decrypt(bytes.data(), bytes.data(), 16);
    EXPECT_EQ(example_plain, bytes);
    cipher.EncryptBlock(bytes.data(), bytes.data());
    EXPECT_EQ(example_cipher, to_hex(bytes));
}

TEST_P(Rijndael, EveryAlignmentGivesTheSameBytes)
{
    for (std::size_t offset = 0; offset < 8; ++offset) {
        CRijndael cipher;
        Bytes key_there(offset);
        key_there.insert(key_there.end(), key.begin(), key.end());
        cipher.MakeKey(key_there.data() + offset, chain.data());
        Bytes bytes(offset + 64);
        const Bytes in = from_hex(plain);
        cipher.Encrypt(in.data(), bytes.data() + offset, 64);
        EXPECT_EQ(cbc_cipher, to_hex(Bytes(bytes.begin() + static_cast<int>(offset), bytes.end())));
    }
}

TEST_P(Rijndael, WipeLeavesZeros)
{
    std::array<unsigned char, 64> bytes;
    bytes.fill(0xEE);
    kr_internal::wipe(bytes.data() + 1, 62);
    EXPECT_EQ(0xEE, bytes[0]);
    EXPECT_EQ(0xEE, bytes[63]);
    for (std::size_t i = 1; i < 63; ++i)
        EXPECT_EQ(0, bytes[i]);
}

} // namespace
