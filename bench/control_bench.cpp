// control_bench - how fast the control channel answers: a connection, a request and its reply, one after the other.
//
//     control_bench SECONDS    with the controller below AC_ROOT
//
// Prints a line for each request: its name, exchanges a second, p50 and p99 in milliseconds, bytes of the reply.
// bench/run starts it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ac_mib/apconfig_report_wire.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "cgi_socket_handle/acmsg_client.h"
#include "common/config_ap_type.h"
#include "platform/ac_platform.h"

namespace {

using bench_clock = std::chrono::steady_clock;

[[noreturn]] void give_up(const char* what)
{
    fprintf(stderr, "control_bench: %s\n", what);
    exit(1);
}

double milliseconds_since(bench_clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(bench_clock::now() - begin).count();
}

// A data reply has no type of request + 1, so that the exchange's own result is 0: what counts is that one was stored.
std::vector<UINT8> exchange(AC_MSG_PKT* request)
{
    AC_MSG_PKT* reply = nullptr;
    (void)cgi_send_and_recv_msg(request, &reply);
    if (reply == nullptr) give_up("no reply");
    const auto data = ac_msg_data(reply);
    std::vector<UINT8> bytes(data.begin(), data.end());
    ac_msg_free(reply);
    return bytes;
}

double quantile(const std::vector<double>& sorted, double part)
{
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

void measure(const char* name, AC_MSG_PKT* request, double seconds)
{
    std::vector<double> times;
    std::size_t bytes = 0;
    const auto begin = bench_clock::now();
    while (milliseconds_since(begin) < seconds * 1000) {
        const auto one = bench_clock::now();
        bytes = exchange(request).size();
        times.push_back(milliseconds_since(one));
    }
    const double rate = static_cast<double>(times.size()) * 1000 / milliseconds_since(begin);
    std::sort(times.begin(), times.end());
    printf("%s %f %f %f %zu\n", name, rate, quantile(times, 0.5), quantile(times, 0.99), bytes + sizeof(AC_MSG_PKT));
}

} // namespace

int main(int argc, char** argv)
{
    const double seconds = argc == 2 ? atof(argv[1]) : 0;
    if (seconds <= 0) give_up("wants the seconds of each measurement");
    platform_init();
    AC_MSG_PKT* plain = ac_msg_alloc(0);
    AC_MSG_PKT* page = ac_msg_alloc(AC_MAC_LEN);
    if (plain == nullptr || page == nullptr) give_up("no memory");
    plain->ac_msg_type = GET_AP_ALL_REQ;
    const std::vector<UINT8> list = exchange(plain);
    if (list.size() < sizeof(AC_WTP_WTP_TABLE)) give_up("the controller has no AP");
    page->ac_msg_type = GET_AP_CONFIG_REQ;
    page->ap_num = 1;
    page->msg_data_len = AC_MAC_LEN;
    memcpy(ac_msg_room(page).data(), list.data() + offsetof(AC_WTP_WTP_TABLE, macAddr), AC_MAC_LEN);
    measure("GET_AP_ALL_REQ", plain, seconds);
    measure("GET_AP_CONFIG_REQ", page, seconds);
    plain->ac_msg_type = GET_WTP_NUM_REQ;
    measure("GET_WTP_NUM_REQ", plain, seconds);
    ac_msg_free(plain);
    ac_msg_free(page);
}
