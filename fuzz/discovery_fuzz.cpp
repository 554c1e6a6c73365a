// Discovery requests with product information, of types that are known, new, and none; then the types learnt, as flash
// gives them back.
//
// Input: requests, each a byte (low bits: the AP, bits 6 and 7: flags), the AP type, the layout, the payload's length
// as a byte, the payload.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "ac_mib/ac_product.h"
#include "ac_sql/sqlite_ap_product.h"
#include "fuzz_world.h"

namespace {

constexpr int REQUESTS_MAX = 24;
constexpr UINT8 SAME_TYPE = 0x40;   // the payload's ap_type is made the header's
constexpr UINT8 OTHER_CLASS = 0x80; // of frame: not ordinary traffic

void take_request(wire_reader& in)
{
    const auto first = wire_take<UINT8>(in);
    const unsigned int ap = first & 0x07;
    const auto ap_type = wire_take<UINT16>(in);
    const auto layout = wire_take<UINT16>(in);
    const std::span<const UINT8> bytes = fuzz_take_bytes(in, wire_take<UINT8>(in));
    std::vector<UINT8> payload(bytes.begin(), bytes.end());
    if ((first & SAME_TYPE) != 0 && payload.size() >= sizeof(AP_PRODUCT_INFO))
        memcpy(payload.data() + offsetof(AP_PRODUCT_INFO, ap_type), &ap_type, sizeof ap_type);
    CLOUD_AP_UDP_PKT head = fuzz_head(ap, HALDE_APDiscoveryReq, ap_type, layout);
    if ((first & OTHER_CLASS) != 0) head.pkt_type = AC_PKT_UPGRADE;
    fuzz_receive(fuzz_frame(head, payload), ap);
}

bool same_product(const PRODUCT_AP& learnt, const PRODUCT_AP& loaded)
{
    const auto text_end = std::find(std::begin(learnt.ap_name), std::end(learnt.ap_name), UINT8{0});
    const auto length = static_cast<std::size_t>(text_end - std::begin(learnt.ap_name));
    return memcmp(learnt.ap_name, loaded.ap_name, length) == 0 &&
           (length == AC_NAME_LEN || loaded.ap_name[length] == 0) && learnt.product_id == loaded.product_id &&
           learnt.ssid_num_24g == loaded.ssid_num_24g && learnt.ssid_num_5g == loaded.ssid_num_5g &&
           learnt.rf_num == loaded.rf_num && loaded.flag_old_crc == 0 && learnt.ap_type == loaded.ap_type &&
           memcmp(learnt.image_name, loaded.image_name, sizeof learnt.image_name) == 0;
}

void check_stored_products()
{
    PRODUCT_AP learnt[AC_PRODUCT_NUM];
    std::copy(std::begin(g_ap_product), std::end(g_ap_product), learnt);
    std::fill(g_ap_product + AC_PRODUCT_LEARN_FIRST, std::end(g_ap_product), PRODUCT_AP{});
    fuzz_require(load_apconfig_ap_product() == AC_RET_OK, "learnt products can be loaded");
    for (std::size_t type = AC_PRODUCT_LEARN_FIRST; type < AC_PRODUCT_NUM; type++)
        fuzz_require(same_product(learnt[type], g_ap_product[type]), "a learnt product survives a reload");
    fuzz_require(memcmp(learnt, g_ap_product, AC_PRODUCT_LEARN_FIRST * sizeof learnt[0]) == 0,
                 "nothing is stored of the built-in products");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    fuzz_database_reset();
    fuzz_join(1, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    wire_reader in{{data, size}};
    for (int i = 0; i < REQUESTS_MAX && !in.left.empty(); i++) {
        take_request(in);
        fuzz_drain();
    }
    check_stored_products();
    fuzz_check_table();
    return 0;
}
