#include "main/wtp_work.h"

#include <cstdio>
#include <cstring>

#include "ac_mib/apconfig_update.h"
#include "acwtp_msg/acwtp_msg.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/ac_wire.h"
#include "platform/ac_platform.h"

namespace {

constexpr char NO_POLICY_GB2312[] = "\xCE\xDE\xB2\xDF\xC2\xD4"; // the web interface's label, in the appliance's charset

bool take(const AC_MSG_PKT* rev, UINT16 ap_num, UINT16 num_flag, wtp_targets& targets)
{
    if (rev == nullptr || ap_num == 0) return false;
    wire_reader body{ac_msg_data(rev)};
    const std::span<const UINT8> macs = wire_take_bytes(body, std::size_t{ap_num} * AC_MAC_LEN);
    if (body.bad) return false;
    targets = {ap_num, num_flag, macs, body.left};
    return true;
}

} // namespace

bool wtp_targets_take(const AC_MSG_PKT* rev, wtp_targets& targets)
{
    return rev != nullptr && take(rev, rev->ap_num, rev->ap_flag, targets);
}

bool wtp_target_take(const AC_MSG_PKT* rev, wtp_targets& target)
{
    return take(rev, 1, 0, target);
}

bool wtp_name_take(std::span<const UINT8> bytes, std::size_t offset, wtp_policy_name& name)
{
    wire_reader reader{bytes};
    wire_skip(reader, offset);
    const std::span<const UINT8> field = wire_take_bytes(reader, AC_NAME_LEN);
    if (reader.bad) return false;
    name = {};
    memcpy(name.field, field.data(), field_length(field));
    return true;
}

bool wtp_name_chosen(const wtp_policy_name& name)
{
    char text[AC_NAME_LEN + 1];
    if (field_to_text(name.field, text) == 0) return false;
    char label[AC_NAME_LEN + 1];
    (void)set_cn_ssid_encode("utf-8", NO_POLICY_GB2312, label);
    return strcmp(text, label) != 0;
}

AC_RET wtp_item_queue(UINT16 type, const wtp_targets& targets, std::span<const UINT8> payload)
{
    const std::size_t length = targets.macs.size() + payload.size();
    auto* msg = static_cast<UINT8*>(ac_malloc(length));
    if (msg == nullptr) {
        AC_ERR_MALLOC();
        return AC_RET_NULL_POINTER;
    }
    wire_writer out{{msg, length}};
    wire_put_bytes(out, targets.macs.data(), targets.macs.size());
    wire_put_bytes(out, payload.data(), payload.size());
    ACWTP_MSG_TABLE item = {};
    item.type = type;
    item.num_flag = targets.num_flag;
    item.ap_num = targets.ap_num;
    item.flags = CGI_MSG;
    item.length = static_cast<UINT32>(length);
    item.msg = reinterpret_cast<char*>(msg);
    const AC_RET result = acmsg_to_acprotocol(&item, MSG_ADD_TAIL);
    ac_free(msg);
    return result;
}

void wtp_update_each(const wtp_targets& targets, UINT16 type, std::span<const UINT8> data)
{
    wire_reader macs{targets.macs};
    for (UINT16 i = 0; i < targets.ap_num; i++)
        (void)apconfig_mib_update(type, wire_take_bytes(macs, AC_MAC_LEN).data(), data); // printed there
}
