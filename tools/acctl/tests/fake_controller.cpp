#include "fake_controller.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "session.h"

void put8(Bytes& bytes, std::size_t at, unsigned value)
{
    bytes.at(at) = static_cast<std::uint8_t>(value);
}

void put16(Bytes& bytes, std::size_t at, unsigned value)
{
    put8(bytes, at, value & 0xFF);
    put8(bytes, at + 1, value >> 8 & 0xFF);
}

void put32(Bytes& bytes, std::size_t at, std::uint32_t value)
{
    put16(bytes, at, value & 0xFFFF);
    put16(bytes, at + 2, value >> 16);
}

void put_bytes(Bytes& bytes, std::size_t at, const Bytes& value)
{
    for (std::size_t i = 0; i < value.size(); i++)
        bytes.at(at + i) = value[i];
}

void put_text(Bytes& bytes, std::size_t at, const std::string& text)
{
    put_bytes(bytes, at, Bytes(text.begin(), text.end()));
}

unsigned get16(const Bytes& bytes, std::size_t at)
{
    return bytes.at(at) | static_cast<unsigned>(bytes.at(at + 1)) << 8;
}

Bytes message(unsigned type, unsigned ap_num, const Bytes& data)
{
    Bytes bytes(20);
    put16(bytes, 4, type);
    put16(bytes, 6, ap_num);
    put32(bytes, 16, static_cast<std::uint32_t>(data.size()));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

Bytes list_row(const RowSpec& spec)
{
    Bytes row(528);
    put_text(row, 0, "mdl7");
    put_text(row, 33, spec.name);
    put_bytes(row, 68, {192, 0, 2, 17});
    put_bytes(row, 72, spec.mac);
    put8(row, 79, 3);
    put8(row, 81, spec.limit);
    put_text(row, 83, "guests");
    put8(row, 479, 6);
    put8(row, 481, 20);
    put8(row, 483, 75);
    put_text(row, 486, "V1.0.0");
    put8(row, 518, spec.status);
    put8(row, 519, 1);
    put8(row, 520, 2);
    put8(row, 521, 1);
    put8(row, 523, 8);
    put8(row, 525, spec.two_radios ? 2 : 1);
    if (!spec.two_radios) return row;
    put8(row, 80, 4);
    put8(row, 82, 50);
    put_text(row, 83 + 8 * 33, "staff");
    put8(row, 480, 149);
    put8(row, 482, 17);
    put8(row, 485, 1);
    put8(row, 522, 1);
    put8(row, 524, 4);
    return row;
}

Bytes page(unsigned channel, unsigned power, bool on)
{
    Bytes bytes(92);
    put8(bytes, 33, 1);
    put_bytes(bytes, 36, {10, 0, 0, 7});
    put_bytes(bytes, 40, {255, 0, 0, 0});
    put_bytes(bytes, 44, {10, 0, 0, 1});
    put_bytes(bytes, 48, {10, 0, 0, 2});
    put_bytes(bytes, 52, {10, 0, 0, 3});
    put8(bytes, 63, on ? 1 : 0); // wlEn
    put8(bytes, 63 + 2, 44);     // country
    put8(bytes, 63 + 4, 1);      // bandwidth
    put8(bytes, 63 + 6, channel);
    put8(bytes, 63 + 8, 5); // extend_channel
    put8(bytes, 63 + 10, power);
    put8(bytes, 63 + 12, 9); // netmode
    put8(bytes, 63 + 20, 1); // wmm
    return bytes;
}

Bytes ssid_row(const Bytes& mac, unsigned id, const std::string& name, unsigned clients, unsigned limit)
{
    Bytes row(495);
    put_bytes(row, 68, mac);
    put_text(row, 75 + id * 33, name);
    put8(row, 471 + id, clients);
    put8(row, 483 + id, limit);
    return row;
}

Bytes advanced_row(const Bytes& mac, const std::map<std::size_t, std::string>& texts)
{
    Bytes row(707);
    put_bytes(row, 66, mac);
    for (const auto& [at, text] : texts)
        put_text(row, at, text);
    return row;
}

FakeController::FakeController(Answer answer) : answer_(std::move(answer))
{
    char folder[] = "/tmp/acctl-test.XXXXXX";
    if (mkdtemp(folder) == nullptr) throw std::runtime_error("no folder for a test");
    folder_ = folder;
    path_ = folder_ + "/ac_socket";
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_, 5) != 0 || pipe(stop_) != 0)
        throw std::runtime_error("no socket for a test");
    thread_ = std::thread([this] { serve(); });
}

FakeController::~FakeController()
{
    (void)!write(stop_[1], "", 1);
    thread_.join();
    for (const int fd : {listener_, stop_[0], stop_[1]})
        close(fd);
    std::filesystem::remove_all(folder_);
}

std::vector<Bytes> FakeController::requests() const
{
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<Bytes> FakeController::requests(unsigned type) const
{
    std::vector<Bytes> chosen = requests();
    std::erase_if(chosen, [type](const Bytes& request) { return request.at(4) != type; });
    return chosen;
}

void FakeController::serve()
{
    for (;;) {
        pollfd waits[2] = {{listener_, POLLIN, 0}, {stop_[0], POLLIN, 0}};
        if (poll(waits, 2, -1) < 0 || waits[1].revents != 0) return;
        const int fd = accept(listener_, nullptr, nullptr);
        if (fd < 0) return;
        serve_one(fd);
        close(fd);
    }
}

void FakeController::serve_one(int fd)
{
    Bytes request(20);
    if (recv(fd, request.data(), 20, MSG_WAITALL) != 20) return;
    const std::size_t length = get16(request, 16) + (static_cast<std::size_t>(get16(request, 18)) << 16);
    request.resize(20 + length);
    if (length != 0 && recv(fd, request.data() + 20, length, MSG_WAITALL) != static_cast<ssize_t>(length)) return;
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }
    if (hold_) return wait_for_end(fd);
    const Bytes reply = answer_(request);
    std::size_t sent = 0;
    while (sent < reply.size()) {
        const ssize_t step = send(fd, reply.data() + sent, reply.size() - sent, MSG_NOSIGNAL);
        if (step <= 0) return;
        sent += static_cast<std::size_t>(step);
    }
    if (stay_) wait_for_end(fd);
}

// Until the client, or the test, gives up.
void FakeController::wait_for_end(int fd) const
{
    pollfd waits[2] = {{fd, POLLIN, 0}, {stop_[0], POLLIN, 0}};
    poll(waits, 2, -1);
}

Ran acctl_line(const FakeController& controller, std::vector<std::string> words)
{
    return acctl_line(controller.path(), std::move(words));
}

Ran acctl_line(const std::string& socket, std::vector<std::string> words)
{
    if (std::find(words.begin(), words.end(), "--timeout") == words.end())
        words.insert(words.begin(), {"--timeout", "90"}); // for a loaded machine
    words.insert(words.begin(), {"acctl", "--socket", socket});
    std::vector<const char*> argv;
    for (const std::string& word : words)
        argv.push_back(word.c_str());
    Ran ran;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ran.status = acctl::run_line(static_cast<int>(argv.size()), argv.data());
    ran.out = testing::internal::GetCapturedStdout();
    ran.err = testing::internal::GetCapturedStderr();
    return ran;
}
