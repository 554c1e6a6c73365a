// wtp_page - the page of one AP: its address and radio settings, read and set.
//
// Shape    Images of radios are compared and sent whole; only the radio part of a page that comes back is acted on.
// Errors   255 for a request that is refused, for an unknown AP and for a page that changes nothing.
// Threads  the control thread.
#pragma once

#include <span>

#include "cgi_socket_handle/ac_msg_wire.h"
#include "main/wtp_control_wire.h"

// The page of the AP whose MAC leads the body, into `buf`, its 92 bytes counted in *len. 0; 255 after
// "Error->%s(%d)--\n", 255 without one for a null request.
int get_wtp_config_only(const AC_MSG_PKT* rev, std::span<UINT8> buf, int* len);
// GET_AP_CONFIG_REQ: answers with the page, or with an empty body. 0 or 255.
int get_wtp_config(int fd, const AC_MSG_PKT* rev);

// SET_AP_CONFIG_REQ: a MAC and a page. Sends the AP the radios that differ from the table and changes the table.
int set_wtp_config(const AC_MSG_PKT* rev);

// A page's settings of one radio (0 or 1) to a radio's image, and back. Bits of RF_basic_setting that the page does not
// hold stay as they are.
void put_cgi_rf(int radio, CONFIG_WL_RF_V1* rf, const WIFI_RF_CFG_PARAM* cgi_rf);
void put_rf_data(int radio, WIFI_RF_CFG_PARAM* rf_out, const CONFIG_WL_RF* rf_in);

// Which members of two images differ, a bit each.
inline constexpr UINT32 RF_DIFFERS_BASIC_SETTING = 0x01;
inline constexpr UINT32 RF_DIFFERS_EXPAND_CHANNEL = 0x02;
inline constexpr UINT32 RF_DIFFERS_COUNTRY_CODE = 0x04;
inline constexpr UINT32 RF_DIFFERS_NETWORK_MODE = 0x08;
inline constexpr UINT32 RF_DIFFERS_BANDWIDTH = 0x10;
inline constexpr UINT32 RF_DIFFERS_TXPOWER = 0x20;
inline constexpr UINT32 RF_DIFFERS_CHANNEL = 0x40;
UINT32 compare_each_rf_member(const CONFIG_WL_RF_V1* rf, const CONFIG_WL_RF_V1* compared);
// Copies these members from `rf_bak`; of RF_basic_setting only whether the radio is on.
void change_value_of_rf(UINT32 rf_bit_flag, CONFIG_WL_RF_V1* rf, const CONFIG_WL_RF_V1* rf_bak);

// 1 when the page's address settings equal `compared`; else 0, with them in *revalue.
int compare_ip(const AC_WTP_Cfg_Block_t* pCfg, const CONFIG_IP* compared, CONFIG_IP* revalue);
