// control_kit - what the tests of the control channel share: a connection, and messages as they lie on it.
#pragma once

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "cgi_socket_handle/ac_msg_block.h"
#include "exchange_kit.h"
#include "io_stub.h"

// The 20 bytes of a header whose fields but these are zero.
inline Bytes control_head(int ac_msg_type, int msg_data_len, int ap_num = 0, int ap_flag = 0)
{
    Bytes bytes(20);
    const auto put_number = [&bytes](std::size_t at, std::size_t width, unsigned int value) {
        for (std::size_t i = 0; i < width; i++)
            bytes[at + i] = static_cast<UINT8>(value >> (8 * i));
    };
    put_number(0, 2, static_cast<unsigned int>(ap_flag));
    put_number(4, 2, static_cast<unsigned int>(ac_msg_type));
    put_number(6, 2, static_cast<unsigned int>(ap_num));
    put_number(16, 4, static_cast<unsigned int>(msg_data_len));
    return bytes;
}

// A message in a block of its own; `announced` where it is not the length of the data.
class Message {
public:
    Message(int ac_msg_type, const Bytes& data, int ap_num = 0, int ap_flag = 0) : msg_(ac_msg_alloc(data.size()))
    {
        msg_->ac_msg_type = static_cast<UINT16>(ac_msg_type);
        msg_->ap_num = static_cast<UINT16>(ap_num);
        msg_->ap_flag = static_cast<UINT16>(ap_flag);
        msg_->msg_data_len = static_cast<int>(data.size());
        std::copy(data.begin(), data.end(), ac_msg_room(msg_).begin());
    }
    ~Message() { ac_msg_free(msg_); }
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;
    AC_MSG_PKT* get() const { return msg_; }
    AC_MSG_PKT* operator->() const { return msg_; }

private:
    AC_MSG_PKT* msg_;
};

// A connection: the daemon's end, and the web interface's.
class Connection {
public:
    Connection() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_), 0); }
    ~Connection()
    {
        hang_up();
        close(ends_[0]);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int fd() const { return ends_[0]; }
    int client() const { return ends_[1]; }
    // The client writes, and says that this was all.
    void request(const Bytes& bytes)
    {
        EXPECT_EQ(write(ends_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        shutdown(ends_[1], SHUT_WR);
    }
    void hang_up()
    {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }
    // What waits for the client; it doesn't wait for more.
    Bytes answer() const { return waiting_at(ends_[1]); }
    // What the daemon has not read.
    Bytes unread() const { return waiting_at(ends_[0]); }

private:
    static Bytes waiting_at(int fd)
    {
        Bytes bytes(1 << 16);
        const ssize_t got = recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return bytes;
    }
    int ends_[2] = {-1, -1};
};

// Unit tests of the channel: scripts end with the test.
class ControlWorld : public ExchangeWorld {
protected:
    void TearDown() override
    {
        io_script_read({});
        io_script_send({});
        io_before_send(nullptr);
        ExchangeWorld::TearDown();
    }
    // Standard error of `action`.
    template <typename Action> static std::string complaint_of(Action&& action)
    {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }
};
