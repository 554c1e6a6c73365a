// daemon - a real daemon for a system test: its own root, its own port, a fast clock, a log to read.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "test_port.h"

using Mac = std::array<unsigned char, 6>;
using Bytes = std::vector<unsigned char>;

// How long a test is ready to wait for something that must come: for a loaded machine under a sanitizer. A bound for
// failures, not a measure.
inline constexpr std::chrono::milliseconds PATIENCE = std::chrono::seconds(90);

class Daemon {
public:
    explicit Daemon(int scale);
    ~Daemon(); // ends the process, removes the root; a sanitizer's report or an unexpected end fails the test
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Starts the daemon and waits until it answers frames and listens on the control socket.
    void start();
    // SIGTERM, or another signal; waits for the end and returns the status as waitpid gave it.
    int stop(int signal_number = 15);
    bool running();

    const std::string& root() const { return root_; }
    int port() const { return port_.number(); }
    int scale() const { return scale_; }
    std::string endpoint() const { return "127.0.0.1:" + std::to_string(port()); }
    pid_t pid() const { return pid_; }

    std::string log() const; // standard output and error so far
    int log_count(const std::string& text) const;

    // The door (daemon_door.cpp): one command, the words of the answer behind "ok".
    std::string ask(const std::string& command);
    int joined(const Mac& mac);         // -1 for none
    std::string record(const Mac& mac); // "STATUS VERSION xHEXNAME" or "-1"
    int item(int type, int num_flag, const std::vector<Mac>& macs, const Bytes& payload);
    int update(int type, const Mac& mac, const Bytes& data);
    int remove(const Mac& mac);
    std::array<int, 2> count(); // records, online

private:
    void wait_until_it_answers();

    std::string root_;
    TestPort port_;
    int scale_;
    pid_t pid_ = -1;
    int to_door_ = -1;
    int from_door_ = -1;
    std::string unread_;
};

std::string hex(const void* bytes, std::size_t count);
std::string hex(const Mac& mac);

// A UDP socket of the test's own, as some AP or attacker would have it.
class Wire {
public:
    explicit Wire(int controller_port);
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;
    void send(const Bytes& frame) const;
    // The next datagram, or empty after that much real time.
    Bytes receive(std::chrono::milliseconds at_most = PATIENCE) const;
    int fd() const { return fd_; }

private:
    int fd_ = -1;
};

// A frame of 28 bytes and a payload, written field by field.
Bytes frame(const Mac& mac, int msg_type, const Bytes& payload = {}, int seq = 0, int ap_type = 4, int proto = 4,
            int vendor = 0x1788, unsigned crc = 0);
