// fake_controller - the controller's end of the control socket, answering from bytes that a test lays down.
#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// Little-endian numbers and texts at an offset.
void put8(Bytes& bytes, std::size_t at, unsigned value);
void put16(Bytes& bytes, std::size_t at, unsigned value);
void put32(Bytes& bytes, std::size_t at, std::uint32_t value);
void put_bytes(Bytes& bytes, std::size_t at, const Bytes& value);
void put_text(Bytes& bytes, std::size_t at, const std::string& text);
unsigned get16(const Bytes& bytes, std::size_t at);

// A header of 20 bytes and the data.
Bytes message(unsigned type, unsigned ap_num, const Bytes& data = {});

// Rows and pages as the layouts have them, with some life in their fields.
struct RowSpec {
    Bytes mac;
    std::string name;
    unsigned status = 1;
    bool two_radios = false;
    unsigned limit = 32; // of SSID 0
};
Bytes list_row(const RowSpec& spec);                          // 528 bytes
Bytes page(unsigned channel, unsigned power, bool on = true); // 92 bytes, radio 0
Bytes ssid_row(const Bytes& mac, unsigned id, const std::string& name, unsigned clients, unsigned limit); // 495 bytes
Bytes advanced_row(const Bytes& mac, const std::map<std::size_t, std::string>& texts); // 707 bytes, texts at offsets

// One connection after the other, each for one request, as the controller does it.
class FakeController {
public:
    // The whole reply to a whole request; empty: the connection just closes.
    using Answer = std::function<Bytes(const Bytes& request)>;
    explicit FakeController(Answer answer);
    ~FakeController();
    FakeController(const FakeController&) = delete;
    FakeController& operator=(const FakeController&) = delete;

    const std::string& path() const { return path_; }
    const std::string& folder() const { return folder_; }
    std::vector<Bytes> requests() const;
    std::vector<Bytes> requests(unsigned type) const; // those with that low byte
    void hold_answers(bool hold) { hold_ = hold; }    // says nothing, until the client gives up
    void stay_connected(bool stay) { stay_ = stay; }  // closes behind its answer only when the client has

private:
    void serve();
    void serve_one(int fd);
    void wait_for_end(int fd) const;

    std::string folder_, path_;
    Answer answer_;
    int listener_ = -1;
    int stop_[2] = {-1, -1};
    std::atomic<bool> hold_ = false, stay_ = false;
    mutable std::mutex mutex_;
    std::vector<Bytes> requests_;
    std::thread thread_;
};

// A line of acctl against that controller: what it printed and its exit status.
struct Ran {
    int status = -1;
    std::string out, err;
};
Ran acctl_line(const std::string& socket, std::vector<std::string> words);
Ran acctl_line(const FakeController& controller, std::vector<std::string> words);
