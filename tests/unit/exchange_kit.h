// exchange_kit - what the tests of outbound work and of the configuration exchange share: frames as an AP writes them,
// work items as the control side makes them, and the outstanding records as they stand.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "acwtp_msg/acwtp_msg.h"
#include "test_world.h"

using Bytes = std::vector<UINT8>;

Bytes operator+(const Bytes& a, const Bytes& b);
Bytes zeros(std::size_t count);
Bytes text(const char* characters, std::size_t width); // zero-padded
Bytes mac_bytes(std::initializer_list<int> numbers);   // of test_mac, one behind the other
Bytes mac_run(int first, int count);
// Overwrites what stands at `offset`; grows nothing.
void put(Bytes& bytes, std::size_t offset, const Bytes& what);

struct Work {
    UINT16 type;
    Bytes msg;
    UINT16 ap_num = 1;
    UINT16 num_flag = 0;
    UINT16 flags = CGI_MSG;
    UINT8 send_times = 0;
    // Leads into msg: valid while the Work stands where it is.
    ACWTP_MSG_TABLE table() const;
};

struct Outstanding {
    int send_times, type, ap_num, flags;
    UINT32 seq_num;
    Bytes msg;
    std::vector<Mac> macs;
};

struct ApDatagram {
    Mac mac;
    UINT16 msg_type;
    Bytes payload;
    UINT16 proto = 4;
    UINT16 seq = 0;
    UINT16 ap_type = 7;
    UINT16 pkt_type = 0x5858;
    UINT16 reserve = 0;
    UINT32 crc = 0;
    Bytes bytes() const; // as they lie on the wire
};

// A report of two radios and 12 SSIDs in the second layout, the SSIDs named "ssid<n>".
Bytes report_two_radios(const char* version);

class ExchangeWorld : public TestWorld {
protected:
    void SetUp() override;    // the next frame has number 0
    void TearDown() override; // also runs out the retransmission timers

    // Standard output of `action`, each "Error->function(line)--" as "! ".
    std::string printed(const std::function<void()>& action);

    AC_RET add(const Work& work, int flag = MSG_ADD_TAIL);
    AC_RET queue(const Work& work, int flag = MSG_ADD_TAIL); // acmsg_to_acprotocol
    std::vector<WorkItem> waiting();                         // g_msg_queue, left as it is
    std::vector<Outstanding> outstanding();
    int posts(); // of sem_protocol; takes them

    // One datagram through reception and its queue's consumer.
    void from_ap(const ApDatagram& frame, const char* ip = "127.0.0.1", UINT16 port = 40000);
    void discover(const Mac& mac, UINT16 ap_type = 7, UINT16 proto = 4);
    // A joined entry in AC_RUNNING and a count of one more; no timers that matter.
    void join_running(const Mac& mac);
    int state_of(const Mac& mac);               // current_status, -1 for an AP that is not joined
    std::string version_of(const APCONFIG* ap); // as text
};
