// The live table: redrawn in place on a terminal; elsewhere a table, or a line of JSON, for each look.
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "session.h"
#include "text.h"
#include "view.h"

namespace acctl {

namespace {

int g_stop_pipe[2] = {-1, -1}; // a signal wakes the wait between two looks through it

void on_signal(int)
{
    const int before = errno;
    (void)!write(g_stop_pipe[1], "", 1);
    errno = before;
}

// Signals that end the watch do so in good order, the terminal put back as it was.
class StopSignals {
public:
    StopSignals()
    {
        if (pipe2(g_stop_pipe, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe can be made");
        struct sigaction action {};
        action.sa_handler = on_signal;
        for (std::size_t i = 0; i < std::size(numbers); i++)
            sigaction(numbers[i], &action, &before_[i]);
    }
    ~StopSignals()
    {
        for (std::size_t i = 0; i < std::size(numbers); i++)
            sigaction(numbers[i], &before_[i], nullptr);
        close(g_stop_pipe[0]);
        close(g_stop_pipe[1]);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    static constexpr int numbers[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction before_[std::size(numbers)]{};
};

// The other screen of the terminal, without a cursor, and keys as they are struck.
class FullScreen {
public:
    explicit FullScreen(bool wanted) : drawn_(wanted)
    {
        if (!drawn_) return;
        keys_ = isatty(STDIN_FILENO) == 1 && tcgetattr(STDIN_FILENO, &before_) == 0;
        if (keys_) {
            termios raw = before_;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        }
        fmt::print("\x1b[?1049h\x1b[?25l");
        std::fflush(stdout);
    }
    ~FullScreen()
    {
        if (!drawn_) return;
        fmt::print("\x1b[?25h\x1b[?1049l");
        std::fflush(stdout);
        if (keys_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
    FullScreen(const FullScreen&) = delete;
    FullScreen& operator=(const FullScreen&) = delete;
    bool keys() const { return keys_; }

private:
    bool drawn_;
    bool keys_ = false;
    termios before_{};
};

struct Look {
    std::string time;
    Counts counts;
    std::vector<Ap> aps;
    std::string trouble; // why there is nothing else
};

std::string time_text()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &parts);
    return text;
}

Look take_look(const Session& session)
{
    Look look;
    look.time = time_text();
    look.counts = session.controller.counts();
    look.aps = session.controller.aps();
    sort_aps(look.aps, session.options.order);
    return look;
}

// A controller that restarts is waited for on a terminal; a script is told by the exit status.
Look take_look_or_trouble(const Session& session)
{
    try {
        return take_look(session);
    } catch (const ChannelError& error) {
        if (!session.screen.terminal || session.options.json) throw;
        Look look;
        look.time = time_text();
        look.trouble = error.what();
        return look;
    }
}

std::string look_json(const Look& look)
{
    nlohmann::ordered_json json = {
        {"time", look.time}, {"counts", counts_json(look.counts)}, {"aps", nlohmann::ordered_json::array()}};
    for (const Ap& ap : look.aps)
        json["aps"].push_back(ap_json(ap));
    return json_text(json, -1) + "\n";
}

// The lines of a look, at most that many (0: all).
std::vector<std::string> look_lines(const Look& look, const Session& session)
{
    const Screen& screen = session.screen;
    std::vector<std::string> lines = {
        painted(cut(fmt::format("{}  {}", look.time.substr(11, 8),
                                look.trouble.empty() ? counts_text(look.counts) : look.trouble),
                    screen.columns == 0 ? std::string::npos : screen.columns),
                look.trouble.empty() ? Paint::bold : Paint::bad, screen.colour)};
    if (!look.trouble.empty()) return lines;
    lines.push_back("");
    for (std::string& line : ap_table(look.aps).lines(screen.columns, screen.colour))
        lines.push_back(std::move(line));
    if (screen.lines > 4 && lines.size() > screen.lines) {
        const std::size_t hidden = lines.size() - (screen.lines - 1);
        lines.resize(screen.lines - 1);
        lines.push_back(fmt::format("... and {} more", hidden));
    }
    return lines;
}

void draw(const Look& look, const Session& session)
{
    std::string text = "\x1b[H";
    const std::vector<std::string> lines = look_lines(look, session);
    for (std::size_t i = 0; i < lines.size(); i++)
        text += (i == 0 ? "" : "\r\n") + lines[i] + "\x1b[K";
    fmt::print("{}\x1b[J", text);
}

// Until the next look is due; false: the user wants an end.
bool rest(double seconds, bool keys)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) return true;
        pollfd waits[2] = {{g_stop_pipe[0], POLLIN, 0}, {keys ? STDIN_FILENO : -1, POLLIN, 0}};
        if (poll(waits, 2, static_cast<int>(left)) < 0 && errno != EINTR) return false;
        if ((waits[0].revents & POLLIN) != 0) return false;
        if (waits[1].revents == 0) continue;
        char key = 0;
        if (read(STDIN_FILENO, &key, 1) <= 0 || key == 'q' || key == 'Q') return false;
    }
}

} // namespace

int run_watch(Session& session)
{
    const Options& options = session.options;
    const bool drawn = session.screen.terminal && !options.json;
    Look look = take_look(session); // a controller that isn't there is told on the plain screen
    const StopSignals signals;
    const FullScreen full(drawn);
    for (unsigned looks = 1;; looks++) {
        session.screen = look_at_screen(options.colour);
        if (options.json)
            fmt::print("{}", look_json(look));
        else if (drawn)
            draw(look, session);
        else
            fmt::print("{}\n\n", fmt::join(look_lines(look, session), "\n"));
        if (std::fflush(stdout) != 0) return EXIT_BROKEN;
        if (options.count != 0 && looks == options.count) return EXIT_DONE;
        if (!rest(options.interval, full.keys())) return EXIT_DONE;
        look = take_look_or_trouble(session);
    }
}

} // namespace acctl
