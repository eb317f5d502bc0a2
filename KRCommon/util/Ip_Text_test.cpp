#include <KRCommon/util/Ip_Text.h>

#include <gtest/gtest.h>

namespace {

using namespace kr_internal;

// What is read, written again; else the error's number and position.
std::string ipv6(std::string_view text)
{
    Ipv6 address{};
    address.fill(0xEEEE);
    const Ipv6 before = address;
    if (const KR_Parse_Result result = parse_ipv6(text, address); !result) {
        EXPECT_EQ(before, address);
        return std::to_string(static_cast<int>(result.error)) + " at " +
               std::to_string(result.position);
    }
    std::string out;
    append_ipv6(out, address);
    return out;
}

std::string ipv4(std::string_view text)
{
    std::uint32_t address = 0xEEEE'EEEE;
    if (const KR_Parse_Result result = parse_ipv4(text, address); !result) {
        EXPECT_EQ(0xEEEE'EEEE, address);
        return std::to_string(static_cast<int>(result.error)) + " at " +
               std::to_string(result.position);
    }
    std::string out;
    append_ipv4(out, address);
    return out;
}

TEST(Ipv6Text, IsWrittenInItsShortestForm)
{
    const struct {
        const char* text;
        const char* written;
    } rows[] = {
        {"::", "::"},
        {"::1", "::1"},
        {"1::", "1::"},
        {"0:0:0:0:0:0:0:0", "::"},
        {"0:0:0:0:0:0:0:1", "::1"},
        {"1:0:0:0:0:0:0:0", "1::"},
        {"2001:DB8::0001", "2001:db8::1"},
        {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"}, // the first of two
        {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},       // the longer of two
        {"1:0:2:0:3:0:4:0", "1:0:2:0:3:0:4:0"},        // never one group alone
        {"1::2:3:4:5:6:7", "1:0:2:3:4:5:6:7"},
        {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
        {"::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8"},
        {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {"::127.0.0.1", "::7f00:1"},
        {"::ffff:192.168.0.1", "::ffff:c0a8:1"},
        {"1:2:3:4:5:6:255.254.253.252", "1:2:3:4:5:6:fffe:fdfc"},
        {"fe80::1:0.0.0.0", "fe80::1:0:0"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.written, ipv6(row.text)) << row.text;
}

TEST(Ipv6Text, ThatIsNoneHasAnErrorWithItsPosition)
{
    const struct {
        const char* text;
        const char* error;
    } rows[] = {
        {"", "1 at 0"},
        {":", "1 at 1"},
        {":1", "2 at 1"},
        {":::", "2 at 2"},
        {"1", "1 at 1"},
        {"1:", "1 at 2"},
        {"::1:", "1 at 4"},
        {"1:2:3:4:5:6:7", "1 at 13"},
        {"1:2:3:4:5:6:7:", "1 at 14"},
        {"1:2:3:4:5:6:7:8:", "1 at 16"},
        {"1:2:3:4:5:6:7:8:9", "4 at 16"},
        {"1:2:3:4:5:6:7:8::", "4 at 16"},
        {"::1:2:3:4:5:6:7:8", "4 at 16"},
        {"1::2::3", "2 at 5"},
        {"1:::2", "2 at 3"},
        {"12345::", "2 at 4"},
        {"g::", "2 at 0"},
        {"1::g", "2 at 3"},
        {"::1 ", "2 at 3"},
        {" ::1", "2 at 0"},
        {"::1%eth0", "2 at 3"},
        {"::1.2.3", "1 at 7"},
        {"::1.2.3.", "1 at 8"},
        {"::1.2.3.4.5", "4 at 9"},
        {"::1.2.3.4:5", "4 at 9"},
        {"::1.2.3.256", "3 at 8"},
        {"::01.2.3.4", "2 at 3"},
        {"::.1.2.3", "2 at 2"},
        {"::a.2.3.4", "2 at 2"},
        {"1:2:3:4:5:6:7:1.2.3.4", "4 at 14"},
        {"1.2.3.4::", "4 at 7"},
        {"1.2.3.4", "1 at 7"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.error, ipv6(row.text)) << row.text;
    EXPECT_EQ("2 at 3", ipv6(std::string_view("::1\0", 4)));
}

TEST(Ipv4Text, IsFourDecimalNumbers)
{
    for (const char* text : {"0.0.0.0", "10.0.0.5", "255.255.255.255", "1.20.199.200"})
        EXPECT_EQ(text, ipv4(text));
    std::uint32_t address = 0;
    EXPECT_TRUE(parse_ipv4("1.2.3.4", address));
    EXPECT_EQ(0x0102'0304u, address);
}

TEST(Ipv4Text, ThatIsNoneHasAnErrorWithItsPosition)
{
    const struct {
        const char* text;
        const char* error;
    } rows[] = {
        {"", "1 at 0"},
        {"1", "1 at 1"},
        {"1.", "1 at 2"},
        {"1.2.3", "1 at 5"},
        {"1.2.3.", "1 at 6"},
        {"1.2.3.4.", "4 at 7"},
        {"1.2.3.4 ", "4 at 7"},
        {" 1.2.3.4", "2 at 0"},
        {"1..2.3", "2 at 2"},
        {"01.2.3.4", "2 at 1"},
        {"1.2.3.00", "2 at 7"},
        {"1.2.3.256", "3 at 6"},
        {"-1.2.3.4", "2 at 0"},
        {"1.2.3.x", "2 at 6"},
        {"0x1.2.3.4", "2 at 1"},
        {"1,2.3.4", "2 at 1"},
        {"1.2.3.999999999999999", "3 at 6"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.error, ipv4(row.text)) << row.text;
}

} // namespace
