// The page of one AP: what the web interface reads of it, and what a page that comes back changes.
#include "main/wtp_page.h"

#include "ac_mib/sql_flash_queue.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "wtp_kit.h"

using namespace apconfig_test;

static constexpr UINT16 ONE_RADIO = 1;
static constexpr UINT16 TWO_RADIOS = 67;

class WtpPage : public WtpWorld {
protected:
    APCONFIG* ap(UINT16 type = TWO_RADIOS, UINT8 status = AP_LINK_UP, const char* version = "1")
    {
        APCONFIG* node = make_record(test_mac(1), type, status, version);
        take_notes();
        return node;
    }
    CONFIG_WL_RF& radio(APCONFIG* node, UINT8 number) { return apconfig_find_rf_node(&node->list_rf, number)->rf; }
    int set(const Bytes& body, int ap_num = 1)
    {
        return set_wtp_config(wtp_request(SET_AP_CONFIG_REQ, ap_num, body).get());
    }
};

// MAC and page, with the radio settings of a record as the kit makes it: on, channel 6 and 36, power 20.
static Bytes page_body()
{
    Bytes body(98);
    put(body, 0, {0x02, 0, 0, 0, 0, 1});
    put(body, 69, {1, 1});   // wlEn
    put(body, 75, {6, 36});  // channel
    put(body, 79, {20, 20}); // tx_pwr
    return body;
}

// --- reading ---------------------------------------------------------------------------------------------------------

static void give_addresses(APCONFIG* node)
{
    node->info_basic.ip = from_bytes<CONFIG_IP>({2, 10, 0, 0, 7, 255, 255, 0, 0, 10, 0, 0, 1, 8, 8, 8, 8, 9, 9, 9, 9});
}

static Bytes page_image()
{
    Bytes page(92);
    put(page, 33, {2, 0, 0, 10, 0, 0, 7, 255, 255, 0, 0, 10, 0, 0, 1, 8, 8, 8, 8, 9, 9, 9, 9});
    return page;
}

TEST_F(WtpPage, the_page_of_an_ap_with_two_radios_holds_its_addresses_and_both_radios)
{
    APCONFIG* node = ap();
    give_addresses(node);
    set_text(node->info_basic.apname.ap_name, "lobby"); // no part of the page
    node->info_basic.apname.ap_name_length = 5;
    radio(node, 0) = from_bytes<CONFIG_WL_RF>(
        {0x4E, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    radio(node, 1) = from_bytes<CONFIG_WL_RF>(
        {0x11, 11, 12, 13, 14, 15, 16, 17, 18, 19, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    Bytes expected = page_image();
    put(expected, 63, {1, 0, 2, 12, 4, 14, 6, 16, 1, 11, 5, 15, 3, 13, 7, 17, 8, 18, 9, 19, 1, 0, 0, 1, 1, 0, 1, 0});
    UINT8 buf[92] = {};
    int len = 0;
    EXPECT_EQ(get_wtp_config_only(wtp_request(GET_AP_CONFIG_REQ, 1, macs({1})).get(), buf, &len), 0);
    EXPECT_EQ(len, 92);
    EXPECT_EQ(Bytes(buf, buf + 92), expected);
}

TEST_F(WtpPage, the_second_slot_of_an_ap_with_one_radio_stays_empty)
{
    give_addresses(ap(ONE_RADIO));
    Bytes expected = page_image();
    put(expected, 63, {1});
    put(expected, 69, {6});
    put(expected, 73, {20});
    UINT8 buf[92] = {};
    int len = 0;
    EXPECT_EQ(get_wtp_config_only(wtp_request(GET_AP_CONFIG_REQ, 1, macs({1})).get(), buf, &len), 0);
    EXPECT_EQ(Bytes(buf, buf + 92), expected);
}

TEST_F(WtpPage, whether_there_is_a_second_slot_is_told_by_the_product)
{
    ap()->ap_type = ONE_RADIO; // with the records of two
    UINT8 buf[92] = {};
    int len = 0;
    EXPECT_EQ(get_wtp_config_only(wtp_request(GET_AP_CONFIG_REQ, 1, macs({1})).get(), buf, &len), 0);
    Bytes slots(28);
    put(slots, 0, {1});
    put(slots, 6, {6});
    put(slots, 10, {20});
    EXPECT_EQ(Bytes(buf + 63, buf + 91), slots);
}

TEST_F(WtpPage, an_ap_that_lacks_a_radio_leaves_its_slot_empty)
{
    APCONFIG* node = ap();
    radio(node, 0).RF_basic_setting |= 1; // both are radio 1 now
    UINT8 buf[92] = {};
    int len = 0;
    EXPECT_EQ(get_wtp_config_only(wtp_request(GET_AP_CONFIG_REQ, 1, macs({1})).get(), buf, &len), 0);
    EXPECT_EQ(buf[63], 0);
    EXPECT_EQ(buf[64], 1);
}

TEST_F(WtpPage, a_page_of_an_unknown_ap_is_refused_with_a_line)
{
    UINT8 buf[92] = {};
    int len = 7;
    const WtpRequest request = wtp_request(GET_AP_CONFIG_REQ, 1, macs({1}));
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(get_wtp_config_only(request.get(), buf, &len), 255); }), "E|\n");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(get_wtp_config_only(nullptr, buf, &len), 255); }), "");
    EXPECT_EQ(len, 7);
    EXPECT_EQ(Bytes(buf, buf + 92), Bytes(92));
}

TEST_F(WtpPage, a_request_for_a_page_needs_six_bytes_and_the_buffer_ninety_two)
{
    ap();
    UINT8 buf[92] = {};
    int len = 0;
    const WtpRequest five = wtp_request(GET_AP_CONFIG_REQ, 1, cut(macs({1}), 5));
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(get_wtp_config_only(five.get(), buf, &len), 255); }), "E|\n");
    const WtpRequest six = wtp_request(GET_AP_CONFIG_REQ, 0, macs({1}));
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(get_wtp_config_only(six.get(), {buf, 91}, &len), 255); }), "E|\n");
    EXPECT_EQ(get_wtp_config_only(six.get(), buf, &len), 0) << "ap_num is not looked at";
}

TEST_F(WtpPage, a_page_is_answered_with_type_24_and_92_bytes)
{
    give_addresses(ap());
    Bytes expected = wtp_head(0, 0, 24, 0, 92);
    append(expected, page_image());
    put(expected, 83, {1, 1});
    put(expected, 89, {6, 36});
    put(expected, 93, {20, 20});
    EXPECT_EQ(exchange(GET_AP_CONFIG_REQ, 1, macs({1})), expected);
}

TEST_F(WtpPage, the_page_of_an_unknown_ap_is_answered_with_type_24_and_no_bytes)
{
    Bytes reply;
    EXPECT_EQ(lines_of([&] { reply = exchange(GET_AP_CONFIG_REQ, 1, macs({1})); }), "E|\n");
    EXPECT_EQ(reply, wtp_head(0, 0, 24, 0, 0));
}

TEST_F(WtpPage, a_request_for_a_page_gives_0_and_without_the_ap_or_a_taker_255)
{
    const WtpRequest request = wtp_request(GET_AP_CONFIG_REQ, 1, macs({1}));
    int result = -1;
    lines_of([&] { written_by([&](int fd) { result = get_wtp_config(fd, request.get()); }); });
    EXPECT_EQ(result, 255);
    EXPECT_EQ(written_by([&](int fd) { result = get_wtp_config(fd, nullptr); }), wtp_head(0, 0, 24, 0, 0));
    EXPECT_EQ(result, 255);
    ap();
    EXPECT_EQ(written_by([&](int fd) { result = get_wtp_config(fd, request.get()); }).size(), 112u);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(lines_of([&] { result = get_wtp_config(-1, request.get()); }), "E|send response error\n");
    EXPECT_EQ(result, 255);
}

// --- setting ---------------------------------------------------------------------------------------------------------

TEST_F(WtpPage, a_changed_radio_goes_to_the_ap_and_into_the_table)
{
    APCONFIG* node = ap();
    Bytes body = page_body();
    put(body, 75, {11, 36});
    EXPECT_EQ(set(body), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 0x2012);
    EXPECT_EQ(items[0].ap_num, 1);
    EXPECT_EQ(items[0].num_flag, 0);
    EXPECT_EQ(items[0].flags, 1);
    const Bytes message = {0x02, 0, 0, 0, 0, 1, 1, 0x02, 0, 0, 0, 0, 20, 11, 0, 0, 0};
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(radio(node, 0).channel, 11);
    EXPECT_EQ(radio(node, 1).channel, 36);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_RF, 0, test_mac(1)}}));
}

TEST_F(WtpPage, two_changed_radios_go_out_in_one_item)
{
    APCONFIG* node = ap();
    Bytes body = page_body();
    put(body, 69, {1, 1, 2, 12, 3, 13, 4, 14, 5, 15, 6, 16, 7, 17, 8, 18, 9, 19, 10, 20, 1, 0, 0, 1, 1, 0, 0, 1});
    EXPECT_EQ(set(body), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    const Bytes message = {0x02, 0, 0,  0,    0,  1,  2,  0x0E, 5,  2,  7,  3,  6, 4,
                           8,    9, 10, 0x53, 15, 12, 17, 13,   16, 14, 18, 19, 20};
    EXPECT_EQ(items[0].msg, message);
    const Bytes first = raw(radio(node, 0));
    const Bytes second = raw(radio(node, 1));
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 10), Bytes(message.begin() + 7, message.begin() + 17));
    EXPECT_EQ(Bytes(second.begin(), second.begin() + 10), Bytes(message.begin() + 17, message.end()));
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_RF, 0, test_mac(1)}, {CONFIG_SQL_RF, 1, test_mac(1)}}));
}

TEST_F(WtpPage, only_the_second_radio_may_change)
{
    APCONFIG* node = ap();
    Bytes body = page_body();
    put(body, 70, {0}); // wlEn of 5 GHz
    EXPECT_EQ(set(body), 0);
    const Bytes message = {0x02, 0, 0, 0, 0, 1, 1, 0x01, 0, 0, 0, 0, 20, 36, 0, 0, 0};
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(radio(node, 1).RF_basic_setting, 1);
}

TEST_F(WtpPage, each_setting_of_a_page_is_a_change_by_itself)
{
    ap();
    for (std::size_t at = 0; at < 28; at++) {
        Bytes body = page_body();
        body[69 + at] ^= 1;
        EXPECT_EQ(set(body), 0) << at;
        const std::vector<WorkItem> items = take_items();
        ASSERT_EQ(items.size(), 1u) << at;
        ASSERT_EQ(items[0].msg.size(), 17u) << at;
        EXPECT_EQ(items[0].msg[6], 1) << at;
        EXPECT_EQ(items[0].msg[7] & 1, static_cast<int>(at % 2)) << "the radio of slot " << at;
        EXPECT_EQ(set(page_body()), 0) << at;
        take_items();
    }
}

TEST_F(WtpPage, the_second_slot_is_not_looked_at_for_an_ap_with_one_radio)
{
    ap(ONE_RADIO);
    Bytes body = page_body();
    put(body, 76, {149});
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set(body), 255); }), "E|nothing changed\n");
    EXPECT_TRUE(take_items().empty());
}

TEST_F(WtpPage, an_unchanged_page_prints_a_line_sends_nothing_and_still_gets_its_response)
{
    ap();
    Bytes reply;
    EXPECT_EQ(lines_of([&] { reply = exchange(SET_AP_CONFIG_REQ, 1, page_body()); }), "E|nothing changed\n");
    EXPECT_EQ(reply, response_to(18));
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(WtpPage, the_address_fields_of_a_page_change_nothing)
{
    APCONFIG* node = ap();
    Bytes body = page_body();
    put(body, 6, "another name");
    put(body, 39, {1, 0, 0, 10, 0, 0, 7, 255, 255, 0, 0, 10, 0, 0, 1});
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set(body), 255); }), "E|nothing changed\n");
    EXPECT_EQ(raw(node->info_basic), Bytes(88));
}

TEST_F(WtpPage, bits_that_the_page_does_not_hold_stay)
{
    APCONFIG* node = ap();
    radio(node, 0).RF_basic_setting |= 0xA0;
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set(page_body()), 255); }), "E|nothing changed\n");
    Bytes body = page_body();
    put(body, 69, {0}); // off
    EXPECT_EQ(set(body), 0);
    EXPECT_EQ(radio(node, 0).RF_basic_setting, 0xA0);
}

TEST_F(WtpPage, the_radio_policy_of_a_changed_radio_stays)
{
    APCONFIG* node = ap();
    set_text(node->p_wl_rf_policy_name[0], "fast");
    Bytes body = page_body();
    put(body, 75, {11});
    EXPECT_EQ(set(body), 0);
    EXPECT_EQ(text_of(node->p_wl_rf_policy_name[0]), "fast");
}

TEST_F(WtpPage, a_page_for_an_ap_that_is_away_lifts_its_version)
{
    APCONFIG* node = ap(TWO_RADIOS, AP_LINK_DOWN, "0");
    Bytes body = page_body();
    put(body, 76, {149});
    EXPECT_EQ(set(body), 0);
    EXPECT_EQ(version_of(node), "1");
    EXPECT_EQ(take_notes(),
              (std::vector<FlashNote>{{CONFIG_SQL_RF, 1, test_mac(1)}, {CONFIG_SQL_VERSION, 1, test_mac(1)}}));
    EXPECT_EQ(take_items().size(), 1u);
}

TEST_F(WtpPage, a_page_is_for_exactly_one_ap)
{
    ap();
    Bytes body = page_body();
    put(body, 75, {11});
    for (int ap_num : {0, 2, 65535}) {
        EXPECT_EQ(set(body, ap_num), 255);
        EXPECT_TRUE(take_items().empty());
    }
    EXPECT_EQ(set_wtp_config(nullptr), 255);
    EXPECT_EQ(set(body), 0);
}

TEST_F(WtpPage, a_page_cut_before_the_end_of_its_radios_changes_nothing)
{
    APCONFIG* node = ap();
    Bytes body = page_body();
    put(body, 75, {11});
    for (std::size_t length = 0; length < 97; length++) {
        const std::string lines = lines_of([&] { EXPECT_EQ(set(cut(body, length)), 255); });
        EXPECT_EQ(lines.empty(), length < 6) << length;
    }
    EXPECT_EQ(radio(node, 0).channel, 6);
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(set(cut(body, 97)), 0);
    EXPECT_EQ(radio(node, 0).channel, 11);
}

TEST_F(WtpPage, a_page_for_an_unknown_ap_is_refused_silently)
{
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set(page_body()), 255); }), "");
    EXPECT_TRUE(take_items().empty());
}

TEST_F(WtpPage, without_memory_for_the_message_the_table_leads_all_the_same)
{
    APCONFIG* node = ap();
    Bytes body = page_body();
    put(body, 75, {11});
    const WtpRequest request = wtp_request(SET_AP_CONFIG_REQ, 1, body);
    ac_alloc_fail_after(0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_config(request.get()), 1001); }), "E|malloc failed\n");
    ac_alloc_fail_after(-1);
    EXPECT_EQ(radio(node, 0).channel, 11);
}

// --- the pieces ------------------------------------------------------------------------------------------------------

TEST_F(WtpPage, each_switch_of_a_page_is_its_bit_of_the_radio)
{
    const struct {
        std::size_t at;
        UINT8 bit;
    } switches[] = {{0, 0x02}, {20, 0x04}, {22, 0x10}, {24, 0x08}, {26, 0x40}};
    for (const auto& one : switches) {
        Bytes page(28);
        put(page, one.at, {1, 0});
        auto settings = from_bytes<WIFI_RF_CFG_PARAM>(page);
        CONFIG_WL_RF_V1 rf = {};
        put_cgi_rf(0, &rf, &settings);
        EXPECT_EQ(rf.RF_basic_setting, one.bit);
        put(page, one.at, {0, 1});
        settings = from_bytes<WIFI_RF_CFG_PARAM>(page);
        put_cgi_rf(1, &rf, &settings);
        EXPECT_EQ(rf.RF_basic_setting, one.bit | 1) << "bit 0 is the radio";

        CONFIG_WL_RF stored = {};
        stored.RF_basic_setting = one.bit;
        WIFI_RF_CFG_PARAM back = {};
        put_rf_data(1, &back, &stored);
        EXPECT_EQ(raw(back), page);
    }
}

TEST_F(WtpPage, each_member_that_differs_is_a_bit_of_the_mask)
{
    const Bytes zero(10);
    for (std::size_t member = 0; member < 10; member++) {
        Bytes image(10);
        image[member] = 9;
        const auto rf = from_bytes<CONFIG_WL_RF_V1>(image);
        const auto other = from_bytes<CONFIG_WL_RF_V1>(zero);
        EXPECT_EQ(compare_each_rf_member(&rf, &other), member < 7 ? 1u << member : 0u);
    }
}

TEST_F(WtpPage, masked_members_are_copied_and_of_the_setting_only_whether_the_radio_is_on)
{
    const auto from = from_bytes<CONFIG_WL_RF_V1>({0xFF, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    for (UINT32 member = 0; member < 7; member++) {
        CONFIG_WL_RF_V1 rf = {};
        change_value_of_rf(1u << member, &rf, &from);
        Bytes expected(10);
        expected[member] = static_cast<UINT8>(member == 0 ? 2 : member);
        EXPECT_EQ(raw(rf), expected);
    }
    auto rf = from_bytes<CONFIG_WL_RF_V1>({0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    const CONFIG_WL_RF_V1 off = {};
    change_value_of_rf(0x7F, &rf, &off);
    EXPECT_EQ(rf.RF_basic_setting, 0xFD);
}

TEST_F(WtpPage, addresses_are_compared_and_the_new_ones_handed_back)
{
    const auto page = from_bytes<AC_WTP_Cfg_Block_t>(page_image());
    const auto same = from_bytes<CONFIG_IP>({2, 10, 0, 0, 7, 255, 255, 0, 0, 10, 0, 0, 1, 8, 8, 8, 8, 9, 9, 9, 9});
    CONFIG_IP handed = {};
    EXPECT_EQ(compare_ip(&page, &same, &handed), 1);
    EXPECT_EQ(raw(handed), Bytes(21));
    CONFIG_IP other = same;
    other.dns[3] = 0;
    EXPECT_EQ(compare_ip(&page, &other, &handed), 0);
    EXPECT_EQ(raw(handed), raw(same));
}
