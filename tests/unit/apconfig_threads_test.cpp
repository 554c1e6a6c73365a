// The AP table under several threads at once. The thread sanitizer judges the accesses, the address sanitizer the
// records that are deleted under a reader's hands; the assertions see to it that no copy is torn.
#include <atomic>
#include <thread>

#include "ac_mib/apconfig_intake.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_mib/sql_flash_queue.h"
#include "apconfig_reports.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "platform/ac_clock.h"
#include "sql_world.h"

namespace {

constexpr int ROUNDS = 300;

class ApconfigThreads : public TestWorld {};

// The same with the database open, for the thread that writes it.
class ApconfigFlashThreads : public SqlWorld {};

bool all_equal(std::span<const UINT8> bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [&](UINT8 byte) { return byte == bytes.front(); });
}

} // namespace

TEST_F(ApconfigThreads, records_are_rebuilt_changed_deleted_and_read_at_the_same_time)
{
    const Mac mac = test_mac(1);
    const Bytes report = report_v2_dual("0");
    ASSERT_EQ(apconfig_mib_add_v2(mac.data(), IP, PORT, DUAL, report), 0);

    std::thread dispatch([&] {
        for (int i = 0; i < ROUNDS; i++) {
            const ac_reader section;
            (void)apconfig_mib_add_v2(mac.data(), IP, PORT, DUAL, report); // the control thread may win in between
        }
    });
    std::thread control([&] {
        for (int i = 0; i < ROUNDS; i++) {
            const ac_reader section;
            const Bytes name(32, static_cast<UINT8>(1 + i % 200));
            (void)apconfig_mib_update(SET_REBOOT_POLICY_NAME, mac.data(),
                                      name); // 255 while the record is being rebuilt
            (void)apconfig_mib_update_client(mac.data(), Bytes(384, static_cast<UINT8>(i)), i % 65);
            if (i % 50 == 49) (void)apconfig_mib_node_del(mac.data(), 0);
            (void)ac_retired_sweep();
        }
    });
    std::thread reader([&] {
        std::vector<ACWTP_ADVANCE_CONFIG> rows(4);
        for (int i = 0; i < ROUNDS; i++) {
            const ac_reader section;
            const APCONFIG* node = apconfig_find(mac.data());
            if (node != nullptr) {
                EXPECT_LE(ac_load(node->status), AP_UPGRAD_FAILED);
                EXPECT_EQ(node->ap_type, DUAL);
            }
            const bool listed = apconfig_advance_obtain(rows) == 1;
            EXPECT_TRUE(!listed || all_equal(std::span(rows[0].reboot_policy).first(32)));
            CONFIG_WL_BASIC wl[AC_SSID_MAX] = {};
            const int ssids = obtain_apconfig_all_ssid(mac.data(), wl);
            EXPECT_TRUE(ssids == 0 || ssids == 12);
        }
    });
    dispatch.join();
    control.join();
    reader.join();

    (void)ac_retired_sweep();
    EXPECT_EQ(ac_retired_sweep(), 0U);
    EXPECT_LE(ac_load(g_acwtp_joined_ap_num), 1U);
    ASSERT_EQ(apconfig_mib_add_v2(mac.data(), IP, PORT, DUAL, report_v2_dual("1")), 0);
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 1U);
}

TEST_F(ApconfigFlashThreads, records_are_written_listed_counted_and_aged_while_they_are_rebuilt_and_changed)
{
    const Mac macs[] = {test_mac(1), test_mac(2)};
    for (const Mac& mac : macs)
        ASSERT_EQ(apconfig_mib_add_v2(mac.data(), IP, PORT, DUAL, report_v2_dual("0")), 0);

    std::thread dispatch([&] {
        for (int i = 0; i < ROUNDS; i++) {
            const ac_reader section;
            const Mac& mac = macs[i % 2];
            (void)apconfig_mib_add(mac.data(), IP, PORT, DUAL, report_v1_dual("9"));
            (void)sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, mac.data());
        }
    });
    std::thread control([&] {
        for (int i = 0; i < ROUNDS; i++) {
            const ac_reader section;
            const Mac& mac = macs[i / 2 % 2];
            const Bytes name = {static_cast<UINT8>('a' + i % 26), 0};
            Bytes apname(33, name[0]);
            apname[32] = 32;
            (void)apconfig_mib_update(SET_AP_REMARK_REQ, mac.data(), apname); // 255 while the record is being rebuilt
            (void)apconfig_mib_update(SET_AP_CHANNEL, mac.data(), Bytes{0, 1, static_cast<UINT8>(1 + i % 11)});
            (void)apconfig_mib_update_byte(SET_AP_STATUS_REQ, mac.data(), static_cast<UINT8>(i % 7));
        }
    });
    std::thread clock([&] {
        std::vector<AC_WTP_WTP_TABLE> list(4);
        std::vector<AC_WTP_Ssid_Cfg_t> scan(4);
        CLOUD_AP_UDP_PKT frame{};
        for (int i = 0; i < ROUNDS; i++) {
            const ac_reader section;
            ac_clock_advance(51);
            apconfig_check_unonline_num();
            UINT32 total = 0;
            UINT32 online = 0;
            obtain_ap_num(&total, &online);
            EXPECT_LE(online, total);
            EXPECT_LE(total, 2U);
            int count = 0;
            (void)apconfig_Traversal(list, &count);
            for (int row = 0; row < count; row++)
                EXPECT_TRUE(list[static_cast<std::size_t>(row)].text[0] == 'l' ||
                            all_equal(std::span(list[static_cast<std::size_t>(row)].text).first(32)));
            (void)apconfig_ssid_scan_obtain(scan, &count);
            (void)send_pkt_to_all_ap(&frame);
            (void)get_ap_status(macs[0].data());
            (void)turn_online_client_down(macs[1].data(), 1);
            (void)ac_retired_sweep();
        }
    });
    std::atomic<bool> changing = true;
    std::thread flash([&] {
        while (changing.load())
            sql_flash_queue_out();
    });
    for (std::thread* thread : {&dispatch, &control, &clock})
        thread->join();
    changing.store(false);
    flash.join();

    sql_flash_queue_out();
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 2U);
    for (const Mac& mac : macs) {
        ASSERT_EQ(apconfig_mib_update_byte(SET_AP_STATUS_REQ, mac.data(), AP_LINK_UP), 0);
        sql_flash_queue_out();
        const std::string where = " from ap_basic where apmac='" + mac_text(mac) + "'";
        EXPECT_EQ(cell(db, "select count(*)" + where), "1");
        EXPECT_EQ(cell(db, "select status" + where), "1");
    }
}
