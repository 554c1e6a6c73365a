// ac_product - the product table: what the controller knows of each type of AP.
//
// Shape    200 rows, indexed by ap_type; a row whose ap_type is 0 is empty. 67 rows are built in, the empty ones but
//          row 0 are learnt from APs; of these, rows 69 to 199 come back from the database at the next start. A filled
//          row is never overwritten while threads run.
// Threads  the discovery thread fills rows, ap_type last (release). Others read through acwtp_product_obtain and the
//          get_ functions, which see a row whole or empty. The two ..._using fields belong to the firmware upgrade.
#pragma once

#include "common/ac_types.h"

inline constexpr UINT16 AC_PRODUCT_LEARN_FIRST = 69; // first row that persists when learnt

struct product_ap {
    UINT8 ap_name[AC_NAME_LEN];
    UINT32 product_id;
    UINT8 ssid_num_24g;
    UINT8 ssid_num_5g;
    UINT8 rf_num;
    UINT8 flag_old_crc;            // firmware files of this type carry the older checksum
    UINT16 ap_type;                // the row's index once filled
    UINT8 image_name[AC_NAME_LEN]; // "/var/%s_image"
    int flag_image_file_using;
    int checked_image_file_using;
};
typedef struct product_ap PRODUCT_AP;

extern PRODUCT_AP g_ap_product[AC_PRODUCT_NUM];

// A copy of a filled row, its ..._using fields left 0; zeros and false for an empty row or a type of 200 or more.
bool acwtp_product_obtain(UINT16 ap_type, PRODUCT_AP* row);

// Fills an empty row from *values (image_name is formed here, flag_old_crc taken as given) and marks it filled.
// A row filled before stays as it is. Only the discovery thread calls it. false for a type of 0 or of 200 or more.
bool acwtp_product_fill(const PRODUCT_AP* values);
// The same, also over a filled row: for the load at start, before any thread runs.
bool acwtp_product_load(const PRODUCT_AP* values);

// "/var/%s_image" with the product's name. Becomes a file name and meets a shell: letters, digits, '.', '-' and '_'
// pass, any other byte becomes '_'; the text is cut to 31 characters with its suffix kept.
void acwtp_image_name(const UINT8 (&ap_name)[AC_NAME_LEN], UINT8 (&image_name)[AC_NAME_LEN]);

// 0 for a type of 200 or more: silently here,
UINT8 get_ssid_num_24g(UINT16 aptype);
UINT8 get_ssid_num_5g(UINT16 aptype);
// after "Error->%s(%d)--aptype:%d" here,
int get_ssid_len(UINT16 aptype);
// and after "Error->%s(%d)--aptype:%d is big than Max:%d" here.
int get_rf_len(UINT16 aptype);

// Called by ac_product's users in ac_wtp_protocol; provided by ac_sql/sqlite_ap_product.
int sqlite_add_ap_type(UINT16 ap_type, const UINT8* ap_name, UINT32 product_id, UINT8 ssid_num_24g, UINT8 ssid_num_5g,
                       UINT8 rf_num, UINT8 flag_old_crc);
