#include "wtp_kit.h"

#include <sys/socket.h>
#include <unistd.h>

#include "io_stub.h"
#include "main/acmsg_handle_socket.h"

using namespace apconfig_test;

WtpRequest wtp_request(int type, int ap_num, const Bytes& body, int action, int ap_flag)
{
    AC_MSG_PKT* msg = ac_msg_alloc(body.size());
    msg->ap_flag = static_cast<UINT16>(ap_flag);
    msg->action = static_cast<UINT16>(action);
    msg->ac_msg_type = static_cast<UINT16>(type);
    msg->ap_num = static_cast<UINT16>(ap_num);
    msg->msg_data_len = static_cast<int>(body.size());
    std::copy(body.begin(), body.end(), ac_msg_room(msg).begin());
    return WtpRequest(msg);
}

Bytes wtp_head(int ap_flag, int action, int type, int ap_num, int length)
{
    Bytes head(20);
    put(head, 0,
        {ap_flag & 255, ap_flag >> 8, action & 255, action >> 8, type & 255, type >> 8, ap_num & 255, ap_num >> 8});
    put(head, 16, {length & 255, (length >> 8) & 255, (length >> 16) & 255, length >> 24});
    return head;
}

static Bytes read_all(int fd)
{
    Bytes bytes;
    UINT8 part[4096];
    for (ssize_t got = read(fd, part, sizeof part); got > 0; got = read(fd, part, sizeof part))
        bytes.insert(bytes.end(), part, part + got);
    return bytes;
}

Bytes WtpWorld::written_by(const std::function<void(int fd)>& action)
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    action(ends[0]);
    close(ends[0]);
    const Bytes bytes = read_all(ends[1]);
    close(ends[1]);
    return bytes;
}

void WtpWorld::at_the_answer_of(const std::function<void(int fd)>& action, const std::function<void()>& look)
{
    int answers = 0;
    io_before_send([&] {
        answers++;
        look();
    });
    written_by(action);
    io_before_send({});
    EXPECT_EQ(answers, 1);
}

Bytes WtpWorld::exchange(int type, int ap_num, const Bytes& body, int action, int ap_flag)
{
    Bytes message = wtp_head(ap_flag, action, type, ap_num, static_cast<int>(body.size()));
    append(message, body);
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    EXPECT_EQ(write(ends[1], message.data(), message.size()), static_cast<ssize_t>(message.size()));
    acmsg_handle_socket(ends[0]);
    close(ends[0]);
    const Bytes reply = read_all(ends[1]);
    close(ends[1]);
    return reply;
}

Bytes WtpWorld::macs(std::initializer_list<int> numbers)
{
    Bytes bytes;
    for (int number : numbers) {
        const Mac mac = test_mac(number);
        bytes.insert(bytes.end(), mac.begin(), mac.end());
    }
    return bytes;
}

std::string WtpWorld::version_of(const APCONFIG* node)
{
    return text_of(node->AP_config_version);
}
