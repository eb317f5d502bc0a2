#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Handles.h>
#include <KRCommon/util/Digests.h>
#include <KRCommon/util/SHA1.h>

#include <algorithm>
#include <limits>

using namespace kr_internal::c;

namespace {

struct Hash {
    cSHA1 sha1;
    bool is_ended = false; // cSHA1 tells it only with the next digest
};

template <typename Steps>
kr_c_error with_hash(kr_c_sha1* sha1, Steps steps)
{
    return run([&]() -> kr_c_error {
        const Use<kr_c_sha1, Hash> hash(sha1);
        return hash.error() != KR_C_OK ? hash.error() : steps(*hash);
    });
}

} // namespace

kr_c_error kr_c_sha1_create(kr_c_owned_sha1* sha1)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_pointer(sha1))
            return error;
        return give_handle<kr_c_sha1, Hash>(sha1);
    });
}

kr_c_error kr_c_sha1_destroy(kr_c_owned_sha1* sha1)
{
    return destroy_handle<kr_c_sha1, Hash>(sha1);
}

kr_c_error kr_c_sha1_reset(kr_c_sha1* sha1)
{
    return with_hash(sha1, [](Hash& hash) -> kr_c_error {
        hash.sha1.reset();
        hash.is_ended = false;
        return KR_C_OK;
    });
}

kr_c_error kr_c_sha1_feed(kr_c_sha1* sha1, const void* data, kr_c_size data_size)
{
    return with_hash(sha1, [&](Hash& hash) -> kr_c_error {
        if (const kr_c_error error = check_bytes(data, data_size))
            return error;
        if (hash.is_ended)
            return KR_C_WRONG_STATE;
        const auto* bytes = static_cast<const unsigned char*>(data);
        for (std::size_t left = data_size; left > 0;) {
            const std::size_t piece =
                std::min<std::size_t>(left, std::numeric_limits<unsigned>::max());
            hash.sha1.input(bytes, static_cast<unsigned>(piece));
            bytes += piece;
            left -= piece;
        }
        return KR_C_OK;
    });
}

kr_c_error kr_c_sha1_feed_file(kr_c_sha1* sha1, const char* path, kr_c_size path_length)
{
    return with_hash(sha1, [&](Hash& hash) -> kr_c_error {
        if (const kr_c_error error = check_text(path, path_length))
            return error;
        std::string name;
        if (const kr_c_error error = to_system_text(path, path_length, name))
            return error;
        if (hash.is_ended)
            return KR_C_WRONG_STATE;
        return kr_hash_file(name, hash.sha1) == KR_Hash_File_Result::whole ? KR_C_OK : KR_C_SYSTEM;
    });
}

kr_c_error kr_c_sha1_digest(kr_c_sha1* sha1, kr_c_uint8* digest)
{
    return with_hash(sha1, [&](Hash& hash) -> kr_c_error {
        if (const kr_c_error error = check_pointer(digest))
            return error;
        unsigned words[KR_C_SHA1_SIZE / 4];
        hash.is_ended = true;
        if (!hash.sha1.computeHash(words))
            return KR_C_WRONG_STATE;
        for (const unsigned word : words)
            for (int shift = 24; shift >= 0; shift -= 8)
                *digest++ = static_cast<std::uint8_t>(word >> shift);
        return KR_C_OK;
    });
}

kr_c_error kr_c_sha1_text(kr_c_sha1* sha1, kr_c_int32 is_word_reversed, char* out,
                          kr_c_size capacity, kr_c_size* length)
{
    return with_hash(sha1, [&](Hash& hash) -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        std::string text;
        hash.is_ended = true;
        const bool is_told =
            is_word_reversed != 0 ? hash.sha1.computeHash(text) : kr_digest_text(hash.sha1, text);
        return is_told ? give_text(text, out, capacity, length) : KR_C_WRONG_STATE;
    });
}
