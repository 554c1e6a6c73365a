// acctl as its users run it: the program, against the real daemon and simulated APs.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "control.h"

namespace {

using namespace std::chrono_literals;
using Json = nlohmann::ordered_json;

struct Ran {
    int status = -1;
    std::string out, err;
};

std::string content_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A running acctl; its output goes to files below the daemon's root.
class Acctl {
public:
    Acctl(const Daemon& daemon, std::vector<std::string> words)
        : out_(daemon.root() + "/out"), err_(daemon.root() + "/err")
    {
        if (waits(words)) words.insert(words.end(), {"--wait-limit", std::to_string(PATIENCE / 1s)});
        words.insert(words.begin(), {WTP_ACCTL, "--timeout", std::to_string(PATIENCE / 1s)});
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        setenv("AC_ROOT", daemon.root().c_str(), 1);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, 1, out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_addopen(&files, 2, err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        EXPECT_EQ(posix_spawn(&pid_, WTP_ACCTL, &files, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&files);
    }
    ~Acctl()
    {
        if (ended()) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Acctl(const Acctl&) = delete;
    Acctl& operator=(const Acctl&) = delete;

    bool ended()
    {
        int status = 0;
        if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return pid_ <= 0;
    }
    Ran result() const { return {status_, content_of(out_), content_of(err_)}; }

private:
    // Whether it waits for an effect, and for how long isn't said.
    static bool waits(const std::vector<std::string>& words)
    {
        const bool changes = words[0] == "ap" && words[1] != "list" && words[1] != "show";
        return changes && std::ranges::find(words, "--wait-limit") == words.end();
    }

    std::string out_, err_;
    pid_t pid_ = -1;
    int status_ = -1;
};

// A daemon with three APs: one radio, two radios, two radios.
class AcctlCommands : public ::testing::Test {
protected:
    void SetUp() override
    {
        daemon.start();
        apsim::FleetOptions options = fleet_options(daemon, 3);
        options.types = {1, 67, 67};
        options.layouts = {4};
        fleet = std::make_unique<apsim::Fleet>(options);
        ASSERT_TRUE(all_run(daemon, *fleet)) << daemon.log();
    }
    // The fleet lives on while acctl works.
    Ran run(const std::vector<std::string>& words)
    {
        Acctl acctl(daemon, words);
        EXPECT_TRUE(fleet->run_until([&] { return acctl.ended(); }, PATIENCE));
        return acctl.result();
    }
    // Here it stands still.
    Ran run_alone(const std::vector<std::string>& words)
    {
        Acctl acctl(daemon, words);
        EXPECT_TRUE(live_alone([&] { return acctl.ended(); }));
        return acctl.result();
    }
    Ran good(const std::vector<std::string>& words)
    {
        Ran ran = run(words);
        EXPECT_EQ(ran.status, 0) << ran.out << ran.err << daemon.log();
        EXPECT_EQ(ran.err, "");
        return ran;
    }
    Json json_of(std::vector<std::string> words)
    {
        words.push_back("--json");
        return Json::parse(good(words).out);
    }
    std::string name(std::size_t index) { return name_at(*fleet, index); }
    const apsim::ApConfig& config(std::size_t index) { return fleet->ap(index).config(); }
    // What the APs have, for a test that fails.
    std::string channels()
    {
        std::string text;
        for (std::size_t i = 0; i < fleet->size(); i++) {
            for (const CONFIG_WL_RF& radio : config(i).radios)
                text += std::to_string(radio.channel) + "+" + std::to_string(radio.expand_channel) + " ";
            text += "applied " + std::to_string(fleet->ap(i).counters().applied) + "\n";
        }
        return text;
    }
    template <typename Condition> bool comes(Condition&& condition)
    {
        return fleet->run_until(std::forward<Condition>(condition), PATIENCE);
    }

    Daemon daemon{10};
    std::unique_ptr<apsim::Fleet> fleet;
};

} // namespace

TEST_F(AcctlCommands, status_and_list_show_the_fleet)
{
    EXPECT_EQ(json_of({"status"})["counts"], Json({{"aps", 3}, {"online", 3}, {"offline", 0}, {"clients", 0}}));
    const Json aps = json_of({"ap", "list", "--sort", "mac"})["aps"];
    ASSERT_EQ(aps.size(), 3u);
    for (std::size_t i = 0; i < 3; i++) {
        EXPECT_EQ(aps[i]["name"], name(i));
        EXPECT_EQ(aps[i]["status"], "online");
        EXPECT_EQ(aps[i]["ip"], "127.0.0.1");
        ASSERT_EQ(aps[i]["radios"].size(), i == 0 ? 1u : 2u);
        for (std::size_t radio = 0; radio < aps[i]["radios"].size(); radio++)
            EXPECT_EQ(aps[i]["radios"][radio]["channel"], config(i).radios[radio].channel);
    }
    EXPECT_NE(good({"ap", "list"}).out.find(name(2)), std::string::npos);
}

TEST_F(AcctlCommands, show_agrees_with_the_ap)
{
    const Json ap = json_of({"ap", "show", name(1)})["aps"][0];
    EXPECT_EQ(ap["led"], config(1).basic.led_status != 0);
    for (std::size_t radio = 0; radio < 2; radio++) {
        EXPECT_EQ(ap["radios"][radio]["power"], config(1).radios[radio].TXpower);
        EXPECT_EQ(ap["radios"][radio]["country"], config(1).radios[radio].country_code);
        EXPECT_EQ(ap["radios"][radio]["extend_channel"], config(1).radios[radio].expand_channel);
    }
    EXPECT_EQ(ap["policies"]["reboot"], "");
    EXPECT_FALSE(ap["ssids"].empty());
}

TEST_F(AcctlCommands, a_new_name_reaches_the_ap_and_works_as_its_name)
{
    const std::string before = name(1);
    const Ran ran = good({"ap", "rename", before, "Lobby, north"});
    EXPECT_EQ(ran.out, before + " (02:a9:51:00:00:10) is called \"Lobby, north\" now\n");
    EXPECT_TRUE(comes([&] { return name(1) == "Lobby, north"; }));
    EXPECT_EQ(json_of({"ap", "show", "Lobby, north"})["aps"][0]["name"], "Lobby, north");
}

TEST_F(AcctlCommands, channels_reach_their_radios)
{
    good({"ap", "channel", "--all", "--channel", "11"});
    good({"ap", "channel", name(1), name(2), "--channel", "149", "--extend", "2"});
    EXPECT_TRUE(comes([&] {
        return config(0).radios[0].channel == 11 && config(1).radios[0].channel == 11 &&
               config(2).radios[0].channel == 11 && config(1).radios[1].channel == 149 &&
               config(2).radios[1].channel == 149 && config(2).radios[1].expand_channel == 2;
    })) << channels()
        << daemon.log();
    EXPECT_EQ(run({"ap", "channel", name(0), "--channel", "149"}).status, 6) << "it has no such radio";
}

TEST_F(AcctlCommands, limits_reach_their_ssids)
{
    good({"ap", "limit", "--all", "--ssid", "0", "--clients", "7"});
    good({"ap", "limit", name(1), "--ssid", "8", "--clients", "9"});
    // Shown by the controller only with the list of SSIDs in use.
    run({"ap", "limit", name(1), "--ssid", "1", "--clients", "9", "--wait-limit", "1"});
    EXPECT_TRUE(comes([&] {
        const auto limit = [&](std::size_t ap, std::size_t at) { return config(ap).ssids[at].client_number; };
        return limit(0, 0) == 7 && limit(1, 0) == 7 && limit(2, 0) == 7 && limit(1, 1) == 9 && limit(1, 8) == 9;
    }));
}

TEST_F(AcctlCommands, one_radio_changes_and_the_other_stays)
{
    const CONFIG_WL_RF other = config(1).radios[0];
    const CONFIG_WL_RF before = config(1).radios[1];
    good({"ap", "radio", name(1), "--radio", "5", "--power", "9", "--bandwidth", "2", "--country", "3", "--off"});
    EXPECT_TRUE(comes([&] { return config(1).radios[1].TXpower == 9; }));
    EXPECT_EQ(config(1).radios[1].bandwidth, 2);
    EXPECT_EQ(config(1).radios[1].country_code, 3);
    EXPECT_EQ(config(1).radios[1].channel, before.channel);
    EXPECT_EQ(config(1).radios[1].RF_basic_setting, before.RF_basic_setting & ~AC_RF_ON);
    EXPECT_EQ(memcmp(&config(1).radios[0], &other, sizeof(CONFIG_WL_RF_V1)), 0);
    EXPECT_NE(good({"ap", "radio", name(1), "--radio", "5", "--off"}).out.find(", as before"), std::string::npos);
}

TEST_F(AcctlCommands, policies_are_bound_and_reach_the_aps)
{
    EXPECT_EQ(run({"ap", "bind", name(1), "--reboot-policy", "night"}).status, 5) << "there is none yet";
    ASSERT_EQ(sql_on(daemon, POLICY_FILE,
                     "insert into reboot_policy values(1,1,'night',1,2,90);"
                     "insert into password_policy values(1,'staff','root','pw',1);"
                     "insert into wl_deploy_policy values(1,'hall',3,4,5);"
                     "insert into qvlan_policy values(1,'floor',1,10,20,300,301,302,'1,2,3')"),
              "");
    good({"ap", "bind", name(1), name(2), "--reboot-policy", "night", "--password-policy", "staff", "--deploy-policy",
          "hall", "--qvlan-policy", "floor"});
    const Json policies = json_of({"ap", "show", name(2)})["aps"][0]["policies"];
    EXPECT_EQ(policies["reboot"], "night");
    EXPECT_EQ(policies["password"], "staff");
    EXPECT_EQ(policies["deploy"], "hall");
    EXPECT_EQ(policies["qvlan"], "floor");
    EXPECT_EQ(policies["alarm"], "");
    EXPECT_TRUE(comes([&] { return config(1).reboot.time == 90 && config(2).reboot.time == 90; }));
    EXPECT_NE(good({"ap", "bind", name(1), "--reboot-policy", "night"}).out.find("already"), std::string::npos);
}

TEST_F(AcctlCommands, a_restart_is_waited_for_until_the_ap_is_back)
{
    EXPECT_NE(good({"ap", "reboot", name(0), "--back"}).out.find("has gone down and is back"), std::string::npos);
    EXPECT_EQ(fleet->ap(0).counters().reboots, 1u);
    EXPECT_EQ(fleet->ap(1).counters().reboots, 0u);
}

TEST_F(AcctlCommands, all_aps_restart_with_one_request)
{
    EXPECT_EQ(run({"ap", "reboot", "--all"}).status, 2) << "nobody has said yes";
    good({"ap", "reboot", "--all", "--yes"});
    EXPECT_TRUE(comes([&] {
        return fleet->ap(0).counters().reboots == 1 && fleet->ap(1).counters().reboots == 1 &&
               fleet->ap(2).counters().reboots == 1;
    }));
}

TEST_F(AcctlCommands, an_ap_that_is_down_cannot_be_restarted_but_hears_of_a_new_name_when_it_is_back)
{
    const std::string before = name(0);
    Acctl reboot(daemon, {"ap", "reboot", before});
    EXPECT_TRUE(comes([&] { return fleet->ap(0).counters().reboots == 1; }));
    EXPECT_TRUE(live_alone([&] { return reboot.ended(); })) << "it stays away while the fleet stands still";
    EXPECT_EQ(reboot.result().status, 0) << reboot.result().err;
    const Ran renamed = run_alone({"ap", "rename", before, "attic"});
    EXPECT_EQ(renamed.status, 0) << renamed.err;
    EXPECT_NE(renamed.out.find("it is offline and hears of it when it joins again"), std::string::npos) << renamed.out;
    EXPECT_TRUE(comes([&] { return name(0) == "attic"; }));
}

TEST_F(AcctlCommands, a_restored_ap_comes_back_with_its_factory_settings)
{
    const std::string before = name(1);
    good({"ap", "channel", before, "--channel", "11"});
    EXPECT_TRUE(comes([&] { return config(1).radios[0].channel == 11; }));
    good({"ap", "restore", before, "--back"});
    EXPECT_NE(config(1).radios[0].channel, 11);
}

TEST_F(AcctlCommands, a_deleted_ap_that_is_alive_comes_back_by_itself)
{
    const std::string gone = name(2);
    const Ran ran = run_alone({"ap", "delete", gone});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_NE(ran.out.find("is forgotten"), std::string::npos);
    EXPECT_EQ(run_alone({"ap", "show", gone}).status, 5);
    EXPECT_TRUE(comes([&] { return daemon.count() == std::array{3, 3}; }));
}

TEST_F(AcctlCommands, debug_shows_the_joined_aps)
{
    const Json dump = json_of({"debug", "joined"});
    EXPECT_EQ(dump["fresh"], true);
    EXPECT_EQ(dump["file"], daemon.root() + "/var/tag.cfg");
    EXPECT_EQ(dump["lines"].size(), 3u);
    for (const Json& line : dump["lines"])
        EXPECT_NE(line.get<std::string>().find("status=[4]"), std::string::npos) << line;
}

TEST_F(AcctlCommands, watch_prints_as_many_looks_as_asked_for)
{
    const std::string text = good({"watch", "--json", "--count", "3", "--interval", "0.1"}).out;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST_F(AcctlCommands, a_controller_that_has_ended_is_told)
{
    daemon.stop();
    const Ran ran = run_alone({"status"});
    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.out, "");
    EXPECT_NE(ran.err.find("acctl: no controller answers at " + daemon.root() + "/var/ac_socket: "), std::string::npos)
        << ran.err;
}
