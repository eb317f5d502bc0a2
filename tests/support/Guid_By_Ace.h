#pragma once

#include <KRCommon/util/Guid.h>

#include <ace/UUID.h>

#include <cstddef>
#include <string>

/// What ACE makes of a text without braces, for comparison. ACE logs a line for most texts that it
/// does not like, and must not be given long ones.
inline KR_GUID read_by_ace(const std::string& text)
{
    const ACE_Utils::UUID uuid(ACE_CString(text.c_str()));
    KR_GUID guid;
    guid.Data1 = uuid.time_low();
    guid.Data2 = uuid.time_mid();
    guid.Data3 = uuid.time_hi_and_version();
    guid.Data4[0] = uuid.clock_seq_hi_and_reserved();
    guid.Data4[1] = uuid.clock_seq_low();
    for (std::size_t index = 0; index < 6; ++index)
        guid.Data4[2 + index] = uuid.node().node_ID()[index];
    return guid;
}
