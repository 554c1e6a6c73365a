#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "platform/ac_net.h"
#include "platform_fixture.h"

namespace {

std::vector<UINT8> g_seen;
int g_seen_port = 0;

long remember(std::span<const UINT8> datagram, const struct sockaddr_in* to)
{
    g_seen.assign(datagram.begin(), datagram.end());
    g_seen_port = ntohs(to->sin_port);
    return 77;
}

struct sockaddr_in loopback(UINT16 port)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

using PlatformNet = PlatformRoot;

TEST_F(PlatformNet, a_captured_datagram_goes_to_the_sink_whose_result_counts)
{
    const std::array<UINT8, 3> datagram = {1, 2, 3};
    const struct sockaddr_in to = loopback(5001);
    ac_net_capture(remember);
    EXPECT_EQ(ac_net_send(-1, datagram, &to), 77);
    ac_net_capture(nullptr);
    EXPECT_EQ(g_seen, std::vector<UINT8>({1, 2, 3}));
    EXPECT_EQ(g_seen_port, 5001);
}

TEST_F(PlatformNet, without_a_sink_the_socket_is_used_and_its_error_shows)
{
    const std::array<UINT8, 3> datagram = {1, 2, 3};
    const struct sockaddr_in to = loopback(5001);
    ac_net_capture(remember);
    ac_net_capture(nullptr);
    errno = 0;
    EXPECT_EQ(ac_net_send(-1, datagram, &to), -1);
    EXPECT_EQ(errno, EBADF);
}

// --- the LAN interface -----------------------------------------------------------------------------------------------

TEST_F(PlatformNet, address_and_mask_of_an_interface_are_dotted_text)
{
    char text[20] = "";
    EXPECT_EQ(getIfIp("lo", text), 0);
    EXPECT_STREQ(text, "127.0.0.1");
    EXPECT_EQ(getIfNetmask("lo", text), 0);
    EXPECT_STREQ(text, "255.0.0.0");
}

TEST_F(PlatformNet, an_interface_that_is_not_there_has_neither)
{
    char text[20] = "";
    EXPECT_EQ(getIfIp("nosuch0", text), -1);
    EXPECT_EQ(getIfNetmask("nosuch0", text), -1);
    EXPECT_EQ(getIfIp("a_name_longer_than_any_interface", text), -1);
    EXPECT_EQ(getIfIp(nullptr, text), -1);
}

TEST_F(PlatformNet, a_usable_network_is_named_by_interface_and_address)
{
    in_root([] {
        char text[24] = {};
        EXPECT_GT(check_network(text), 0);
        EXPECT_STREQ(text, "lo 127.0.0.1");
    });
}

TEST_F(PlatformNet, a_missing_interface_is_no_network)
{
    const Outcome outcome = in_process({{"AC_LAN_IF", "nosuch0"}}, [] {
        char text[24] = {};
        EXPECT_LE(check_network(text), 0);
        EXPECT_STREQ(text, "");
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformNet, without_a_setting_some_interface_is_chosen)
{
    const Outcome outcome = in_process({}, [] {
        char text[20] = "";
        const std::string name = getLanIfName();
        EXPECT_EQ(getIfIp(name.c_str(), text), 0) << name;
        // The loopback is taken only where nothing else has an address.
        EXPECT_TRUE(name == "lo" || strcmp(text, "127.0.0.1") != 0) << name;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformNet, a_mac_is_written_in_lower_case_with_colons)
{
    const UINT8 mac[6] = {0x00, 0x0A, 0xBC, 0xff, 0x01, 0x10};
    char text[18] = "";
    EXPECT_EQ(ethaddr_ntoa(mac, text), text);
    EXPECT_STREQ(text, "00:0a:bc:ff:01:10");
}
