#include "daemon.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

using namespace std::chrono_literals;

std::string hex(const void* bytes, std::size_t count)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; i++) {
        const unsigned char byte = static_cast<const unsigned char*>(bytes)[i];
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string hex(const Mac& mac)
{
    return hex(mac.data(), mac.size());
}

static sockaddr_in loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Daemon::Daemon(int scale) : scale_(scale)
{
    char name[] = "/tmp/wtp-system-XXXXXX";
    root_ = mkdtemp(name);
    std::filesystem::create_directories(root_ + "/var");
    std::ofstream(root_ + "/var/config_cloud_ac.cfg") << "port=" << port() << "\n";
    std::ofstream(root_ + "/var/sys_lang") << "en";
}

Daemon::~Daemon()
{
    if (pid_ > 0) {
        EXPECT_TRUE(running()) << "the daemon ended by itself:\n" << log();
        stop();
    }
    for (const char* report : {"WARNING: ThreadSanitizer", "ERROR: AddressSanitizer",
                               "runtime error:", "lock order broken", "LeakSanitizer"})
        EXPECT_EQ(log_count(report), 0) << log();
    std::filesystem::remove_all(root_);
}

[[noreturn]] static void become_daemon(const std::string& root, int scale, int door_in, int door_out)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed ends its daemon, too
    setenv("AC_ROOT", root.c_str(), 1);
    setenv("AC_LAN_IF", "lo", 1);
    setenv("AC_TIME_SCALE", std::to_string(scale).c_str(), 1);
    const int out = open((root + "/out.log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(door_in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    dup2(door_out, 3);
    execl(WTP_DAEMON_DOOR, WTP_DAEMON_DOOR, static_cast<char*>(nullptr));
    _exit(127);
}

void Daemon::start()
{
    int in[2];
    int out[2];
    ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
    const int door_out = fcntl(out[1], F_DUPFD_CLOEXEC, 10); // dup2 to 3 must not meet a descriptor that is 3 already
    pid_ = fork();
    ASSERT_GE(pid_, 0);
    if (pid_ == 0) become_daemon(root_, scale_, in[0], door_out);
    close(in[0]);
    close(out[1]);
    close(door_out);
    to_door_ = in[1];
    from_door_ = out[0];
    unread_.clear();
    wait_until_it_answers();
}

// It notes itself in the local log, which the start empties, once it listens.
static bool control_thread_noted(const std::string& root)
{
    std::ifstream file(root + "/etc/ac_conf");
    std::stringstream text;
    text << file.rdbuf();
    return text.str().find("acmsg_cgi_thread pid:") != std::string::npos;
}

void Daemon::wait_until_it_answers()
{
    const Mac unknown = {0x02, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    const Wire wire(port());
    const auto until = std::chrono::steady_clock::now() + PATIENCE;
    while (std::chrono::steady_clock::now() < until) {
        ASSERT_TRUE(running()) << log();
        wire.send(frame(unknown, 0));
        // The control thread started earlier, but on a loaded machine it may get to its socket later.
        if (!wire.receive(50ms).empty() && control_thread_noted(root_)) return;
    }
    FAIL() << "the daemon does not answer:\n" << log();
}

bool Daemon::running()
{
    return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0;
}

int Daemon::stop(int signal_number)
{
    int status = -1;
    if (pid_ > 0) {
        kill(pid_, signal_number);
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
    }
    pid_ = -1;
    for (int* fd : {&to_door_, &from_door_}) {
        if (*fd >= 0) close(*fd);
        *fd = -1;
    }
    return status;
}

std::string Daemon::log() const
{
    std::ifstream file(root_ + "/out.log", std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

int Daemon::log_count(const std::string& text) const
{
    const std::string all = log();
    int count = 0;
    for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size()))
        count++;
    return count;
}

std::string Daemon::ask(const std::string& command)
{
    const std::string line = command + "\n";
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t written = write(to_door_, line.data() + sent, line.size() - sent);
        if (written <= 0) return "";
        sent += static_cast<std::size_t>(written);
    }
    while (unread_.find('\n') == std::string::npos) {
        pollfd ready = {from_door_, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(PATIENCE.count())) != 1) return "";
        char buffer[4096];
        const ssize_t got = read(from_door_, buffer, sizeof buffer);
        if (got <= 0) return "";
        unread_.append(buffer, static_cast<std::size_t>(got));
    }
    const std::size_t end = unread_.find('\n');
    const std::string answer = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    return answer.rfind("ok ", 0) == 0 ? answer.substr(3) : "";
}

static int number(const std::string& text)
{
    return text.empty() ? -1000 : atoi(text.c_str());
}

int Daemon::joined(const Mac& mac)
{
    return number(ask("joined " + hex(mac)));
}

std::string Daemon::record(const Mac& mac)
{
    return ask("record " + hex(mac));
}

int Daemon::item(int type, int num_flag, const std::vector<Mac>& macs, const Bytes& payload)
{
    std::string bytes;
    for (const Mac& mac : macs)
        bytes += hex(mac);
    bytes += hex(payload.data(), payload.size());
    const std::size_t ap_num = num_flag != 0 ? 1 : macs.size();
    return number(ask("item " + std::to_string(type) + " " + std::to_string(num_flag) + " " + std::to_string(ap_num) +
                      " " + bytes));
}

int Daemon::update(int type, const Mac& mac, const Bytes& data)
{
    return number(ask("update " + std::to_string(type) + " " + hex(mac) + " " + hex(data.data(), data.size())));
}

int Daemon::remove(const Mac& mac)
{
    return number(ask("delete " + hex(mac)));
}

std::array<int, 2> Daemon::count()
{
    std::istringstream words(ask("count"));
    std::array<int, 2> numbers = {-1, -1};
    words >> numbers[0] >> numbers[1];
    return numbers;
}

Wire::Wire(int controller_port)
{
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(controller_port);
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) ADD_FAILURE() << "connect";
}

Wire::~Wire()
{
    close(fd_);
}

void Wire::send(const Bytes& datagram) const
{
    const ssize_t sent = ::send(fd_, datagram.data(), datagram.size(), 0);
    (void)sent; // refused while nobody listens yet
}

Bytes Wire::receive(std::chrono::milliseconds at_most) const
{
    pollfd ready = {fd_, POLLIN, 0};
    if (poll(&ready, 1, static_cast<int>(at_most.count())) != 1) return {};
    Bytes datagram(4096);
    const ssize_t got = recv(fd_, datagram.data(), datagram.size(), 0);
    if (got < 0) { // the port was closed when an earlier datagram arrived
        std::this_thread::sleep_for(10ms);
        return {};
    }
    datagram.resize(static_cast<std::size_t>(got));
    return datagram;
}

static void put16(Bytes& bytes, int value)
{
    bytes.push_back(static_cast<unsigned char>(value));
    bytes.push_back(static_cast<unsigned char>(value >> 8));
}

static void put32(Bytes& bytes, unsigned value)
{
    put16(bytes, static_cast<int>(value & 0xFFFF));
    put16(bytes, static_cast<int>(value >> 16));
}

Bytes frame(const Mac& mac, int msg_type, const Bytes& payload, int seq, int ap_type, int proto, int vendor,
            unsigned crc)
{
    Bytes bytes(mac.begin(), mac.end());
    put16(bytes, proto);
    put16(bytes, seq);
    put16(bytes, 0x5858);
    put16(bytes, 0);
    put16(bytes, ap_type);
    put16(bytes, vendor);
    put16(bytes, msg_type);
    put32(bytes, static_cast<unsigned>(payload.size()));
    put32(bytes, crc);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}
