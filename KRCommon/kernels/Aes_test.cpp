#include <KRCommon/kernels/Kernels.h>

#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using kr_internal::Kernels;
using kr_internal::kernels;
using kr_internal::kernels_for;
using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;

using Bytes = std::vector<unsigned char>;
using Keys = std::array<std::uint32_t, kr_internal::aes_key_words>;

// Every form of the cipher, which is given by the set of instructions.
using Aes_Kernels = Kernel_Test;
INSTANTIATE_TEST_SUITE_P(Each, Aes_Kernels, each_form(&Kernels::encrypt_aes), name_of_set);

Bytes from_hex(const std::string& hex)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

Bytes random_bytes(std::size_t size)
{
    static std::mt19937 random; // NOLINT(cert-msc51-cpp): the same bytes in every run
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

Keys encryption_keys(const Kernels& forms, const Bytes& key)
{
    Keys keys{};
    forms.expand_aes_key(key.data(), keys.data());
    return keys;
}

Keys decryption_keys(const Kernels& forms, const Bytes& key)
{
    const Keys keys = encryption_keys(forms, key);
    Keys inverse{};
    forms.invert_aes_keys(keys.data(), inverse.data());
    return inverse;
}

Bytes bytes_of(const Keys& keys, std::size_t first, std::size_t count)
{
    Bytes bytes(4 * count);
    std::memcpy(bytes.data(), keys.data() + first, bytes.size());
    return bytes;
}

// What a message becomes, and the chain after it.
struct Result {
    Bytes message;
    Bytes chain;
};

bool operator==(const Result& a, const Result& b)
{
    return a.message == b.message && a.chain == b.chain;
}

Result encrypted(const Kernels& forms, const Bytes& key, const Bytes& chain, const Bytes& message)
{
    const Keys keys = encryption_keys(forms, key);
    Result result{Bytes(message.size()), chain};
    forms.encrypt_aes(keys.data(), result.chain.data(), message.data(), result.message.data(),
                      message.size() / 16);
    return result;
}

Result decrypted(const Kernels& forms, const Bytes& key, const Bytes& chain, const Bytes& message)
{
    const Keys keys = decryption_keys(forms, key);
    Result result{Bytes(message.size()), chain};
    forms.decrypt_aes(keys.data(), result.chain.data(), message.data(), result.message.data(),
                      message.size() / 16);
    return result;
}

const Kernels& portable()
{
    return kernels_for({});
}

// FIPS 197, appendix A.3, and SP 800-38A, appendices F.2.5 and F.2.6.
const Bytes example_key =
    from_hex("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");
const Bytes example_chain = from_hex("000102030405060708090a0b0c0d0e0f");
const Bytes example_plain = from_hex("6bc1bee22e409f96e93d7e117393172a"
                                     "ae2d8a571e03ac9c9eb76fac45af8e51"
                                     "30c81c46a35ce411e5fbc1191a0a52ef"
                                     "f69f2445df4f9b17ad2b417be66c3710");
const Bytes example_cipher = from_hex("f58c4c04d6e5f1ba779eabfb5f7bfbd6"
                                      "9cfc4e967edb808d679f777bc6702c7d"
                                      "39f23369a9d9bacfa530e26304231461"
                                      "b2eb05e2c39be9fcda6c19078c6a9d1b");

TEST_P(Aes_Kernels, TheRoundKeysOfTheStandardsExample)
{
    const Keys keys = encryption_keys(kernels(), example_key);
    EXPECT_EQ(example_key, bytes_of(keys, 0, 8));
    EXPECT_EQ(from_hex("9ba354118e6925afa51a8b5f2067fcde"), bytes_of(keys, 8, 4));
    EXPECT_EQ(from_hex("a8b09c1a93d194cdbe49846eb75d5b9a"), bytes_of(keys, 12, 4));
    EXPECT_EQ(from_hex("fe4890d1e6188d0b046df344706c631e"), bytes_of(keys, 56, 4));
}

TEST_P(Aes_Kernels, TheBlockOfTheStandardsExample)
{
    const Bytes key = from_hex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    const Bytes plain = from_hex("00112233445566778899aabbccddeeff");
    const Bytes cipher = from_hex("8ea2b7ca516745bfeafc49904b496089");
    EXPECT_EQ(cipher, encrypted(kernels(), key, Bytes(16), plain).message);
    EXPECT_EQ(plain, decrypted(kernels(), key, Bytes(16), cipher).message);
}

TEST_P(Aes_Kernels, ThePublishedExampleOfAChain)
{
    const Result cipher = encrypted(kernels(), example_key, example_chain, example_plain);
    EXPECT_EQ(example_cipher, cipher.message);
    const Result plain = decrypted(kernels(), example_key, example_chain, example_cipher);
    EXPECT_EQ(example_plain, plain.message);
    const Bytes last_block(example_cipher.end() - 16, example_cipher.end());
    EXPECT_EQ(last_block, cipher.chain);
    EXPECT_EQ(last_block, plain.chain);
}

TEST_P(Aes_Kernels, RandomKeys)
{
    for (int round = 0; round < 200; ++round) {
        const Bytes key = random_bytes(32);
        ASSERT_EQ(encryption_keys(portable(), key), encryption_keys(kernels(), key));
        ASSERT_EQ(decryption_keys(portable(), key), decryption_keys(kernels(), key));
    }
}

TEST_P(Aes_Kernels, RandomMessagesOfEveryLength)
{
    for (std::size_t blocks = 0; blocks <= 256; blocks += blocks < 40 ? 1 : 9) {
        const Bytes key = random_bytes(32);
        const Bytes chain = random_bytes(16);
        const Bytes message = random_bytes(16 * blocks);
        const Result cipher = encrypted(portable(), key, chain, message);
        ASSERT_TRUE(cipher == encrypted(kernels(), key, chain, message)) << blocks;
        ASSERT_TRUE(decrypted(portable(), key, chain, message) ==
                    decrypted(kernels(), key, chain, message))
            << blocks;
        ASSERT_EQ(message, decrypted(kernels(), key, chain, cipher.message).message) << blocks;
    }
}

TEST_P(Aes_Kernels, InputAndOutputMayBeTheSameMemory)
{
    const Keys keys = encryption_keys(kernels(), example_key);
    const Keys inverse = decryption_keys(kernels(), example_key);
    for (std::size_t blocks = 1; blocks <= 30; ++blocks) {
        const Bytes message = random_bytes(16 * blocks);
        const Result expected = encrypted(portable(), example_key, example_chain, message);
        Bytes both = message;
        Bytes chain = example_chain;
        kernels().encrypt_aes(keys.data(), chain.data(), both.data(), both.data(), blocks);
        ASSERT_TRUE(expected == (Result{both, chain})) << blocks;
        chain = example_chain;
        kernels().decrypt_aes(inverse.data(), chain.data(), both.data(), both.data(), blocks);
        ASSERT_TRUE((Result{message, expected.chain}) == (Result{both, chain})) << blocks;
    }
}

// Both directions with everything moved by some bytes, and not a byte touched beside the output.
void expect_at(std::size_t from, std::size_t to)
{
    const Bytes message = random_bytes(16 * 13);
    Bytes key(from);
    key.insert(key.end(), example_key.begin(), example_key.end());
    Bytes chain(to);
    chain.insert(chain.end(), example_chain.begin(), example_chain.end());
    Bytes in(from);
    in.insert(in.end(), message.begin(), message.end());
    Bytes out(to + message.size() + 16, 0xEE);
    Bytes expected = out;

    Keys keys{};
    kernels().expand_aes_key(key.data() + from, keys.data());
    kernels().encrypt_aes(keys.data(), chain.data() + to, in.data() + from, out.data() + to, 13);
    const Result cipher = encrypted(portable(), example_key, example_chain, message);
    std::memcpy(expected.data() + to, cipher.message.data(), message.size());
    ASSERT_EQ(expected, out) << from << " -> " << to;

    Keys inverse{};
    kernels().invert_aes_keys(keys.data(), inverse.data());
    std::memcpy(chain.data() + to, example_chain.data(), 16);
    kernels().decrypt_aes(inverse.data(), chain.data() + to, in.data() + from, out.data() + to, 13);
    const Result plain = decrypted(portable(), example_key, example_chain, message);
    std::memcpy(expected.data() + to, plain.message.data(), message.size());
    ASSERT_EQ(expected, out) << from << " -> " << to;
}

TEST_P(Aes_Kernels, EveryAlignment)
{
    for (std::size_t from = 0; from < 16; ++from)
        for (std::size_t to = 0; to < 16; ++to)
            expect_at(from, to);
}

Bytes copy_of(const Guarded_Memory& memory, std::size_t size)
{
    return {memory.data(), memory.data() + size};
}

// Keys, chain, input and output each beside a page that nobody may touch.
void expect_guarded(Guarded_End end, std::size_t blocks)
{
    const Guarded_Memory key(32, end);
    const Guarded_Memory keys(sizeof(Keys), end);
    const Guarded_Memory inverse(sizeof(Keys), end);
    const Guarded_Memory chain(16, end);
    const Guarded_Memory in(16 * blocks, end);
    const Guarded_Memory out(16 * blocks, end);
    const Bytes message = random_bytes(16 * blocks);
    std::memcpy(key.data(), example_key.data(), 32);
    std::memcpy(chain.data(), example_chain.data(), 16);
    std::memcpy(in.data(), message.data(), message.size());

    auto* const words = reinterpret_cast<std::uint32_t*>(keys.data());
    auto* const inverse_words = reinterpret_cast<std::uint32_t*>(inverse.data());
    kernels().expand_aes_key(key.data(), words);
    kernels().invert_aes_keys(words, inverse_words);
    kernels().encrypt_aes(words, chain.data(), in.data(), out.data(), blocks);
    EXPECT_EQ(encrypted(portable(), example_key, example_chain, message).message,
              copy_of(out, message.size()));
    std::memcpy(chain.data(), example_chain.data(), 16);
    kernels().decrypt_aes(inverse_words, chain.data(), out.data(), in.data(), blocks);
    EXPECT_EQ(message, copy_of(in, message.size()));
}

TEST_P(Aes_Kernels, NothingOutsideIsTouched)
{
    for (const Guarded_End end : {Guarded_End::first, Guarded_End::last})
        for (std::size_t blocks = 1; blocks <= 20; ++blocks)
            expect_guarded(end, blocks);
}

TEST_P(Aes_Kernels, TheStackMayHaveAnyAlignment)
{
    const Bytes message = random_bytes(16 * 13);
    for (unsigned shift = 0; shift < 16; shift += 4) {
        struct Call {
            const Bytes& message;
            Result cipher;
            Result plain;
        } call{message, {}, {}};
        kr_platform_testing::call_on_shifted_stack(
            shift,
            [](void* argument) {
                auto& to_do = *static_cast<Call*>(argument);
                to_do.cipher = encrypted(kernels(), example_key, example_chain, to_do.message);
                to_do.plain = decrypted(kernels(), example_key, example_chain, to_do.message);
            },
            &call);
        EXPECT_TRUE(encrypted(portable(), example_key, example_chain, message) == call.cipher);
        EXPECT_TRUE(decrypted(portable(), example_key, example_chain, message) == call.plain);
    }
}

} // namespace
