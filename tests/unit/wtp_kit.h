// wtp_kit - requests of the web interface as messages, and what comes back over the connection.
#pragma once

#include <functional>
#include <memory>

#include "apconfig_fixture.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "sql_world.h"

struct WtpRequestFree {
    void operator()(AC_MSG_PKT* msg) const { ac_msg_free(msg); }
};
using WtpRequest = std::unique_ptr<AC_MSG_PKT, WtpRequestFree>;

// A message whose block ends where its body does, so that a read behind it is a read out of bounds.
WtpRequest wtp_request(int type, int ap_num, const apconfig_test::Bytes& body, int action = 0, int ap_flag = 0);

// The 20 bytes of a header without addresses.
apconfig_test::Bytes wtp_head(int ap_flag, int action, int type, int ap_num, int length);

class WtpWorld : public SqlWorld {
protected:
    // What `action` writes to the connection it is given.
    apconfig_test::Bytes written_by(const std::function<void(int fd)>& action);
    // What the world looks like at the one moment when `action` answers over its connection.
    void at_the_answer_of(const std::function<void(int fd)>& action, const std::function<void()>& look);
    // The whole way of a request through the dispatcher: the bytes of the reply, empty for none.
    apconfig_test::Bytes exchange(int type, int ap_num, const apconfig_test::Bytes& body, int action = 0,
                                  int ap_flag = 0);
    // The plain response to a request.
    static apconfig_test::Bytes response_to(int type) { return wtp_head(0, 0, type + 1, 0, 0); }

    apconfig_test::Bytes macs(std::initializer_list<int> numbers); // of test_mac
    std::string version_of(const APCONFIG* node);
};
