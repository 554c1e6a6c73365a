#include "ac_mib/sql_flash_queue.h"

#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "sql_world.h"

static const Mac M1 = test_mac(1);
static const char W1[] = " where apmac='02:00:00:00:00:01'";

class SqlFlashWorld : public SqlWorld {
protected:
    APCONFIG* record = nullptr;
    // An AP whose rows are written, so that notes write single groups of fields.
    void SetUp() override
    {
        SqlWorld::SetUp();
        record = make_record(M1, 1, AP_LINK_UP);
        record->sql_flag = 1;
        sqlite_apconfig_add(record);
    }
    static int posts()
    {
        int value = 0;
        sem_getvalue(&sql_flash_sig, &value);
        return value;
    }
    static int queue_length() AC_REQUIRES(g_sql_flash_mutex)
    {
        int length = 0;
        for (const list_node* at = g_sql_flash_queue.next; at != &g_sql_flash_queue; at = at->next)
            length++;
        return length;
    }
    // The statements of one pass.
    std::vector<std::string> pass()
    {
        return statements(db, [] { sql_flash_queue_out(); });
    }
    std::string pass_of(int type, int index = 0)
    {
        EXPECT_EQ(sql_flash_queue_in(type, index, M1.data()), 0);
        const auto texts = pass();
        return texts.size() == 1 ? texts[0] : std::to_string(texts.size()) + " statements";
    }
};

TEST_F(SqlFlashWorld, the_kinds_of_data_have_their_numbers)
{
    const int kinds[] = {CONFIG_SQL_LED,
                         CONFIG_SQL_STATUS,
                         CONFIG_SQL_IP,
                         CONFIG_SQL_APNAME,
                         CONFIG_SQL_RF,
                         CONFIG_SQL_WL_BASIC,
                         CONFIG_SQL_REBOOT,
                         CONFIG_SQL_ALARM,
                         CONFIG_SQL_VERSION,
                         CONFIG_SQL_ALARM_EVENT,
                         CONFIG_SQL_ALARM_NAME,
                         CONFIG_SQL_REBOOT_NAME,
                         CONFIG_SQL_DELETE_AP,
                         CONFIG_SQL_ADD_AP,
                         CONFIG_SQL_WLRF,
                         CONFIG_SQL_ADVANCE,
                         CONFIG_SQL_CLI_LIMIT,
                         CONFIG_SQL_CHANNEL,
                         CONFIG_SQL_WL_POLICY_NAME,
                         CONFIG_SQL_PASSWORD_NAME,
                         CONFIG_SQL_QVLAN_NAME,
                         CONFIG_SQL_WL_DEPLOY_NAME};
    for (int number = 0; number < 22; number++)
        EXPECT_EQ(kinds[number], number);
    EXPECT_EQ(std::size(kinds), 22u);
}

TEST_F(SqlFlashWorld, a_note_is_queued_with_its_content_and_one_post)
{
    const int before = posts();
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_RF, 1, M1.data()), 0);
    EXPECT_EQ(posts(), before + 1);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{4, 1, M1}}));
}

TEST_F(SqlFlashWorld, notes_keep_their_order_and_duplicates_stay)
{
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    sql_flash_queue_in(CONFIG_SQL_STATUS, 0, test_mac(2).data());
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{0, 0, M1}, {1, 0, test_mac(2)}, {0, 0, M1}}));
}

TEST_F(SqlFlashWorld, a_note_can_be_queued_with_the_ap_table_locked)
{
    const ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data()), 0);
}

TEST_F(SqlFlashWorld, without_a_pool_a_note_is_lost_with_255)
{
    CWMemoryPool* pool = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    g_ac_pthread[PTHREAD_AC_SQL].mempool = nullptr;
    const int before = posts();
    testing::internal::CaptureStderr();
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data()), 255);
    EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 7), "malloc:");
    EXPECT_EQ(posts(), before);
    g_ac_pthread[PTHREAD_AC_SQL].mempool = pool;
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(SqlFlashWorld, the_pool_has_1000_blocks_of_64_bytes_and_is_made_once)
{
    const CWMemoryPool* pool = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(pool->blockCount, 1000u);
    EXPECT_EQ(pool->blockSize, 64u);
    EXPECT_EQ(g_ac_pthread[PTHREAD_AC_SQL].mempool_1, nullptr);
    EXPECT_TRUE(sql_flash_pools_make());
    EXPECT_EQ(g_ac_pthread[PTHREAD_AC_SQL].mempool, pool);
}

TEST_F(SqlFlashWorld, a_pass_gives_every_block_back)
{
    const CWMemoryPool* pool = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    const unsigned int before = pool->freeCount;
    for (int i = 0; i < 5; i++)
        sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    EXPECT_EQ(pool->freeCount, before - 5);
    sql_flash_queue_out();
    EXPECT_EQ(pool->freeCount, before);
}

TEST_F(SqlFlashWorld, more_notes_than_the_pool_has_blocks_are_all_kept)
{
    for (int i = 0; i < 1100; i++)
        ASSERT_EQ(sql_flash_queue_in(CONFIG_SQL_WL_POLICY_NAME, i, M1.data()), 0);
    const auto notes = take_notes();
    ASSERT_EQ(notes.size(), 1100u);
    EXPECT_EQ(notes.back().index, 1099);
}

TEST_F(SqlFlashWorld, a_note_without_memory_for_its_block_is_lost_with_255_and_the_next_is_queued)
{
    CWMemoryPool* const pool = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    CWMemoryPool small;
    CWPool_init(&small, 1, 64);
    g_ac_pthread[PTHREAD_AC_SQL].mempool = &small;
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data()), 0);
    const int before = posts();
    testing::internal::CaptureStderr();
    ac_alloc_fail_after(0);
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data()), 255);
    ac_alloc_fail_after(-1);
    EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 7), "malloc:");
    EXPECT_EQ(posts(), before);
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_STATUS, 0, M1.data()), 0);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_LED, 0, M1}, {CONFIG_SQL_STATUS, 0, M1}}));
    g_ac_pthread[PTHREAD_AC_SQL].mempool = pool;
    CWPool_destroy(&small);
    while (CWMemoryZone* zone = small.pMemHead) {
        small.pMemHead = zone->pNext;
        ac_free(zone);
    }
}

TEST_F(SqlFlashWorld, a_flood_of_notes_is_cut_off_with_one_line_and_deletions_have_room_left)
{
    for (unsigned int i = 0; i < SQL_FLASH_NOTES_MAX - SQL_FLASH_NOTES_KEPT; i++)
        ASSERT_EQ(sql_flash_queue_in(CONFIG_SQL_WL_POLICY_NAME, 0, M1.data()), 0);
    const int before = posts();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_WL_POLICY_NAME, 0, M1.data()), 255);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "malloc: Cannot allocate memory\n");
    EXPECT_EQ(posts(), before);
    for (unsigned int i = 0; i < SQL_FLASH_NOTES_KEPT; i++)
        ASSERT_EQ(sql_flash_queue_in(CONFIG_SQL_DELETE_AP, 0, test_mac(2).data()), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_DELETE_AP, 0, test_mac(2).data()), 255);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(take_notes().size(), SQL_FLASH_NOTES_MAX);
    EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_WL_POLICY_NAME, 0, M1.data()), 0);
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "E|101 notes lost\n");
}

TEST_F(SqlFlashWorld, after_a_flood_the_number_of_lost_notes_is_a_line_and_the_next_flood_starts_afresh)
{
    for (int round = 0; round < 2; round++) {
        testing::internal::CaptureStderr();
        for (unsigned int i = 0; i < SQL_FLASH_NOTES_MAX; i++)
            (void)sql_flash_queue_in(CONFIG_SQL_WL_POLICY_NAME, 0, M1.data());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "malloc: Cannot allocate memory\n");
        EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }),
                  "E|" + std::to_string(SQL_FLASH_NOTES_KEPT) + " notes lost\n");
        EXPECT_EQ(sql_flash_queue_in(CONFIG_SQL_WL_POLICY_NAME, 0, M1.data()), 0);
        EXPECT_EQ(take_notes().size(), 1u);
    }
}

TEST_F(SqlFlashWorld, the_number_of_lost_notes_is_a_line_as_soon_as_half_of_a_full_queue_has_room)
{
    const Mac unknown = test_mac(2); // a line for each note
    testing::internal::CaptureStderr();
    for (unsigned int i = 0; i <= SQL_FLASH_NOTES_MAX - SQL_FLASH_NOTES_KEPT; i++)
        (void)sql_flash_queue_in(CONFIG_SQL_LED, 0, unknown.data());
    (void)testing::internal::GetCapturedStderr();
    const std::string lines = output_of([] { sql_flash_queue_out(); });
    const std::size_t report = lines.find("--1 notes lost\n");
    ASSERT_NE(report, std::string::npos);
    const auto end = lines.begin() + static_cast<std::ptrdiff_t>(report);
    EXPECT_EQ(std::count(lines.begin(), end, '\n'), 65536 - 1024 - 32768);
}

TEST_F(SqlFlashWorld, a_pass_over_an_empty_queue_does_nothing)
{
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "");
}

TEST_F(SqlFlashWorld, the_first_note_of_any_type_writes_a_new_record_whole_and_nothing_else)
{
    const Mac fresh = test_mac(2);
    APCONFIG* ap = make_record(fresh, 7, AP_LINK_UP);
    ap->sql_flag = 0;
    sql_flash_queue_in(CONFIG_SQL_STATUS, 0, fresh.data());
    const auto texts = pass();
    EXPECT_EQ(ap->sql_flag, 1);
    ASSERT_EQ(texts.size(), 4u); // each insert with its count
    EXPECT_EQ(texts[1].substr(0, 20), "insert into ap_basic");
    EXPECT_EQ(texts[3].substr(0, 19), "insert into ap_ssid");
    sql_flash_queue_in(CONFIG_SQL_STATUS, 0, fresh.data());
    EXPECT_EQ(pass(), std::vector<std::string>{"update ap_basic set status=1 where apmac='02:00:00:00:00:02'"});
}

TEST_F(SqlFlashWorld, the_first_note_counts_even_when_its_type_is_unknown)
{
    record->sql_flag = 0;
    EXPECT_EQ(lines_of([&] {
                  sql_flash_queue_in(99, 0, M1.data());
                  sql_flash_queue_out();
              }),
              "");
    EXPECT_EQ(record->sql_flag, 1);
}

TEST_F(SqlFlashWorld, after_a_restart_the_first_note_rewrites_the_rows_by_updates)
{
    record->sql_flag = 0; // as a load leaves it
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    const auto texts = pass();
    ASSERT_EQ(texts.size(), 5u); // count and update of ap_basic, count and two updates of ap_ssid
    EXPECT_EQ(texts[1].substr(0, 20), "update ap_basic set ");
    EXPECT_EQ(texts[3].substr(0, 19), "update ap_ssid set ");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlFlashWorld, a_failed_first_write_is_not_repeated)
{
    run(db, "drop table ap_basic; drop table ap_ssid");
    record->sql_flag = 0;
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    (void)lines_of([] { sql_flash_queue_out(); });
    EXPECT_EQ(record->sql_flag, 1);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(SqlFlashWorld, a_deletion_removes_the_rows_of_an_ap_whose_record_is_gone)
{
    EXPECT_EQ(apconfig_mib_node_del(M1.data(), 1), 0);
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
}

TEST_F(SqlFlashWorld, a_deletion_does_not_look_the_record_up)
{
    record->sql_flag = 0;
    sql_flash_queue_in(CONFIG_SQL_DELETE_AP, 0, M1.data());
    EXPECT_EQ(pass(), (std::vector<std::string>{std::string("delete from ap_ssid") + W1,
                                                std::string("delete from ap_basic") + W1}));
    EXPECT_EQ(record->sql_flag, 0);
}

TEST_F(SqlFlashWorld, a_note_for_a_mac_without_a_record_is_a_line_and_dropped)
{
    const Mac unknown = {0x02, 0xAB, 0, 0, 0, 0x0F};
    sql_flash_queue_in(CONFIG_SQL_LED, 0, unknown.data());
    std::vector<std::string> texts;
    EXPECT_EQ(lines_of([&] { texts = pass(); }), "E|-type=[0]--[02:ab:00:00:00:0f]--error\n");
    EXPECT_TRUE(texts.empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(SqlFlashWorld, a_record_deleted_while_its_note_waits_is_not_written_again)
{
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    apconfig_mib_node_del(M1.data(), 1);
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "E|-type=[0]--[02:00:00:00:00:01]--error\n");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
}

TEST_F(SqlFlashWorld, ten_changes_of_a_name_give_ten_updates_with_the_latest)
{
    for (int i = 0; i < 10; i++) {
        memcpy(record->info_basic.apname.ap_name, "name", 4);
        record->info_basic.apname.ap_name[4] = static_cast<UINT8>('0' + i);
        record->info_basic.apname.ap_name_length = 5;
        sql_flash_queue_in(CONFIG_SQL_APNAME, 0, M1.data());
    }
    EXPECT_EQ(pass(),
              std::vector<std::string>(10, std::string("update ap_basic set apname='name9',apname_len=5") + W1));
}

TEST_F(SqlFlashWorld, each_type_writes_its_own_group_of_the_record)
{
    record->info_basic.led_status = 3;
    record->status = AP_UPGRADING;
    record->info_basic.ip = {1, {2, 0, 0, 0}, {3, 0, 0, 0}, {4, 0, 0, 0}, {5, 0, 0, 0}, {6, 0, 0, 0}};
    record->info_reboot = {1, 2, 3};
    record->info_alarm = {4, 5, {}, 6};
    record->info_event = {};
    memcpy(record->AP_config_version, "77", 2);
    memcpy(record->p_alarm_name, "al", 3);
    memcpy(record->p_reboot_name, "rb", 3);
    memcpy(record->p_pass_name, "pw", 3);
    memcpy(record->p_qvlan_name, "qv", 3);
    memcpy(record->p_wl_deploy_name, "de", 3);
    EXPECT_EQ(pass_of(CONFIG_SQL_LED), std::string("update ap_basic set ledstatus=3") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_STATUS), std::string("update ap_basic set status=4") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_IP),
              std::string("update ap_basic set ipmode=1,ip=2,\t\tmask=3,gateway=4,hostdns=5,dns=6") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_REBOOT), std::string("update ap_basic set reboot_en=1,reboot_type=2,\t\ttime=3") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_ALARM),
              std::string("update ap_basic set alarm_switch=4,hostnum_limit=5,\t\tstream_limit=6") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_VERSION), std::string("update ap_basic set config_version='77'") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_ALARM_EVENT),
              std::string("update ap_basic set mailEnable=0,mailName='',\t\tmailPwd='',mailInterTime=0,pcEnable=0,"
                          "pcIpAddr=0") +
                  W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_ALARM_NAME), std::string("update ap_basic set alarm_name='al'") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_REBOOT_NAME), std::string("update ap_basic set reboot_name='rb'") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_PASSWORD_NAME), std::string("update 'ap_basic' set pass_name='pw'") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_QVLAN_NAME), std::string("update 'ap_basic' set qvlan_name='qv'") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_WL_DEPLOY_NAME), std::string("update ap_basic set wl_deploy_name='de'") + W1);
    EXPECT_EQ(pass_of(CONFIG_SQL_WL_POLICY_NAME, 3), "0 statements");
}

TEST_F(SqlFlashWorld, a_radio_note_writes_the_radio_and_the_policy_of_its_index)
{
    APCONFIG* dual = make_record(test_mac(2), 7, AP_LINK_UP);
    dual->sql_flag = 1;
    apconfig_find_rf_node(&dual->list_rf, 1)->rf = {3, 1, 2, 3, 4, 5, 149, 7, 8, 9, 0, 0, 0, 0, {}};
    memcpy(dual->p_wl_rf_policy_name[0], "low", 4);
    memset(dual->p_wl_rf_policy_name[1], 'h', 32);
    sql_flash_queue_in(CONFIG_SQL_RF, 1, dual->ethaddr);
    sql_flash_queue_in(CONFIG_SQL_CHANNEL, 1, dual->ethaddr);
    EXPECT_EQ(pass(),
              (std::vector<std::string>{
                  "update ap_ssid set RF_basic_setting=3,\t\texpand_channel=1,country_code=2,network_mode=3,"
                  "\t\tbandwidth=4,TXpower=5,channel='149',rssi=7,interface_mode=8,sta_timeout=9,"
                  "\t\twl_rf_name='hhhhhhhhhhhhhhhhhhhhhhhhhhhhhhhh' where apmac='02:00:00:00:00:02' and radio=1",
                  "update ap_ssid set expand_channel=1,channel=149 where apmac='02:00:00:00:00:02' and radio=1"}));
}

TEST_F(SqlFlashWorld, a_radio_that_does_not_exist_is_a_line_and_writes_nothing)
{
    for (int index : {1, 2, -1, 256, -256}) { // 256 and -256 are 0 in a byte
        std::vector<std::string> texts;
        sql_flash_queue_in(CONFIG_SQL_RF, index, M1.data());
        EXPECT_EQ(lines_of([&] { texts = pass(); }), "E|index:" + std::to_string(index));
        EXPECT_TRUE(texts.empty());
        sql_flash_queue_in(CONFIG_SQL_CHANNEL, index, M1.data());
        EXPECT_EQ(lines_of([&] { texts = pass(); }), "E|");
        EXPECT_TRUE(texts.empty());
    }
}

TEST_F(SqlFlashWorld, an_ssid_note_goes_by_the_low_byte_of_its_index)
{
    record->info_basic.led_status = 0;
    apconfig_find_wlbasic_node(&record->list_wl, 1)->wl_basic.client_number = 44;
    EXPECT_EQ(pass_of(CONFIG_SQL_CLI_LIMIT, 0x201),
              std::string("update 'ap_ssid' set client_number=44") + W1 + " and ssid_id=1");
    const std::string text = pass_of(CONFIG_SQL_WL_BASIC, 0x201);
    EXPECT_NE(text.find("client_number=44"), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 10), " ssid_id=1");
}

TEST_F(SqlFlashWorld, an_ssid_that_does_not_exist_is_silent)
{
    for (int type : {CONFIG_SQL_WL_BASIC, CONFIG_SQL_CLI_LIMIT}) {
        sql_flash_queue_in(type, 7, M1.data());
        std::vector<std::string> texts;
        EXPECT_EQ(lines_of([&] { texts = pass(); }), "");
        EXPECT_TRUE(texts.empty());
    }
}

TEST_F(SqlFlashWorld, whole_record_notes_write_their_rows)
{
    run(db, "delete from ap_basic; delete from ap_ssid");
    sql_flash_queue_in(CONFIG_SQL_ADVANCE, 0, M1.data());
    sql_flash_queue_out();
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
    run(db, "update ap_basic set status=99");
    sql_flash_queue_in(CONFIG_SQL_WLRF, 0, M1.data());
    sql_flash_queue_out();
    EXPECT_EQ(cell(db, "select status from ap_basic"), "99");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
    run(db, "delete from ap_basic; delete from ap_ssid");
    sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, M1.data());
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlFlashWorld, an_unknown_type_is_a_line)
{
    for (int type : {22, -1, 255}) {
        sql_flash_queue_in(type, 0, M1.data());
        EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "E| write flash msg_type err");
    }
}

TEST_F(SqlFlashWorld, every_type_up_to_the_last_is_known)
{
    for (int type = 0; type <= CONFIG_SQL_WL_DEPLOY_NAME; type++) {
        record->sql_flag = 1;
        sql_flash_queue_in(type, 0, M1.data());
        EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "") << type;
    }
}

TEST_F(SqlFlashWorld, a_failed_statement_spends_its_note_and_the_next_is_handled)
{
    run(db, "create trigger refuse before update of ledstatus on ap_basic begin select raise(abort,'no'); end");
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    record->status = AP_UPGRADING;
    sql_flash_queue_in(CONFIG_SQL_STATUS, 0, M1.data());
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "E|update,Error code:19,Reason:no\n");
    EXPECT_EQ(cell(db, "select status from ap_basic"), "4");
    EXPECT_TRUE(take_notes().empty());
}

// Runs inside a statement of a pass.
static int queue_another(unsigned, void* left, void*, void*)
{
    int& number = *static_cast<int*>(left);
    if (number-- > 0) sql_flash_queue_in(CONFIG_SQL_STATUS, 0, M1.data());
    return 0;
}

TEST_F(SqlFlashWorld, a_note_added_during_the_last_ones_work_waits_for_its_own_post)
{
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    const int before = posts();
    int number = 1;
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, queue_another, &number);
    sql_flash_queue_out();
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    EXPECT_EQ(posts(), before + 1);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_STATUS, 0, M1}}));
}

// It stands behind the pass's last note, whose successor is read only when its own turn has come.
TEST_F(SqlFlashWorld, a_note_added_during_an_earlier_ones_work_is_written_in_the_same_pass)
{
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    sql_flash_queue_in(CONFIG_SQL_VERSION, 0, M1.data());
    int number = 1;
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, queue_another, &number);
    sql_flash_queue_out();
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    EXPECT_EQ(number, 1 - 3); // the statements of all three
    EXPECT_TRUE(take_notes().empty());
}

// What a statement of a pass finds.
struct SeenInStatement {
    int statements = 0;
    int table_locked = 0;
    int queue_locked = 0;
    int note_queued = 0;
};

static bool is_locked(ac_mutex& mutex)
{
    if (pthread_mutex_trylock(&mutex.m) != 0) return true;
    pthread_mutex_unlock(&mutex.m);
    return false;
}

static int look_at_locks(unsigned, void* arg, void*, void*)
{
    auto& seen = *static_cast<SeenInStatement*>(arg);
    seen.statements++;
    seen.table_locked += is_locked(g_apconfig_mutex);
    seen.queue_locked += is_locked(g_sql_flash_mutex);
    seen.note_queued += !list_empty(&g_sql_flash_queue);
    return 0;
}

static SeenInStatement seen_in_pass()
{
    SeenInStatement seen;
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, look_at_locks, &seen);
    sql_flash_queue_out();
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    return seen;
}

TEST_F(SqlFlashWorld, during_a_notes_sql_the_ap_table_is_locked_and_the_queue_is_not)
{
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, M1.data());
    const SeenInStatement seen = seen_in_pass();
    EXPECT_EQ(seen.statements, 6); // the LED; count and update of ap_basic, count and two updates of ap_ssid
    EXPECT_EQ(seen.table_locked, 6);
    EXPECT_EQ(seen.queue_locked, 0);
    EXPECT_EQ(seen.note_queued, 6); // a note leaves the queue only when it is written
}

TEST_F(SqlFlashWorld, during_a_deletions_sql_nothing_is_locked)
{
    sql_flash_queue_in(CONFIG_SQL_DELETE_AP, 0, M1.data());
    const SeenInStatement seen = seen_in_pass();
    EXPECT_EQ(seen.statements, 2);
    EXPECT_EQ(seen.table_locked, 0);
    EXPECT_EQ(seen.queue_locked, 0);
    EXPECT_EQ(seen.note_queued, 2);
}

static int waiting_for(const ac_mutex& mutex)
{
    return mutex.waiting[0].load() + mutex.waiting[1].load();
}

// Threads that ask for the AP table, one while each statement of a pass runs.
struct AskedInStatements {
    std::vector<std::thread> askers;
    std::atomic<int> statements = 0;
    std::array<int, 20> seen{}; // statements when each had the table
};

static int ask_for_the_table(unsigned, void* arg, void*, void*)
{
    auto& asked = *static_cast<AskedInStatements*>(arg);
    int& seen = asked.seen[asked.askers.size() % asked.seen.size()];
    asked.statements++;
    asked.askers.emplace_back([&asked, &seen] {
        const ac_lock table(g_apconfig_mutex);
        seen = asked.statements;
    });
    while (waiting_for(g_apconfig_mutex) == 0)
        std::this_thread::yield();
    return 0;
}

TEST_F(SqlFlashWorld, who_waits_for_the_ap_table_has_it_before_the_next_notes_sql)
{
    AskedInStatements asked;
    for (std::size_t i = 0; i < asked.seen.size(); i++)
        sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, ask_for_the_table, &asked);
    sql_flash_queue_out();
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    for (std::thread& asker : asked.askers)
        asker.join();
    ASSERT_EQ(asked.askers.size(), asked.seen.size());
    for (std::size_t i = 0; i < asked.seen.size(); i++)
        EXPECT_EQ(asked.seen[i], static_cast<int>(i) + 1);
}

// Or a record built anew between the two could be written before its predecessor's deletion, and lose its rows.
TEST_F(SqlFlashWorld, the_removal_of_a_record_and_the_note_of_its_deletion_are_one_hold_of_the_table)
{
    std::thread deleter;
    {
        const ac_lock queue(g_sql_flash_mutex); // the deleter gets as far as its note
        const UINT32 before = ac_load(g_acwtp_joined_ap_num);
        deleter = std::thread([] { EXPECT_EQ(apconfig_mib_node_del(M1.data(), 1), 0); });
        while (ac_load(g_acwtp_joined_ap_num) == before)
            std::this_thread::yield();
        int free_table = 0;
        for (int i = 0; i < 2000; i++) {
            if (!is_locked(g_apconfig_mutex)) free_table++;
            std::this_thread::yield();
        }
        EXPECT_EQ(free_table, 0);
    }
    deleter.join();
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_DELETE_AP, 0, M1}}));
}

TEST_F(SqlFlashWorld, freeing_the_nodes_of_a_record_leaves_the_record)
{
    const ac_reader section; // might still hold the nodes
    const std::size_t before = ac_retired_sweep();
    free_list_node(record);
    EXPECT_EQ(ac_retired_sweep(), before + 3); // one radio, two SSIDs
    EXPECT_TRUE(list_empty(&record->list_rf));
    EXPECT_TRUE(list_empty(&record->list_wl));
    EXPECT_EQ(apconfig_find(M1.data()), record);
}

// A post that came first could wake the thread for an empty queue, and the note would lie there until the next one.
TEST_F(SqlFlashWorld, a_note_stands_in_the_queue_before_its_post)
{
    const int before = posts();
    std::atomic<int> busy = 4;
    std::atomic<int> looks = 20;
    std::vector<std::thread> producers;
    for (int i = 0; i < 4; i++)
        producers.emplace_back([&] {
            for (int note = 0; note < 15000 && looks != 0; note++)
                sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
            busy--;
        });
    for (; looks != 0; looks--) {
        {
            const ac_lock queue(g_sql_flash_mutex);
            while (waiting_for(g_sql_flash_mutex) < busy) // each gets as far as its next hold of the queue
                std::this_thread::yield();
            EXPECT_LE(posts() - before, queue_length());
        }
        ac_mutex_let_in(g_sql_flash_mutex);
    }
    for (std::thread& producer : producers)
        producer.join();
    const int posted = posts() - before;
    EXPECT_GE(posted, 4);
    EXPECT_EQ(take_notes().size(), static_cast<std::size_t>(posted));
}

TEST_F(SqlFlashWorld, notes_of_many_threads_are_each_handled_once)
{
    run(db, "create table counted(n int); create trigger count_writes after update of ledstatus on ap_basic begin "
            "insert into counted values(1); end");
    constexpr int EACH = 100;
    std::atomic<int> busy = 2;
    auto produce = [&busy] {
        for (int i = 0; i < EACH; i++)
            sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
        busy--;
    };
    std::thread one(produce), two(produce);
    while (busy != 0)
        sql_flash_queue_out();
    one.join();
    two.join();
    sql_flash_queue_out();
    EXPECT_EQ(cell(db, "select count(*) from counted"), std::to_string(2 * EACH));
}

TEST_F(SqlFlashWorld, the_thread_ends_the_process_without_memory_for_its_pool_record)
{
    EXPECT_EXIT(
        {
            g_ac_pthread[PTHREAD_AC_SQL].mempool = nullptr;
            ac_alloc_fail_after(0);
            thread_write_flash(nullptr);
        },
        testing::ExitedWithCode(1), "malloc: ");
}

TEST_F(SqlFlashWorld, the_thread_logs_itself_and_writes_what_is_queued)
{
    run(db, "create table counted(n int); create trigger count_writes after update of ledstatus on ap_basic begin "
            "insert into counted values(1); end");
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, thread_write_flash, nullptr), 0);
    record->info_basic.led_status = 5;
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    for (long i = 0; i < 1000000 && cell(db, "select count(*) from counted") == "0"; i++)
        std::this_thread::yield();
    EXPECT_EQ(cell(db, "select ledstatus from ap_basic"), "5");
    EXPECT_EQ(posts(), 0);
    pthread_cancel(thread);
    pthread_join(thread, nullptr);
    EXPECT_EQ(read_file("/etc/ac_conf"),
              "thread_write_flash pid:" + std::to_string(getpid()) + " pthread_id:" +
                  std::to_string(static_cast<int>(reinterpret_cast<std::uintptr_t>(reinterpret_cast<void*>(thread)))) +
                  "\n");
    EXPECT_TRUE(pthread_equal(g_ac_pthread[PTHREAD_AC_SQL].tid, thread));
    EXPECT_EQ(g_ac_pthread[PTHREAD_AC_SQL].pid, getpid());
}
