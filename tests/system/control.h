// control - the web interface's side of a daemon under test: requests over its control socket, a look into its files.
#pragma once

#include <sqlite3.h>

#include <cstdlib>
#include <cstring>

#include "cgi_socket_handle/ac_msg_block.h"
#include "cgi_socket_handle/acmsg_client.h"
#include "common/config_ap_type.h"
#include "platform/ac_platform.h"
#include "site.h"

inline const char AP_FILE[] = "/mnt/l_brcmnand/Wlc_database.db";
inline const char POLICY_FILE[] = "/mnt/s_brcmnand/Wlc_database.db";

// The 20 bytes of a header.
inline Bytes control_header(int ap_flag, int action, int type, int ap_num, int length)
{
    Bytes bytes(20);
    const int fields[] = {ap_flag, action, type, ap_num};
    for (std::size_t i = 0; i < 4; i++) {
        bytes[2 * i] = static_cast<unsigned char>(fields[i]);
        bytes[2 * i + 1] = static_cast<unsigned char>(fields[i] >> 8);
    }
    for (std::size_t i = 0; i < 4; i++)
        bytes[16 + i] = static_cast<unsigned char>(length >> (8 * i));
    return bytes;
}

inline Bytes control_response(int type)
{
    return control_header(0, 0, type + 1, 0, 0);
}

// One exchange through the client library: the reply, header and all, empty for none.
inline Bytes control_ask(const Daemon& daemon, int type, int ap_num, const Bytes& body, int action = 0)
{
    setenv("AC_ROOT", daemon.root().c_str(), 1);
    setenv("AC_LAN_IF", "lo", 1);
    platform_init();
    AC_MSG_PKT* request = ac_msg_alloc(body.size());
    request->ac_msg_type = static_cast<UINT16>(type);
    request->action = static_cast<UINT16>(action);
    request->ap_num = static_cast<UINT16>(ap_num);
    request->msg_data_len = static_cast<int>(body.size());
    if (!body.empty()) memcpy(ac_msg_room(request).data(), body.data(), body.size());
    AC_MSG_PKT* reply = nullptr;
    (void)cgi_send_and_recv_msg(request,
                                &reply); // a data reply echoes the request's type, which it takes for a failure
    ac_msg_free(request);
    if (reply == nullptr) return {};
    Bytes bytes(sizeof *reply);
    memcpy(bytes.data(), reply, sizeof *reply);
    const auto data = ac_msg_data(reply);
    bytes.insert(bytes.end(), data.begin(), data.end());
    ac_msg_free(reply);
    return bytes;
}

inline Bytes control_macs(const std::vector<Mac>& macs, const Bytes& more = {})
{
    Bytes bytes;
    for (const Mac& mac : macs)
        bytes.insert(bytes.end(), mac.begin(), mac.end());
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

inline Bytes control_text(const std::string& text, std::size_t width = 32)
{
    Bytes bytes(text.begin(), text.end());
    bytes.resize(width);
    return bytes;
}

inline std::string mac_column(const Mac& mac)
{
    std::string text;
    for (const unsigned char byte : mac)
        text += (text.empty() ? "" : ":") + hex(&byte, 1);
    return text;
}

// Runs a statement on one of the daemon's files; the cells of all rows with a blank between them. "!" and the reason
// for a failure.
inline std::string sql_on(const Daemon& daemon, const char* file, const std::string& sql)
{
    sqlite3* handle = nullptr;
    std::string text;
    const auto add = [](void* to, int columns, char** cells, char**) {
        for (int i = 0; i < columns; i++)
            *static_cast<std::string*>(to) += std::string(cells[i] != nullptr ? cells[i] : "<null>") + " ";
        return 0;
    };
    if (sqlite3_open((daemon.root() + file).c_str(), &handle) != SQLITE_OK) text = "!open";
    sqlite3_busy_timeout(handle, static_cast<int>(PATIENCE.count()));
    if (sqlite3_exec(handle, sql.c_str(), add, &text, nullptr) != SQLITE_OK)
        text = std::string("!") + sqlite3_errmsg(handle);
    sqlite3_close(handle);
    if (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}
