// Layouts, from bytes laid down by hand.
#include "records.h"

#include <gtest/gtest.h>

#include "channel.h"
#include "fake_controller.h"

using namespace acctl;

namespace {

const Bytes mac_bytes = {0x02, 0xA9, 0x51, 0, 0, 0x10};
const Mac mac = {0x02, 0xA9, 0x51, 0, 0, 0x10};

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes name32(const std::string& name)
{
    Bytes bytes(32);
    put_text(bytes, 0, name);
    return bytes;
}

} // namespace

TEST(Records, a_list_row_with_two_radios)
{
    const std::vector<Ap> aps = decode_aps(list_row({mac_bytes, "lobby", 1, true, 32}), 1);
    ASSERT_EQ(aps.size(), 1u);
    const Ap& ap = aps[0];
    EXPECT_EQ(ap.mac, mac);
    EXPECT_EQ(ap.name, "lobby");
    EXPECT_EQ(ap.product, "mdl7");
    EXPECT_EQ(ap.ip, "192.0.2.17");
    EXPECT_EQ(ap.firmware, "V1.0.0");
    EXPECT_EQ(ap.status, ApStatus::online);
    EXPECT_EQ(ap.country, 1);
    EXPECT_EQ(ap.bandwidth, 2);
    EXPECT_TRUE(ap.prefers_5g);
    ASSERT_EQ(ap.radios.size(), 2u);
    EXPECT_EQ(ap.radios[0].channel, 6);
    EXPECT_EQ(ap.radios[0].power, 20);
    EXPECT_EQ(ap.radios[0].rssi, 75);
    EXPECT_EQ(ap.radios[0].clients, 3);
    EXPECT_EQ(ap.radios[0].limit, 32);
    EXPECT_TRUE(ap.radios[0].on);
    EXPECT_EQ(ap.radios[1].channel, 149);
    EXPECT_EQ(ap.radios[1].power, 17);
    EXPECT_EQ(ap.radios[1].clients, 4);
    EXPECT_EQ(ap.radios[1].limit, 50);
    EXPECT_EQ(ap.clients(), 7);
    ASSERT_EQ(ap.ssids.size(), 2u);
    EXPECT_EQ(ap.ssids[0].id, 0);
    EXPECT_EQ(ap.ssids[0].name, "guests");
    EXPECT_EQ(ap.ssids[1].id, 8);
    EXPECT_EQ(ap.ssids[1].name, "staff");
    EXPECT_EQ(ap.ssid_count[0], 8);
    EXPECT_EQ(ap.ssid_count[1], 4);
}

TEST(Records, an_ap_with_one_radio_shows_one)
{
    EXPECT_EQ(decode_aps(list_row({mac_bytes, "lobby"}), 1)[0].radios.size(), 1u);
}

TEST(Records, names_that_fill_their_fields_are_taken_whole)
{
    Bytes row = list_row({mac_bytes, std::string(33, 'n')});
    put_text(row, 486, std::string(32, 'v'));
    const Ap ap = decode_aps(row, 1)[0];
    EXPECT_EQ(ap.name, std::string(33, 'n'));
    EXPECT_EQ(ap.firmware, std::string(32, 'v'));
}

TEST(Records, online_is_what_the_controller_counts_as_online)
{
    for (unsigned status = 0; status < 7; status++)
        EXPECT_EQ(decode_aps(list_row({mac_bytes, "x", status}), 1)[0].online(), status != 0 && status != 5) << status;
    EXPECT_STREQ(to_string(static_cast<ApStatus>(77)), "unknown");
}

TEST(Records, a_list_of_another_length_is_refused)
{
    const Bytes row = list_row({mac_bytes, "lobby"});
    EXPECT_TRUE(decode_aps({}, 0).empty());
    for (std::size_t length = 0; length < row.size(); length++)
        EXPECT_THROW(decode_aps(std::span(row).first(length), 1), ChannelError) << length;
    EXPECT_THROW(decode_aps(row, 0), ChannelError);
    EXPECT_THROW(decode_aps(row, 2), ChannelError);
}

TEST(Records, a_page)
{
    const std::optional<ApPage> decoded = decode_page(page(11, 20));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->ip_mode, 1);
    EXPECT_EQ(decoded->ip, "10.0.0.7");
    EXPECT_EQ(decoded->mask, "255.0.0.0");
    EXPECT_EQ(decoded->gateway, "10.0.0.1");
    EXPECT_EQ(decoded->dns1, "10.0.0.2");
    EXPECT_EQ(decoded->dns2, "10.0.0.3");
    const RadioPage& radio = decoded->radios[0];
    EXPECT_EQ(radio.on, 1);
    EXPECT_EQ(radio.country, 44);
    EXPECT_EQ(radio.bandwidth, 1);
    EXPECT_EQ(radio.channel, 11);
    EXPECT_EQ(radio.extend_channel, 5);
    EXPECT_EQ(radio.power, 20);
    EXPECT_EQ(radio.mode, 9);
    EXPECT_EQ(radio.wmm, 1);
    EXPECT_EQ(decoded->radios[1], RadioPage{});
}

TEST(Records, no_page_is_an_unknown_ap_and_another_length_is_refused)
{
    EXPECT_FALSE(decode_page({}));
    const Bytes whole = page(1, 1);
    for (std::size_t length = 1; length < whole.size(); length++)
        EXPECT_THROW(decode_page(std::span(whole).first(length)), ChannelError) << length;
}

TEST(Records, ssids_in_use)
{
    const std::vector<ApSsids> aps = decode_ssids(ssid_row(mac_bytes, 9, "staff", 5, 40));
    ASSERT_EQ(aps.size(), 1u);
    EXPECT_EQ(aps[0].mac, mac);
    ASSERT_EQ(aps[0].ssids.size(), 1u);
    EXPECT_EQ(aps[0].ssids[0].id, 9);
    EXPECT_EQ(aps[0].ssids[0].name, "staff");
    EXPECT_EQ(aps[0].ssids[0].clients, 5);
    EXPECT_EQ(aps[0].ssids[0].limit, 40);
    EXPECT_TRUE(decode_ssids({}).empty());
    EXPECT_THROW(decode_ssids(Bytes(494)), ChannelError);
}

TEST(Records, the_page_of_policies)
{
    Bytes data(20);
    put32(data, 0, 2);  // alarm
    put32(data, 4, 1);  // reboot
    put32(data, 16, 1); // qvlan
    data = data + name32("loud") + name32(std::string(32, 'q')) + name32("nightly") + name32("guests");
    data = data + advanced_row(mac_bytes, {{472, "nightly"},
                                           {505, "loud"},
                                           {538, "staff"},
                                           {571, "wide"},
                                           {604, "guests"},
                                           {637, "open"},
                                           {670, "strong"},
                                           {469, "\x01"}});
    data = data + Bytes(707);
    const AdvancedPage decoded = decode_advanced(data);
    EXPECT_EQ(decoded.policies[static_cast<std::size_t>(Policy::alarm)],
              (std::vector<std::string>{"loud", std::string(32, 'q')}));
    EXPECT_EQ(decoded.policies[static_cast<std::size_t>(Policy::reboot)], std::vector<std::string>{"nightly"});
    EXPECT_TRUE(decoded.policies[static_cast<std::size_t>(Policy::password)].empty());
    EXPECT_EQ(decoded.policies[static_cast<std::size_t>(Policy::qvlan)], std::vector<std::string>{"guests"});
    ASSERT_EQ(decoded.aps.size(), 1u) << "a row of zeros is room that was left over";
    EXPECT_EQ(decoded.aps[0].mac, mac);
    EXPECT_EQ(decoded.aps[0].bound, (std::array<std::string, 5>{"nightly", "loud", "staff", "wide", "guests"}));
    EXPECT_EQ(decoded.aps[0].wl_basic, "open");
    EXPECT_EQ(decoded.aps[0].wl_rf, "strong");
    EXPECT_TRUE(decoded.aps[0].led);
}

TEST(Records, a_page_of_policies_that_promises_more_than_there_is_is_refused)
{
    Bytes data(20);
    put32(data, 0, 1);
    data = data + name32("loud") + Bytes(707);
    EXPECT_NO_THROW(decode_advanced(data));
    for (std::size_t length = 0; length < data.size(); length++) {
        if (length == 52) // the counts and the name, and no AP
            EXPECT_NO_THROW(decode_advanced(std::span(data).first(length)));
        else
            EXPECT_THROW(decode_advanced(std::span(data).first(length)), ChannelError) << length;
    }
    put32(data, 4, 0xFFFFFFFF);
    EXPECT_THROW(decode_advanced(data), ChannelError);
}

TEST(Records, bodies_of_requests)
{
    EXPECT_EQ(body_of_macs({mac, mac}), mac_bytes + mac_bytes);
    EXPECT_EQ(body_rename(mac, "lobby"), mac_bytes + name32("lobby"));
    EXPECT_EQ(body_rename(mac, std::string(32, 'n')), mac_bytes + Bytes(32, 'n'));
    EXPECT_EQ(body_channel(mac, {1, 5, 149}), mac_bytes + Bytes({1, 5, 149}));
    EXPECT_EQ(body_limit(mac, {8, 40}), mac_bytes + Bytes({8, 40}));
    EXPECT_EQ(body_bind({mac}, {"reboot", "alarm", "password", "deploy", "qvlan"}),
              mac_bytes + name32("reboot") + name32("alarm") + name32("password") + name32("deploy"));
    EXPECT_EQ(body_bind_qvlan({mac}, "qvlan"), mac_bytes + name32("qvlan"));
    EXPECT_THROW(body_rename(mac, std::string(33, 'n')), std::invalid_argument);
}

TEST(Records, the_body_for_the_radios_is_the_page_with_what_was_changed)
{
    std::optional<ApPage> changed = decode_page(page(11, 20));
    changed->radios[0].power = 9;
    changed->radios[1].channel = 149;
    Bytes expected = page(11, 20);
    put8(expected, 73, 9);
    put8(expected, 70, 149);
    EXPECT_EQ(body_radios(mac, *changed), mac_bytes + expected);
}
