// Discovery requests: answered, learnt from, and followed by the AP's place in the joined list.
#include <unistd.h>

#include <future>
#include <set>

#include "ac_mib/ac_product.h"
#include "ac_sql/sqlite_ap_product.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "common/ac_alloc.h"
#include "joining_ap.h"
#include "platform/ac_net.h"

namespace {

// A request of a two-radio product, byte for byte.
const Bytes DISCOVERY_REQUEST = {
    0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
    0x04, 0x00,                         // ap_proto_type
    0x34, 0x12,                         // seq_num
    0x58, 0x58,                         // pkt_type
    0x77, 0x66,                         // reserve
    0x46, 0x00,                         // ap_type 70
    0x88, 0x17,                         // vendor
    0x02, 0x00,                         // msg_type
    0x2C, 0x00, 0x00, 0x00,             // msg_length 44
    0x00, 0x00, 0x00, 0x00,             // crc
    'd',  'u',  'a',  'l',  '7',  '0',  // ap_name, 32 bytes
    0,    0,    0,    0,    0,    0,    0, 0, 0, 0, 0, 0,    0,    0,    0,
    0,    0,    0,    0,    0,    0,    0, 0, 0, 0, 0, 0x01, 0x40, 0x05, 0x01, // product_id 0x1054001
    0x08,                                                                      // ssid_num_24g
    0x04,                                                                      // ssid_num_5g
    0x02,                                                                      // rf_num
    0x01,                                                                      // flag_old_crc
    0x46, 0x00,                                                                // ap_type
    0x00, 0x00,                                                                // padding
};

const Bytes DISCOVERY_REPLY = {
    0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
    0x04, 0x00,                         // ap_proto_type
    0x34, 0x12,                         // seq_num
    0x58, 0x58,                         // pkt_type
    0x00, 0x00,                         // reserve
    0x46, 0x00,                         // ap_type
    0x88, 0x17,                         // vendor
    0x03, 0x00,                         // msg_type
    0x00, 0x00, 0x00, 0x00,             // msg_length
    0x00, 0x00, 0x00, 0x00,             // crc
};

PRODUCT_AP row_of(unsigned int ap_type)
{
    PRODUCT_AP row;
    (void)acwtp_product_obtain(static_cast<UINT16>(ap_type), &row);
    return row;
}

bool row_is_filled(unsigned int ap_type)
{
    PRODUCT_AP row;
    return acwtp_product_obtain(static_cast<UINT16>(ap_type), &row);
}

std::string text_of(const UINT8 (&field)[32])
{
    const auto* end = std::find(field, field + 32, UINT8{0});
    return {field, end};
}

std::string image_name_of(const std::string& ap_name)
{
    UINT8 name[32] = {};
    UINT8 image[32];
    memset(image, 0xEE, sizeof image);
    std::copy_n(ap_name.begin(), std::min<std::size_t>(ap_name.size(), 32), name);
    acwtp_image_name(name, image);
    return text_of(image);
}

JoiningAp ap_of_type(int number, unsigned int ap_type)
{
    JoiningAp ap(number);
    ap.ap_type = ap_type;
    return ap;
}

Bytes says(const std::string& name, unsigned int ap_type)
{
    ProductSays product;
    product.name = name;
    product.ap_type = ap_type;
    return product.bytes();
}

// With the database that product rows persist in, and a product table that each test finds as it was built.
class DiscoveryWorld : public TestWorld {
protected:
    void SetUp() override
    {
        TestWorld::SetUp();
        memcpy(built_in, g_ap_product, sizeof built_in);
        ASSERT_EQ(sqlite_init(), 0);
        (void)output_of([] { (void)sqlite_create_table_ap_product_info(); });
    }
    void TearDown() override
    {
        sqlite_exit();
        memcpy(g_ap_product, built_in, sizeof built_in);
        TestWorld::TearDown();
    }

    PRODUCT_AP built_in[AC_PRODUCT_NUM];
};

} // namespace

// --- the product table -----------------------------------------------------------------------------------------------

TEST_F(TestWorld, rows_1_to_68_but_62_are_built_in_under_their_own_number_and_name)
{
    for (unsigned int n = 1; n <= 68; n++) {
        if (n == 62) continue;
        const PRODUCT_AP row = row_of(n);
        EXPECT_EQ(row.ap_type, n);
        EXPECT_EQ(text_of(row.ap_name), "mdl" + std::to_string(n));
        EXPECT_EQ(text_of(row.image_name), "/var/mdl" + std::to_string(n) + "_image");
        EXPECT_EQ(g_ap_product[n].flag_image_file_using, 0);
        EXPECT_EQ(g_ap_product[n].checked_image_file_using, 0);
    }
}

TEST_F(TestWorld, row_0_row_62_and_the_rows_from_69_on_are_empty)
{
    EXPECT_FALSE(row_is_filled(0));
    EXPECT_FALSE(row_is_filled(62));
    for (unsigned int n = 69; n < 200; n++)
        EXPECT_FALSE(row_is_filled(n)) << n;
}

TEST_F(TestWorld, a_row_beyond_the_table_is_empty_for_who_asks)
{
    EXPECT_FALSE(row_is_filled(200));
    EXPECT_FALSE(row_is_filled(65535));
}

TEST_F(TestWorld, built_in_rows_are_of_the_six_kinds)
{
    struct Kind {
        int ssid_num_24g, ssid_num_5g, rf_num, flag_old_crc;
        std::vector<unsigned int> rows;
    };
    const std::vector<Kind> kinds = {
        {2, 0, 1, 1, {1, 2, 3, 20, 34, 53, 54, 55}},
        {4, 0, 1, 1, {4, 5, 12, 13, 14, 15, 19, 21, 35, 36, 38, 49, 56, 57, 58, 59, 61, 63, 64, 65, 66}},
        {2, 0, 1, 0, {24, 33, 40, 41, 47, 60}},
        {4, 0, 1, 0, {25, 26, 27, 28, 37, 39, 42, 43, 44, 45, 48}},
        {8, 0, 1, 0, {6, 9, 16, 22, 23, 29, 50, 68}},
        {8, 4, 2, 0, {7, 8, 10, 11, 17, 18, 30, 31, 32, 46, 51, 52, 67}},
    };
    std::set<unsigned int> seen;
    for (const Kind& kind : kinds) {
        for (const unsigned int n : kind.rows) {
            const PRODUCT_AP row = row_of(n);
            EXPECT_EQ(row.ssid_num_24g, kind.ssid_num_24g) << n;
            EXPECT_EQ(row.ssid_num_5g, kind.ssid_num_5g) << n;
            EXPECT_EQ(row.rf_num, kind.rf_num) << n;
            EXPECT_EQ(row.flag_old_crc, kind.flag_old_crc) << n;
            seen.insert(n);
        }
    }
    EXPECT_EQ(seen.size(), 67U);
}

TEST_F(TestWorld, known_products_carry_their_manufacturing_numbers_and_no_two_rows_share_one)
{
    const std::vector<std::pair<unsigned int, UINT32>> known = {
        {1, 0x11001}, {4, 0x12001}, {6, 0x30019}, {9, 0x20019}, {22, 0x1053001}, {30, 0x1014001}, {67, 0x54001}};
    for (const auto& [ap_type, product_id] : known)
        EXPECT_EQ(row_of(ap_type).product_id, product_id) << ap_type;
    std::set<UINT32> ids;
    for (unsigned int n = 1; n <= 68; n++)
        if (n != 62) ids.insert(row_of(n).product_id);
    EXPECT_EQ(ids.size(), 67U);
}

TEST_F(TestWorld, the_ssid_count_of_a_type_is_the_sum_over_both_radios_and_nothing_for_an_empty_row)
{
    EXPECT_EQ(output_of([] {
                  EXPECT_EQ(get_ssid_len(7), 12);
                  EXPECT_EQ(get_ssid_len(1), 2);
                  EXPECT_EQ(get_rf_len(7), 2);
                  EXPECT_EQ(get_rf_len(1), 1);
                  EXPECT_EQ(get_ssid_num_24g(7), 8);
                  EXPECT_EQ(get_ssid_num_5g(7), 4);
                  EXPECT_EQ(get_ssid_len(62), 0);
                  EXPECT_EQ(get_rf_len(62), 0);
                  EXPECT_EQ(get_ssid_len(0), 0);
                  EXPECT_EQ(get_ssid_len(199), 0);
                  EXPECT_EQ(get_rf_len(199), 0);
              }),
              "");
}

TEST_F(TestWorld, a_type_of_200_or_more_has_no_lengths_and_two_of_the_askers_say_so)
{
    for (const unsigned int n : {200U, 65535U}) {
        const auto ap_type = static_cast<UINT16>(n);
        EXPECT_EQ(said(output_of([ap_type] { EXPECT_EQ(get_ssid_len(ap_type), 0); })), "aptype:" + std::to_string(n));
        EXPECT_EQ(said(output_of([ap_type] { EXPECT_EQ(get_rf_len(ap_type), 0); })),
                  "aptype:" + std::to_string(n) + " is big than Max:200");
        EXPECT_EQ(output_of([ap_type] {
                      EXPECT_EQ(get_ssid_num_24g(ap_type), 0);
                      EXPECT_EQ(get_ssid_num_5g(ap_type), 0);
                  }),
                  "");
    }
}

TEST_F(DiscoveryWorld, product_fill_takes_rows_1_to_199_once_and_product_load_lays_itself_over_them)
{
    PRODUCT_AP values = {};
    values.ap_name[0] = 'x';
    values.flag_old_crc = 1;
    for (const unsigned int ap_type : {0U, 200U}) {
        values.ap_type = static_cast<UINT16>(ap_type);
        EXPECT_FALSE(acwtp_product_fill(&values));
        EXPECT_FALSE(acwtp_product_load(&values));
    }
    for (const unsigned int ap_type : {62U, 199U}) {
        values.ap_type = static_cast<UINT16>(ap_type);
        EXPECT_TRUE(acwtp_product_fill(&values));
        EXPECT_EQ(text_of(row_of(ap_type).image_name), "/var/x_image");
        EXPECT_EQ(row_of(ap_type).flag_old_crc, 1);
    }
    values.ap_type = 1;
    EXPECT_TRUE(acwtp_product_fill(&values));
    EXPECT_EQ(text_of(row_of(1).ap_name), "mdl1");
    EXPECT_TRUE(acwtp_product_load(&values));
    EXPECT_EQ(text_of(row_of(1).ap_name), "x");
}

TEST_F(TestWorld, an_image_name_holds_names_of_up_to_20_characters_and_cuts_the_21st)
{
    EXPECT_EQ(image_name_of("mdl55"), "/var/mdl55_image");
    EXPECT_EQ(image_name_of("12345678901234567890"), "/var/12345678901234567890_image");
    EXPECT_EQ(image_name_of("123456789012345678901"), "/var/12345678901234567890_image");
}

TEST_F(TestWorld, an_image_name_from_32_bytes_without_a_zero_ends_within_its_field)
{
    EXPECT_EQ(image_name_of("abcdefghijklmnopqrstuvwxyz012345"), "/var/abcdefghijklmnopqrst_image");
}

TEST_F(TestWorld, a_hostile_product_name_forms_a_harmless_file_name_below_var)
{
    EXPECT_EQ(image_name_of("../../etc/passwd"), "/var/.._.._etc_passwd_image");
    EXPECT_EQ(image_name_of("/"), "/var/__image");
    EXPECT_EQ(image_name_of(".."), "/var/.._image");
    EXPECT_EQ(image_name_of("a'b\"c`d"), "/var/a_b_c_d_image");
    EXPECT_EQ(image_name_of("$(reboot)"), "/var/__reboot__image");
    EXPECT_EQ(image_name_of("a\nb\tc d"), "/var/a_b_c_d_image");
    EXPECT_EQ(image_name_of("*?[x]{y,z}"), "/var/___x__y_z__image");
    EXPECT_EQ(image_name_of("-rf"), "/var/-rf_image");
    EXPECT_EQ(image_name_of("%s%n"), "/var/_s_n_image");
    EXPECT_EQ(image_name_of("\x80\xff\x01"), "/var/____image");
    EXPECT_EQ(image_name_of(""), "/var/_image");
}

TEST_F(TestWorld, no_byte_in_a_product_name_reaches_the_image_name_but_letters_digits_and_three_signs)
{
    const std::string safe = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
    for (int c = 1; c < 256; c++) {
        const std::string name = image_name_of(std::string(1, static_cast<char>(c)));
        const bool kept = safe.find(static_cast<char>(c)) != std::string::npos;
        EXPECT_EQ(name, std::string("/var/") + (kept ? static_cast<char>(c) : '_') + "_image") << c;
    }
}

// --- the reply -------------------------------------------------------------------------------------------------------

TEST_F(DiscoveryWorld, a_discovery_request_is_answered_byte_for_byte_to_where_it_came_from)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.send_raw(DISCOVERY_REQUEST); });
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, DISCOVERY_REPLY);
    EXPECT_EQ(sent()[0].ip, "192.168.1.77");
    EXPECT_EQ(sent()[0].port, 5001);
}

TEST_F(DiscoveryWorld, a_request_of_type_0_is_answered_with_28_zero_bytes_and_its_ap_is_joined)
{
    JoiningAp ap = ap_of_type(7, 0);
    EXPECT_EQ(said(output_of([&] { ap.discover(says("none", 0)); })), "new ap ap_type=0\n");
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, Bytes(28, 0));
    EXPECT_EQ(sent()[0].port, 5001);
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
}

TEST_F(TestWorld, a_request_without_payload_is_answered_after_a_line)
{
    JoiningAp ap = ap_of_type(7, 30);
    EXPECT_EQ(said(output_of([&] { ap.discover(); })), "the dis_req_pkt data is NULL,aptype:30!\n");
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 3);
    EXPECT_EQ(sent()[0].head().ap_type, 30);
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
}

TEST_F(TestWorld, a_request_of_an_empty_row_without_payload_learns_and_stores_nothing)
{
    JoiningAp ap = ap_of_type(7, 70);
    EXPECT_EQ(said(output_of([&] { ap.discover(); })), "the dis_req_pkt data is NULL,aptype:70!\n");
    EXPECT_FALSE(row_is_filled(70));
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(TestWorld, assembling_a_reply_refuses_null_arguments_and_nothing_else)
{
    CLOUD_AP_UDP_PKT request = {};
    CLOUD_AP_UDP_PKT reply = {};
    (void)output_of([&] {
        EXPECT_EQ(assem_discvr_resp_pkt(nullptr, &reply), AC_RET_ERROR);
        EXPECT_EQ(assem_discvr_resp_pkt(&request, nullptr), AC_RET_ERROR);
        EXPECT_EQ(assem_discvr_resp_pkt(&request, &reply), AC_RET_OK);
    });
}

TEST_F(TestWorld, neither_reserve_nor_crc_of_a_request_goes_into_its_reply)
{
    CLOUD_AP_UDP_PKT request = {};
    request.ap_type = 1;
    request.reserve = 7;
    request.crc = 8;
    CLOUD_AP_UDP_PKT reply = {};
    (void)output_of([&] { EXPECT_EQ(assem_discvr_resp_pkt(&request, &reply), AC_RET_OK); });
    EXPECT_EQ(reply.msg_type, 3);
    EXPECT_EQ(reply.reserve, 0);
    EXPECT_EQ(reply.crc, 0U);
}

TEST_F(TestWorld, a_request_with_another_packet_type_is_dropped_with_a_line_and_no_answer)
{
    for (const unsigned int pkt_type : {0x5959U, 0x5A5AU, 0U}) {
        JoiningAp ap = ap_of_type(7, 1);
        ap.pkt_type = pkt_type;
        EXPECT_EQ(said(output_of([&] { ap.discover(); })), "recv msg is not ok.\n");
        EXPECT_TRUE(sent().empty());
        EXPECT_FALSE(ap.joined());
    }
}

// Reception lets neither through; the queue's consumer relies on nobody.
TEST_F(TestWorld, a_foreign_vendor_or_another_message_in_the_discovery_queue_is_dropped_with_the_same_line)
{
    const JoiningAp ap = ap_of_type(7, 1);
    Bytes foreign = ap.frame(2);
    put16(foreign, 16, 0x8817);
    for (const Bytes& bytes : {foreign, ap.frame(3), ap.frame(0x0102)}) {
        CLOUD_AP_UDP_PKT pkt;
        memcpy(static_cast<void*>(&pkt), bytes.data(), sizeof pkt);
        const struct sockaddr_in from = {};
        ASSERT_EQ(udp_discvr_skb_queue_in(ap.ip.data(), 5001, &from, &pkt), AC_RET_OK);
        EXPECT_EQ(said(output_of([] { udp_discvr_skb_queue_out(); })), "recv msg is not ok.\n");
        EXPECT_TRUE(sent().empty());
        EXPECT_FALSE(ap.joined());
    }
}

TEST_F(TestWorld, a_request_that_is_dropped_leaves_the_entry_of_its_ap_as_it_is)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.join(); });
    ap.pkt_type = 0x5959;
    ap.port = 6000;
    (void)output_of([&] { ap.discover(); });
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(ap.entry().port, 5001);
    EXPECT_TRUE(alarms(ap.mac).empty());
}

TEST_F(TestWorld, a_frame_with_a_sub_type_over_message_2_is_no_discovery_request)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.send(0x0102); });
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().pkt_type, 0x5A5A);
    EXPECT_FALSE(ap.joined());
}

TEST_F(TestWorld, the_entry_is_made_even_if_the_reply_could_not_be_sent)
{
    JoiningAp ap(7);
    fail_sends(true);
    testing::internal::CaptureStderr();
    const std::string lines = said(output_of([&] { ap.discover(says("mdl1", 1)); }));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("sendto: "), std::string::npos);
    EXPECT_EQ(lines, "msg send error.\n");
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
}

TEST_F(TestWorld, a_drained_discovery_queue_is_empty_and_its_frames_are_answered_in_order)
{
    (void)output_of([&] {
        for (int i = 1; i <= 5; i++)
            JoiningAp(i).post(JoiningAp(i).frame(2));
        EXPECT_EQ(udp_discvr_skb_queue_out(), 0);
    });
    ASSERT_EQ(sent().size(), 5U);
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(sent()[static_cast<std::size_t>(i)].bytes[5], i + 1);
    EXPECT_EQ(udp_discvr_skb_first(), nullptr);
    ac_lock lock(g_discvr_udp_skb_mutex);
    EXPECT_EQ(udp_discvr_data_num_in_queue, 0);
}

TEST_F(TestWorld, the_apconfig_table_gets_no_record_from_a_discovery)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(says("mdl1", 1)); });
    EXPECT_EQ(apconfig_find(ap.mac.data()), nullptr);
    EXPECT_TRUE(take_notes().empty());
    EXPECT_TRUE(alarms(ap.mac).empty());
}

// --- learning --------------------------------------------------------------------------------------------------------

TEST_F(DiscoveryWorld, a_new_type_70_fills_its_row_and_is_stored_and_the_next_start_finds_it_again)
{
    EXPECT_EQ(output_of([&] { JoiningAp(7).send_raw(DISCOVERY_REQUEST); }), "\n\n insert new ap type success\n");
    const PRODUCT_AP row = row_of(70);
    EXPECT_EQ(row.ap_type, 70);
    EXPECT_EQ(text_of(row.ap_name), "dual70");
    EXPECT_EQ(text_of(row.image_name), "/var/dual70_image");
    EXPECT_EQ(row.product_id, 0x1054001U);
    EXPECT_EQ(row.ssid_num_24g, 8);
    EXPECT_EQ(row.ssid_num_5g, 4);
    EXPECT_EQ(row.rf_num, 2);
    EXPECT_EQ(get_ssid_len(70), 12);

    memcpy(g_ap_product, built_in, sizeof built_in); // the process starts afresh
    ASSERT_FALSE(row_is_filled(70));
    EXPECT_EQ(load_apconfig_ap_product(), 0);
    const PRODUCT_AP loaded = row_of(70);
    EXPECT_EQ(loaded.ap_type, 70);
    EXPECT_EQ(text_of(loaded.ap_name), "dual70");
    EXPECT_EQ(text_of(loaded.image_name), "/var/dual70_image");
    EXPECT_EQ(loaded.product_id, 0x1054001U);
    EXPECT_EQ(loaded.ssid_num_24g, 8);
    EXPECT_EQ(loaded.ssid_num_5g, 4);
    EXPECT_EQ(loaded.rf_num, 2);
    EXPECT_EQ(loaded.flag_old_crc, 0);
}

TEST_F(DiscoveryWorld, a_learnt_row_has_no_old_checksum_even_if_the_ap_says_so)
{
    ASSERT_EQ(DISCOVERY_REQUEST[28 + 39], 1);
    (void)output_of([&] { JoiningAp(7).send_raw(DISCOVERY_REQUEST); });
    EXPECT_TRUE(row_is_filled(70));
    EXPECT_EQ(row_of(70).flag_old_crc, 0);
}

TEST_F(TestWorld, a_built_in_row_stays_as_it_is_when_an_ap_reports_another_name)
{
    for (const unsigned int ap_type : {1U, 68U}) {
        const PRODUCT_AP before = row_of(ap_type);
        EXPECT_EQ(output_of([&] { ap_of_type(7, ap_type).discover(says("other", ap_type)); }), "") << ap_type;
        const PRODUCT_AP after = row_of(ap_type);
        EXPECT_EQ(text_of(after.ap_name), text_of(before.ap_name));
        EXPECT_EQ(text_of(after.image_name), text_of(before.image_name));
        EXPECT_EQ(after.product_id, before.product_id);
        EXPECT_EQ(after.ssid_num_24g, before.ssid_num_24g);
        EXPECT_EQ(after.flag_old_crc, before.flag_old_crc);
    }
}

TEST_F(DiscoveryWorld, a_learnt_row_stays_as_it_is_when_an_ap_reports_another_name)
{
    (void)output_of([&] { ap_of_type(7, 70).discover(says("first", 70)); });
    EXPECT_EQ(said(output_of([&] { ap_of_type(8, 70).discover(says("second", 70)); })),
              "this ap first already exist;\n\n\n insert new ap type success\n");
    EXPECT_EQ(text_of(row_of(70).ap_name), "first");
}

TEST_F(DiscoveryWorld, storing_a_type_is_tried_at_each_discovery_not_only_for_a_new_row)
{
    (void)output_of([&] { ap_of_type(7, 70).discover(says("seventy", 70)); });
    const std::string again = "this ap seventy already exist;\n\n\n insert new ap type success\n";
    EXPECT_EQ(said(output_of([&] { ap_of_type(7, 70).discover(says("seventy", 70)); })), again);
    EXPECT_EQ(said(output_of([&] { ap_of_type(7, 70).discover(says("seventy", 70)); })), again);
    EXPECT_EQ(query_ap_type_exist(70), 1);
}

TEST_F(DiscoveryWorld, types_69_and_199_are_learnt_and_stored_but_200_and_more_teach_nothing_and_are_answered)
{
    for (const unsigned int ap_type : {69U, 199U}) {
        (void)output_of([&] { ap_of_type(7, ap_type).discover(says("edge", ap_type)); });
        EXPECT_TRUE(row_is_filled(ap_type));
        EXPECT_EQ(query_ap_type_exist(static_cast<UINT16>(ap_type)), 1);
    }
    PRODUCT_AP before[AC_PRODUCT_NUM];
    memcpy(before, g_ap_product, sizeof before);
    for (const unsigned int ap_type : {200U, 201U, 65535U}) {
        sent().clear();
        JoiningAp ap = ap_of_type(static_cast<int>(ap_type), ap_type);
        EXPECT_EQ(output_of([&] { ap.discover(says("beyond", ap_type)); }), "");
        ASSERT_EQ(sent().size(), 1U);
        EXPECT_EQ(sent()[0].head().msg_type, 3);
        EXPECT_EQ(sent()[0].head().ap_type, ap_type);
        EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
    }
    EXPECT_EQ(memcmp(before, g_ap_product, sizeof before), 0);
}

TEST_F(DiscoveryWorld, the_empty_row_62_is_learnt_but_not_stored)
{
    EXPECT_EQ(output_of([&] { ap_of_type(7, 62).discover(says("late", 62)); }), "");
    EXPECT_EQ(text_of(row_of(62).ap_name), "late");
    EXPECT_EQ(query_ap_type_exist(62), 0);
}

TEST_F(DiscoveryWorld, product_information_of_44_bytes_teaches_and_of_43_does_not)
{
    Bytes cut = says("short", 70);
    cut.pop_back();
    EXPECT_EQ(said(output_of([&] { ap_of_type(7, 70).discover(cut); })), "bad product info, len:43 ap_type:70\n");
    EXPECT_FALSE(row_is_filled(70));
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 3);
    (void)output_of([&] { ap_of_type(7, 70).discover(says("whole", 70)); });
    EXPECT_TRUE(row_is_filled(70));
}

TEST_F(DiscoveryWorld, product_information_cut_at_any_length_teaches_nothing_and_is_answered)
{
    const Bytes whole = says("short", 70);
    for (std::size_t length = 1; length < whole.size(); length++) {
        sent().clear();
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        (void)output_of([&] { ap_of_type(7, 70).discover(cut); });
        EXPECT_FALSE(row_is_filled(70)) << length;
        EXPECT_EQ(sent().size(), 1U) << length;
    }
}

TEST_F(DiscoveryWorld, product_information_of_the_longest_accepted_payload_teaches)
{
    Bytes padded = says("padded", 70);
    padded.resize(192, 0xAA);
    (void)output_of([&] { ap_of_type(7, 70).discover(padded); });
    EXPECT_EQ(text_of(row_of(70).ap_name), "padded");
}

TEST_F(DiscoveryWorld, product_information_of_another_type_than_the_header_s_teaches_neither_row)
{
    EXPECT_EQ(said(output_of([&] { ap_of_type(7, 70).discover(says("liar", 71)); })),
              "bad product info, len:44 ap_type:70\n");
    EXPECT_FALSE(row_is_filled(70));
    EXPECT_FALSE(row_is_filled(71));
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(DiscoveryWorld, a_hostile_name_is_kept_as_text_but_its_image_name_is_safe)
{
    const std::vector<std::string> names = {
        "/",          "..",   "../../etc/passwd",  "a'; drop table ap_product_info; --", "\"`$(reboot)`\"",
        "line\nfeed", "%s%n", std::string(32, 'N')};
    unsigned int ap_type = 69;
    for (const std::string& name : names) {
        (void)output_of([&] { ap_of_type(7, ap_type).discover(says(name, ap_type)); });
        const PRODUCT_AP row = row_of(ap_type);
        EXPECT_EQ(text_of(row.ap_name), name.substr(0, 32));
        const std::string image = text_of(row.image_name);
        EXPECT_TRUE(std::regex_match(image, std::regex("/var/[A-Za-z0-9._-]{0,20}_image"))) << image;
        EXPECT_EQ(query_ap_type_exist(static_cast<UINT16>(ap_type)), 1) << name;
        ap_type++;
    }
    memcpy(g_ap_product, built_in, sizeof built_in);
    EXPECT_EQ(load_apconfig_ap_product(), 0);
    for (std::size_t i = 0; i < names.size(); i++) {
        const PRODUCT_AP row = row_of(69 + static_cast<unsigned int>(i));
        EXPECT_EQ(text_of(row.ap_name), names[i].substr(0, 32));
        EXPECT_TRUE(std::regex_match(text_of(row.image_name), std::regex("/var/[A-Za-z0-9._-]{0,20}_image")));
    }
}

TEST_F(TestWorld, a_type_that_could_not_be_stored_is_learnt_all_the_same_and_tried_again)
{
    JoiningAp ap = ap_of_type(7, 71); // the database is closed
    const std::string first = said(output_of([&] { ap.discover(says("memory", 71)); }));
    EXPECT_NE(first.find("insert error ret="), std::string::npos) << first;
    EXPECT_EQ(text_of(row_of(71).ap_name), "memory");
    EXPECT_EQ(sent().size(), 1U);
    const std::string second = said(output_of([&] { ap.discover(says("memory", 71)); }));
    EXPECT_NE(second.find("insert error ret="), std::string::npos) << second;
    memset(&g_ap_product[71], 0, sizeof g_ap_product[71]);
}

// --- addresses, static entries, the thread ---------------------------------------------------------------------------

TEST_F(TestWorld, a_discovery_from_another_address_moves_the_entry_of_an_ap_that_waits_for_its_configuration)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    ap.ip = {10, 0, 0, 9};
    ap.port = 6001;
    (void)output_of([&] { ap.discover(); });
    const ACWTP_JOIN_LIST entry = ap.entry();
    EXPECT_EQ(memcmp(entry.ap_ip, ap.ip.data(), 4), 0);
    EXPECT_EQ(entry.port, 6001);
    EXPECT_EQ(entry.discover_num, 2);
    EXPECT_EQ(sent().back().ip, "10.0.0.9");
    EXPECT_EQ(sent().back().port, 6001);
}

TEST_F(TestWorld, static_arp_entries_are_bound_and_unbound_by_the_system_s_command)
{
    const UINT8 mac[6] = {0x02, 0xAB, 0, 0, 0, 0x0F};
    const UINT8 ip[4] = {192, 168, 1, 254};
    arp_static_bind(mac, ip);
    arp_unbind(ip);
    std::string journal = read_file("/var/log/ac_system_cmd.log");
    std::erase(journal, '\'');
    EXPECT_EQ(journal, "arp -s 192.168.1.254 02:ab:00:00:00:0f\narp -d 192.168.1.254\n");
}

TEST_F(TestWorld, no_flow_binds_or_unbinds_an_arp_entry)
{
    (void)output_of([&] {
        JoiningAp ap(7);
        ap.join();
        ap.echo();
        ap.discover();
    });
    EXPECT_EQ(read_file("/var/log/ac_system_cmd.log"), "");
}

TEST_F(TestWorld, the_discovery_thread_ends_the_process_with_a_line_when_it_gets_no_pool)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            ac_alloc_fail_after(0);
            discovery_thread_handle(nullptr);
        },
        testing::ExitedWithCode(1), "\nmalloc for discovery error\\*{26}$");
}

static std::promise<void>* g_answered = nullptr;

static long tell_answered(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    g_answered->set_value();
    return static_cast<long>(datagram.size());
}

TEST_F(TestWorld, the_discovery_thread_fills_its_row_writes_its_line_and_serves_its_queue)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            std::promise<void> answered;
            g_answered = &answered;
            ac_net_capture(tell_answered);
            hd_ac_local_log_clear();
            bool good = create_discovery_thread() == 1;
            acwtp_pools_wait(PTHREAD_DISCORVER);
            JoiningAp(7).post(JoiningAp(7).frame(2));
            answered.get_future().wait();
            good = good && g_ac_pthread[PTHREAD_DISCORVER].pid == getpid();
            good = good && g_ac_pthread[PTHREAD_DISCORVER].mempool == nullptr;
            good = good && g_ac_pthread[PTHREAD_DISCORVER].mempool_1 != nullptr;
            const std::string line = read_file("/etc/ac_conf");
            const std::regex wanted(" discovery_thread_handle pid:" + std::to_string(getpid()) +
                                    " pthread_id:-?[0-9]+ \n");
            good = good && std::regex_match(line, wanted);
            _exit(good ? 0 : 9);
        },
        testing::ExitedWithCode(0), "");
}
