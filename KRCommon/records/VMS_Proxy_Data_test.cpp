#include <KRCommon/records/VMS_Proxy_Data.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

namespace {

KR_VMS_Proxy_Data make_proxy(std::uint32_t id, std::uint16_t port, ACE_UINT32 address)
{
    KR_VMS_Proxy_Data proxy;
    proxy.Id = id;
    proxy.Address.set(port, address);
    return proxy;
}

void expect_proxy(const KR_VMS_Proxy_Data& proxy, std::uint32_t id, std::uint16_t port,
                  ACE_UINT32 address)
{
    EXPECT_EQ(id, proxy.Id);
    EXPECT_EQ(port, proxy.Address.get_port_number());
    EXPECT_EQ(address, proxy.Address.get_ip_address());
}

TEST(KrVmsProxyData, StartsWithIdentifierZeroAndTheEmptyAddress)
{
    // On memory that held other bytes: a member that nobody sets would show them.
    alignas(KR_VMS_Proxy_Data) unsigned char memory[sizeof(KR_VMS_Proxy_Data)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    const KR_VMS_Proxy_Data& proxy = *new (memory) KR_VMS_Proxy_Data;
    EXPECT_EQ(0U, proxy.Id);
    EXPECT_EQ(0, proxy.Address.get_port_number());
    EXPECT_TRUE(proxy.Address.is_any());
    EXPECT_TRUE(proxy.Address == ACE_INET_Addr());
    proxy.~KR_VMS_Proxy_Data();
}

TEST(KrVmsProxyData, CopyHasBothFields)
{
    const KR_VMS_Proxy_Data proxy = make_proxy(0xFFFF'FFFF, 554, 0x0A000001);
    const KR_VMS_Proxy_Data copy = proxy;
    expect_proxy(copy, 0xFFFF'FFFF, 554, 0x0A000001);
    EXPECT_TRUE(copy.Address == proxy.Address);
    expect_proxy(proxy, 0xFFFF'FFFF, 554, 0x0A000001);
}

TEST(KrVmsProxyData, AssignmentReplacesBothFields)
{
    const KR_VMS_Proxy_Data proxy = make_proxy(7, 65535, 0xC0A80102);
    KR_VMS_Proxy_Data assigned = make_proxy(8, 80, 0x7F000001);
    assigned = proxy;
    expect_proxy(assigned, 7, 65535, 0xC0A80102);
    expect_proxy(proxy, 7, 65535, 0xC0A80102);
    KR_VMS_Proxy_Data& itself = assigned;
    assigned = itself;
    expect_proxy(assigned, 7, 65535, 0xC0A80102);
}

TEST(KrVmsProxyData, AssignmentOfAFreshProxyEmptiesTheAddress)
{
    KR_VMS_Proxy_Data assigned = make_proxy(8, 80, 0x7F000001);
    assigned = KR_VMS_Proxy_Data();
    EXPECT_EQ(0U, assigned.Id);
    EXPECT_TRUE(assigned.Address == ACE_INET_Addr());
}

TEST(KrVmsProxyData, CopyHasAnAddressOfItsOwn)
{
    const KR_VMS_Proxy_Data proxy = make_proxy(7, 554, 0x0A000001);
    KR_VMS_Proxy_Data copy = proxy;
    copy.Id = 9;
    copy.Address.set(static_cast<std::uint16_t>(8554), 0x0A000002U);
    expect_proxy(proxy, 7, 554, 0x0A000001);
    expect_proxy(copy, 9, 8554, 0x0A000002);
}

TEST(KrVmsProxyData, MovingCopies)
{
    KR_VMS_Proxy_Data proxy = make_proxy(7, 554, 0x0A000001);
    const KR_VMS_Proxy_Data moved = std::move(proxy);
    expect_proxy(moved, 7, 554, 0x0A000001);
    expect_proxy(proxy, 7, 554, 0x0A000001); // NOLINT(bugprone-use-after-move)
}

TEST(KrVmsProxyData, AGrowingListKeepsItsProxies)
{
    std::vector<KR_VMS_Proxy_Data> proxies;
    for (std::uint16_t i = 0; i < 20; ++i)
        proxies.push_back(make_proxy(i, static_cast<std::uint16_t>(8000 + i), 0x0A000000U + i));
    expect_proxy(proxies[0], 0, 8000, 0x0A000000);
    expect_proxy(proxies[19], 19, 8019, 0x0A000013);
}

} // namespace
