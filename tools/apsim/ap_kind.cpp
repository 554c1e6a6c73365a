#include "ap_kind.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

namespace apsim {

namespace {

struct KindRow {
    UINT8 ssid_num_24g, ssid_num_5g, rf_num, flag_old_crc;
    std::vector<UINT16> types;
};

const std::vector<KindRow>& kind_rows()
{
    static const std::vector<KindRow> rows = {
        {2, 0, 1, 1, {1, 2, 3, 20, 34, 53, 54, 55}},
        {4, 0, 1, 1, {4, 5, 12, 13, 14, 15, 19, 21, 35, 36, 38, 49, 56, 57, 58, 59, 61, 63, 64, 65, 66}},
        {2, 0, 1, 0, {24, 33, 40, 41, 47, 60}},
        {4, 0, 1, 0, {25, 26, 27, 28, 37, 39, 42, 43, 44, 45, 48}},
        {8, 0, 1, 0, {6, 9, 16, 22, 23, 29, 50, 68}},
        {8, 4, 2, 0, {7, 8, 10, 11, 17, 18, 30, 31, 32, 46, 51, 52, 67}},
    };
    return rows;
}

// The controller goes by its own number for a type it knows, so that an invented one does no harm there.
UINT32 product_id_of(UINT16 ap_type)
{
    static const std::map<UINT16, UINT32> known = {{1, 0x11001},    {4, 0x12001},    {6, 0x30019}, {9, 0x20019},
                                                   {22, 0x1053001}, {30, 0x1014001}, {67, 0x54001}};
    const auto found = known.find(ap_type);
    return found != known.end() ? found->second : 0x7000000u + ap_type;
}

} // namespace

ApKind ap_kind(UINT16 ap_type)
{
    for (const KindRow& row : kind_rows()) {
        if (std::find(row.types.begin(), row.types.end(), ap_type) == row.types.end()) continue;
        return {ap_type,
                fmt::format("mdl{}", ap_type),
                product_id_of(ap_type),
                row.ssid_num_24g,
                row.ssid_num_5g,
                row.rf_num,
                row.flag_old_crc};
    }
    return {ap_type, fmt::format("sim{}", ap_type), product_id_of(ap_type), 6, 4, 2, 1};
}

const std::vector<UINT16>& default_types()
{
    static const std::vector<UINT16> types = {1, 4, 6, 7, 67, 70};
    return types;
}

} // namespace apsim
