// The pieces that an update is made of, called as the units above the table call them, and the client list.
#include "ac_mib/apconfig_update.h"
#include "apconfig_fixture.h"

namespace {

constexpr UINT16 SINGLE = 1; // one radio, SSIDs 0 and 1
constexpr UINT16 DUAL = 67;  // two radios, SSIDs 0 to 11

class ApconfigUpdateParts : public TestWorld {
protected:
    Mac mac = test_mac(0x123);
};

} // namespace

TEST_F(ApconfigUpdateParts, radio_images_stand_10_bytes_apart_and_their_number_is_returned)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    const Bytes images = {2, 0, 0, 0, 0, 21, 1, 0, 0, 0, 3, 0, 0, 0, 0, 22, 36, 0, 0, 0};
    ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(apconfig_mib_update_rf(node, images, 2), 2);
    EXPECT_EQ(rf_of(node, 0).TXpower, 21);
    EXPECT_EQ(rf_of(node, 1).TXpower, 22);
    EXPECT_EQ(apconfig_mib_update_rf(node, images, 0), 0);
}

TEST_F(ApconfigUpdateParts, null_arguments_give_255)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    const Bytes images(118);
    ac_lock lock(g_apconfig_mutex);
    for (int num : {0, 1}) {
        EXPECT_EQ(apconfig_mib_update_rf(nullptr, images, num), 255);
        EXPECT_EQ(apconfig_mib_update_rf(node, {}, num), 255);
        EXPECT_EQ(apconfig_mib_update_wl(nullptr, images, num), 255);
        EXPECT_EQ(apconfig_mib_update_wl(node, {}, num), 255);
        EXPECT_EQ(apconfig_mib_update_wl_basic_all(nullptr, images, num), 255);
        EXPECT_EQ(apconfig_mib_update_wl_basic_all(node, {}, num), 255);
    }
    EXPECT_EQ(apconfig_mib_update_rf_radio(nullptr, 0, 1), 255);
}

TEST_F(ApconfigUpdateParts, more_images_than_the_data_hold_are_refused)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    const Bytes before = raw(rf_of(node, 0));
    const std::string out = output_of([&] {
        ac_lock lock(g_apconfig_mutex);
        EXPECT_EQ(apconfig_mib_update_rf(node, Bytes(19), 2), 255);
        EXPECT_EQ(apconfig_mib_update_rf(node, Bytes(20), -1), 255);
        EXPECT_EQ(apconfig_mib_update_wl(node, Bytes(219), 2), 255);
        EXPECT_EQ(apconfig_mib_update_wl_basic_all(node, Bytes(235), 2), 255);
    });
    EXPECT_EQ(error_texts(out),
              (Texts{"2 images do not fit into 19 bytes\n", "-1 images do not fit into 20 bytes\n",
                     "2 images do not fit into 219 bytes\n", "2 images do not fit into 235 bytes\n"}));
    EXPECT_EQ(raw(rf_of(node, 0)), before);
}

TEST_F(ApconfigUpdateParts, a_radio_is_switched_by_bit_1_alone)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    rf_of(node, 1).RF_basic_setting = 0x5D;
    ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, 1, 7), 0);
    EXPECT_EQ(rf_of(node, 1).RF_basic_setting, 0x5F);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, 1, 0), 0);
    EXPECT_EQ(rf_of(node, 1).RF_basic_setting, 0x5D);
}

TEST_F(ApconfigUpdateParts, switching_a_missing_radio_gives_255)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, 1, 1), 255);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, 256, 1), 255);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, -1, 1), 255);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, 0, 1), 0);
}

TEST_F(ApconfigUpdateParts, channel_and_limit_give_255_for_a_missing_node)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    const CONFIG_CHANNEL channel = {1, 1, 36};
    const CONFIG_CLI_LIMIT limit = {2, 40};
    const std::string out = output_of([&] {
        ac_lock lock(g_apconfig_mutex);
        EXPECT_EQ(apconfig_mib_update_channel(node, &channel), 255);
        EXPECT_EQ(apconfig_mib_update_limit(node, &limit), 255);
    });
    EXPECT_EQ(error_texts(out), (Texts{"node is not exited\n", "node is not exited\n"}));
}

TEST_F(ApconfigUpdateParts, channel_and_limit_give_0_for_a_node)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    const CONFIG_CHANNEL channel = {0, 1, 11};
    const CONFIG_CLI_LIMIT limit = {1, 40};
    ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(apconfig_mib_update_channel(node, &channel), 0);
    EXPECT_EQ(apconfig_mib_update_limit(node, &limit), 0);
    EXPECT_EQ(rf_of(node, 0).channel, 11);
    EXPECT_EQ(rf_of(node, 0).expand_channel, 1);
    EXPECT_EQ(wl_of(node, 1).client_number, 40);
}

TEST_F(ApconfigUpdateParts, the_client_list_is_replaced_and_what_stood_behind_it_cleared)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    take_notes();
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(18, 0xAA), 3), 0);
    EXPECT_EQ(node->info_client.num, 3);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes{1, 2, 3, 4, 5, 6}, 1), 0);
    EXPECT_EQ(node->info_client.num, 1);
    Bytes expected(384);
    put(expected, 0, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(raw(node->info_client.online_client), expected);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdateParts, a_client_list_of_64_is_taken_and_one_of_65_refused)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(64 * 6, 0xAA), 64), 0);
    EXPECT_EQ(node->info_client.num, 64);
    EXPECT_EQ(raw(node->info_client.online_client), Bytes(384, 0xAA));
    const std::string out =
        output_of([&] { EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(65 * 6, 0xBB), 65), 255); });
    EXPECT_EQ(error_texts(out), Texts{"client list does not fit, num:65 len:390\n"});
    EXPECT_EQ(raw(node->info_client.online_client), Bytes(384, 0xAA));
}

TEST_F(ApconfigUpdateParts, a_client_list_of_0_clears_and_one_below_0_is_refused)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(6, 0xAA), 1), 0);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(6, 0xAA), -1), 255);
    EXPECT_EQ(node->info_client.num, 1);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(6, 0xAA), 0), 0);
    EXPECT_EQ(node->info_client.num, 0);
    EXPECT_EQ(raw(node->info_client.online_client), Bytes(384));
}

TEST_F(ApconfigUpdateParts, a_client_list_longer_than_its_data_is_refused)
{
    APCONFIG* node = make_record(mac, DUAL, 1);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), cut(Bytes(12), 11), 2), 255);
    EXPECT_EQ(node->info_client.num, 0);
    EXPECT_EQ(apconfig_mib_update_client(mac.data(), cut(Bytes(12), 12), 2), 0);
}

TEST_F(ApconfigUpdateParts, a_client_list_of_an_unknown_ap_or_without_data_prints)
{
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(apconfig_mib_update_client(mac.data(), Bytes(6), 1), 255); })),
              Texts{"mac is not exited\n"});
    make_record(mac, DUAL, 1);
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(apconfig_mib_update_client(mac.data(), {}, 1), 255); })),
              Texts{"data is null\n"});
}
