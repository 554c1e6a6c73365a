#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "common/ac_text.h"
#include "platform/ac_platform.h"
#include "platform/host/host_env.h"

namespace {

constexpr std::size_t CHECK_TEXT = 24; // bytes of check_network's text
constexpr std::size_t IF_TEXT = 20;    // bytes that getIfIp and getIfNetmask may use

// Asks the kernel one question about an interface. 0, or -1: no such interface, or nothing to answer.
int interface_ask(const char* name, unsigned long question, struct ifreq* answer)
{
    if (name == nullptr || strlen(name) >= IFNAMSIZ) return -1;
    *answer = {};
    memcpy(answer->ifr_name, name, strlen(name));
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    const int result = ioctl(fd, question, answer);
    close(fd);
    return result < 0 ? -1 : 0;
}

int interface_ip_text(const char* name, unsigned long question, char* text)
{
    struct ifreq answer;
    if (interface_ask(name, question, &answer) != 0) return -1;
    struct sockaddr_in address;
    memcpy(&address, &answer.ifr_addr, sizeof address); // copied: the union's member is a plain sockaddr
    return inet_ntop(AF_INET, &address.sin_addr, text, IF_TEXT) != nullptr ? 0 : -1;
}

bool interface_is_up(const char* name)
{
    struct ifreq answer;
    return interface_ask(name, SIOCGIFFLAGS, &answer) == 0 && (answer.ifr_flags & IFF_UP) != 0;
}

} // namespace

int check_network(char* text)
{
    char ip[IF_TEXT];
    const char* name = getLanIfName();
    if (!interface_is_up(name) || getIfIp(name, ip) != 0) return 0;
    char both[IFNAMSIZ + IF_TEXT];
    snprintf(both, sizeof both, "%s %s", name, ip);
    both[CHECK_TEXT - 1] = '\0';
    memcpy(text, both, strlen(both) + 1);
    return 1;
}

const char* getLanIfName()
{
    return host_env().lan_if;
}

int getIfIp(const char* name, char* text)
{
    return interface_ip_text(name, SIOCGIFADDR, text);
}

int getIfNetmask(const char* name, char* text)
{
    return interface_ip_text(name, SIOCGIFNETMASK, text);
}

char* ethaddr_ntoa(const UINT8* mac, char* text)
{
    const ac_mac_text formed(mac);
    memcpy(text, formed.text, sizeof formed.text);
    return text;
}
