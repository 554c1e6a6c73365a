// Requests of the web interface, each on a connection of its own, through the real dispatcher.
//
// Input: requests, each a byte of flags, then ac_msg_type, ap_num, ap_flag and action as 16-bit numbers, where flagged
// the announced length as a 32-bit number, the length of the body as a 16-bit number, the body.
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "ac_sql/sqlite_db.h"
#include "cgi_socket_handle/ac_msg_wire.h"
#include "fuzz_world.h"
#include "main/acmsg_handle_socket.h"
#include "main/acmsg_requests.h"

namespace {

constexpr int REQUESTS_MAX = 8;
constexpr int TICKS = 2;
constexpr UINT8 KNOWN_MACS = 0x01; // our APs' addresses in front of the body, ap_num of them
constexpr UINT8 LYING = 0x02;      // the length is what the input says
constexpr UINT8 HANGS_UP = 0x04;   // the client is gone when the answer comes
constexpr UINT8 CUT = 0x08;        // less than a header
constexpr UINT16 KNOWN_MACS_MAX = 300;
constexpr int SEND_BUFFER = 4 * 1024 * 1024; // an answer fits: nobody reads while it is written

struct request {
    AC_MSG_PKT head = {};
    std::vector<UINT8> bytes;
    UINT8 flags = 0;
};

request take_request(wire_reader& in)
{
    request taken;
    taken.flags = wire_take<UINT8>(in);
    taken.head.ac_msg_type = wire_take<UINT16>(in);
    taken.head.ap_num = wire_take<UINT16>(in);
    taken.head.ap_flag = wire_take<UINT16>(in);
    taken.head.action = wire_take<UINT16>(in);
    const int announced = (taken.flags & LYING) != 0 ? wire_take<int>(in) : 0;
    std::vector<UINT8> body;
    if ((taken.flags & KNOWN_MACS) != 0) {
        taken.head.ap_num %= KNOWN_MACS_MAX;
        for (unsigned int i = 0; i < taken.head.ap_num; i++) {
            const fuzz_mac mac = fuzz_mac_of(1 + i % 4); // the fourth is nobody's
            body.insert(body.end(), mac.begin(), mac.end());
        }
    }
    const std::span<const UINT8> rest = fuzz_take_bytes(in, wire_take<UINT16>(in));
    body.insert(body.end(), rest.begin(), rest.end());
    taken.head.msg_data_len = (taken.flags & LYING) != 0 ? announced : static_cast<int>(body.size());
    taken.bytes.resize(sizeof taken.head + body.size());
    wire_writer out{taken.bytes};
    wire_put(out, taken.head);
    wire_put_bytes(out, body.data(), body.size());
    if ((taken.flags & CUT) != 0) taken.bytes.resize(taken.head.ap_num % sizeof taken.head);
    return taken;
}

// What came is one message and nothing behind it, and comes only from a row that has a handler.
void check_answer(int fd, const request& asked)
{
    AC_MSG_PKT head = {};
    const ssize_t got = recv(fd, &head, sizeof head, MSG_WAITALL);
    // Bytes that the request did not announce are never read: the end of the connection is then an error.
    if (got == 0 || (got == -1 && errno == ECONNRESET)) return;
    fuzz_require(got == sizeof head, "an answer has a whole header");
    const ACMSG_ROW* row = acmsg_row_find(static_cast<UINT8>(asked.head.ac_msg_type));
    fuzz_require(row != nullptr && row->handler != nullptr, "only what is served is answered");
    fuzz_require(row->order != ACMSG_NONE, "what needs no answer gets none");
    fuzz_require(head.msg_data_len >= 0, "an answer has a length");
    std::vector<UINT8> body(static_cast<std::size_t>(head.msg_data_len) + 1);
    const ssize_t rest = recv(fd, body.data(), body.size(), MSG_WAITALL);
    const bool reset = rest == -1 && errno == ECONNRESET && head.msg_data_len == 0;
    fuzz_require(rest == head.msg_data_len || reset, "an answer is one message, as long as it says");
}

void serve(const request& asked)
{
    int ends[2];
    fuzz_require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "a connection can be made");
    setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &SEND_BUFFER, sizeof SEND_BUFFER);
    setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &SEND_BUFFER, sizeof SEND_BUFFER);
    fuzz_require(send(ends[1], asked.bytes.data(), asked.bytes.size(), 0) == std::ssize(asked.bytes), "it is sent");
    shutdown(ends[1], SHUT_WR);
    const bool gone = (asked.flags & HANGS_UP) != 0;
    if (gone) close(ends[1]);
    (void)acmsg_handle_socket(ends[0]); // refused ones too
    shut_down(ends[0]);
    if (gone) return;
    check_answer(ends[1], asked);
    close(ends[1]);
}

// One policy of each kind, all of one name, for the requests that bind or delete policies; again when an input has
// deleted them.
void policies_reset()
{
    static sqlite3* handle = nullptr;
    static int changes = 0;
    if (handle == policy_db.handle.load() && changes == sqlite3_total_changes(handle)) return;
    handle = policy_db.handle.load();
    const char sql[] = "delete from reboot_policy; delete from alarm_policy; delete from password_policy;"
                       "delete from wl_deploy_policy; delete from qvlan_policy;"
                       "insert into reboot_policy values(1,1,'p',1,2,90);"
                       "insert into alarm_policy values(1,'p',1,'ops@example.net','secret',300,1,9,7,40,65536,465,1);"
                       "insert into password_policy values(1,'p','root','pw',1);"
                       "insert into wl_deploy_policy values(1,'p',3,4,5);"
                       "insert into qvlan_policy values(1,'p',1,10,20,300,301,302,'1,2,3')";
    sql_message message;
    fuzz_require(sql_exec(policy_db, sql, message) == SQLITE_OK, "policies can be made");
    changes = sqlite3_total_changes(handle);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    fuzz_database_reset();
    policies_reset();
    fuzz_join(1, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    fuzz_join(2, FUZZ_TYPE_SINGLE, AC_LAYOUT_V1);
    fuzz_join(3, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    wire_reader in{{data, size}};
    for (int i = 0; i < REQUESTS_MAX && !in.left.empty(); i++) {
        serve(take_request(in));
        fuzz_drain();
    }
    fuzz_ticks(TICKS);
    fuzz_check_table();
    return 0;
}
