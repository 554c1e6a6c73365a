// Writes the hand-made seeds of all targets below a folder. What the fuzzers found is not made here and stays.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "acwtp_msg/acwtp_msg.h"
#include "common/config_ap_type.h"
#include "fuzz_world.h"

namespace {

std::filesystem::path g_corpus;

class seed {
public:
    seed& u8(unsigned int value) { return number<UINT8>(value); }
    seed& u16(unsigned int value) { return number<UINT16>(value); }
    seed& bytes(std::span<const UINT8> more)
    {
        bytes_.insert(bytes_.end(), more.begin(), more.end());
        return *this;
    }
    seed& text(std::string_view more)
    {
        bytes_.insert(bytes_.end(), more.begin(), more.end());
        return *this;
    }
    seed& fill(std::size_t count, unsigned int value)
    {
        return bytes(std::vector<UINT8>(count, static_cast<UINT8>(value)));
    }
    // With its length in front.
    seed& sized(std::span<const UINT8> more) { return u16(static_cast<unsigned int>(more.size())).bytes(more); }
    void write(const char* target, const char* name) const
    {
        const std::filesystem::path folder = g_corpus / target;
        std::filesystem::create_directories(folder);
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes_.data()), std::ssize(bytes_));
    }

private:
    template <typename T> seed& number(unsigned int value)
    {
        const auto narrow = static_cast<T>(value);
        UINT8 image[sizeof narrow];
        memcpy(image, &narrow, sizeof narrow);
        return bytes(image);
    }
    std::vector<UINT8> bytes_;
};

std::vector<UINT8> product_payload(UINT16 ap_type, std::string_view name)
{
    AP_PRODUCT_INFO info = {};
    memcpy(info.ap_name, name.data(), std::min(name.size(), sizeof info.ap_name));
    info.product_id = 0x2046001;
    info.ssid_num_24g = 8;
    info.ssid_num_5g = 4;
    info.rf_num = 2;
    info.flag_old_crc = 1;
    info.ap_type = ap_type;
    std::vector<UINT8> payload(sizeof info);
    memcpy(payload.data(), &info, sizeof info);
    return payload;
}

constexpr unsigned int TICKS = 0x8000;
constexpr unsigned int DRAIN = 0x4000;

std::vector<UINT8> dual_frame(unsigned int ap, UINT16 msg_type, std::span<const UINT8> payload)
{
    return fuzz_frame(fuzz_head(ap, msg_type, FUZZ_TYPE_DUAL, AC_LAYOUT_V2), payload);
}

void datagram_seeds()
{
    const std::vector<UINT8> report = fuzz_report(FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    seed()
        .u8(0)
        .sized(dual_frame(5, HALDE_APDiscoveryReq, {}))
        .u16(DRAIN)
        .sized(dual_frame(5, HALDE_APConfigUpdateReq, report))
        .u16(DRAIN)
        .sized(dual_frame(5, HALDE_APEchoReq, {}))
        .write("datagram", "join_and_echo");
    seed()
        .u8(0)
        .sized(dual_frame(5, HALDE_APDiscoveryReq, product_payload(100, "new")))
        .u16(DRAIN | 1)
        .write("datagram", "discovery_of_a_new_type");
    seed echoes;
    echoes.u8(3);
    for (int i = 0; i < 4; i++)
        echoes.sized(dual_frame(1, HALDE_APEchoReq, {})).u16(TICKS | 2);
    echoes.u16(TICKS | 20).sized(dual_frame(1, HALDE_APEchoReq, {})).write("datagram", "echoes_then_silence");
    static constexpr UINT8 success[] = {0};
    static constexpr UINT8 alarm[] = {6};
    seed responses;
    responses.u8(7).sized(dual_frame(1, HALDE_APAlarmReq, alarm));
    for (const unsigned int type : {0x0107U, 0x0207U, 0x0110U, 4U, 5U, 6U, 24U, 32U, 36U, 38U, 39U})
        responses.sized(dual_frame(1, static_cast<UINT16>(type), success)).u16(DRAIN);
    responses.write("datagram", "one_of_each_response");
    CLOUD_AP_UDP_PKT head = fuzz_head(2, HALDE_APClientUpdateReq, FUZZ_TYPE_SINGLE, AC_LAYOUT_V1);
    head.reserve = 72;
    seed().u8(2).sized(fuzz_frame(head, std::vector<UINT8>(72, 1))).write("datagram", "plain_client_report");
    head = fuzz_head(2, HALDE_APEchoReq, FUZZ_TYPE_SINGLE, AC_LAYOUT_V1);
    head.crc = 1;
    std::vector<UINT8> cut = fuzz_frame(head, success);
    seed()
        .u8(2)
        .sized(cut)
        .sized(std::span(cut).first(20))
        .sized(std::span(cut).first(28))
        .write("datagram", "bad_crc_and_cut_frames");
    seed()
        .u8(4)
        .u16(TICKS | 6)
        .sized(dual_frame(3, HALDE_APEchoReq, {}))
        .u16(TICKS)
        .write("datagram", "configuration_time_runs_out");
}

void report_seeds()
{
    const std::vector<UINT8> dual = fuzz_report(FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    seed().u8(0x10).u16(FUZZ_TYPE_DUAL).bytes(dual).write("report", "two_radios_second_layout");
    seed()
        .u8(0x11)
        .u16(FUZZ_TYPE_SINGLE)
        .bytes(fuzz_report(FUZZ_TYPE_SINGLE, AC_LAYOUT_V1))
        .write("report", "one_radio_first_layout");
    seed()
        .u8(0x01)
        .u16(FUZZ_TYPE_DUAL)
        .bytes(fuzz_report(FUZZ_TYPE_DUAL, AC_LAYOUT_V1))
        .write("report", "two_radios_first_layout");
    seed().u8(0x0A).u16(FUZZ_TYPE_DUAL).bytes(dual).write("report", "stored_is_newer");
    seed().u8(0x0B).u16(FUZZ_TYPE_DUAL).bytes(dual).write("report", "stored_is_newer_first_layout");
    seed().u8(0x02).u16(FUZZ_TYPE_DUAL).bytes(dual).write("report", "policy_names_kept");
    seed().u8(0x16).u16(FUZZ_TYPE_DUAL).bytes(dual).write("report", "after_a_restore");
    seed().u8(0).u16(FUZZ_TYPE_DUAL).bytes(std::span(dual).first(dual.size() - 1)).write("report", "one_byte_short");
    seed().u8(0).u16(200).bytes(dual).write("report", "type_200");
    std::vector<UINT8> version = dual;
    version[2 + 55] = '\'';
    version[2 + 87] = 1;
    seed().u8(0x10).u16(FUZZ_TYPE_DUAL).bytes(version).write("report", "quote_in_the_version");
    std::vector<UINT8> quotes = dual;
    memset(quotes.data() + 24, '\'', 33); // the AP's name, and a length beyond it
    memset(quotes.data() + 160 + 6, '\'', 32);
    quotes[160 + 38] = 32;
    seed().u8(0x10).u16(FUZZ_TYPE_DUAL).bytes(quotes).write("report", "names_of_quotes");
}

void compressed_report_seeds()
{
    const std::vector<UINT8> client(72, 3);
    seed().u8(3).u16(0).u8(1).sized(client).write("compressed_report", "one_client");
    seed().u8(3).u16(0).u8(41).sized(client).write("compressed_report", "3024_bytes");
    seed().u8(3).u16(0).u8(15).sized(std::vector<UINT8>(192, 9)).write("compressed_report", "3072_bytes");
    seed().u8(1).u16(3072).u8(63).sized(client).write("compressed_report", "more_than_3072_bytes");
    seed().u8(1).u16(4000).u8(63).sized(client).write("compressed_report", "reserve_4000");
    seed().u8(1).u16(71).u8(0).sized(client).u8(3).u16(0).u8(0).sized(client).write("compressed_report",
                                                                                    "wrong_length");
    seed().u8(0).u16(0).u8(0).sized(client).write("compressed_report", "no_zlib_stream");
    seed().u8(0).u16(5).u8(0).u16(0).write("compressed_report", "empty");
}

void discovery_seeds()
{
    const auto request = [](unsigned int first, unsigned int ap_type, std::span<const UINT8> payload) {
        return seed()
            .u8(first)
            .u16(ap_type)
            .u16(AC_LAYOUT_V2)
            .u8(static_cast<unsigned int>(payload.size()))
            .bytes(payload);
    };
    request(0x42, 100, product_payload(100, "new100")).write("discovery", "new_type");
    request(0x42, 100, product_payload(100, "it's '); drop table ap_basic;--")).write("discovery", "name_with_quotes");
    request(0x42, 199, product_payload(199, "a-name-of-all-the-32-bytes-......")).write("discovery", "full_name");
    request(0x42, 62, product_payload(62, "../../etc/passwd")).write("discovery", "name_with_slashes");
    request(0x02, FUZZ_TYPE_DUAL, product_payload(FUZZ_TYPE_DUAL, "other")).write("discovery", "known_type");
    request(0x02, 0, {}).write("discovery", "no_type");
    request(0x42, 200, product_payload(200, "beyond")).write("discovery", "type_200");
    request(0x02, 100, std::vector<UINT8>(43, 1)).write("discovery", "cut_payload");
    request(0x02, 100, std::vector<UINT8>(193, 1)).write("discovery", "payload_beyond_its_block");
    request(0x41, 100, product_payload(100, "running")).write("discovery", "of_a_running_ap");
}

void msg_item_seeds()
{
    const std::vector<UINT8> payload(28, 1);
    const auto item = [](unsigned int flags, unsigned int type, unsigned int num_flag, unsigned int ap_num,
                         std::span<const UINT8> bytes) {
        return seed().u8(flags).u16(type).u16(num_flag).u16(ap_num).u16(CGI_MSG).sized(bytes);
    };
    item(6, SET_AP_CONFIG_BASIC_REQ, 0, 1, payload).write("msg_item", "one_ap");
    item(6, 0x0112, 0, 3, payload).write("msg_item", "three_aps_new_address");
    item(14, SET_AP_REBOOT_REQ, 0, 1, payload).write("msg_item", "restart_answered");
    item(7, SET_AP_REMARK_REQ, 0, 250, payload).write("msg_item", "split_at_the_head");
    item(4, SET_PASSWORD_NAME, 1, 1, payload).write("msg_item", "all_aps");
    item(6, SET_AP_CHANNEL, 0, 1, std::span(payload).first(3)).write("msg_item", "channel");
    item(4, SET_AP_CLI_LIMIT, 0, 2, std::span(payload).first(6)).write("msg_item", "macs_beyond_the_length");
    item(4, SET_AP_CONFIG_BASIC_REQ, 0, 1, std::span(payload).first(6)).write("msg_item", "no_payload");
    item(4, SET_AP_CONFIG_BASIC_REQ, 1, 1, std::vector<UINT8>(2021, 1)).write("msg_item", "payload_beyond_a_frame");
    item(4, SET_AC_LAN_IP_REQ, 0, 1, payload).write("msg_item", "unknown_type");
    seed()
        .u8(0)
        .u16(HALDE_APAlarmReq)
        .u16(0)
        .u16(1)
        .u16(PROTO_MSG)
        .sized(std::span(payload).first(10))
        .write("msg_item", "alarm");
    seed()
        .u8(0)
        .u16(HALDE_APClientUpdateReq)
        .u16(0)
        .u16(1)
        .u16(PROTO_MSG)
        .sized(std::vector<UINT8>(80, 2))
        .write("msg_item", "client_report");
}

void control_seeds()
{
    constexpr unsigned int known = 1, lying = 2, gone = 4, cut = 8;
    const auto request = [](unsigned int flags, unsigned int type, unsigned int ap_num, std::span<const UINT8> body) {
        return seed().u8(flags).u16(type).u16(ap_num).u16(0).u16(0).sized(body);
    };
    const auto claim = [](unsigned int type, unsigned int low, unsigned int high) {
        return seed().u8(lying).u16(type).u16(1).u16(0).u16(0).u16(low).u16(high).sized(std::vector<UINT8>(6, 2));
    };
    const std::vector<UINT8> none;
    request(known, SET_AP_REBOOT_REQ, 1, none).write("control", "restart");
    request(known, SET_AP_RESTORE_REQ, 250, none).write("control", "restore_250");
    request(0, SET_AP_REBOOT_REQ, 65535, std::vector<UINT8>(600, 2)).write("control", "more_aps_than_the_body");
    request(gone | known, SET_AP_REBOOT_REQ, 2, none).write("control", "gone_before_the_answer");
    request(cut, SET_AP_REBOOT_REQ, 10, none).write("control", "ten_bytes_of_a_header");
    claim(SET_AP_REBOOT_REQ, 0xFFFF, 0x7FFF).write("control", "length_of_2_gib");
    claim(SET_AP_REBOOT_REQ, 0xFFFF, 0xFFFF).write("control", "negative_length");
    claim(SET_AP_REBOOT_REQ, 7, 0).write("control", "one_byte_short");
    claim(GET_AP_CONFIG_REQ, 0, 0x100).write("control", "page_without_its_body");
    request(0, 0x011E, 0, std::vector<UINT8>(32, 'p')).write("control", "policy_by_name");
    request(0, SET_AC_SQL_CLOSED_REQ, 0, none).write("control", "files_closed");
    request(0, DELETE_CLIENT_REQ, 2, std::vector<UINT8>(64, '1')).write("control", "clients");
    request(0, SET_WL_POLICY_REQ, 0, none).write("control", "no_request");
    std::vector<UINT8> names(4 * AC_NAME_LEN);
    for (std::size_t at = 0; at < names.size(); at += AC_NAME_LEN)
        names[at] = 'p';
    const std::span<const UINT8> one_name = std::span<const UINT8>(names).first(AC_NAME_LEN);
    request(known, SET_AP_CONFIG_ADVANCE_REQ, 3, names).write("control", "policies_bound");
    request(known, SET_AP_CONFIG_ADVANCE_REQ, 4, std::span<const UINT8>(names).first(97))
        .write("control", "policies_cut_short");
    request(known, SET_AP_CONFIG_QVLAN_REQ, 4, one_name).write("control", "vlan_policy_bound");
    request(0, SET_ADVANCE_POLICY_REQ, 4, names).write("control", "policies_deleted");
    request(known, SET_AP_CONFIG_REQ, 1, std::vector<UINT8>(92, 1)).write("control", "page");
    request(known, SET_AP_CONFIG_REQ, 1, std::vector<UINT8>(90, 1)).write("control", "page_cut_short");
    request(known, SET_AP_REMARK_REQ, 1, std::vector<UINT8>(32, '\'')).write("control", "name_of_quotes");
    request(known, SET_AP_CLI_LIMIT, 1, std::vector<UINT8>(2, 9)).write("control", "limit");
    request(known, SET_AP_CHANNEL, 1, std::vector<UINT8>(3, 255)).write("control", "channel");
    request(known, DELETE_AP_REQ, 4, none).write("control", "aps_deleted");
    // Each type once with a body that could be anything, in groups of as many as an input takes.
    seed all;
    for (unsigned int type = 0; type <= 151; type++) {
        all.u8(known).u16(type).u16(1).u16(0).u16(0).sized(std::vector<UINT8>(200, 1));
        if (type % 8 != 7) continue;
        all.write("control", ("each_type_to_" + std::to_string(type)).c_str());
        all = seed();
    }
}

void apconfig_update_seeds()
{
    struct change {
        const char* name;
        unsigned int type;
        std::size_t length;
        unsigned int fill;
    };
    static constexpr change changes[] = {
        {"led", 0x0404, 1, 1},
        {"reboot", 0x4004, 4, 1},
        {"alarm", 0x8004, 8, 1},
        {"status", SET_AP_STATUS_REQ, 1, 1},
        {"ap_name_of_quotes", SET_AP_REMARK_REQ, 33, '\''},
        {"policy_name_of_quotes", SET_REBOOT_POLICY_NAME, 32, '\''},
        {"alarm_event", SET_ALARM_EVENT, 80, '\''},
        {"address", 0x0112, 21, 9},
        {"two_radios_and_ssids", 0x0212, 384 + 2 + 10 + 110, 1},
        {"many_ssids_missing", 0x1012, 384 + 1, 255},
        {"one_long_ssid", 0x1012, 384 + 1 + 118, 1},
        {"radio", 0x2012, 58, 1},
        {"limit", SET_AP_CLI_LIMIT, 2, 1},
        {"channel", SET_AP_CHANNEL, 3, 1},
        {"main_ssid_beyond", SET_AP_MAIN_SSID_NUM_REQ, 2, 12},
        {"resend_failed", SET_RESEND_FAILED_AP, 1, 0},
        {"clients", 0xFFFF, 384, 2},
    };
    for (const change& c : changes) {
        for (const unsigned int flags : {0U, 3U})
            seed()
                .u8(flags)
                .u16(c.type)
                .u8(1)
                .u16(static_cast<unsigned int>(c.length))
                .fill(c.length, c.fill)
                .write("apconfig_update", (std::string(c.name) + (flags == 0 ? "" : "_to_flash")).c_str());
    }
}

void db_rows_seeds()
{
    seed().u8(0x12).u8(1).u8(26).u8(1).u8(FUZZ_TYPE_SINGLE).u8(0x12 + 1).u8(0).write("db_rows", "ssid_before_its_ap");
    seed ap;
    ap.u8(0x11).u8(1).u8(26).u8(1).u8(FUZZ_TYPE_SINGLE);
    ap.u8(0x12).u8(1).u8(1).u8(1).u8(0);
    ap.u8(0x12).u8(0).write("db_rows", "an_ap_with_two_ssids");
    ap.u8(0x12).u8(1).u8(1).u8(1).u8(12).write("db_rows", "ssid_12");
    seed().u8(0x10).u8(2).u8(3).u8(1).u8(0xFF).u8(4).u8(1).u8(0xFF).u8(0x11).u8(1).u8(26).u8(1).u8(101).write(
        "db_rows", "product_of_510_ssids");
    seed().u8(0x10).u8(1).u8(0).u8(1).u8(0).write("db_rows", "product_type_0");
    seed().u8(0x11).u8(2).u8(8).u8(5).u8('\'').u8(9).u8(1).u8(0xFF).write("db_rows", "long_ap_name");
    seed()
        .u8(0x21)
        .u8(3)
        .u8(0)
        .u8(3)
        .u8(17)
        .text("not a mac at all.")
        .u8(31)
        .u8(0)
        .u8(32)
        .u8(0)
        .u8(0x31)
        .u8(0)
        .write("db_rows", "bad_mac_and_nulls");
    seed().u8(0x11).u8(1).u8(3).u8(2).fill(8, 0x7F).write("db_rows", "address_beyond_32_bits");
}

void ini_file_seeds()
{
    const auto file = [](std::string_view key, std::string_view content) {
        return seed().u8(static_cast<unsigned int>(key.size())).text(key).text(content);
    };
    file("name", "[net]\n# a comment\nport = 5001\nname=ap\n").write("ini_file", "two_keys");
    file("port", "port=\n").write("ini_file", "empty_value");
    file("port", "port=123456789012345678901234567890123\n").write("ini_file", "33_characters");
    file("k", "k=" + std::string(100, 'v') + "\n").write("ini_file", "long_value");
    file("k", std::string(1100, 'x') + "k=1\nk=2").write("ini_file", "long_line");
    file("k", std::string_view("a\0k=1\nk=2\r\n", 11)).write("ini_file", "zero_byte");
    file("", "=1\n").write("ini_file", "empty_key");
    file("port", "port=x").write("ini_file", "no_number");
}

void shell_format_seeds()
{
    const auto command = [](unsigned int format, std::initializer_list<std::string_view> texts) {
        seed made;
        made.u8(format);
        for (const std::string_view text : texts)
            made.text(text).u8(0);
        return made;
    };
    command(0, {"/var/a"}).write("shell_format", "path");
    command(0, {"/var/*"}).write("shell_format", "pattern");
    command(0, {"/var/../../*"}).write("shell_format", "pattern_that_climbs");
    command(1, {"'; reboot; '", "$(id)"}).write("shell_format", "quote_and_substitution");
    command(2, {"a\nb", "&& id"}).write("shell_format", "line_feed");
    command(3, {"/etc/../../x", "*"}).write("shell_format", "climbing_path");
    command(4, {"h", "p?q=`id`&r", "/var/o"}).write("shell_format", "address");
    command(5, {"", "\\", "'"}).write("shell_format", "empty_and_backslash");
    command(6, {"/var", "/tmp/x*", "-"}).write("shell_format", "pattern_in_the_middle");
    command(7, {"/dev/null", "/proc/x", "~"}).write("shell_format", "files_of_the_machine");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
        return 2;
    }
    g_corpus = argv[1];
    fuzz_world_reset();
    datagram_seeds();
    report_seeds();
    compressed_report_seeds();
    discovery_seeds();
    msg_item_seeds();
    control_seeds();
    apconfig_update_seeds();
    db_rows_seeds();
    ini_file_seeds();
    shell_format_seeds();
    return 0;
}
