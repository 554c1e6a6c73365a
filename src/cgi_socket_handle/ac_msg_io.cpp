#include "cgi_socket_handle/ac_msg_io.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cgi_socket_handle/ac_msg_block.h"
#include "common/ac_types.h"
#include "platform/ac_platform.h"

static const char SOCKET_PATH[] = "/var/ac_socket";
static constexpr std::size_t PATH_COPIED = 107; // bytes of the path at most; the rest of sun_path is zero

struct sockaddr_un ac_msg_address()
{
    struct sockaddr_un address = {};
    static_assert(sizeof address.sun_path > PATH_COPIED);
    address.sun_family = AF_UNIX;
    const ac_path path(SOCKET_PATH);
    memcpy(address.sun_path, path.text, strnlen(path.text, PATH_COPIED));
    return address;
}

ssize_t readn(int fd, void* vptr, std::size_t n)
{
    std::size_t done = 0;
    while (done < n) {
        const ssize_t got = read(fd, static_cast<UINT8*>(vptr) + done, n - done);
        if (got == 0) break;
        if (got > 0)
            done += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            return -1;
    }
    return static_cast<ssize_t>(done);
}

static ssize_t read_part(int sock, void* part, std::size_t length)
{
    ssize_t got = 0;
    do {
        got = readn(sock, part, length);
    } while (got == -1 && (errno == EINTR || errno == EAGAIN));
    return got;
}

static ac_msg_input bad_part(ac_msg_fault fault, ssize_t rc)
{
    ac_msg_input bad;
    bad.fault = fault;
    bad.rc = static_cast<int>(rc);
    bad.error = errno;
    return bad;
}

// Room for the body that a header announces, the header copied in; null where there is none.
static AC_MSG_PKT* room_for_body(const AC_MSG_PKT* header)
{
    if (header->msg_data_len > AC_MSG_DATA_MAX) return nullptr;
    AC_MSG_PKT* whole = ac_msg_alloc(static_cast<std::size_t>(header->msg_data_len));
    if (whole != nullptr) *whole = *header;
    return whole;
}

// `header` becomes part of the result or is freed.
static ac_msg_input read_body(int sock, AC_MSG_PKT* header)
{
    const int length = header->msg_data_len;
    ac_msg_input input;
    input.count = std::int64_t{length} + static_cast<int>(sizeof(AC_MSG_PKT));
    input.msg = room_for_body(header);
    if (input.msg == nullptr) {
        input.msg = header;
        return input;
    }
    ac_msg_free(header);
    const ssize_t got = read_part(sock, ac_msg_room(input.msg).data(), static_cast<std::size_t>(length));
    if (got == length) return input;
    const ac_msg_input bad = bad_part(AC_MSG_BAD_BODY, got);
    ac_msg_free(input.msg);
    return bad;
}

ac_msg_input ac_msg_read(int sock)
{
    ac_msg_input input;
    AC_MSG_PKT* header = ac_msg_alloc(0);
    if (header == nullptr) {
        input.fault = AC_MSG_NO_MEMORY;
        return input;
    }
    const ssize_t got = read_part(sock, header, sizeof *header);
    if (got != sizeof *header) {
        input = bad_part(AC_MSG_BAD_HEADER, got);
        ac_msg_free(header);
        return input;
    }
    if (header->msg_data_len > 0) return read_body(sock, header);
    input.msg = header;
    input.count = sizeof *header;
    return input;
}
