// test_world - the ground that unit tests stand on: a root of their own, a clock that only the test moves, frames that
// go to memory, and the queues where work and notes can be seen.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_frame_wire.h"
#include "common/ac_types.h"

using Mac = std::array<UINT8, 6>;

struct SentFrame {
    std::string ip; // dotted
    int port;
    std::vector<UINT8> bytes;
    CLOUD_AP_UDP_PKT head() const; // the first 28 bytes
};

struct FlashNote {
    int type;
    int index;
    Mac mac;
    bool operator==(const FlashNote&) const = default;
};

struct WorkItem {
    int send_times, type, num_flag, ap_num, flags;
    std::vector<UINT8> msg;
};

Mac test_mac(int number); // 02:00:00:00:hh:ll

// SetUp makes an empty root below /tmp, sets AC_ROOT and AC_LAN_IF=lo, takes over the clock (it stands at 1700000000),
// initialises lists, tables, pools as the threads would, and captures what is sent. TearDown puts all of that back.
class TestWorld : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::string root;

    std::vector<SentFrame>& sent(); // frames since the start or the last clear()
    void fail_sends(bool failing);  // ac_net_send gives -1 while set

    // What stands in the queues now, oldest first; taken out by the call.
    std::vector<FlashNote> take_notes();
    std::vector<WorkItem> take_items();
    // Kinds of the alarms among the waiting items, for one AP; leaves the queue as it is.
    std::vector<int> alarms(const Mac& mac);

    void write_file(const std::string& appliance_path, const std::string& content);
    std::string read_file(const std::string& appliance_path);

    // A linked record of that type with its radios and SSIDs: names "ssid<n>", all on, status as given.
    APCONFIG* make_record(const Mac& mac, UINT16 ap_type, UINT8 status, const char* version = "1");

    // Standard output of `action`.
    template <typename Action> std::string output_of(Action&& action)
    {
        testing::internal::CaptureStdout();
        action();
        fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }
};
