#include "cloud_upgrade/upgrade_image.h"

#include <cstdio>
#include <cstdlib>

#include "ac_mib/ac_product.h"
#include "common/ac_err.h"
#include "platform/ac_platform.h"

static const char PRODUCT_ID_FILE[] = "/var/cur_apimage_product_id";

UINT32 get_cur_image_product_id()
{
    char line[32] = {};
    const ac_path path(PRODUCT_ID_FILE);
    FILE* file = fopen(path.c_str(), "r");
    if (file == nullptr) return 0;
    const bool read = fgets(line, sizeof line, file) != nullptr;
    fclose(file);
    return read ? static_cast<UINT32>(atoi(line)) : 0;
}

UINT16 get_cur_image_ap_type_by_product_id(UINT32 product_id)
{
    for (std::size_t type = 0; type < AC_PRODUCT_NUM; type++) {
        PRODUCT_AP row;
        if (acwtp_product_obtain(static_cast<UINT16>(type), &row) && row.product_id == product_id) return row.ap_type;
    }
    AC_ERR("not found aptype.\n");
    return 0;
}
