#include "ac_mib/ac_product.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "common/ac_err.h"
#include "common/ac_text.h"

namespace {

constexpr char IMAGE_PREFIX[] = "/var/";
constexpr char IMAGE_SUFFIX[] = "_image";
constexpr std::size_t IMAGE_FIXED = sizeof IMAGE_PREFIX - 1 + sizeof IMAGE_SUFFIX - 1;
constexpr std::size_t IMAGE_NAME_MAX = AC_NAME_LEN - 1 - IMAGE_FIXED; // characters of the product's name that fit

constexpr bool file_name_safe(UINT8 c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
           c == '_';
}

constexpr void image_name_form(const UINT8 (&ap_name)[AC_NAME_LEN], UINT8 (&image_name)[AC_NAME_LEN])
{
    std::fill(image_name, image_name + AC_NAME_LEN, UINT8{0});
    UINT8* out = std::copy_n(IMAGE_PREFIX, sizeof IMAGE_PREFIX - 1, image_name);
    for (std::size_t i = 0; i < IMAGE_NAME_MAX && ap_name[i] != 0; i++)
        *out++ = file_name_safe(ap_name[i]) ? ap_name[i] : UINT8{'_'};
    std::copy_n(IMAGE_SUFFIX, sizeof IMAGE_SUFFIX - 1, out);
}

struct product_kind {
    UINT8 ssid_num_24g;
    UINT8 ssid_num_5g;
    UINT8 rf_num;
    UINT8 flag_old_crc;
};

constexpr product_kind TWO_OLD = {2, 0, 1, 1};
constexpr product_kind FOUR_OLD = {4, 0, 1, 1};
constexpr product_kind TWO = {2, 0, 1, 0};
constexpr product_kind FOUR = {4, 0, 1, 0};
constexpr product_kind EIGHT = {8, 0, 1, 0};
constexpr product_kind DUAL = {8, 4, 2, 0};

// The controller's own numbering, in the shape of the numbers that manufacturing gave to types 1, 4, 6, 9, 22, 30 and
// 67: a family, three digits for the model, 001. Models from 0x200 on were never given out, so no two rows collide.
constexpr UINT32 own_id(UINT16 ap_type)
{
    return 0x1000001U + ((0x200U + ap_type) << 12);
}

// A built-in row: its name is "mdl" and the row's number.
constexpr PRODUCT_AP builtin(UINT16 ap_type, const product_kind& kind, UINT32 product_id)
{
    PRODUCT_AP row{};
    UINT8* out = std::copy_n("mdl", 3, row.ap_name);
    if (ap_type >= 10) *out++ = static_cast<UINT8>('0' + ap_type / 10);
    *out = static_cast<UINT8>('0' + ap_type % 10);
    row.product_id = product_id;
    row.ssid_num_24g = kind.ssid_num_24g;
    row.ssid_num_5g = kind.ssid_num_5g;
    row.rf_num = kind.rf_num;
    row.flag_old_crc = kind.flag_old_crc;
    row.ap_type = ap_type;
    image_name_form(row.ap_name, row.image_name);
    return row;
}

constexpr PRODUCT_AP builtin(UINT16 ap_type, const product_kind& kind)
{
    return builtin(ap_type, kind, own_id(ap_type));
}

// Readers of a row see ap_type before the rest of it: 0 means that the rest is not there yet.
bool row_filled(PRODUCT_AP& row)
{
    return std::atomic_ref<UINT16>(row.ap_type).load(std::memory_order_acquire) != 0;
}

void row_write(PRODUCT_AP& row, const PRODUCT_AP& values)
{
    memcpy(row.ap_name, values.ap_name, AC_NAME_LEN);
    image_name_form(row.ap_name, row.image_name);
    row.product_id = values.product_id;
    row.ssid_num_24g = values.ssid_num_24g;
    row.ssid_num_5g = values.ssid_num_5g;
    row.rf_num = values.rf_num;
    row.flag_old_crc = values.flag_old_crc;
    std::atomic_ref<UINT16>(row.ap_type).store(values.ap_type, std::memory_order_release);
}

PRODUCT_AP* row_of(UINT16 ap_type)
{
    return ap_type == 0 || ap_type >= AC_PRODUCT_NUM ? nullptr : &g_ap_product[ap_type];
}

} // namespace

// clang-format off
constinit PRODUCT_AP g_ap_product[AC_PRODUCT_NUM] = {
    {},
    builtin(1, TWO_OLD, 0x11001),
    builtin(2, TWO_OLD),
    builtin(3, TWO_OLD),
    builtin(4, FOUR_OLD, 0x12001),
    builtin(5, FOUR_OLD),
    builtin(6, EIGHT, 0x30019),
    builtin(7, DUAL),
    builtin(8, DUAL),
    builtin(9, EIGHT, 0x20019),
    builtin(10, DUAL),
    builtin(11, DUAL),
    builtin(12, FOUR_OLD),
    builtin(13, FOUR_OLD),
    builtin(14, FOUR_OLD),
    builtin(15, FOUR_OLD),
    builtin(16, EIGHT),
    builtin(17, DUAL),
    builtin(18, DUAL),
    builtin(19, FOUR_OLD),
    builtin(20, TWO_OLD),
    builtin(21, FOUR_OLD),
    builtin(22, EIGHT, 0x1053001),
    builtin(23, EIGHT),
    builtin(24, TWO),
    builtin(25, FOUR),
    builtin(26, FOUR),
    builtin(27, FOUR),
    builtin(28, FOUR),
    builtin(29, EIGHT),
    builtin(30, DUAL, 0x1014001),
    builtin(31, DUAL),
    builtin(32, DUAL),
    builtin(33, TWO),
    builtin(34, TWO_OLD),
    builtin(35, FOUR_OLD),
    builtin(36, FOUR_OLD),
    builtin(37, FOUR),
    builtin(38, FOUR_OLD),
    builtin(39, FOUR),
    builtin(40, TWO),
    builtin(41, TWO),
    builtin(42, FOUR),
    builtin(43, FOUR),
    builtin(44, FOUR),
    builtin(45, FOUR),
    builtin(46, DUAL),
    builtin(47, TWO),
    builtin(48, FOUR),
    builtin(49, FOUR_OLD),
    builtin(50, EIGHT),
    builtin(51, DUAL),
    builtin(52, DUAL),
    builtin(53, TWO_OLD),
    builtin(54, TWO_OLD),
    builtin(55, TWO_OLD),
    builtin(56, FOUR_OLD),
    builtin(57, FOUR_OLD),
    builtin(58, FOUR_OLD),
    builtin(59, FOUR_OLD),
    builtin(60, TWO),
    builtin(61, FOUR_OLD),
    {}, // 62 was never a product
    builtin(63, FOUR_OLD),
    builtin(64, FOUR_OLD),
    builtin(65, FOUR_OLD),
    builtin(66, FOUR_OLD),
    builtin(67, DUAL, 0x54001),
    builtin(68, EIGHT),
};
// clang-format on

bool acwtp_product_obtain(UINT16 ap_type, PRODUCT_AP* row)
{
    *row = PRODUCT_AP{};
    PRODUCT_AP* found = row_of(ap_type);
    if (found == nullptr || !row_filled(*found)) return false;
    memcpy(row->ap_name, found->ap_name, AC_NAME_LEN);
    memcpy(row->image_name, found->image_name, AC_NAME_LEN);
    row->product_id = found->product_id;
    row->ssid_num_24g = found->ssid_num_24g;
    row->ssid_num_5g = found->ssid_num_5g;
    row->rf_num = found->rf_num;
    row->flag_old_crc = found->flag_old_crc;
    row->ap_type = found->ap_type;
    return true;
}

bool acwtp_product_fill(const PRODUCT_AP* values)
{
    PRODUCT_AP* row = row_of(values->ap_type);
    if (row == nullptr) return false;
    if (!row_filled(*row)) row_write(*row, *values);
    return true;
}

bool acwtp_product_load(const PRODUCT_AP* values)
{
    PRODUCT_AP* row = row_of(values->ap_type);
    if (row == nullptr) return false;
    row_write(*row, *values);
    return true;
}

void acwtp_image_name(const UINT8 (&ap_name)[AC_NAME_LEN], UINT8 (&image_name)[AC_NAME_LEN])
{
    image_name_form(ap_name, image_name);
}

UINT8 get_ssid_num_24g(UINT16 aptype)
{
    PRODUCT_AP* row = row_of(aptype);
    return row != nullptr && row_filled(*row) ? row->ssid_num_24g : UINT8{0};
}

UINT8 get_ssid_num_5g(UINT16 aptype)
{
    PRODUCT_AP* row = row_of(aptype);
    return row != nullptr && row_filled(*row) ? row->ssid_num_5g : UINT8{0};
}

int get_ssid_len(UINT16 aptype)
{
    if (aptype >= AC_PRODUCT_NUM) {
        AC_ERR("aptype:%d", aptype);
        return 0;
    }
    return get_ssid_num_24g(aptype) + get_ssid_num_5g(aptype);
}

int get_rf_len(UINT16 aptype)
{
    if (aptype >= AC_PRODUCT_NUM) {
        AC_ERR("aptype:%d is big than Max:%d", aptype, static_cast<int>(AC_PRODUCT_NUM));
        return 0;
    }
    PRODUCT_AP* row = row_of(aptype);
    return row != nullptr && row_filled(*row) ? row->rf_num : 0;
}
