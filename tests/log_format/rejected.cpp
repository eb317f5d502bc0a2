// Lines that must not compile; CASE picks one, and 0 is good.
#include <KRCommon/frame/Log.h>

#include <cstdint>
#include <string>

void line(const std::string& name, int number, std::uint64_t size)
{
    constexpr KR_Log_Site site{"x.cpp", 1, LM_INFO};
#if CASE == 0
    kr_log(site, "%T T%04t INF %s: %d of %Q\n", name, number, size);
    kr_log_limited(site, "%T T%04t INF %s: %d of %Q\n", name, number, size);
#elif CASE == 1
    kr_log(site, "%T T%04t INF %s: %d\n", name);
#elif CASE == 2
    kr_log(site, "%T T%04t INF %s\n", name, number);
#elif CASE == 3
    kr_log(site, "%T T%04t INF %s\n", number);
#elif CASE == 4
    kr_log(site, "%T T%04t INF %d\n", name);
#elif CASE == 5
    kr_log(site, "%T T%04t INF %d\n", size);
#elif CASE == 6
    kr_log(site, "%T T%04t INF %Q\n", number);
#elif CASE == 7
    kr_log(site, "%T T%04t INF %ld\n", 1L);
#elif CASE == 8
    kr_log(site, "%T T%04t INF %@\n", &number);
#elif CASE == 9
    kr_log(site, "%T T%04t INF 100%\n");
#elif CASE == 10
    const char* const format = "%T T%04t INF\n";
    kr_log(site, format);
#elif CASE == 11
    kr_log_limited(site, "%T T%04t INF %s: %d\n", name);
#endif
    static_cast<void>(name.size() + static_cast<std::size_t>(number) + site.line + size);
}
