#include <KRCommon/util/Digests.h>

#include <KRCommon/platform/Regular_File.h>
#include <KRCommon/util/Hash_Message.h>

#include <memory>
#include <optional>

namespace {

constexpr std::size_t piece_size = std::size_t{256} * 1024;

template <typename Hash>
KR_Hash_File_Result hash_file(const std::string& path, Hash& hash, const KR_Hash_Progress& progress)
{
    const kr_platform::Regular_File file(path);
    if (!file.is_open())
        return KR_Hash_File_Result::cannot_open;
    const std::uint64_t size = file.size().value_or(0);
    const std::unique_ptr<unsigned char[]> piece(new unsigned char[piece_size]);
    std::uint64_t done = 0;
    for (;;) {
        if (progress && !progress(done, size))
            return KR_Hash_File_Result::stopped;
        const std::optional<std::size_t> count = file.read_at(done, piece.get(), piece_size);
        if (!count)
            return KR_Hash_File_Result::cannot_read;
        if (*count == 0)
            return KR_Hash_File_Result::whole;
        hash.input(piece.get(), static_cast<unsigned>(*count));
        done += *count;
    }
}

} // namespace

bool kr_digest_text(cSHA1& hash, std::string& text)
{
    unsigned words[5];
    if (!hash.computeHash(words))
        return false;
    text = kr_internal::hex_of_words(words);
    return true;
}

bool kr_digest_text(cSHA256& hash, std::string& text)
{
    return hash.computeHash(text);
}

KR_Hash_File_Result kr_hash_file(const std::string& path, cSHA1& hash,
                                 const KR_Hash_Progress& progress)
{
    return hash_file(path, hash, progress);
}

KR_Hash_File_Result kr_hash_file(const std::string& path, cSHA256& hash,
                                 const KR_Hash_Progress& progress)
{
    return hash_file(path, hash, progress);
}
