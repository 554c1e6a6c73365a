// apconfig_requests - the images and batches that an update of the AP table is made from, written out by hand, and the
// test fixture that hands them over.
#pragma once

#include "ac_mib/apconfig_update.h"
#include "ac_mib/sql_flash_queue.h"
#include "apconfig_fixture.h"
#include "common/config_ap_type.h"

namespace apconfig_test {

inline constexpr UINT16 SINGLE = 1; // one radio, SSIDs 0 and 1
inline constexpr UINT16 DUAL = 67;  // two radios, SSIDs 0 to 11

inline constexpr UINT16 command(int number, int flag = 0)
{
    return static_cast<UINT16>(number | flag << 8);
}

using Notes = std::vector<FlashNote>;

class ApconfigUpdate : public TestWorld {
protected:
    Mac mac = test_mac(0x123);

    // An online record, so that no version rises beside what is tested.
    APCONFIG* record(UINT16 ap_type = DUAL, UINT8 status = AP_LINK_UP, const char* version = "1")
    {
        APCONFIG* node = make_record(mac, ap_type, status, version);
        take_notes();
        return node;
    }
    int update(UINT16 type, const Bytes& data) { return apconfig_mib_update(type, mac.data(), cut(data, data.size())); }
    Notes one_note(int type, int index = 0) { return {{type, index, mac}}; }
    Texts printed(UINT16 type, const Bytes& data, int result)
    {
        return error_texts(output_of([&] { EXPECT_EQ(update(type, data), result); }));
    }
};

// The 10 bytes of a radio.
inline Bytes rf_image(int setting, int channel)
{
    Bytes image(10);
    put(image, 0, {setting, 81, 82, 83, 84, 85, channel, 87, 88, 89});
    return image;
}

// The 110 bytes of an SSID.
inline Bytes wl_image(int id, int set)
{
    Bytes image(110);
    put(image, 0, {id, set, 77, 0, 0x34, 0x12});
    put(image, 6, "changed");
    put(image, 38, {7, 5, 6});
    put(image, 41, "newkey");
    put(image, 105, {6, 1, 2, 3, 4});
    return image;
}

// The 118 bytes of an SSID with a RADIUS server.
inline Bytes wl_all_image(int id, int set)
{
    Bytes image(118);
    put(image, 0, {id, set, 77, 0, 0x34, 0x12});
    put(image, 6, "changed");
    put(image, 38, {7, 0xEE, 5, 0xEE, 6});
    put(image, 43, "newkey");
    put(image, 107, {6, 1, 2, 3, 4, 10, 0, 0, 9, 0x14, 0x07});
    return image;
}

// What an SSID holds after either image.
inline Bytes wl_changed(int id)
{
    return wl_image(id, 2);
}

// Twelve names, the name of ssid_id n being "policy<n>".
inline Bytes names_384()
{
    Bytes names(384);
    for (std::size_t i = 0; i < 12; i++)
        put(names, 32 * i, "policy" + std::to_string(i));
    return names;
}

inline Bytes wlrf_request(const std::vector<Bytes>& radios, const std::vector<Bytes>& ssids)
{
    Bytes request = names_384();
    append(request, {static_cast<UINT8>(ssids.size()), static_cast<UINT8>(radios.size())});
    for (const Bytes& image : radios)
        append(request, image);
    for (const Bytes& image : ssids)
        append(request, image);
    return request;
}

inline Bytes wl_all_request(const std::vector<Bytes>& ssids)
{
    Bytes request = names_384();
    append(request, {static_cast<UINT8>(ssids.size())});
    for (const Bytes& image : ssids)
        append(request, image);
    return request;
}

inline Bytes rf_request(const Bytes& image, const std::string& marker, const std::string& name)
{
    Bytes request = image;
    request.resize(58);
    put(request, 10, marker);
    put(request, 26, name);
    return request;
}

inline Bytes apname(const std::string& name)
{
    Bytes image(33);
    put(image, 0, name);
    put(image, 32, {static_cast<int>(name.size())});
    return image;
}

// All of a record that an update may touch.
inline Bytes image_of(APCONFIG* node)
{
    Bytes image = raw(node->info_basic);
    append(image, raw(node->info_reboot));
    append(image, raw(node->info_alarm));
    append(image, raw(node->info_event));
    append(image, raw(node->AP_config_version));
    append(image, raw(node->main_ssid_client));
    append(image, raw(node->p_reboot_name));
    append(image, raw(node->p_alarm_name));
    append(image, raw(node->p_pass_name));
    append(image, raw(node->p_wl_deploy_name));
    append(image, raw(node->p_qvlan_name));
    append(image, raw(node->p_wl_basic_policy_name));
    append(image, raw(node->p_wl_rf_policy_name));
    append(image, {node->status, node->restore, node->sql_flag});
    for (list_node* at = node->list_rf.next; at != &node->list_rf; at = at->next)
        append(image, raw(apconfig_rf_of(at)->rf));
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next)
        append(image, raw(apconfig_wl_of(at)->wl_basic));
    return image;
}

} // namespace apconfig_test
