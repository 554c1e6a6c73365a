#include "ac_ip_check/ac_ip_check.h"

#include <cstring>

#include "platform_fixture.h"

using AcIpCheck = PlatformRoot;

TEST_F(AcIpCheck, the_local_address_is_that_of_the_lan_interface)
{
    in_root([] {
        UINT8 ip[4] = {};
        EXPECT_EQ(get_local_ip(ip), 0);
        const UINT8 expected[4] = {127, 0, 0, 1};
        EXPECT_EQ(memcmp(ip, expected, 4), 0);
    });
}

TEST_F(AcIpCheck, the_local_mask_is_that_of_the_lan_interface)
{
    in_root([] {
        UINT8 mask[4] = {1, 2, 3, 4};
        EXPECT_EQ(get_local_mask(mask), 0);
        const UINT8 expected[4] = {255, 0, 0, 0};
        EXPECT_EQ(memcmp(mask, expected, 4), 0);
    });
}

TEST_F(AcIpCheck, the_local_mac_also_goes_to_its_copy_as_bytes)
{
    in_root([] {
        g_ac_mac = {9, 9, 9, 9, 9, 9};
        memset(_g_ac_mac, 8, sizeof _g_ac_mac);
        EXPECT_EQ(get_local_mac(&g_ac_mac), 0);
        const UINT8 loopback[6] = {};
        EXPECT_EQ(memcmp(&g_ac_mac, loopback, 6), 0);
        EXPECT_EQ(memcmp(_g_ac_mac, loopback, 6), 0);
        EXPECT_EQ(_g_ac_mac[6], 8);
    });
}

TEST_F(AcIpCheck, the_copy_is_made_from_the_process_wide_mac)
{
    in_root([] {
        struct mac_addr other = {1, 1, 1, 1, 1, 1};
        g_ac_mac = {2, 0, 0, 0, 0, 7};
        EXPECT_EQ(get_local_mac(&other), 0);
        EXPECT_EQ(other.addr_1, 0);
        const UINT8 expected[6] = {2, 0, 0, 0, 0, 7};
        EXPECT_EQ(memcmp(_g_ac_mac, expected, 6), 0);
    });
}

TEST_F(AcIpCheck, a_missing_interface_fails_all_three)
{
    const Outcome outcome = in_process({{"AC_LAN_IF", "nosuch0"}}, [] {
        UINT8 ip[4] = {};
        struct mac_addr mac = {};
        EXPECT_EQ(get_local_ip(ip), -1);
        EXPECT_EQ(get_local_mask(ip), -1);
        EXPECT_EQ(get_local_mac(&mac), -1);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("mac ioctl error"), std::string::npos) << outcome.err;
}
