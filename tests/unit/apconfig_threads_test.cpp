// The AP table under several threads at once. The thread sanitizer judges the accesses, the address sanitizer the
// records that are deleted under a reader's hands; the assertions see to it that no copy is torn.
#include <thread>

#include "ac_mib/apconfig_intake.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "apconfig_reports.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"

namespace {

constexpr int ROUNDS = 300;

class ApconfigThreads : public TestWorld {};

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
