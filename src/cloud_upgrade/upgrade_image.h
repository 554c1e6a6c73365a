// upgrade_image - which firmware image was uploaded last, and for which product.
//
// Threads  any. Takes no mutex; reads a small file.
#pragma once

#include "common/ac_types.h"

// The number in "/var/cur_apimage_product_id", 0 if the file can't be opened or read.
UINT32 get_cur_image_product_id();
// ap_type of the first product row with this number; 0 after "not found aptype.\n".
UINT16 get_cur_image_ap_type_by_product_id(UINT32 product_id);
