// sqlite_ap_product - product rows learnt at run time, kept in ap_product_info. sqlite_add_ap_type is in ac_product.h.
//
// Threads  sqlite_add_ap_type: the discovery thread. The load: the start, before any thread.
#pragma once

#include "common/ac_types.h"

// Rows of that type. A failed count is a line and counts as none.
int query_ap_type_exist(UINT16 ap_type);

// Lays the stored rows over g_ap_product. 0; 255 after a line for a failed select or a row that can't be taken, which
// ends the load there.
int load_apconfig_ap_product();
