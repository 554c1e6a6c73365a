// The commands that only read, against a controller that answers from bytes.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

#include "fake_controller.h"

using Json = nlohmann::ordered_json;

namespace {

const Bytes mac1 = {0x02, 0xA9, 0x51, 0, 0, 0x10}, mac2 = {0x02, 0xA9, 0x51, 0, 0, 0x20};
const char* const hostile = "\x1b]0;owned\x07\xff";

Bytes advanced()
{
    Bytes data(20);
    const Bytes row = advanced_row(mac1, {{472, "nightly"}, {469, "\x01"}});
    data.insert(data.end(), row.begin(), row.end());
    return data;
}

Bytes figures(unsigned total, unsigned online, unsigned clients)
{
    Bytes header = message(35, clients);
    put16(header, 0, total);
    put16(header, 2, online);
    return header;
}

// Two APs, the second with a name that would like to be acted on.
Bytes site(const Bytes& request)
{
    Bytes rows = list_row({mac1, "lobby", 1, true});
    const Bytes second = list_row({mac2, hostile, 0});
    rows.insert(rows.end(), second.begin(), second.end());
    switch (request[4]) {
    case 19:
        return message(24, 2, rows);
    case 22:
        return message(22, 0, advanced());
    case 24:
        return message(24, 0, page(6, 20));
    case 25:
        return message(25, 1, ssid_row(mac1, 0, "guests", 3, 32));
    case 35:
        return figures(2, 1, 7);
    case 150:
        return message(151, 0);
    default:
        return {};
    }
}

bool prints_safely(const std::string& text)
{
    for (const char c : text)
        if ((static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == 0x7F) return false;
    return true;
}

} // namespace

TEST(Status, tells_that_the_controller_answers_and_its_figures)
{
    const FakeController controller(site);
    const Ran ran = acctl_line(controller, {"status"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_NE(ran.out.find("controller  answers at " + controller.path()), std::string::npos);
    EXPECT_NE(ran.out.find("APs         2: 1 online, 1 offline\nclients     7\n"), std::string::npos);

    const Json json = Json::parse(acctl_line(controller, {"status", "--json"}).out);
    EXPECT_EQ(json["controller"]["socket"], controller.path());
    EXPECT_GE(json["controller"]["answer_ms"], 0);
    EXPECT_EQ(json["counts"], Json({{"aps", 2}, {"online", 1}, {"offline", 1}, {"clients", 7}}));
}

TEST(Status, without_a_controller_is_status_3)
{
    const Ran ran = acctl_line("/nonexistent/ac_socket", {"status"});
    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err,
              "acctl: no controller answers at /nonexistent/ac_socket: there is no such socket. Is it running? "
              "AC_ROOT or --socket tell where it lives\n");
}

TEST(Status, with_a_silent_controller_is_status_4)
{
    FakeController controller(site);
    controller.hold_answers(true);
    const Ran ran = acctl_line(controller, {"status", "--timeout", "0.2"});
    EXPECT_EQ(ran.status, 4);
    EXPECT_NE(ran.err.find("has not answered within 0.2 s"), std::string::npos);
    EXPECT_EQ(ran.out, "");
}

TEST(List, shows_an_ap_a_line_by_name)
{
    const FakeController controller(site);
    const Ran ran = acctl_line(controller, {"ap", "list"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out,
              "NAME               MAC                STATUS   IP          CLIENTS  CHANNEL  POWER  PRODUCT  FIRMWARE  "
              "SSIDS\n"
              "\\x1b]0;owned\\x07\uFFFD  02:a9:51:00:00:20  offline  192.0.2.17        3        6     20  mdl7     "
              "V1.0.0    guests\n"
              "lobby              02:a9:51:00:00:10  online   192.0.2.17      3/4    6/149  20/17  mdl7     V1.0.0    "
              "guests, staff\n");
}

TEST(List, plain_is_for_scripts)
{
    const FakeController controller(site);
    EXPECT_EQ(acctl_line(controller, {"ap", "list", "--plain", "--sort", "mac"}).out,
              "02:a9:51:00:00:10\tlobby\t192.0.2.17\tonline\t3\t4\tmdl7\tV1.0.0\n"
              "02:a9:51:00:00:20\t\\x1b]0;owned\\x07�\t192.0.2.17\toffline\t3\t0\tmdl7\tV1.0.0\n");
}

TEST(List, as_json_has_these_keys)
{
    const FakeController controller(site);
    const std::string text = acctl_line(controller, {"ap", "list", "--json", "--sort", "mac"}).out;
    EXPECT_TRUE(prints_safely(text));
    const Json json = Json::parse(text);
    ASSERT_EQ(json["aps"].size(), 2u);
    EXPECT_EQ(json["aps"][0], Json::parse(R"({
        "mac": "02:a9:51:00:00:10", "name": "lobby", "product": "mdl7", "ip": "192.0.2.17", "firmware": "V1.0.0",
        "status": "online", "online": true, "clients": 7, "country": 1, "bandwidth": 2, "prefers_5g": true,
        "radios": [
            {"band": "2.4", "on": true, "channel": 6, "power": 20, "rssi": 75, "clients": 3, "main_ssid_limit": 32},
            {"band": "5", "on": true, "channel": 149, "power": 17, "rssi": 0, "clients": 4, "main_ssid_limit": 50}],
        "ssids": [{"id": 0, "name": "guests"}, {"id": 8, "name": "staff"}]})"));
    EXPECT_EQ(json["aps"][1]["name"], "\x1b]0;owned\x07\uFFFD");
}

TEST(List, of_nothing_says_so)
{
    const FakeController controller([](const Bytes&) { return message(24, 0); });
    EXPECT_EQ(acctl_line(controller, {"ap", "list"}).out, "The controller knows no APs.\n");
    EXPECT_EQ(acctl_line(controller, {"ap", "list", "--plain"}).out, "");
    EXPECT_EQ(Json::parse(acctl_line(controller, {"ap", "list", "--json"}).out), Json({{"aps", Json::array()}}));
}

TEST(List, refuses_rows_that_do_not_fit)
{
    const FakeController controller([](const Bytes&) { return message(24, 2, Bytes(528)); });
    const Ran ran = acctl_line(controller, {"ap", "list", "--json"});
    EXPECT_EQ(ran.status, 4);
    EXPECT_EQ(ran.out, "");
    EXPECT_NE(ran.err.find("doesn't have the layout"), std::string::npos);
}

TEST(Show, puts_together_what_the_requests_tell)
{
    const FakeController controller(site);
    const Ran ran = acctl_line(controller, {"ap", "show", "lobby"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10)\n"
                       "  status     online\n"
                       "  product    mdl7, firmware V1.0.0\n"
                       "  ip         192.0.2.17\n"
                       "  set to     10.0.0.7/255.0.0.0, gateway 10.0.0.1, DNS 10.0.0.2 10.0.0.3 (mode 1)\n"
                       "  LED        on\n"
                       "  policies   reboot \"nightly\"\n"
                       "\n"
                       "  RADIO    STATE  CHANNEL  EXTEND  POWER  BANDWIDTH  COUNTRY  RSSI  CLIENTS\n"
                       "  2.4 GHz  on           6       5     20          1       44    75        3\n"
                       "  5 GHz    on         149       0     17          0        0     0        4\n"
                       "\n"
                       "  SSID  NAME    CLIENTS  LIMIT\n"
                       "     0  guests        3     32\n"
                       "     8  staff         -     50\n");
}

TEST(Show, does_without_the_list_of_ssids)
{
    const FakeController controller([](const Bytes& request) { return request[4] == 25 ? Bytes() : site(request); });
    const Ran ran = acctl_line(controller, {"ap", "show", "lobby"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_NE(ran.out.find("  SSID  NAME    CLIENTS  LIMIT\n     0  guests        -     32\n"), std::string::npos);
}

TEST(Show, as_json_adds_to_the_keys_of_the_list)
{
    const FakeController controller(site);
    const Json ap = Json::parse(acctl_line(controller, {"ap", "show", "02-A9-51-00-00-10", "--json"}).out)["aps"][0];
    EXPECT_EQ(ap["name"], "lobby");
    EXPECT_EQ(ap["address"], Json::parse(R"({"mode": 1, "ip": "10.0.0.7", "mask": "255.0.0.0", "gateway": "10.0.0.1",
                                             "dns": ["10.0.0.2", "10.0.0.3"]})"));
    EXPECT_EQ(ap["radios"][0], Json::parse(R"({
        "band": "2.4", "on": true, "channel": 6, "power": 20, "rssi": 75, "clients": 3, "main_ssid_limit": 32,
        "country": 44, "bandwidth": 1, "extend_channel": 5, "mode": 9, "interface_mode": 0, "sta_timeout": 0,
        "wmm": true, "apsd": false, "ssid_isolation": false, "g5_priority": false})"));
    EXPECT_EQ(ap["ssids"], Json::parse(R"([{"id": 0, "name": "guests", "clients": 3, "limit": 32},
                                           {"id": 8, "name": "staff", "clients": null, "limit": 50}])"));
    EXPECT_EQ(ap["led"], true);
    EXPECT_EQ(ap["policies"], Json::parse(R"({"reboot": "nightly", "alarm": "", "password": "", "deploy": "",
                                              "qvlan": "", "wl_basic": "", "wl_rf": ""})"));
}

TEST(Show, never_lets_a_name_act_on_the_terminal)
{
    const FakeController controller(site);
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"ap", "show", "--all"},
                                               {"ap", "show", "--all", "--json"},
                                               {"ap", "radio", "--all"},
                                               {"ap", "list"},
                                               {"ap", "list", "--plain"},
                                               {"watch", "--count", "1"},
                                               {"watch", "--count", "1", "--json"},
                                               {"ap", "show", "\x1b[31mred"}}) {
        const Ran ran = acctl_line(controller, words);
        EXPECT_TRUE(prints_safely(ran.out)) << words[1] << "\n" << ran.out;
        EXPECT_TRUE(prints_safely(ran.err)) << words[1] << "\n" << ran.err;
    }
}

TEST(Show, of_an_unknown_ap_is_status_5)
{
    const FakeController controller(site);
    const Ran ran = acctl_line(controller, {"ap", "show", "cellar"});
    EXPECT_EQ(ran.status, 5);
    EXPECT_EQ(ran.err, "acctl: there is no AP \"cellar\"; `acctl ap list` shows those there are\n");
}

TEST(Radio, without_a_change_is_shown)
{
    const FakeController controller(site);
    const Ran ran = acctl_line(controller, {"ap", "radio", "lobby"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10)\n"
                       "  RADIO    STATE  CHANNEL  EXTEND  POWER  BANDWIDTH  COUNTRY  RSSI  CLIENTS\n"
                       "  2.4 GHz  on           6       5     20          1       44    75        3\n"
                       "  5 GHz    on         149       0     17          0        0     0        4\n");
    EXPECT_TRUE(controller.requests(18).empty());
    const Json json = Json::parse(acctl_line(controller, {"ap", "radio", "lobby", "--json"}).out);
    EXPECT_EQ(json["aps"][0]["radios"][1]["channel"], 149);
}

TEST(Debug, shows_the_file_that_the_controller_has_written)
{
    std::string folder;
    const FakeController controller([&](const Bytes& request) {
        if (request[4] == 150) {
            const bool joined = request[5] == 1;
            std::ofstream(folder + (joined ? "/tag.cfg" : "/user.cfg"))
                << (joined ? "MAC:[02:00]\tip:[1.2.3.4]\n\x1b[2J\n" : "mac(1),status(1)mac(2),status(0)");
        }
        return site(request);
    });
    folder = controller.folder();
    const Ran joined = acctl_line(controller, {"debug", "joined"});
    EXPECT_EQ(joined.status, 0) << joined.err;
    EXPECT_EQ(joined.out, "The controller has written " + folder + "/tag.cfg:\nMAC:[02:00] ip:[1.2.3.4]\n\\x1b[2J\n");
    EXPECT_EQ(acctl_line(controller, {"debug", "clients"}).out,
              "The controller has written " + folder + "/user.cfg:\nmac(1),status(1)\nmac(2),status(0)\n");
    EXPECT_EQ(get16(controller.requests(150)[0], 4), 0x0196u);
    EXPECT_EQ(get16(controller.requests(150)[1], 4), 0x0296u);
}

TEST(Debug, does_not_take_an_old_file_for_an_answer)
{
    const FakeController controller(site);
    const Ran missing = acctl_line(controller, {"debug", "joined"});
    EXPECT_EQ(missing.status, 6);
    EXPECT_NE(missing.err.find("is not there"), std::string::npos);
    std::ofstream(controller.folder() + "/tag.cfg") << "old\n";
    const Ran old = acctl_line(controller, {"debug", "joined", "--json"});
    EXPECT_EQ(old.status, 6);
    EXPECT_NE(old.err.find("has not changed"), std::string::npos);
    EXPECT_EQ(Json::parse(old.out),
              Json({{"file", controller.folder() + "/tag.cfg"}, {"fresh", false}, {"lines", Json::array()}}));
}

TEST(Watch, into_a_pipe_prints_a_table_for_each_look)
{
    const FakeController controller(site);
    const Ran ran = acctl_line(controller, {"watch", "--count", "2", "--interval", "0.1"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    const std::string head = "2 APs, 1 online, 1 offline; 7 clients\n\nNAME";
    const std::size_t first = ran.out.find(head);
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(ran.out.find(head, first + 1), std::string::npos);
    EXPECT_EQ(controller.requests(19).size(), 2u);
}

TEST(Watch, as_json_prints_an_object_a_line)
{
    const FakeController controller(site);
    const std::string text = acctl_line(controller, {"watch", "--json", "--count", "2", "--interval", "0.1"}).out;
    std::istringstream lines(text);
    int count = 0;
    for (std::string line; std::getline(lines, line); count++) {
        const Json json = Json::parse(line);
        EXPECT_EQ(json["counts"]["clients"], 7);
        EXPECT_EQ(json["aps"].size(), 2u);
        EXPECT_EQ(json["time"].get<std::string>().size(), 24u);
    }
    EXPECT_EQ(count, 2);
}
