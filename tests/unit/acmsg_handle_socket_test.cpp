// One request of the web interface: routed by the table, answered by its rule, handed to the protocol.
#include "main/acmsg_handle_socket.h"

#include <cerrno>
#include <climits>

#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "control_kit.h"
#include "main/acmsg_requests.h"
#include "platform/ac_clock.h"

namespace {

class AcmsgHandleSocket : public ControlWorld {
protected:
    struct Served {
        int result = 0;
        Bytes answer;
        std::string out;
    };
    Served serve(const Bytes& request)
    {
        Connection connection;
        connection.request(request);
        Served served;
        served.out = printed([&] { served.result = acmsg_handle_socket(connection.fd()); });
        served.answer = connection.answer();
        return served;
    }
};

const char REFUSED[] = "! msg error\n";
const char NOT_SENT[] = "! send response error\n";

} // namespace

// --- replies ---------------------------------------------------------------------------------------------------------

TEST_F(AcmsgHandleSocket, a_plain_response_is_a_bare_header_of_the_low_byte_and_1)
{
    Connection connection;
    EXPECT_EQ(send_response_to_cgi(connection.fd(), 7), AC_RET_OK);
    EXPECT_EQ(connection.answer(), (Bytes{0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(send_response_to_cgi(connection.fd(), 0x2112), AC_RET_OK);
    EXPECT_EQ(connection.answer(), control_head(0x13, 0)) << "the sub-flag is dropped";
    EXPECT_EQ(send_response_to_cgi(connection.fd(), 150), AC_RET_OK);
    EXPECT_EQ(connection.answer(), control_head(151, 0));
    EXPECT_EQ(send_response_to_cgi(connection.fd(), 0x01FF), AC_RET_OK);
    EXPECT_EQ(connection.answer(), control_head(0x100, 0));
}

TEST_F(AcmsgHandleSocket, a_response_that_nobody_takes_gives_255_after_a_line)
{
    Connection connection;
    connection.hang_up();
    EXPECT_EQ(printed([&] { EXPECT_EQ(send_response_to_cgi(connection.fd(), 7), AC_RET_ERROR); }), NOT_SENT);
}

TEST_F(AcmsgHandleSocket, what_nobody_takes_is_told_under_the_name_of_the_reply)
{
    EXPECT_EQ(output_of([] { (void)send_response_to_cgi(-1, 7); }).compare(0, 28, "Error->send_response_to_cgi("), 0);
    EXPECT_EQ(output_of([] { (void)send_msg_to_cgi(-1, 24, "abc", 3); }).compare(0, 23, "Error->send_msg_to_cgi("), 0);
}

TEST_F(AcmsgHandleSocket, a_data_reply_carries_its_type_with_no_1_and_its_body)
{
    Connection connection;
    EXPECT_EQ(send_msg_to_cgi(connection.fd(), 0x0118, "abc", 3), AC_RET_OK);
    EXPECT_EQ(connection.answer(),
              (Bytes{0, 0, 0, 0, 0x18, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 'a', 'b', 'c'}));
}

TEST_F(AcmsgHandleSocket, a_data_reply_without_data_is_a_header_and_one_without_bytes_is_zeroes)
{
    Connection connection;
    EXPECT_EQ(send_msg_to_cgi(connection.fd(), 24, "abc", 0), AC_RET_OK);
    EXPECT_EQ(connection.answer(), control_head(24, 0));
    EXPECT_EQ(send_msg_to_cgi(connection.fd(), 24, nullptr, 3), AC_RET_OK);
    EXPECT_EQ(connection.answer(), control_head(24, 3) + Bytes(3, 0));
}

TEST_F(AcmsgHandleSocket, a_data_reply_that_comes_up_short_gives_255_after_a_line)
{
    Connection connection;
    io_script_send({{22}});
    EXPECT_EQ(printed([&] { EXPECT_EQ(send_msg_to_cgi(connection.fd(), 24, "abc", 3), AC_RET_ERROR); }), NOT_SENT);
    connection.hang_up();
    EXPECT_EQ(printed([&] { EXPECT_EQ(send_msg_to_cgi(connection.fd(), 24, "abc", 3), AC_RET_ERROR); }), NOT_SENT);
}

TEST_F(AcmsgHandleSocket, a_data_reply_without_memory_gives_1001_after_two_lines)
{
    Connection connection;
    std::string out;
    const std::string said = complaint_of([&] {
        ac_alloc_fail_after(0);
        out = printed([&] { EXPECT_EQ(send_msg_to_cgi(connection.fd(), 24, "abc", 3), AC_RET_NULL_POINTER); });
    });
    EXPECT_EQ(out, "! malloc failed\n");
    EXPECT_EQ(said.compare(0, 8, "malloc: "), 0) << said;
    EXPECT_TRUE(connection.answer().empty());
}

// --- handing a request to the protocol -------------------------------------------------------------------------------

TEST_F(AcmsgHandleSocket, a_request_becomes_a_work_item_of_its_fields_and_body)
{
    const Bytes body = mac_bytes({1, 2}) + Bytes{7};
    const Message message(0x0107, body, 2, 3);
    EXPECT_EQ(acwtp_msg_assem(CGI_MSG, message.get()), AC_RET_OK);
    EXPECT_EQ(posts(), 1);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].send_times, 0);
    EXPECT_EQ(items[0].type, 0x0107);
    EXPECT_EQ(items[0].num_flag, 3);
    EXPECT_EQ(items[0].ap_num, 2);
    EXPECT_EQ(items[0].flags, CGI_MSG);
    EXPECT_EQ(items[0].msg, body);
}

TEST_F(AcmsgHandleSocket, an_item_is_queued_at_the_tail_with_the_flags_it_is_given)
{
    EXPECT_EQ(acwtp_msg_assem(CGI_MSG, Message(7, {}).get()), AC_RET_OK);
    EXPECT_EQ(acwtp_msg_assem(CGI_UPGRADE_MSG, Message(8, {}).get()), AC_RET_OK);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].type, 7);
    EXPECT_TRUE(items[0].msg.empty());
    EXPECT_EQ(items[1].type, 8);
    EXPECT_EQ(items[1].flags, CGI_UPGRADE_MSG);
}

TEST_F(AcmsgHandleSocket, the_setting_of_the_time_changes_its_number)
{
    EXPECT_EQ(acwtp_msg_assem(CGI_MSG, Message(83, {}).get()), AC_RET_OK);
    EXPECT_EQ(acwtp_msg_assem(CGI_MSG, Message(82, {}).get()), AC_RET_OK);
    EXPECT_EQ(acwtp_msg_assem(CGI_MSG, Message(0x0153, {}).get()), AC_RET_OK);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].type, 38);
    EXPECT_EQ(items[1].type, 82);
    EXPECT_EQ(items[2].type, 0x0153) << "all 16 bits are compared";
}

TEST_F(AcmsgHandleSocket, no_request_gives_255_and_no_memory_1001)
{
    const Message message(7, mac_bytes({1}), 1);
    EXPECT_EQ(acwtp_msg_assem(CGI_MSG, nullptr), AC_RET_ERROR);
    for (const int before : {0, 1}) {
        ac_alloc_fail_after(before);
        const std::string said = complaint_of([&] {
            EXPECT_EQ(printed([&] { EXPECT_EQ(acwtp_msg_assem(CGI_MSG, message.get()), AC_RET_NULL_POINTER); }),
                      "! malloc failed\n");
        });
        EXPECT_EQ(said.compare(0, 8, "malloc: "), 0) << said;
    }
    ac_alloc_fail_after(-1);
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(posts(), 0);
}

TEST_F(AcmsgHandleSocket, the_queue_s_refusal_is_passed_on)
{
    const Message message(7, mac_bytes({1}) + Bytes{1, 2, 3}, 2); // two APs, and bytes for one and a half
    EXPECT_EQ(printed([&] { EXPECT_EQ(acwtp_msg_assem(CGI_MSG, message.get()), AC_RET_NULL_POINTER); }),
              "! Add new node failed.\n! Insert list failed.");
}

TEST_F(AcmsgHandleSocket, a_body_that_did_not_come_with_its_header_is_never_queued)
{
    const Message message(7, {}, 1);
    for (const int length : {1, AC_MSG_DATA_MAX + 1, INT_MAX, -1, INT_MIN}) {
        message->msg_data_len = length;
        EXPECT_EQ(acwtp_msg_assem(CGI_MSG, message.get()), AC_RET_NULL_POINTER);
    }
    EXPECT_TRUE(take_items().empty());
}

TEST_F(AcmsgHandleSocket, do_cgi_data_answers_and_then_queues)
{
    Connection connection;
    bool queued_at_the_answer = true;
    io_before_send([&] { queued_at_the_answer = !take_items().empty(); });
    EXPECT_EQ(do_cgi_data(connection.fd(), Message(0x0107, mac_bytes({1}), 1).get()), AC_RET_OK);
    EXPECT_FALSE(queued_at_the_answer);
    EXPECT_EQ(connection.answer(), control_head(8, 0));
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].flags, 1);
    EXPECT_EQ(do_cgi_data(connection.fd(), nullptr), AC_RET_ERROR);
}

TEST_F(AcmsgHandleSocket, do_cgi_data_queues_nothing_when_its_response_fails)
{
    Connection connection;
    connection.hang_up();
    EXPECT_EQ(
        printed([&] { EXPECT_EQ(do_cgi_data(connection.fd(), Message(7, mac_bytes({1}), 1).get()), AC_RET_ERROR); }),
        std::string(NOT_SENT) + "! msg send error\n");
    EXPECT_TRUE(take_items().empty());
}

// --- the table -------------------------------------------------------------------------------------------------------

namespace {

struct Tabled {
    int type;
    const char* name;
    acmsg_order order;
};

// As the web interface knows them.
constexpr Tabled TABLED[] = {
    {2, "SET_ADVANCE_POLICY_REQ", ACMSG_INSIDE},
    {4, "SET_AP_CONFIG_ADVANCE_REQ", ACMSG_AFTER},
    {7, "SET_AP_REBOOT_REQ", ACMSG_INSIDE},
    {8, "SET_AP_RESTORE_REQ", ACMSG_INSIDE},
    {9, "SET_AP_UPGRADE_REQ", ACMSG_SELF},
    {10, "SET_AP_REMARK_REQ", ACMSG_FIRST},
    {16, "DELETE_AP_REQ", ACMSG_FIRST},
    {17, "DELETE_CLIENT_REQ", ACMSG_INSIDE},
    {18, "SET_AP_CONFIG_REQ", ACMSG_AFTER},
    {19, "GET_AP_ALL_REQ", ACMSG_SELF},
    {20, "GET_AP_CLINET_REQ", ACMSG_SELF},
    {22, "GET_AP_CONFIG_ADVANCE_REQ", ACMSG_SELF},
    {24, "GET_AP_CONFIG_REQ", ACMSG_SELF},
    {25, "GET_AP_SSID_ALL_REQ", ACMSG_SELF},
    {26, "GET_AP_SSID_STATUS_REQ", ACMSG_SELF},
    {27, "SET_REBOOT_POLICY_REQ", ACMSG_FIRST},
    {28, "SET_ALARM_POLICY_REQ", ACMSG_FIRST},
    {29, "SET_PASSWORD_POLICY_REQ", ACMSG_FIRST},
    {30, "GET_REBOOT_POLICY_REQ", ACMSG_SELF},
    {31, "GET_ALARM_POLICY_REQ", ACMSG_SELF},
    {32, "GET_PASSWORD_POLICY_REQ", ACMSG_SELF},
    {34, "DEL_SYSLOGS_REQ", ACMSG_FIRST},
    {35, "GET_WTP_NUM_REQ", ACMSG_SELF},
    {37, "SET_AC_LAN_IP_REQ", ACMSG_INSIDE},
    {43, "SET_SYS_LANG", ACMSG_NONE},
    {44, "SET_AP_CLI_LIMIT", ACMSG_FIRST},
    {45, "SET_AP_CHANNEL", ACMSG_FIRST},
    {48, "SET_PORTAL_AD_INFO", ACMSG_SELF},
    {53, "SET_PORTAL_AD_DEL", ACMSG_SELF},
    {54, "GET_PORTAL_AD_INFO_SIMPLE", ACMSG_SELF},
    {55, "GET_PORTAL_AD_INFO", ACMSG_SELF},
    {56, "MODIFY_PORTAL_AD_INFO", ACMSG_SELF},
    {57, "ADD_PORTAL_AD_PUT", ACMSG_SELF},
    {58, "GET_PORTAL_AD_PUT", ACMSG_SELF},
    {59, "MODIFY_PORTAL_AD_PUT", ACMSG_SELF},
    {60, "DEL_PORTAL_AD_PUT", ACMSG_SELF},
    {61, "SET_PORTAL_AD_GLOBAL_INFO", ACMSG_SELF},
    {62, "GET_PORTAL_AD_GLOBAL_INFO", ACMSG_SELF},
    {63, "MODIFY_WEB_USER", ACMSG_SELF},
    {64, "ADD_WEB_USER", ACMSG_SELF},
    {65, "DEL_WEB_USER", ACMSG_SELF},
    {66, "GET_WEB_USER", ACMSG_SELF},
    {67, "AP_PORTAL_ENABLE", ACMSG_SELF},
    {68, "AP_PORTAL_DISABLE", ACMSG_SELF},
    {69, "GET_AP_PORTAL_ENABLE", ACMSG_SELF},
    {73, "SET_PORTAL_WEIXIN_AUTH", ACMSG_SELF},
    {74, "GET_PORTAL_WEIXIN_AUTH", ACMSG_SELF},
    {75, "GET_CUSTOMER_COUNT", ACMSG_SELF},
    {76, "GET_TIME_LOGIN_COUNT", ACMSG_SELF},
    {77, "GET_AUTH_TYPE_COUNT", ACMSG_SELF},
    {78, "GET_TERMINAL_TYPE_COUNT", ACMSG_SELF},
    {79, "GET_NEW_OLD_CUSTOMER_COUNT", ACMSG_SELF},
    {80, "GET_CUSTOMER_ANALYSE", ACMSG_SELF},
    {123, "SET_AC_SQL_CLOSED_REQ", ACMSG_NONE},
    {124, "SET_WL_DEPLOY_POLICY_REQ", ACMSG_FIRST},
    {126, "GET_WL_DEPLOY_POLICY_REQ", ACMSG_SELF},
    {129, "DELETE_OFFLINECLIENT_REQ", ACMSG_SELF},
    {130, "SET_ONLINE_USER_DOWN", ACMSG_INSIDE},
    {131, "SET_WL_BASIC_POLICY_REQ", ACMSG_FIRST},
    {132, "GET_WL_BASIC_POLICY_REQ", ACMSG_SELF},
    {133, "SET_AP_CONFIG_WL_BASIC_REQ", ACMSG_AFTER},
    {134, "SET_WL_RF_POLICY_REQ", ACMSG_FIRST},
    {135, "GET_WL_RF_POLICY_REQ", ACMSG_SELF},
    {136, "SET_AP_CONFIG_WL_RF_REQ", ACMSG_AFTER},
    {137, "GET_AP_SSID_BASIC_STATUS_REQ", ACMSG_SELF},
    {138, "GET_AP_WL_RF_STATUS_REQ", ACMSG_SELF},
    {139, "SET_QVLAN_POLICY_REQ", ACMSG_FIRST},
    {140, "GET_QVLAN_POLICY_REQ", ACMSG_SELF},
    {141, "SET_AP_CONFIG_QVLAN_REQ", ACMSG_AFTER},
    {142, "GET_QVLAN_STATUS_REQ", ACMSG_SELF},
    {144, "SET_PORTAL_ACCESS_CODE_INFO", ACMSG_SELF},
    {145, "GET_PORTAL_ACCESS_CODE_INFO", ACMSG_SELF},
    {146, "SET_PORTAL_ACCESS_CODE_PASSWD", ACMSG_SELF},
    {150, "", ACMSG_INSIDE},
};

} // namespace

TEST_F(AcmsgHandleSocket, the_table_has_the_requests_their_names_and_the_order_of_their_answers)
{
    const std::span<const ACMSG_ROW> rows = acmsg_rows();
    ASSERT_EQ(rows.size(), std::size(TABLED));
    for (std::size_t i = 0; i < rows.size(); i++) {
        EXPECT_EQ(rows[i].type, TABLED[i].type);
        EXPECT_STREQ(rows[i].name, TABLED[i].name);
        EXPECT_EQ(rows[i].order, TABLED[i].order) << TABLED[i].name;
    }
}

TEST_F(AcmsgHandleSocket, every_type_of_the_table_has_its_row_and_no_other)
{
    std::size_t found = 0;
    for (int type = 0; type <= 255; type++) {
        const ACMSG_ROW* row = acmsg_row_find(static_cast<UINT8>(type));
        if (row == nullptr) continue;
        EXPECT_EQ(row->type, type);
        found++;
    }
    EXPECT_EQ(found, acmsg_rows().size());
}

TEST_F(AcmsgHandleSocket, a_type_below_2_or_above_150_and_one_without_a_handler_is_refused_without_a_reply)
{
    int refused = 0;
    for (int type = 0; type <= 255; type++) {
        const ACMSG_ROW* row = acmsg_row_find(static_cast<UINT8>(type));
        if (row != nullptr && row->handler != nullptr) continue;
        const Served served = serve(control_head(type, 2) + Bytes{1, 2});
        EXPECT_EQ(served.out, REFUSED) << type;
        EXPECT_TRUE(served.answer.empty()) << type;
        refused++;
    }
    EXPECT_GE(refused, 256 - 74);
    EXPECT_TRUE(take_items().empty());
}

TEST_F(AcmsgHandleSocket, message_kinds_that_are_no_requests_are_refused)
{
    for (const int type : {1,  3,  5,  6,  11, 12, 13, 14, 15, 21, 23,  33,  36,  38,  39,  40,  41,  42,  46,  47, 49,
                           50, 51, 52, 70, 71, 72, 81, 83, 87, 89, 122, 125, 127, 128, 143, 147, 148, 149, 151, 255})
        EXPECT_EQ(acmsg_row_find(static_cast<UINT8>(type)), nullptr) << type;
}

// --- the order of answer and work ------------------------------------------------------------------------------------

namespace {

Connection* g_connection;
int g_runs;
Bytes g_answered_before;

int note_the_answer(int fd, const AC_MSG_PKT* rev)
{
    EXPECT_EQ(fd, g_connection->fd());
    EXPECT_EQ(rev->ac_msg_type, 0x010A);
    g_runs++;
    g_answered_before = g_connection->client() >= 0 ? g_connection->answer() : Bytes();
    return 77;
}

} // namespace

TEST_F(AcmsgHandleSocket, a_request_is_answered_before_or_after_its_work_or_not_by_the_dispatcher)
{
    Connection connection;
    g_connection = &connection;
    const Message message(0x010A, {});
    const auto run = [&](acmsg_order order) {
        EXPECT_EQ(acmsg_run_row(connection.fd(), {10, "", order, note_the_answer}, message.get()), 77);
        return connection.answer();
    };
    EXPECT_TRUE(run(ACMSG_FIRST).empty());
    EXPECT_EQ(g_answered_before, control_head(11, 0));
    EXPECT_EQ(run(ACMSG_AFTER), control_head(11, 0));
    EXPECT_TRUE(g_answered_before.empty());
    for (const acmsg_order order : {ACMSG_INSIDE, ACMSG_SELF, ACMSG_NONE}) {
        EXPECT_TRUE(run(order).empty());
        EXPECT_TRUE(g_answered_before.empty());
    }
}

TEST_F(AcmsgHandleSocket, a_response_that_fails_stops_no_work)
{
    Connection connection;
    g_connection = &connection;
    connection.hang_up();
    const Message message(0x010A, {});
    for (const acmsg_order order : {ACMSG_FIRST, ACMSG_AFTER}) {
        g_runs = 0;
        EXPECT_EQ(printed([&] {
                      EXPECT_EQ(acmsg_run_row(connection.fd(), {10, "", order, note_the_answer}, message.get()), 77);
                  }),
                  NOT_SENT);
        EXPECT_EQ(g_runs, 1);
    }
}

namespace {

int retire_a_record(int, const AC_MSG_PKT*)
{
    ac_retire(ac_record_alloc(8));
    EXPECT_EQ(ac_retired_sweep(), 1U) << "the handler may still hold it";
    return 0;
}

} // namespace

TEST_F(AcmsgHandleSocket, no_record_is_freed_while_a_handler_runs)
{
    ASSERT_EQ(ac_retired_sweep(), 0U);
    const Connection connection;
    EXPECT_EQ(acmsg_run_row(connection.fd(), {10, "", ACMSG_NONE, retire_a_record}, Message(10, {}).get()), 0);
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

// --- whole requests --------------------------------------------------------------------------------------------------

TEST_F(AcmsgHandleSocket, what_is_no_message_is_told_and_not_answered)
{
    const Served served = serve(Bytes(10, 7));
    EXPECT_EQ(served.result, -1);
    EXPECT_EQ(served.out.compare(0, 31, "! bad read msgheader, rc=10 err"), 0) << served.out;
    EXPECT_NE(served.out.find("! recived error\n"), std::string::npos);
    EXPECT_TRUE(served.answer.empty());
}

TEST_F(AcmsgHandleSocket, a_message_with_a_short_body_is_not_dispatched)
{
    const Served served = serve(control_head(SET_AP_REBOOT_REQ, 6, 1) + Bytes(5, 1));
    EXPECT_EQ(served.result, -1);
    EXPECT_NE(served.out.find("! bad read msg, rc=5 errno="), std::string::npos) << served.out;
    EXPECT_TRUE(served.answer.empty());
    EXPECT_TRUE(take_items().empty());
}

TEST_F(AcmsgHandleSocket, a_reboot_and_a_restore_are_answered_and_queued)
{
    for (const int type : {7, 8}) {
        const Served served = serve(control_head(type, 6, 1) + mac_bytes({1}));
        EXPECT_EQ(served.result, 0);
        EXPECT_EQ(served.answer, control_head(type + 1, 0));
        EXPECT_EQ(served.out, "");
        const std::vector<WorkItem> items = take_items();
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items[0].type, type);
        EXPECT_EQ(items[0].msg, mac_bytes({1}));
    }
}

TEST_F(AcmsgHandleSocket, a_request_with_a_sub_flag_reaches_its_row_and_its_item_keeps_the_flag)
{
    EXPECT_EQ(serve(control_head(0x4007, 0, 0, 1)).answer, control_head(8, 0));
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].type, 0x4007);
    EXPECT_EQ(items[0].num_flag, 1);
}

TEST_F(AcmsgHandleSocket, a_body_without_memory_is_answered_first_and_read_off_the_connection)
{
    Connection connection;
    connection.request(control_head(7, 6, 1) + mac_bytes({1}));
    ac_alloc_fail_after(1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(acmsg_handle_socket(connection.fd()), AC_RET_NULL_POINTER); }),
              "! malloc failed\n");
    EXPECT_EQ(connection.answer(), control_head(8, 0));
    EXPECT_TRUE(connection.unread().empty());
    EXPECT_TRUE(take_items().empty());
}

TEST_F(AcmsgHandleSocket, the_answer_does_not_wait_for_a_body_that_is_not_kept)
{
    const Connection connection;
    const Bytes request = control_head(7, INT_MAX, 1); // and nothing more, with the connection open
    ASSERT_EQ(write(connection.client(), request.data(), request.size()), 20);
    const std::int64_t asked = ac_monotonic_us();
    std::int64_t answered = 0;
    io_before_send([&] { answered = ac_monotonic_us(); });
    EXPECT_EQ(acmsg_handle_socket(connection.fd()), AC_RET_NULL_POINTER);
    EXPECT_EQ(connection.answer(), control_head(8, 0));
    EXPECT_EQ(answered, asked);
}

TEST_F(AcmsgHandleSocket, more_aps_than_the_body_names_are_answered_and_refused_by_the_queue)
{
    for (const int ap_num : {3, 101, 65535}) {
        const Served served = serve(control_head(7, 13, ap_num) + mac_bytes({1, 2}) + Bytes{1});
        EXPECT_EQ(served.result, AC_RET_NULL_POINTER);
        EXPECT_EQ(served.answer, control_head(8, 0));
        EXPECT_TRUE(take_items().empty());
    }
}

TEST_F(AcmsgHandleSocket, the_deletion_of_a_client_is_acknowledged_and_changes_nothing)
{
    Served served = serve(control_head(17, 64, 2) + Bytes(64, '1'));
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.answer, control_head(18, 0));
    EXPECT_EQ(served.out, "");
    served = serve(control_head(17, 0, 65535)); // records that are not there
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.answer, control_head(18, 0));
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(AcmsgHandleSocket, the_deletion_of_no_client_is_acknowledged_and_told)
{
    const Served served = serve(control_head(17, 32, 0) + Bytes(32, '1'));
    EXPECT_EQ(served.result, AC_RET_ERROR);
    EXPECT_EQ(served.answer, control_head(18, 0));
    EXPECT_EQ(served.out, "! error\n");
    EXPECT_EQ(set_client_delete(-1, nullptr), AC_RET_ERROR);
}

TEST_F(AcmsgHandleSocket, the_deletion_of_a_client_goes_on_without_its_response)
{
    Connection connection;
    connection.hang_up();
    EXPECT_EQ(printed([&] { EXPECT_EQ(set_client_delete(connection.fd(), Message(17, {}, 1).get()), AC_RET_OK); }),
              NOT_SENT);
}

TEST_F(AcmsgHandleSocket, the_database_files_are_closed_without_a_reply_and_can_be_asked_for_again)
{
    ASSERT_EQ(sqlite_init(), AC_RET_OK);
    ASSERT_NE(db.handle.load(), nullptr);
    for (int times = 0; times < 2; times++) {
        Connection connection;
        connection.request(control_head(123, 0));
        const std::string out = output_of([&] { EXPECT_EQ(acmsg_handle_socket(connection.fd()), 0); });
        EXPECT_TRUE(connection.answer().empty());
        char function[64] = "";
        int line = 0, used = 0;
        EXPECT_EQ(sscanf(out.c_str(), "\n\n##[%63[^:]:%d] SET_AC_SQL_CLOSED_REQ\n\n%n", function, &line, &used), 2);
        EXPECT_EQ(out.substr(0, 5), "\n\n##[");
        EXPECT_EQ(out.substr(out.size() - 2), "\n\n");
        EXPECT_EQ(used, static_cast<int>(out.size())) << out;
        EXPECT_EQ(db.handle.load(), nullptr);
        EXPECT_EQ(policy_db.handle.load(), nullptr);
    }
}
