// wtp_report - the lists of all APs for the web interface.
//
// Threads  the control thread.
#pragma once

// GET_AP_ALL_REQ: a header of type 24 with the row count in ap_num, then an AC_WTP_WTP_TABLE per AP. The bytes written;
// -1 after a line without memory, with no answer, and where the client did not take it.
int acmsg_get_all_ap_config(int fd);
