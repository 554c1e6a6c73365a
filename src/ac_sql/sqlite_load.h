// sqlite_load - the AP table as the database remembers it, at the start.
//
// A database row is believed no more than a frame: numbers are cut to their field, texts to its width, and a row that
// names an AP, an SSID or a type that can't be is refused.
//
// Threads  the start, before any thread.
#pragma once

extern int g_ap_ssid_num;   // SSIDs that the loaded APs have by their types
extern int g_real_ssid_num; // SSID rows met

// Loads the product rows, the APs and their SSIDs. 0; 255 after a line for a failed step, which skips the rest, or when
// the two numbers above differ. What was loaded stays in every case.
int load_apconfig_from_flash();

int load_apconfig_basic();    // 0, or 255
int load_apconfig_wl_basic(); // 0, or 255
