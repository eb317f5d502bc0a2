#include <KRCommon/util/Addresses.h>

#include <tests/support/Log_Capture.h>

#include <gtest/gtest.h>

namespace {

ACE_INET_Addr address(const char* host, unsigned short port)
{
    return ACE_INET_Addr(port, host);
}

TEST(KrIsValidIp, RejectsSelfAssignedAddresses)
{
    for (const char* text :
         {"169.254.", "169.254.0.1", "169.254.255.255", "169.254.x", "169.254.."})
        EXPECT_FALSE(kr_is_valid_ip(text)) << text;
}

TEST(KrIsValidIp, AcceptsOtherAddresses)
{
    for (const char* text : {"10.0.0.5", "169.253.1.1", "169.255.1.1", "192.168.254.1",
                             "16.9.254.1", "0.0.0.0", "255.255.255.255"})
        EXPECT_TRUE(kr_is_valid_ip(text)) << text;
}

TEST(KrIsValidIp, QuirkAcceptsWhateverIsShorterThanTheTestedPart)
{
    EXPECT_TRUE(kr_is_valid_ip("169.254"));
    EXPECT_TRUE(kr_is_valid_ip("169"));
    EXPECT_TRUE(kr_is_valid_ip(""));
    EXPECT_TRUE(kr_is_valid_ip(static_cast<const char*>(nullptr)));
}

TEST(KrIsValidIp, QuirkAcceptsWhatIsNoAddress)
{
    EXPECT_TRUE(kr_is_valid_ip("999.999.999.999"));
    EXPECT_TRUE(kr_is_valid_ip("no address at all"));
    EXPECT_TRUE(kr_is_valid_ip(" 169.254.1.1"));
    EXPECT_TRUE(kr_is_valid_ip("169.2540"));
}

TEST(KrIsValidIp, LooksAtTheHostOfAnAddress)
{
    EXPECT_FALSE(kr_is_valid_ip(address("169.254.0.0", 80)));
    EXPECT_FALSE(kr_is_valid_ip(address("169.254.17.2", 0)));
    EXPECT_TRUE(kr_is_valid_ip(address("169.253.255.255", 80)));
    EXPECT_TRUE(kr_is_valid_ip(address("10.169.254.1", 80)));
    EXPECT_TRUE(kr_is_valid_ip(address("127.0.0.1", 80)));
    EXPECT_TRUE(kr_is_valid_ip(ACE_INET_Addr()));
}

TEST(KrToStringOfAddress, IsHostColonPort)
{
    EXPECT_EQ("10.0.0.5:8080", kr_to_string(address("10.0.0.5", 8080)));
    EXPECT_EQ("127.0.0.1:0", kr_to_string(address("127.0.0.1", 0)));
    EXPECT_EQ("255.255.255.255:65535", kr_to_string(address("255.255.255.255", 65535)));
    EXPECT_EQ("1.2.3.4:1", kr_to_string(address("1.2.3.4", 1)));
}

TEST(KrToStringOfAddress, OfAnEmptyAddressIsTheSystemsUnspecifiedOne)
{
    const std::string text = kr_to_string(ACE_INET_Addr());
    EXPECT_TRUE(text == "0.0.0.0:0" || text == "[::]:0") << text;
}

struct Info {
    std::string ip = "old ip";
    std::string host = "old host";
    int port = -1;
};

Info info_of(const ACE_INET_Addr& addr, bool look_up)
{
    Info info;
    get_net_address_info(addr, info.ip, info.host, info.port, look_up);
    return info;
}

TEST(GetNetAddressInfo, TakesIpAndPortApart)
{
    const Log_Capture silent;
    for (const int port : {0, 1, 80, 32767, 32768, 65535}) {
        const auto number = static_cast<unsigned short>(port);
        const Info info = info_of(address("10.20.30.40", number), false);
        EXPECT_EQ("10.20.30.40", info.ip);
        EXPECT_EQ(port, info.port);
    }
}

TEST(GetNetAddressInfo, LeavesTheHostWhenNotAskedForIt)
{
    const Log_Capture silent;
    EXPECT_EQ("old host", info_of(address("127.0.0.1", 80), false).host);
    EXPECT_EQ("old host", info_of(ACE_INET_Addr(), false).host);
}

TEST(GetNetAddressInfo, LooksUpTheFirstLabelOfTheName)
{
    const Log_Capture silent;
    const Info info = info_of(address("127.0.0.1", 80), true);
    EXPECT_EQ("127.0.0.1", info.ip);
    EXPECT_NE("old host", info.host);
    EXPECT_NE("", info.host); // the machine's own affair, "127" when it has no name for it
    EXPECT_EQ(std::string::npos, info.host.find_first_of(".:"));
    EXPECT_EQ(80, info.port);
}

TEST(GetNetAddressInfo, OfAnEmptyAddressIsTheUnspecifiedOneWithoutBrackets)
{
    const Log_Capture silent;
    const Info info = info_of(ACE_INET_Addr(), false);
    EXPECT_TRUE(info.ip == "0.0.0.0" || info.ip == "::") << info.ip;
    EXPECT_EQ(0, info.port);
}

TEST(GetNetAddressInfo, LogsOneLine)
{
    Log_Capture capture;
    info_of(address("10.0.0.5", 554), false);
    ASSERT_EQ(1u, capture.lines().size());
    const Log_Capture::Line& line = capture.lines()[0];
    EXPECT_EQ(LM_INFO, line.priority);
    EXPECT_EQ("Utils.cpp", line.file);
    EXPECT_LT(0, line.line);
    EXPECT_EQ(0, line.status);
    const std::string text = capture.unstamped(0);
    const std::string message = " INF get_net_address_info - ip = 10.0.0.5, host = old host, "
                                "port = 554, performReverseDns = 0\n";
    ASSERT_LE(message.size(), text.size());
    EXPECT_EQ(message, text.substr(text.size() - message.size()));
    EXPECT_EQ(" T", text.substr(0, 2));
}

TEST(GetNetAddressInfo, LogsTheHostThatWasLookedUp)
{
    Log_Capture capture;
    const Info info = info_of(address("127.0.0.1", 65535), true);
    ASSERT_EQ(1u, capture.lines().size());
    EXPECT_NE(std::string::npos,
              capture.unstamped(0).find("ip = 127.0.0.1, host = " + info.host +
                                        ", port = 65535, performReverseDns = 1\n"));
}

TEST(FirstLabel, EndsAtTheFirstDot)
{
    using kr_internal::first_label;
    EXPECT_EQ("server7", first_label("server7.example.org:80", "10.0.0.5:80"));
    EXPECT_EQ("localhost", first_label("localhost:0", "127.0.0.1:0"));
    EXPECT_EQ("", first_label(".example.org:80", "10.0.0.5:80"));
}

TEST(FirstLabel, QuirkOfANumericTextIsItsFirstNumber)
{
    using kr_internal::first_label;
    EXPECT_EQ("10", first_label("10.0.0.5:80", "10.0.0.5:80"));
}

TEST(FirstLabel, FallsBackToTheNumericTextWhenTheNameServiceIsSilent)
{
    using kr_internal::first_label;
    EXPECT_EQ("192", first_label("", "192.0.2.1:80"));
    EXPECT_EQ("", first_label("", ""));
}

TEST(FirstLabel, OfIpv6HasNoBrackets)
{
    using kr_internal::first_label;
    EXPECT_EQ("::1", first_label("[::1]:80", "[::1]:80"));
    EXPECT_EQ("fe80::1", first_label("", "[fe80::1]:80"));
    EXPECT_EQ("localhost", first_label("localhost:80", "[::1]:80"));
}

} // namespace
