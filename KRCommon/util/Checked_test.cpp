// The readers kr_try_...(): what they accept they give as the lenient ones do, what they do not leaves
// the output alone and has an error with its position.

#include <KRCommon/util/Addresses.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Strict.h>
#include <KRCommon/util/Guid.h>
#include <KRCommon/util/Text.h>
#include <KRCommon/util/Time_Text.h>
#include <KRCommon/util/Version_Retriever.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using Error = KR_Parse_Error;

struct Bad {
    std::string text;
    KR_Parse_Result result;
};

// Every row has its error, and every output stays.
template <typename Output, typename Try>
void expect_refused(const std::vector<Bad>& rows, const Output& before, Try try_to)
{
    for (const Bad& row : rows) {
        Output out = before;
        const KR_Parse_Result result = try_to(row.text, out);
        EXPECT_EQ(static_cast<int>(row.result.error), static_cast<int>(result.error)) << row.text;
        EXPECT_EQ(row.result.position, result.position) << row.text;
        EXPECT_TRUE(before == out) << row.text;
    }
}

// Time text

ACE_Time_Value time_of(std::string_view text)
{
    ACE_Time_Value out(-77);
    const KR_Parse_Result result = kr_try_to_ace_time_value(text, out);
    EXPECT_TRUE(result) << text << ": " << result.reason() << " at " << result.position;
    EXPECT_EQ(text.size(), result.position);
    return out;
}

TEST(KrTryTime, ReadsTheTimeText)
{
    EXPECT_EQ(ACE_Time_Value(1'700'000'000, 5), time_of("2023/11/14 22:13:20.000005"));
    EXPECT_EQ(ACE_Time_Value(0, 0), time_of("1970/01/01 00:00:00.000000"));
    EXPECT_EQ(ACE_Time_Value(32'535'215'999, 999'999), time_of("3000/12/31 23:59:59.999999"));
    EXPECT_EQ(ACE_Time_Value(1'709'251'199, 0), time_of("2024/02/29 23:59:59.000000"));
}

TEST(KrTryTime, ReadsEveryShapeAsTheLenientReader)
{
    for (const char* text :
         {"2024/02/29", "2024/2/9", "2024/02/29 7", "2024/02/29 07:08", "2024/02/29 07:08:09",
          "2024/02/29 07:08:09.5", "2024/02/29 07:08:09.000123", " 2024/ 2/ 9 7: 8: 9. 5",
          "+202/02/28", "2024/+2/+9 +7:+8:+9.+5", "2024/02/2907:08:09", "2024/02/29\t\n07:08:09",
          "2024/02/29 07:08:09.\n12", "2000/02/29", "1999/12/31 23:59:60",
          "1999/12/31 23:59:60.500000", "2024/-0/01"}) {
        ACE_Time_Value out(-77);
        ACE_Date_Time date;
        const KR_Parse_Result result = kr_try_to_ace_date_time(text, date);
        if (std::string(text) == "2024/-0/01") {
            EXPECT_EQ((KR_Parse_Result{Error::range, 5}), result);
            continue;
        }
        ASSERT_TRUE(result) << text;
        EXPECT_EQ(kr_to_string(kr_to_ace_date_time(text)), kr_to_string(date)) << text;
        EXPECT_EQ(0, date.weekday());
        if (date.year() < 1970)
            continue;
        EXPECT_EQ(kr_to_ace_time_value(text), time_of(text)) << text;
    }
}

TEST(KrTryTime, QuirkTheMicrosecondsAreAPlainNumber)
{
    EXPECT_EQ(ACE_Time_Value(1'700'000'000, 5), time_of("2023/11/14 22:13:20.5"));
}

TEST(KrTryTime, ALeapSecondIsTheSecondAfterIt)
{
    EXPECT_EQ(time_of("2017/01/01 00:00:00.250000"), time_of("2016/12/31 23:59:60.250000"));
    EXPECT_EQ(time_of("2015/07/01"), time_of("2015/06/30 23:59:60"));
    ACE_Date_Time date;
    ASSERT_TRUE(kr_try_to_ace_date_time("2016/12/31 23:59:60", date));
    EXPECT_EQ(60, date.second());
}

const std::vector<Bad> bad_times = {
    {"", {Error::cut, 0}},
    {" ", {Error::cut, 1}},
    {"-", {Error::cut, 1}},
    {"x", {Error::character, 0}},
    {"2024", {Error::cut, 4}},
    {"2024/", {Error::cut, 5}},
    {"2024/02", {Error::cut, 7}},
    {"2024/02/", {Error::cut, 8}},
    {"2024-02-29", {Error::character, 4}},
    {"2024/x2/29", {Error::character, 5}},
    {"20240/02/29", {Error::character, 4}},
    {"2024/02/29 ", {Error::cut, 11}},
    {"2024/02/29T07:08:09", {Error::character, 10}},
    {"2024/02/29 07:", {Error::cut, 14}},
    {"2024/02/29 07.08", {Error::character, 13}},
    {"2024/02/29 07:08:", {Error::cut, 17}},
    {"2024/02/29 07:08:09.", {Error::cut, 20}},
    {"2024/02/29 07:08:09.x", {Error::character, 20}},
    {"2024/02/29 07:08:09 ", {Error::surplus, 19}},
    {"2024/02/29 07:08:09Z", {Error::surplus, 19}},
    {"2024/02/29 07:08:09.000123 ", {Error::surplus, 26}},
    {"2024/02/29 07:08:09.0001234", {Error::surplus, 26}},
    {std::string("2024/02/29\0", 11), {Error::character, 10}},
    {std::string("2024/02/29 07:08:09.000123\0", 27), {Error::surplus, 26}},
    {"0000/02/29", {Error::range, 0}},
    {"-123/02/29", {Error::range, 0}},
    {" 0/02/29", {Error::range, 1}},
    {"2024/00/29", {Error::range, 5}},
    {"2024/13/29", {Error::range, 5}},
    {"2024/-1/29", {Error::range, 5}},
    {"2024/02/00", {Error::range, 8}},
    {"2024/02/30", {Error::range, 8}},
    {"2023/02/29", {Error::range, 8}},
    {"2023/02/29 07:08:09.000123", {Error::range, 8}},
    {"2100/02/29 07:08:09.000123", {Error::range, 8}},
    {"2024/04/31", {Error::range, 8}},
    {"2024/01/32", {Error::range, 8}},
    {"2024/02/29 24:08:09.000123", {Error::range, 11}},
    {"2024/02/29 -1", {Error::range, 11}},
    {"2024/02/29 07:60:09.000123", {Error::range, 14}},
    {"2024/02/29 07:08:60.000123", {Error::range, 17}},
    {"2024/02/28 23:59:60.000123", {Error::range, 17}},
    {"2024/02/29 23:58:60", {Error::range, 17}},
    {"2024/02/29 23:59:61", {Error::range, 17}},
    {"2024/02/29 07:08:09.-00001", {Error::range, 20}},
};

TEST(KrTryTime, RefusesOthers)
{
    expect_refused(bad_times, ACE_Time_Value(-77), [](std::string_view text, ACE_Time_Value& out) {
        return kr_try_to_ace_time_value(text, out);
    });
    for (const Bad& row : bad_times) {
        ACE_Date_Time date(1, 2, 3, 4, 5, 6, 7, 1);
        EXPECT_EQ(row.result, kr_try_to_ace_date_time(row.text, date)) << row.text;
        EXPECT_EQ("0003/02/01 04:05:06.000007", kr_to_string(date)) << row.text;
    }
}

TEST(KrTryTime, RefusesInstantsThatAreNone)
{
    expect_refused({{"1969/12/31 23:59:59.999999", {Error::range, 0}},
                    {" 3001/01/01", {Error::range, 1}},
                    {"3000/12/31 23:59:60", {Error::range, 0}},
                    {"0001/01/01", {Error::range, 0}}},
                   ACE_Time_Value(-77), [](std::string_view text, ACE_Time_Value& out) {
                       return kr_try_to_ace_time_value(text, out);
                   });
    ACE_Date_Time date;
    EXPECT_TRUE(kr_try_to_ace_date_time("0001/01/01", date));
    EXPECT_TRUE(kr_try_to_ace_date_time("9999/12/31 23:59:59.999999", date));
    EXPECT_EQ("9999/12/31 23:59:59.999999", kr_to_string(date));
}

TEST(KrTryTime, EveryPartOfATextIsReadOrIsCutAtItsEnd)
{
    const std::string text = "2024/12/29 07:08:09.000123";
    for (std::size_t size = 0; size < text.size(); ++size) {
        ACE_Date_Time date;
        const KR_Parse_Result result =
            kr_try_to_ace_date_time(std::string_view(text).substr(0, size), date);
        EXPECT_EQ(size, result.position) << size;
        const bool ends_in_number = size >= 10 && text[size - 1] >= '0' && text[size - 1] <= '9';
        const bool is_date_of_one_digit = size == 9; // "2024/02/2"
        EXPECT_EQ(ends_in_number || is_date_of_one_digit, static_cast<bool>(result)) << size;
        EXPECT_EQ(result ? Error::none : Error::cut, result.error) << size;
    }
}

// GUID

const std::string usual = "6f9619ff-8b86-4011-b42d-00c04fc964ff";
constexpr KR_GUID usual_guid = {
    0x6F9619FF, 0x8B86, 0x4011, {0xB4, 0x2D, 0x00, 0xC0, 0x4F, 0xC9, 0x64, 0xFF}};

TEST(KrTryGuid, ReadsThePlainFormWithAndWithoutBraces)
{
    for (const std::string& text :
         {usual, "{" + usual + "}", std::string("6F9619FF-8B86-4011-B42D-00C04FC964FF"),
          std::string("{6F9619fF-8B86-4011-b42D-00C04fC964Ff}")}) {
        KR_GUID guid;
        EXPECT_EQ((KR_Parse_Result{Error::none, text.size()}), kr_try_to_guid(text, guid));
        EXPECT_EQ(usual_guid, guid) << text;
    }
    KR_GUID nil = usual_guid;
    EXPECT_TRUE(kr_try_to_guid("00000000-0000-0000-0000-000000000000", nil));
    EXPECT_EQ(KR_GUID(), nil);
}

TEST(KrTryGuid, RefusesOthers)
{
    expect_refused({{"", {Error::cut, 0}},
                    {"{", {Error::cut, 1}},
                    {"{}", {Error::character, 1}},
                    {"x", {Error::character, 0}},
                    {"6f9619ff", {Error::cut, 8}},
                    {usual.substr(0, 35), {Error::cut, 35}},
                    {usual + "0", {Error::surplus, 36}},
                    {usual + " ", {Error::surplus, 36}},
                    {usual + "}", {Error::surplus, 36}},
                    {usual + "-abc", {Error::surplus, 36}},
                    {" " + usual, {Error::character, 0}},
                    {"{" + usual, {Error::cut, 37}},
                    {"{" + usual + ")", {Error::character, 37}},
                    {"{" + usual + "}}", {Error::surplus, 38}},
                    {"{{" + usual + "}}", {Error::character, 1}},
                    {"{" + usual.substr(1) + "}", {Error::character, 8}},
                    {"6f9619ff_8b86-4011-b42d-00c04fc964ff", {Error::character, 8}},
                    {"6f9619ff-8b86-4011-b42d-00c04fc964fg", {Error::character, 35}},
                    {"0x9619ff-8b86-4011-b42d-00c04fc964ff", {Error::character, 1}},
                    {"-0000001-8b86-4011-b42d-00c04fc964ff", {Error::character, 0}},
                    {"6f9619ff-8b86-4011-b4-2d00c04fc964ff", {Error::character, 21}},
                    {"6f9619ff8b864011b42d00c04fc964ff", {Error::character, 8}},
                    {std::string(36, '\0'), {Error::character, 0}},
                    {usual + std::string(1, '\0'), {Error::surplus, 36}}},
                   usual_guid,
                   [](std::string_view text, KR_GUID& out) { return kr_try_to_guid(text, out); });
}

TEST(KrTryGuid, EveryPartIsCutAtItsEnd)
{
    const std::string text = "{" + usual + "}";
    for (std::size_t size = 0; size < text.size(); ++size) {
        KR_GUID guid;
        EXPECT_EQ((KR_Parse_Result{Error::cut, size}), kr_try_to_guid(text.substr(0, size), guid));
    }
}

// Base64

std::string bytes_of(std::string_view text)
{
    std::string out = "before";
    const KR_Parse_Result result = kr_try_decode_base64(text, out);
    EXPECT_TRUE(result) << text << ": " << result.reason() << " at " << result.position;
    EXPECT_EQ(text.size(), result.position);
    return out;
}

TEST(KrTryBase64, ReadsTheExamplesOfTheStandard)
{
    EXPECT_EQ("", bytes_of(""));
    EXPECT_EQ("f", bytes_of("Zg=="));
    EXPECT_EQ("fo", bytes_of("Zm8="));
    EXPECT_EQ("foo", bytes_of("Zm9v"));
    EXPECT_EQ("foob", bytes_of("Zm9vYg=="));
    EXPECT_EQ("fooba", bytes_of("Zm9vYmE="));
    EXPECT_EQ("foobar", bytes_of("Zm9vYmFy"));
    EXPECT_EQ("\xFB\xFF\xFE", bytes_of("+//+"));
    EXPECT_EQ(std::string(1, '\0'), bytes_of("AA=="));
}

TEST(KrTryBase64, ReadsWhatIsEncodedOfAnyLength)
{
    std::mt19937 random(3);
    for (std::size_t size = 0; size < 3'000; size += size < 200 ? 1 : 97) {
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        std::string text;
        KR_Base64::encode(bytes, text, false);
        ASSERT_EQ(bytes, bytes_of(text)) << size;
        if (text.size() < 4)
            continue;
        // every part but those of whole groups is cut
        std::string out = "before";
        for (std::size_t cut = 1; cut < 4; ++cut) {
            const std::string part = text.substr(0, text.size() - cut);
            const KR_Parse_Result result = kr_try_decode_base64(part, out);
            EXPECT_FALSE(result) << part;
            EXPECT_EQ("before", out);
        }
        // one wrong character, anywhere
        const std::size_t at = random() % (text.size() - 2);
        text[at] = "=-_\n \xFF"[random() % 6];
        EXPECT_EQ((KR_Parse_Result{Error::character, at}), kr_try_decode_base64(text, out));
        EXPECT_EQ("before", out);
    }
}

TEST(KrTryBase64, RefusesOthers)
{
    expect_refused({{"Z", {Error::cut, 1}},
                    {"Zg", {Error::cut, 2}},
                    {"Zm9", {Error::cut, 3}},
                    {"Zm9vY", {Error::cut, 5}},
                    {"Zg=", {Error::character, 2}},
                    {"=", {Error::character, 0}},
                    {"==", {Error::character, 0}},
                    {"====", {Error::character, 0}},
                    {"Z===", {Error::character, 1}},
                    {"Zg==Zg==", {Error::character, 2}},
                    {"Zg=a", {Error::character, 2}},
                    {"Zg==\n", {Error::character, 2}},
                    {"Zm9v\n", {Error::character, 4}},
                    {"Zm9v\nZm9v", {Error::character, 4}},
                    {" Zm9v", {Error::character, 0}},
                    {"Zm9-", {Error::character, 3}},
                    {"Zm9_", {Error::character, 3}},
                    {"Zh==", {Error::character, 1}}, // bits left over
                    {"Zv==", {Error::character, 1}},
                    {"Zm9=", {Error::character, 2}},
                    {"Zm+=", {Error::character, 2}},
                    {"Zm9vZm9=", {Error::character, 6}},
                    {std::string("Zm9\0", 4), {Error::character, 3}}},
                   std::string("before"), [](std::string_view text, std::string& out) {
                       return kr_try_decode_base64(text, out);
                   });
}

TEST(KrTryBase64, EveryByteHasOneText)
{
    int accepted = 0;
    const std::string alphabet = KR_Base64::bstr;
    for (const char first : alphabet)
        for (const char second : alphabet) {
            std::string out;
            if (!kr_try_decode_base64(std::string{first, second, '=', '='}, out))
                continue;
            ++accepted;
            std::string text;
            KR_Base64::encode(out, text, false);
            EXPECT_EQ((std::string{first, second, '=', '='}), text);
        }
    EXPECT_EQ(256, accepted);
}

TEST(KrTryBase64, TheTextMayBeTheOutputs)
{
    std::string text = "Zm9vYmE=";
    EXPECT_TRUE(kr_try_decode_base64(text, text));
    EXPECT_EQ("fooba", text);
    KR_Base64::encode(std::string(5'000, 'x'), text, false);
    EXPECT_TRUE(kr_try_decode_base64(text, text));
    EXPECT_EQ(std::string(5'000, 'x'), text);
}

// Hexadecimal

TEST(KrTryHex, ReadsDigitsOfEitherCase)
{
    std::string out = "before";
    EXPECT_EQ((KR_Parse_Result{Error::none, 12}), kr_try_from_hex("000aFFabCDef", out));
    EXPECT_EQ(std::string("\x00\x0A\xFF\xAB\xCD\xEF", 6), out);
    EXPECT_TRUE(kr_try_from_hex("", out));
    EXPECT_EQ("", out);
    out = "4142";
    EXPECT_TRUE(kr_try_from_hex(out, out));
    EXPECT_EQ("AB", out);
}

TEST(KrTryHex, ReadsWhatIsWrittenOfAnyLength)
{
    std::mt19937 random(4);
    for (std::size_t size = 1; size < 5'000; size += size < 100 ? 1 : 331) {
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        auto* const data = reinterpret_cast<unsigned char*>(bytes.data());
        const std::string text = kr_to_string(data, static_cast<unsigned>(size));
        std::string out = "before";
        std::vector<unsigned char> buffer(size, 0xEE);
        std::string wrong = text;
        const std::size_t at = random() % wrong.size();
        wrong[at] = "gG /:@`\xFF"[random() % 8];
        EXPECT_EQ((KR_Parse_Result{Error::character, at}), kr_try_from_hex(wrong, out));
        EXPECT_EQ((KR_Parse_Result{Error::character, at}),
                  kr_try_from_hex(wrong, buffer.data(), size));
        EXPECT_EQ("before", out);
        EXPECT_EQ(std::vector<unsigned char>(size, 0xEE), buffer);
        EXPECT_TRUE(kr_try_from_hex(text, buffer.data(), size));
        EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), data));
        EXPECT_TRUE(kr_try_from_hex(text, out));
        ASSERT_EQ(bytes, out);
    }
}

TEST(KrTryHex, RefusesOthers)
{
    const std::vector<Bad> rows = {{"0", {Error::cut, 1}},
                                   {"ABC", {Error::cut, 3}},
                                   {"0g", {Error::character, 1}},
                                   {"g", {Error::character, 0}},
                                   {"0x12", {Error::character, 1}},
                                   {" 12", {Error::character, 0}},
                                   {"12 ", {Error::character, 2}},
                                   {"12:34", {Error::character, 2}},
                                   {std::string("12\0", 3), {Error::character, 2}}};
    expect_refused(rows, std::string("before"), [](std::string_view text, std::string& out) {
        return kr_try_from_hex(text, out);
    });
}

TEST(KrTryHex, IntoABufferMustBeOfItsSize)
{
    unsigned char out[3] = {0xEE, 0xEE, 0xEE};
    EXPECT_EQ((KR_Parse_Result{Error::cut, 2}), kr_try_from_hex("12", out, 2));
    EXPECT_EQ((KR_Parse_Result{Error::cut, 3}), kr_try_from_hex("123", out, 2));
    EXPECT_EQ((KR_Parse_Result{Error::cut, 5}), kr_try_from_hex("12345", out, 2));
    EXPECT_EQ((KR_Parse_Result{Error::surplus, 4}), kr_try_from_hex("123456", out, 2));
    EXPECT_EQ((KR_Parse_Result{Error::surplus, 0}), kr_try_from_hex("12", out, 0));
    EXPECT_EQ(0xEE, out[0]);
    EXPECT_TRUE(kr_try_from_hex("", nullptr, 0));
    EXPECT_TRUE(kr_try_from_hex("12fE", out, 2));
    EXPECT_EQ(0x12, out[0]);
    EXPECT_EQ(0xFE, out[1]);
    EXPECT_EQ(0xEE, out[2]);
}

// Addresses

std::string address(std::string_view text)
{
    KR_Ip_Address out;
    const KR_Parse_Result result = kr_try_to_address(text, out);
    EXPECT_TRUE(result) << text << ": " << result.reason() << " at " << result.position;
    EXPECT_EQ(text.size(), result.position);
    return kr_to_string(out);
}

TEST(KrTryAddress, ReadsAddressesWithAndWithoutPorts)
{
    for (const char* text :
         {"10.0.0.5", "10.0.0.5:0", "10.0.0.5:554", "255.255.255.255:65535", "0.0.0.0",
          "::", "fe80::1%eth0", "[::]:0", "[2001:db8::1]:554", "[fe80::1%12]:65535"})
        EXPECT_EQ(text, address(text));
    EXPECT_EQ("2001:db8::1", address("[2001:DB8:0::0:1]"));
    EXPECT_EQ("10.0.0.5:554", address("10.0.0.5:00554"));
    EXPECT_EQ("::ffff:a00:5", address("::ffff:10.0.0.5"));
}

TEST(KrTryAddress, GivesItsParts)
{
    KR_Ip_Address out;
    ASSERT_TRUE(kr_try_to_address("[2001:db8::ff00%eth0.1]:554", out));
    EXPECT_TRUE(out.is_ipv6 && out.has_port);
    EXPECT_EQ(554, out.port);
    EXPECT_EQ("eth0.1", out.zone);
    EXPECT_EQ((std::array<std::uint8_t, 16>{0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                            0xFF, 0x00}),
              out.bytes);
    ASSERT_TRUE(kr_try_to_address("10.0.0.5", out));
    EXPECT_FALSE(out.is_ipv6 || out.has_port);
    EXPECT_EQ(0, out.port);
    EXPECT_EQ("", out.zone);
    EXPECT_EQ((std::array<std::uint8_t, 16>{10, 0, 0, 5}), out.bytes);
}

const std::vector<Bad> bad_addresses = {{"", {Error::cut, 0}},
                                        {"camera", {Error::character, 0}},
                                        {"10.0.0", {Error::cut, 6}},
                                        {"10.0.0:80", {Error::character, 6}},
                                        {"10.0.0.256", {Error::range, 7}},
                                        {"10.0.0.05", {Error::character, 8}},
                                        {"10.0.0.5 ", {Error::surplus, 8}},
                                        {" 10.0.0.5", {Error::character, 0}},
                                        {"10.0.0.5:", {Error::cut, 9}},
                                        {"10.0.0.5:x", {Error::character, 9}},
                                        {"10.0.0.5:-1", {Error::character, 9}},
                                        {"10.0.0.5:80x", {Error::character, 11}},
                                        {"10.0.0.5:65536", {Error::range, 9}},
                                        {"10.0.0.5:99999999999", {Error::range, 9}},
                                        {"10.0.0.5/24", {Error::surplus, 8}},
                                        {"10.0.0.5%eth0", {Error::surplus, 8}},
                                        {":80", {Error::character, 0}},
                                        {"::1:", {Error::cut, 4}},
                                        {"::g", {Error::character, 2}},
                                        {"::1%", {Error::cut, 4}},
                                        {"::1%a b", {Error::character, 5}},
                                        {"1:%x:", {Error::character, 2}},
                                        {"[", {Error::cut, 1}},
                                        {"[]", {Error::character, 1}},
                                        {"[::1", {Error::cut, 4}},
                                        {"[::1]:", {Error::cut, 6}},
                                        {"[::1]:x", {Error::character, 6}},
                                        {"[::1]80", {Error::surplus, 5}},
                                        {"[::1]]", {Error::surplus, 5}},
                                        {"[::1%]:5", {Error::character, 5}},
                                        {"[1:2]:5", {Error::character, 4}},
                                        {"[10.0.0.5]:80", {Error::character, 9}},
                                        {std::string("10.0.0.5\0", 9), {Error::surplus, 8}}};

TEST(KrTryAddress, RefusesOthers)
{
    for (const Bad& row : bad_addresses) {
        KR_Ip_Address out;
        ASSERT_TRUE(kr_try_to_address("[::9%x]:9", out));
        EXPECT_EQ(row.result, kr_try_to_address(row.text, out))
            << row.text << ": " << kr_try_to_address(row.text, out).position;
        EXPECT_EQ("[::9%x]:9", kr_to_string(out)) << row.text;
    }
}

TEST(KrTryAddress, ReadsIpv4IntoAcesAddress)
{
    ACE_INET_Addr out;
    EXPECT_EQ((KR_Parse_Result{Error::none, 12}), kr_try_to_address("10.0.0.5:554", out));
    EXPECT_EQ("10.0.0.5:554", kr_to_string(out));
    EXPECT_EQ(ACE_INET_Addr(554, "10.0.0.5"), out);
    EXPECT_TRUE(kr_try_to_address("255.254.253.252", out));
    EXPECT_EQ("255.254.253.252:0", kr_to_string(out));
    for (const Bad& row : bad_addresses)
        EXPECT_EQ(row.result, kr_try_to_address(row.text, out)) << row.text;
    EXPECT_EQ((KR_Parse_Result{Error::character, 0}), kr_try_to_address("[::1]:80", out));
    EXPECT_EQ("255.254.253.252:0", kr_to_string(out));
}

// Versions

TEST(KrTryVersion, ReadsOneToFourNumbers)
{
    const struct {
        const char* text;
        KR_Version version;
    } rows[] = {{"6.3.2.15", {6, 3, 2, 15}}, {"65535.0.65535.0", {65535, 0, 65535, 0}},
                {"1.0.0", {1, 0, 0, 0}},     {"7.0", {7, 0, 0, 0}},
                {"7", {7, 0, 0, 0}},         {"0", {0, 0, 0, 0}},
                {"007.010", {7, 10, 0, 0}},  {"000000065535", {65535, 0, 0, 0}}};
    for (const auto& row : rows) {
        KR_Version version = {9, 9, 9, 9};
        EXPECT_EQ((KR_Parse_Result{Error::none, std::string(row.text).size()}),
                  kr_try_to_version(row.text, version));
        EXPECT_EQ(row.version, version) << row.text;
    }
    EXPECT_EQ("6.3.2.15", kr_to_string(KR_Version{6, 3, 2, 15}));
    EXPECT_EQ("0.0.65535.1", kr_to_string(KR_Version{0, 0, 65535, 1}));
    EXPECT_LT((KR_Version{6, 3, 2, 15}), (KR_Version{6, 10, 0, 0}));
}

TEST(KrTryVersion, RefusesOthers)
{
    expect_refused({{"", {Error::cut, 0}},
                    {".", {Error::character, 0}},
                    {"1.", {Error::cut, 2}},
                    {"1..2", {Error::character, 2}},
                    {"1.2.3.", {Error::cut, 6}},
                    {"1.2.3.4.", {Error::surplus, 7}},
                    {"1.2.3.4.5", {Error::surplus, 7}},
                    {"1.2.3.4 ", {Error::surplus, 7}},
                    {"1.2-3", {Error::character, 3}},
                    {"v1.2", {Error::character, 0}},
                    {"-1", {Error::character, 0}},
                    {" 1", {Error::character, 0}},
                    {"65536", {Error::range, 0}},
                    {"1.99999999999", {Error::range, 2}},
                    {"Version not supported", {Error::character, 0}},
                    {std::string("1.2\0", 4), {Error::character, 3}}},
                   KR_Version{9, 8, 7, 6}, [](std::string_view text, KR_Version& out) {
                       return kr_try_to_version(text, out);
                   });
}

} // namespace
