// The advanced page as the web interface reads it.
#include <algorithm>
#include <cstdio>

#include "ac_mib/apconfig_query.h"
#include "ac_sql/sqlite_oper_policy.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_wire.h"
#include "common/config_ap_type.h"
#include "main/acmsg_handle_socket.h"
#include "main/wtp_advance.h"

namespace {

constexpr std::size_t PAGE_SPARE = 77100; // room beside the APs' rows: the counts and about 2400 names

struct page_kind {
    AC_RET (*obtain)(UINT8** buf, int* len);
    std::size_t record_size;
    std::size_t name_at;
};

constexpr page_kind g_page_kinds[] = {
    {sqlite_alarm_policy_obtain, sizeof(CONFIG_ALARM_POLICY), offsetof(CONFIG_ALARM_POLICY, name)},
    {sqlite_reboot_policy_obtain, sizeof(CONFIG_REBOOT_POLICY), offsetof(CONFIG_REBOOT_POLICY, name)},
    {sqlite_password_policy_obtain, sizeof(CONFIG_PASSWORD_POLICY), offsetof(CONFIG_PASSWORD_POLICY, name)},
    {sqlite_wl_deploy_policy_obtain, sizeof(CONFIG_WL_DEPLOY_POLICY), offsetof(CONFIG_WL_DEPLOY_POLICY, name)},
    {sqlite_qvlan_policy_obtain, sizeof(CONFIG_QVLAN_POLICY), offsetof(CONFIG_QVLAN_POLICY, name)},
};

// All policies of one kind, as the store hands them out. A kind that can't be read shows none.
class policy_block {
public:
    explicit policy_block(const page_kind& kind) : kind_(kind) { (void)kind.obtain(&bytes_, &len_); }
    ~policy_block() { ac_free(bytes_); }
    policy_block(const policy_block&) = delete;
    policy_block& operator=(const policy_block&) = delete;
    UINT32 count() const { return static_cast<UINT32>(static_cast<std::size_t>(len_) / kind_.record_size); }
    void put_names(wire_writer& out) const
    {
        wire_reader records{{bytes_, static_cast<std::size_t>(len_)}};
        for (UINT32 i = 0; i < count(); i++)
            wire_put_bytes(out, wire_take_bytes(records, kind_.record_size).subspan(kind_.name_at).data(), AC_NAME_LEN);
    }

private:
    const page_kind& kind_;
    UINT8* bytes_ = nullptr;
    int len_ = 0;
};

// The rows stand unaligned; they hold bytes only.
std::span<ACWTP_ADVANCE_CONFIG> rows_at(std::span<UINT8> left)
{
    static_assert(alignof(ACWTP_ADVANCE_CONFIG) == 1);
    const std::size_t fitting = left.size() / sizeof(ACWTP_ADVANCE_CONFIG);
    const std::size_t rows = std::min<std::size_t>(ac_load(g_acwtp_joined_ap_num), fitting);
    return {reinterpret_cast<ACWTP_ADVANCE_CONFIG*>(left.data()), rows};
}

} // namespace

int get_wtp_advace_config_buf(std::span<UINT8> buf, int* len)
{
    const policy_block blocks[] = {policy_block(g_page_kinds[0]), policy_block(g_page_kinds[1]),
                                   policy_block(g_page_kinds[2]), policy_block(g_page_kinds[3]),
                                   policy_block(g_page_kinds[4])};
    wire_writer out{buf};
    for (const policy_block& block : blocks)
        wire_put(out, block.count());
    for (const policy_block& block : blocks)
        block.put_names(out);
    *len = 0;
    if (out.bad) {
        AC_ERR("too many policies\n");
        return AC_RET_ERROR;
    }
    const std::span<ACWTP_ADVANCE_CONFIG> rows = rows_at(out.left);
    if (!rows.empty()) (void)apconfig_advance_obtain(rows);
    *len = static_cast<int>(buf.size() - out.left.size() + rows.size_bytes());
    return AC_RET_OK;
}

int get_wtp_advance_config(int fd)
{
    const std::size_t size = ac_load(g_acwtp_joined_ap_num) * sizeof(ACWTP_ADVANCE_CONFIG) + PAGE_SPARE;
    auto* buf = static_cast<UINT8*>(ac_calloc(size));
    if (buf == nullptr) {
        AC_ERR_MALLOC();
        (void)send_msg_to_cgi(fd, GET_AP_CONFIG_ADVANCE_REQ, nullptr, 0); // printed there
        return AC_RET_OK;
    }
    int len = 0;
    (void)get_wtp_advace_config_buf({buf, size}, &len); // a page that can't be made is an empty one
    (void)send_msg_to_cgi(fd, GET_AP_CONFIG_ADVANCE_REQ, buf, static_cast<std::size_t>(len));
    ac_free(buf);
    return AC_RET_ERROR; // the result on this path; nobody reads it
}
