#include <KRCommon/util/Addresses.h>

#include <KRCommon/frame/Log.h>

#include <cstring>

bool kr_is_valid_ip(const char* text)
{
    constexpr char self_assigned[] = "169.254.";
    return text == nullptr || std::strncmp(text, self_assigned, sizeof self_assigned - 1) != 0;
}

bool kr_is_valid_ip(const ACE_INET_Addr& address)
{
    char text[INET6_ADDRSTRLEN] = {};
    return kr_is_valid_ip(address.get_host_addr(text, sizeof text));
}

namespace {

enum Form { by_name = 0, numeric = 1 }; // as ACE numbers them

// ACE leaves the buffer as it was when it fails.
template <std::size_t size>
std::string text_of(const ACE_INET_Addr& address, Form form)
{
    char text[size] = {};
    if (address.addr_to_string(text, size, form) == -1)
        return {};
    return text;
}

// What stands before the port: up to the first ":" or, of IPv6, within the brackets.
std::string without_port(const std::string& text)
{
    if (!text.empty() && text.front() == '[')
        return text.substr(1, text.find(']') - 1);
    return text.substr(0, text.find(':'));
}

} // namespace

std::string kr_to_string(const ACE_INET_Addr& address)
{
    return text_of<500>(address, numeric);
}

void get_net_address_info(const ACE_INET_Addr& addr, std::string& ip, std::string& host, int& port,
                          bool performReverseDns)
{
    const std::string text = text_of<256>(addr, numeric);
    ip = without_port(text);
    if (performReverseDns)
        host = kr_internal::first_label(text_of<256>(addr, by_name), text);
    port = addr.get_port_number();
    kr_log((KR_Log_Site{"Utils.cpp", __LINE__, LM_INFO}),
           "%T T%04t INF get_net_address_info - ip = %s, host = %s, port = %d, "
           "performReverseDns = %d\n",
           ip, host, port, performReverseDns ? 1 : 0);
}

namespace kr_internal {

std::string first_label(const std::string& looked_up, const std::string& numeric)
{
    const std::string name = without_port(looked_up.empty() ? numeric : looked_up);
    return name.substr(0, name.find('.'));
}

} // namespace kr_internal
