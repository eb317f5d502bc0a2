#include <KRCommon/util/Program_Version.h>

#include <KRCommon/platform/Elf_Version.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Regular_File.h>
#include <KRCommon/platform/Version_Info.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/util/Version_Retriever.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

using kr_platform::Elf_Version;

std::optional<Elf_Version> elf_version_of(const std::string& path)
{
    const kr_platform::Regular_File file(path);
    if (!file.is_open())
        return std::nullopt;
    return kr_platform::elf_version(
        [&file](std::uint64_t offset, unsigned char* out, std::size_t count) {
            return file.read_at(offset, out, count) == count;
        });
}

std::string hex(const std::string& bytes)
{
    std::string text;
    for (const char byte : bytes) {
        const auto number = static_cast<unsigned char>(byte);
        text += kr_internal::lower_hex_digits[number >> 4];
        text += kr_internal::lower_hex_digits[number & 0xF];
    }
    return text;
}

bool is_version(std::string_view text) noexcept
{
    return !text.empty() && kr_internal::is_decimal_digit(text.front()) &&
           kr_internal::is_decimal_digit(text.back()) &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return c == '.' || kr_internal::is_decimal_digit(c); });
}

} // namespace

namespace kr_internal {

std::string version_in_soname(const std::string& soname)
{
    const std::string_view name(soname);
    constexpr std::string_view ending = ".so";
    const std::size_t at = name.rfind(ending);
    if (at == std::string_view::npos)
        return {};
    const std::string_view behind = name.substr(at + ending.size());
    const std::size_t hyphen = name.substr(0, at).rfind('-');
    std::string_view version;
    if (!behind.empty())
        version = behind.front() == '.' ? behind.substr(1) : std::string_view();
    else if (hyphen != std::string_view::npos)
        version = name.substr(hyphen + 1, at - hyphen - 1);
    return is_version(version) ? std::string(version) : std::string();
}

} // namespace kr_internal

KR_Program_Version kr_program_version(const std::string& path)
{
    using Source = KR_Program_Version::Source;
    KR_Program_Version version;
    version.path = path;
    if (const auto numbers = kr_platform::file_version(path)) {
        version.version = kr_to_string(KR_Version(*numbers));
        version.source = Source::resource;
    } else if (const auto elf = elf_version_of(path)) {
        version.soname = elf->soname;
        version.build_id = hex(elf->build_id);
        const std::string of_soname = kr_internal::version_in_soname(elf->soname);
        version.version = elf->note.empty() ? of_soname : elf->note;
        version.source = !elf->note.empty()   ? Source::note
                         : !of_soname.empty() ? Source::soname
                                              : Source::none;
    }
    return version;
}

KR_Program_Version kr_running_program_version()
{
    return kr_program_version(kr_platform::program_path());
}

KR_Program_Version kr_library_version()
{
    return kr_program_version(kr_platform::module_path());
}

std::string kr_to_string(const KR_Program_Version& version)
{
    const std::string& path = version.path;
    std::string text = path.substr(path.rfind(kr_platform::path_separator()) + 1);
    text.append(" ").append(version.version.empty() ? "of unknown version" : version.version);
    if (!version.build_id.empty())
        text.append(" (build ").append(version.build_id, 0, 12).append(")");
    return text;
}
