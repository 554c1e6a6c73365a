// script_controller - a controller of a few lines: it answers as a test tells it, in memory or on the loopback.
//
// Written on bytes alone, so that a mistake in the shared records doesn't agree with itself.
#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "bytes.h"

namespace apsim {

class ScriptController {
public:
    bool mute = false;       // answers nothing
    bool deaf_to_bad = true; // drops what a controller must drop
    Bytes stored;            // handed out instead of the first acceptance of each AP
    std::set<std::string> joined;
    std::map<int, int> seen; // frames by low byte of the message

    std::vector<Bytes> on_frame(ByteView frame)
    {
        if (mute || frame.size() < 28) return {};
        if (deaf_to_bad && (frame[16] != 0x88 || frame[17] != 0x17 || shown(frame.first(6)) == "000000000000"))
            return {};
        const std::size_t length = number(frame, 20, 4);
        if (length > frame.size() - 28) return {};
        const std::size_t crc = number(frame, 24, 4);
        if (length > 0 && crc != 0 && crc != crc_of(frame.subspan(28, length))) return {};
        seen[frame[18]]++;
        return answer(frame);
    }

    // A request of the controller's own.
    static Bytes request(ByteView mac, UINT16 layout, UINT16 seq, UINT16 msg_type, const Bytes& payload)
    {
        Bytes frame(mac.begin(), mac.end());
        for (UINT16 field : {layout, seq, UINT16{0x5858}, UINT16{0}, UINT16{1}, UINT16{0x1788}, msg_type})
            put(frame, field, 2);
        put(frame, payload.size(), 4);
        put(frame, 0, 4);
        return frame + payload;
    }

private:
    static std::size_t number(ByteView bytes, std::size_t at, std::size_t size)
    {
        std::size_t value = 0;
        for (std::size_t i = size; i-- > 0;)
            value = value << 8 | bytes[at + i];
        return value;
    }
    static void put(Bytes& out, std::size_t value, int size)
    {
        for (int i = 0; i < size; i++)
            out.push_back(static_cast<UINT8>(value >> (8 * i)));
    }
    // Bit by bit: slow, and another one than the simulator's.
    static std::size_t crc_of(ByteView bytes)
    {
        UINT32 crc = 0xFFFFFFFF;
        for (UINT8 byte : bytes) {
            crc ^= byte;
            for (int i = 0; i < 8; i++)
                crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
        }
        return ~crc & 0xFFFFFFFF;
    }
    static Bytes reply(ByteView frame, UINT8 low, UINT8 high, const Bytes& payload)
    {
        Bytes out(frame.begin(), frame.begin() + 28);
        out[18] = low;
        out[19] = high;
        std::fill(out.begin() + 20, out.end(), UINT8{0});
        out[20] = static_cast<UINT8>(payload.size());
        out[21] = static_cast<UINT8>(payload.size() >> 8);
        return out + payload;
    }
    std::vector<Bytes> answer(ByteView frame)
    {
        const std::string mac = shown(frame.first(6));
        if (frame[18] == 2 && frame[19] == 0) {
            joined.insert(mac);
            return {reply(frame, 3, 0, {})};
        }
        if (!joined.contains(mac)) {
            Bytes down = reply(frame, 0, 1, {});
            down[10] = down[11] = 0x5A;
            return {down};
        }
        if (frame[18] == 8 && !stored.empty() && given_.insert(mac).second) {
            joined.erase(mac);
            return {reply(frame, 8, 0, stored)};
        }
        if (frame[18] == 8) return {reply(frame, 8, 0, {0})};
        if (frame[18] == 0) return {reply(frame, 0, 0, {})};
        return {};
    }

    std::set<std::string> given_;
};

// The same on a socket of the loopback, in a thread of its own.
class LoopbackController {
public:
    LoopbackController() : fd_(socket(AF_INET, SOCK_DGRAM, 0))
    {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address_);
        const int room = 4 << 20;
        setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &room, sizeof(room));
        if (bind(fd_, reinterpret_cast<sockaddr*>(&address_), length) != 0 ||
            getsockname(fd_, reinterpret_cast<sockaddr*>(&address_), &length) != 0)
            throw std::runtime_error("no loopback");
        thread_ = std::thread([this] { serve(); });
    }
    ~LoopbackController()
    {
        end_ = true;
        thread_.join();
        close(fd_);
    }
    const sockaddr_in& address() const { return address_; }

    template <typename Work> auto with_script(Work work)
    {
        const std::lock_guard lock(mutex_);
        return work(script_);
    }
    void send_to(const std::string& mac, const Bytes& frame)
    {
        const std::lock_guard lock(mutex_);
        const sockaddr_in& to = where_.at(mac);
        (void)sendto(fd_, frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
    }
    std::vector<Bytes> answers() // frames of the messages that an AP answers with
    {
        const std::lock_guard lock(mutex_);
        return answers_;
    }

private:
    void serve()
    {
        UINT8 buffer[2048];
        while (!end_) {
            pollfd waiting = {fd_, POLLIN, 0};
            if (poll(&waiting, 1, 20) <= 0) continue;
            sockaddr_in from{};
            socklen_t length = sizeof(from);
            const ssize_t got = recvfrom(fd_, buffer, sizeof(buffer), 0, reinterpret_cast<sockaddr*>(&from), &length);
            if (got <= 0) continue;
            const std::lock_guard lock(mutex_);
            const ByteView frame(buffer, static_cast<std::size_t>(got));
            if (frame.size() >= 28) where_[shown(frame.first(6))] = from;
            if (frame.size() >= 28 && (frame[18] == 4 || frame[18] == 7))
                answers_.emplace_back(frame.begin(), frame.end());
            for (const Bytes& out : script_.on_frame(frame))
                (void)sendto(fd_, out.data(), out.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
        }
    }

    int fd_;
    sockaddr_in address_{};
    std::mutex mutex_;
    ScriptController script_;
    std::map<std::string, sockaddr_in> where_;
    std::vector<Bytes> answers_;
    std::atomic<bool> end_ = false;
    std::thread thread_;
};

} // namespace apsim
