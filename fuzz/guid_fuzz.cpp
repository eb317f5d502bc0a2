// Any bytes as an identifier's text, read beside ACE; what is read is written and read once more.

#include <KRCommon/util/Guid.h>
#include <tests/support/Guid_By_Ace.h>

#include <ace/Log_Msg.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// ACE logs a line for most texts.
const bool is_silent = [] {
    ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
    return true;
}();

constexpr std::size_t room_of_ace = 500; // for what follows the numbers

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const KR_GUID guid = kr_to_guid(text);
    require(text.size() >= 36 || guid == KR_GUID());

    const std::string written = kr_to_string(guid);
    require(written.size() == 36 && kr_to_guid(written) == guid);

    const bool is_braced = size > 2 && text.front() == '{' && text.back() == '}';
    if (!is_braced && size > 0)
        require(kr_to_guid("{" + text + "}") == guid);
    if (!is_braced && size <= room_of_ace)
        require(is_silent && read_by_ace(text) == guid);
    return 0;
}
