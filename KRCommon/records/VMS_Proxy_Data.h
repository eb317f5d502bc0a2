#pragma once

/// \file
/// The record of a proxy, KR_VMS_Proxy_Data.

#include <KRCommon/KRCommon_Export.h>

#include <ace/INET_Addr.h>

#include <cstdint>

/// Where one proxy of a video management system is reached.
///
///     KR_VMS_Proxy_Data proxy;
///     proxy.Id = 7;
///     proxy.Address.set(554, "10.0.0.1");
///
/// Threads: a value; it belongs to one thread at a time.
/// Failure: copying may throw std::bad_alloc, as copying the address may.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_VMS_Proxy_Data {
public:
    /// Identifier 0 and the empty address.
    KR_VMS_Proxy_Data();

    /// Copied as a whole. Nothing moves: an ACE_INET_Addr can only be copied.
    /// @{
    KR_VMS_Proxy_Data(const KR_VMS_Proxy_Data& other);
    KR_VMS_Proxy_Data& operator=(const KR_VMS_Proxy_Data& other);
    ~KR_VMS_Proxy_Data();
    /// @}

    std::uint32_t Id = 0;  ///< the proxy's number
    ACE_INET_Addr Address; ///< carried as it is; nothing is looked up or connected
};
