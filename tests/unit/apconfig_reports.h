// apconfig_reports - reports of an AP's configuration, written out by hand, and the test fixture that hands them over.
#pragma once

#include "ac_mib/apconfig_intake.h"
#include "apconfig_fixture.h"

namespace apconfig_test {

inline constexpr UINT16 SINGLE = 1;     // one radio, SSIDs 0 and 1
inline constexpr UINT16 DUAL = 67;      // two radios, SSIDs 0 to 11
inline constexpr UINT16 OWN_TYPE = 100; // filled by the tests that need a product of their own

inline constexpr UINT8 IP[4] = {10, 20, 30, 40};
inline constexpr UINT16 PORT = 5123;

typedef int (*Intake)(const UINT8*, const UINT8*, UINT16, UINT16, std::span<const UINT8>);

class ApconfigIntake : public TestWorld {
protected:
    Mac mac = test_mac(0x123);

    int add(Intake intake, UINT16 ap_type, const Bytes& report)
    {
        return intake(mac.data(), IP, PORT, ap_type, report);
    }
    int add_v1(UINT16 ap_type, const Bytes& report) { return add(apconfig_mib_add, ap_type, report); }
    int add_v2(UINT16 ap_type, const Bytes& report) { return add(apconfig_mib_add_v2, ap_type, report); }
    APCONFIG* record() { return record_of(mac); }
};

// One SSID record of 110 bytes at `at`.
inline void put_ssid(Bytes& report, std::size_t at, int id, const std::string& name)
{
    put(report, at, {id, 2, 20 + id, 0, 100 + id, 1});
    put(report, at + 6, name);
    put(report, at + 38, {static_cast<int>(name.size()), 3, 4});
    put(report, at + 41, "key" + std::to_string(id));
    put(report, at + 105, {4, id, 0, 0, 9});
}

// What all reports begin with, 104 bytes.
inline void put_head(Bytes& report, const std::string& version)
{
    put(report, 0, version);
    put(report, 2, {1, 2, 192, 168, 5, 6, 255, 255, 255, 0, 192, 168, 5, 1, 8, 8, 4, 4, 1, 1, 1, 1});
    put(report, 24, "lobby");
    put(report, 56, {5});
    put(report, 57, "V7.1");
    put(report, 89, {4});
    put(report, 90, {1, 2, 0x2C, 0x01});
    put(report, 96, {1, 50, 0, 0, 0x40, 0x42, 0x0F, 0x00});
}

// 334 bytes: one radio of 10 bytes at 104, two SSIDs at 114.
inline Bytes report_v1_single(const std::string& version = "7")
{
    Bytes report(334);
    put_head(report, version);
    put(report, 104, {0x06, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    put_ssid(report, 114, 0, "ssid0");
    put_ssid(report, 224, 1, "ssid1");
    return report;
}

inline std::string dual_ssid_name(int i)
{
    return "ssid" + std::to_string(i);
}

// 1444 bytes: the first radio at 104, 12 SSIDs at 124. The second radio is read at 132, inside the name of SSID 0.
inline Bytes report_v1_dual(const std::string& version = "7")
{
    Bytes report(1444);
    put_head(report, version);
    put(report, 104, {0x06, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    for (int i = 0; i < 12; i++)
        put_ssid(report, 124 + 110 * static_cast<std::size_t>(i), i, dual_ssid_name(i));
    return report;
}

inline const std::initializer_list<int> RADIO_0 = {0x06, 1, 2,    3, 4,  5,  6,  7,  8,  9,  0x02, 0x01, 0x04, 0x03,
                                                   0x06, 5, 0x08, 7, 20, 21, 22, 23, 24, 25, 26,   27,   28,   29};
inline const std::initializer_list<int> RADIO_1 = {0x47, 31, 32,   33, 34, 35, 36, 37, 38, 39, 0x12, 0x11, 0x14, 0x13,
                                                   0x16, 21, 0x18, 23, 40, 41, 42, 43, 44, 45, 46,   47,   48,   49};

// 352 bytes: one radio of 28 bytes at 104, two SSIDs at 132.
inline Bytes report_v2_single(const std::string& version = "7")
{
    Bytes report(352);
    put_head(report, version);
    put(report, 104, RADIO_0);
    put_ssid(report, 132, 0, "ssid0");
    put_ssid(report, 242, 1, "ssid1");
    return report;
}

// 1480 bytes: radios at 104 and 132, 12 SSIDs at 160.
inline Bytes report_v2_dual(const std::string& version = "7")
{
    Bytes report(1480);
    put_head(report, version);
    put(report, 104, RADIO_0);
    put(report, 132, RADIO_1);
    for (int i = 0; i < 12; i++)
        put_ssid(report, 160 + 110 * static_cast<std::size_t>(i), i, dual_ssid_name(i));
    return report;
}

inline Bytes report_dual(Intake intake, const std::string& version)
{
    return intake == apconfig_mib_add ? report_v1_dual(version) : report_v2_dual(version);
}

inline std::size_t length_of(const list_node* head)
{
    std::size_t count = 0;
    for (const list_node* at = head->next; at != head; at = at->next)
        count++;
    return count;
}

} // namespace apconfig_test
