// channel - one request and its answer over the controller's socket, within a bounded time.
//
// The framing is the daemon's own client library, which waits without limit for a late answer; the bound is kept here.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "cgi_socket_handle/ac_msg_wire.h"

namespace acctl {

enum class Failure {
    unreachable, // nobody listens, or we may not connect
    no_answer,   // time ran out
    closed,      // the connection closed instead, as it does for a request that the controller doesn't know
    bad_answer,  // what came makes no sense
};

struct ChannelError : std::runtime_error {
    ChannelError(Failure failure, const std::string& text) : std::runtime_error(text), kind(failure) {}
    Failure kind;
};

struct Request {
    UINT16 type = 0; // low byte: config_ap_type; high byte: a sub-flag
    UINT16 reply_type = 0;
    UINT16 ap_num = 0;
    UINT16 ap_flag = 0; // 1: for all APs
    std::vector<UINT8> data;
};

struct Reply {
    AC_MSG_PKT header{};
    std::vector<UINT8> data;
};

class Channel {
public:
    // `seconds`: for connecting, asking and answering together. Throws std::invalid_argument for a path that no socket
    // can have.
    Channel(std::string path, double seconds);
    // Throws ChannelError with a text for the user.
    Reply exchange(const Request& request) const;
    const std::string& path() const { return path_; }

private:
    std::string path_;
    double seconds_;
};

// Where a controller on this machine listens: below AC_ROOT where that is set.
std::string default_socket();

} // namespace acctl
