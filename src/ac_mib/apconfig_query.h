// apconfig_query - what can be asked of the AP table.
//
// Shape    Whole-table walks go by bucket, chains from the head: the order changes from run to run.
// Threads  any but those that hold g_apconfig_mutex; each walk holds it throughout.
#pragma once

#include <span>

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_report_wire.h"
#include "ac_wtp_protocol/ac_frame_wire.h"

// Fill the caller's rows; no more are written than fit. 255 after "Error->%s(%d)--malloc failed\n" for a null buffer.
// One row per AP that has a radio 0; the row count is returned and stored in *len.
int apconfig_Traversal(std::span<AC_WTP_WTP_TABLE> info, int* len) AC_EXCLUDES(g_apconfig_mutex);
// One row per AP with an SSID 0 and a radio 0, a line for each of the others; the row count is returned.
int apconfig_advance_obtain(std::span<ACWTP_ADVANCE_CONFIG> info) AC_EXCLUDES(g_apconfig_mutex);
// One row per AP whose status is not 0 and that has a radio on; 0 is returned, the row count stored in *num.
int apconfig_ssid_scan_obtain(std::span<AC_WTP_Ssid_Cfg_t> info, int* num) AC_EXCLUDES(g_apconfig_mutex);

// Copies of one AP's nodes, indexed by ssid_id or radio; the number of nodes, 0 for an unknown AP.
int obtain_apconfig_all_ssid(const UINT8* ethaddr, CONFIG_WL_BASIC (&wl)[AC_SSID_MAX]) AC_EXCLUDES(g_apconfig_mutex);
int obtain_apconfig_all_rf(const UINT8* ethaddr, CONFIG_WL_RF (&rf)[AC_RADIO_MAX]) AC_EXCLUDES(g_apconfig_mutex);
int obtain_apconfig_all_rf_v1(const UINT8* ethaddr, CONFIG_WL_RF_V1 (&rf)[AC_RADIO_MAX]) AC_EXCLUDES(g_apconfig_mutex);
// 1, or 0 for an unknown AP.
int obtain_apconfig_ip(const UINT8* ethaddr, CONFIG_IP* ip) AC_EXCLUDES(g_apconfig_mutex);

// Adds to both counters. Online here and below: a status of neither 0 nor 5.
void obtain_ap_num(UINT32* total, UINT32* online) AC_EXCLUDES(g_apconfig_mutex);
// Stores the number of clients of all online APs; always 0.
int obtain_online_client_num(int* num) AC_EXCLUDES(g_apconfig_mutex);

// Adds a mac_list node (acwtp_msg/mac_list.h) at the head of `head` per AP with status not 0; the count, or -1 after
// perror("malloc") with the nodes so far still in the list.
int get_apmac_from_mib(list_node* head) AC_EXCLUDES(g_apconfig_mutex);

// Passes the AP's client list to the client table, once that is in the build. 255 for an unknown AP, else 0.
int turn_online_client_down(const UINT8* ethaddr, int interval) AC_EXCLUDES(g_apconfig_mutex);

// Ageing: of the APs of status 0, deletes as many as there are offline ones above 2000. At most one pass in 51 seconds.
void apconfig_check_unonline_num() AC_EXCLUDES(g_apconfig_mutex);

// Sends a prepared frame to every record, online or not, under the lock. 0, or 1001 for null.
int send_pkt_to_all_ap(CLOUD_AP_UDP_PKT* send_pkt) AC_EXCLUDES(g_apconfig_mutex);
