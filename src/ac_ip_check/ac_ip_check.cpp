#include "ac_ip_check/ac_ip_check.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/ac_platform.h"

namespace {

constexpr std::size_t IP_TEXT = 20;

int scan_ip(const char* text, UINT8* ip)
{
    unsigned int part[4];
    if (sscanf(text, "%u.%u.%u.%u", &part[0], &part[1], &part[2], &part[3]) != 4) return -1;
    for (std::size_t i = 0; i < 4; i++)
        ip[i] = static_cast<UINT8>(part[i]);
    return 0;
}

} // namespace

int get_local_ip(UINT8* ip)
{
    char text[IP_TEXT] = {};
    if (getIfIp(getLanIfName(), text) != 0) return -1;
    return scan_ip(text, ip);
}

int get_local_mask(UINT8* mask)
{
    char text[IP_TEXT] = {};
    if (getIfNetmask(getLanIfName(), text) != 0) return -1;
    return scan_ip(text, mask);
}

int get_local_mac(struct mac_addr* pmac)
{
    static_assert(sizeof(struct mac_addr) == AC_MAC_LEN && sizeof _g_ac_mac >= AC_MAC_LEN);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) {
        perror("create socket fail\n");
        return -1;
    }
    struct ifreq request = {};
    const char* name = getLanIfName();
    memcpy(request.ifr_name, name, strnlen(name, IFNAMSIZ - 1));
    if (ioctl(fd, SIOCGIFHWADDR, &request) < 0) {
        perror("mac ioctl error\n");
        close(fd);
        return -1;
    }
    memcpy(pmac, request.ifr_hwaddr.sa_data, AC_MAC_LEN);
    memcpy(_g_ac_mac, &g_ac_mac, AC_MAC_LEN);
    close(fd);
    return 0;
}
