// The commands that change something, against a controller that keeps two APs in bytes.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "fake_controller.h"

using Json = nlohmann::ordered_json;

namespace {

const Bytes lobby = {0x02, 0xA9, 0x51, 0, 0, 0x10}, roof = {0x02, 0xA9, 0x51, 0, 0, 0x20};

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes name32(const std::string& name)
{
    Bytes bytes(32);
    put_text(bytes, 0, name);
    return bytes;
}

// "lobby" is online with two radios, "roof" is offline with one.
struct Site {
    bool works = true; // false: acknowledges and does nothing
    bool comes_back = true;
    bool tells_ssids = true; // false: it doesn't know the request
    std::vector<RowSpec> rows = {{lobby, "lobby", 1, true}, {roof, "roof", 0}};
    std::map<Bytes, Bytes> pages = {{lobby, page(6, 20)}, {roof, page(6, 20)}};
    std::map<Bytes, std::map<std::size_t, std::string>> bound;
    unsigned limit_8 = 50;
    int lists_while_down = 0;

    Bytes list();
    Bytes advanced();
    void change(const Bytes& request);
    Bytes answer(const Bytes& request);
};

Bytes Site::list()
{
    Bytes data;
    for (RowSpec& row : rows) {
        if (row.status == 0 && row.name == "lobby" && comes_back && ++lists_while_down == 3) row.status = 1;
        Bytes bytes = list_row(row);
        if (row.two_radios) put8(bytes, 82, limit_8);
        data = data + bytes;
    }
    return message(24, static_cast<unsigned>(rows.size()), data);
}

Bytes Site::advanced()
{
    Bytes data(20);
    put32(data, 0, 1);
    put32(data, 4, 2);
    put32(data, 16, 1);
    data = data + name32("loud") + name32("nightly") + name32("never") + name32("guests");
    for (const RowSpec& row : rows)
        data = data + advanced_row(row.mac, bound[row.mac]);
    return message(22, 0, data);
}

void Site::change(const Bytes& request)
{
    const Bytes first(request.begin() + 20, request.begin() + (request.size() >= 26 ? 26 : 20));
    const std::size_t macs = get16(request, 6);
    const auto text = [&](std::size_t at) { return std::string(reinterpret_cast<const char*>(&request.at(at))); };
    for (RowSpec& row : rows) {
        const bool all = get16(request, 0) != 0;
        bool meant = all;
        for (std::size_t i = 0; !all && i < macs; i++)
            meant =
                meant || std::equal(row.mac.begin(), row.mac.end(), request.begin() + 20 + static_cast<long>(i) * 6);
        if (!meant) continue;
        switch (request[4]) {
        case 4:
            if (request.at(20 + macs * 6) != 0) bound[row.mac][472] = text(20 + macs * 6);
            if (request.at(20 + macs * 6 + 32) != 0) bound[row.mac][505] = text(20 + macs * 6 + 32);
            break;
        case 7:
        case 8:
            row.status = 0;
            break;
        case 10:
            row.name = text(26);
            break;
        case 18:
            pages[row.mac] = Bytes(request.begin() + 26, request.begin() + 26 + 92);
            break;
        case 44:
            if (request.at(26) == 0) row.limit = request.at(27);
            if (request.at(26) == 8) limit_8 = request.at(27);
            break;
        case 45:
            put8(pages[row.mac], 63 + 8 + request.at(26), request.at(27));
            put8(pages[row.mac], 63 + 6 + request.at(26), request.at(28));
            break;
        case 141:
            bound[row.mac][604] = text(20 + macs * 6);
            break;
        default:
            break;
        }
    }
    if (request[4] == 16)
        std::erase_if(rows, [&](const RowSpec& row) {
            for (std::size_t i = 0; i < macs; i++)
                if (std::equal(row.mac.begin(), row.mac.end(), request.begin() + 20 + static_cast<long>(i) * 6))
                    return true;
            return false;
        });
}

Bytes Site::answer(const Bytes& request)
{
    switch (request[4]) {
    case 19:
        return list();
    case 22:
        return advanced();
    case 24:
        return message(24, 0, pages[Bytes(request.begin() + 20, request.begin() + 26)]);
    case 25:
        return tells_ssids ? message(25, 1, ssid_row(lobby, 3, "visitors", 0, 32)) : Bytes();
    default:
        if (works) change(request);
        return message(request[4] + 1U, 0);
    }
}

class Change : public testing::Test {
protected:
    Ran line(const std::vector<std::string>& words) { return acctl_line(controller, words); }
    // The data of the last request of that type, of which there must be so many.
    Bytes body(unsigned type, std::size_t count = 1)
    {
        const std::vector<Bytes> requests = controller.requests(type);
        EXPECT_EQ(requests.size(), count);
        return requests.empty() ? Bytes() : Bytes(requests.back().begin() + 20, requests.back().end());
    }

    Site site;
    FakeController controller{[this](const Bytes& request) { return site.answer(request); }};
};

const std::vector<std::string> brief_wait = {"--wait-limit", "0.1"};

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace

TEST_F(Change, a_rename_sends_mac_and_name_and_waits_for_the_list_to_show_it)
{
    const Ran ran = line({"ap", "rename", "lobby", "Hall"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) is called \"Hall\" now\n");
    EXPECT_EQ(body(10), lobby + name32("Hall"));
    EXPECT_EQ(get16(controller.requests(10)[0], 6), 1u);
}

TEST_F(Change, a_rename_of_an_offline_ap_says_when_it_hears_of_it)
{
    EXPECT_EQ(line({"ap", "rename", "02:a9:51:00:00:20", "attic"}).out,
              "roof (02:a9:51:00:00:20) is called \"attic\" now; it is offline and hears of it when it joins again\n");
}

TEST_F(Change, the_name_that_an_ap_has_is_not_asked_for)
{
    const Ran ran = line({"ap", "rename", "lobby", "lobby", "--json"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_TRUE(controller.requests(10).empty());
    EXPECT_EQ(Json::parse(ran.out), Json::parse(R"({"command": "ap rename", "good": true, "results": [
        {"mac": "02:a9:51:00:00:10", "name": "lobby", "result": "unchanged", "good": true,
         "text": "is called so already"}]})"));
}

TEST_F(Change, a_name_that_another_ap_has_is_given_with_a_note)
{
    const Ran ran = line({"ap", "rename", "lobby", "roof"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.err, "acctl: note: roof (02:a9:51:00:00:20) is called so, too\n");
}

TEST_F(Change, an_effect_that_does_not_come_is_told_and_is_status_6)
{
    site.works = false;
    const Ran ran = line(std::vector<std::string>{"ap", "rename", "lobby", "Hall", "--json"} + brief_wait);
    EXPECT_EQ(ran.status, 6);
    const Json json = Json::parse(ran.out);
    EXPECT_EQ(json["good"], false);
    EXPECT_EQ(json["results"][0]["result"], "not-seen");
    EXPECT_EQ(json["results"][0]["text"], "does not show the change after 0.1 s: the controller has acknowledged the "
                                          "request, its output may tell why");
}

TEST_F(Change, without_waiting_it_is_only_asked_for)
{
    site.works = false;
    const Ran ran = line({"ap", "rename", "lobby", "Hall", "--no-wait"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) will be told by the controller\n");
}

TEST_F(Change, a_controller_that_goes_away_behind_the_request_is_told_as_that)
{
    std::atomic<bool> gone = false;
    FakeController leaving([&](const Bytes& request) {
        if (request[4] == 10) {
            gone = true;
            return site.answer(request);
        }
        return gone ? Bytes() : site.answer(request);
    });
    const Ran ran = acctl_line(leaving, {"ap", "rename", "lobby", "Hall"});
    EXPECT_EQ(ran.status, 4);
    EXPECT_NE(ran.err.find("the change was acknowledged, but its effect can't be seen: "), std::string::npos);
}

TEST_F(Change, a_channel_goes_to_the_radio_it_belongs_to_and_keeps_the_extension)
{
    EXPECT_EQ(line({"ap", "channel", "lobby", "--channel", "11"}).out,
              "lobby (02:a9:51:00:00:10) has channel 11 on 2.4 GHz now\n");
    EXPECT_EQ(body(45), lobby + Bytes({0, 5, 11}));
    EXPECT_EQ(line({"ap", "channel", "lobby", "--channel", "36", "--extend", "2"}).out,
              "lobby (02:a9:51:00:00:10) has channel 36 on 5 GHz now\n");
    EXPECT_EQ(body(45, 2), lobby + Bytes({1, 2, 36}));
}

TEST_F(Change, a_channel_of_no_radio_is_refused_before_anything_is_sent)
{
    EXPECT_EQ(line({"ap", "channel", "lobby", "--channel", "20"}).status, 2);
    EXPECT_EQ(line({"ap", "channel", "lobby", "--channel", "0"}).status, 2);
    EXPECT_EQ(line({"ap", "channel", "lobby", "--radio", "2.4", "--channel", "36"}).status, 2);
    EXPECT_EQ(line({"ap", "channel", "lobby", "--radio", "5", "--channel", "14"}).status, 2);
    EXPECT_EQ(line({"ap", "radio", "lobby", "--radio", "5", "--channel", "14"}).status, 2);
    EXPECT_TRUE(controller.requests(45).empty());
    EXPECT_TRUE(controller.requests(18).empty());
}

TEST_F(Change, a_radio_that_an_ap_has_not_is_a_failure_where_it_is_named)
{
    const Ran named = line({"ap", "channel", "lobby", "roof", "--channel", "36"});
    EXPECT_EQ(named.status, 6);
    EXPECT_EQ(named.out, "lobby (02:a9:51:00:00:10) has channel 36 on 5 GHz now\n"
                         "roof (02:a9:51:00:00:20) has no 5 GHz radio\n");
    const Ran all = line({"ap", "channel", "--all", "--channel", "40"});
    EXPECT_EQ(all.status, 0) << "of all, those that have one are meant";
}

TEST_F(Change, a_wrong_name_among_others_changes_nothing)
{
    EXPECT_EQ(line({"ap", "channel", "lobby", "cellar", "--channel", "11"}).status, 5);
    EXPECT_TRUE(controller.requests(45).empty());
}

TEST_F(Change, a_limit_is_set_by_the_number_or_the_name_of_the_ssid)
{
    EXPECT_EQ(line({"ap", "limit", "lobby", "--ssid", "0", "--clients", "9"}).out,
              "lobby (02:a9:51:00:00:10) takes 9 clients on SSID 0 now\n");
    EXPECT_EQ(body(44), lobby + Bytes({0, 9}));
    EXPECT_EQ(line({"ap", "limit", "lobby", "--ssid", "staff", "--clients", "30"}).out,
              "lobby (02:a9:51:00:00:10) takes 30 clients on SSID 8 now\n");
    EXPECT_EQ(line({"ap", "limit", "lobby", "--ssid", "staff", "--clients", "30"}).out,
              "lobby (02:a9:51:00:00:10) takes 30 clients on SSID 8 already\n");
    EXPECT_EQ(controller.requests(44).size(), 2u);
}

TEST_F(Change, a_limit_that_cannot_be_read_back_is_not_called_done)
{
    const Ran ran =
        line(std::vector<std::string>{"ap", "limit", "lobby", "--ssid", "2", "--clients", "9"} + brief_wait);
    EXPECT_EQ(ran.status, 6);
    EXPECT_NE(ran.out.find("a limit is shown only while its SSID and radio are on and the AP is online"),
              std::string::npos);
    EXPECT_EQ(body(44), lobby + Bytes({2, 9}));
}

TEST_F(Change, a_limit_that_no_read_shows_is_asked_for_and_not_waited_for)
{
    site.tells_ssids = false;
    const Ran ran = line({"ap", "limit", "lobby", "--ssid", "2", "--ssid", "0", "--clients", "9"});
    EXPECT_EQ(ran.status, 6);
    EXPECT_EQ(ran.out,
              "lobby (02:a9:51:00:00:10) will be told by the controller; whether it took can't be seen, for this "
              "controller shows the limits of SSID 0 and SSID 8 alone\n"
              "lobby (02:a9:51:00:00:10) takes 9 clients on SSID 0 now\n");
    EXPECT_EQ(body(44, 2), lobby + Bytes({0, 9}));
    EXPECT_EQ(line({"ap", "limit", "lobby", "--ssid", "2", "--clients", "9", "--no-wait"}).status, 0);
}

TEST_F(Change, an_ssid_that_the_ap_has_not_is_refused)
{
    const Ran ran = line({"ap", "limit", "lobby", "roof", "--ssid", "12", "--ssid", "nobody", "--clients", "9"});
    EXPECT_EQ(ran.status, 6);
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) has no SSID 12\n"
                       "lobby (02:a9:51:00:00:10) has no SSID nobody\n"
                       "roof (02:a9:51:00:00:20) has no SSID 12\n"
                       "roof (02:a9:51:00:00:20) has no SSID nobody\n");
    EXPECT_EQ(line({"ap", "limit", "roof", "--ssid", "8", "--clients", "9"}).status, 6) << "it has no 5 GHz SSIDs";
    EXPECT_TRUE(controller.requests(44).empty());
}

TEST_F(Change, a_radio_gets_its_page_back_with_what_was_asked_for)
{
    const Ran ran = line({"ap", "radio", "lobby", "--radio", "2.4", "--power", "9", "--off", "--country", "7"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) 2.4 GHz is off: channel 6, power 9, bandwidth 1, country 7\n");
    Bytes expected = page(6, 9, false);
    put8(expected, 65, 7);
    EXPECT_EQ(body(18), lobby + expected);
}

TEST_F(Change, a_radio_that_is_so_already_is_left_alone)
{
    const Ran ran = line({"ap", "radio", "roof", "--power", "20", "--on"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out,
              "roof (02:a9:51:00:00:20) 2.4 GHz is on: channel 6, power 20, bandwidth 1, country 44, as before\n");
    EXPECT_TRUE(controller.requests(18).empty());
}

TEST_F(Change, one_of_two_radios_must_be_named)
{
    const Ran ran = line({"ap", "radio", "roof", "lobby", "--power", "9"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "acctl: lobby (02:a9:51:00:00:10) has two radios: say which with --radio 2.4 or --radio 5\n");
    EXPECT_TRUE(controller.requests(18).empty());
}

TEST_F(Change, binding_names_the_aps_and_the_policies)
{
    const Ran ran = line({"ap", "bind", "lobby", "roof", "--reboot-policy", "nightly", "--alarm-policy", "loud"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out,
              "lobby (02:a9:51:00:00:10) is bound to reboot policy \"nightly\", alarm policy \"loud\" now\n"
              "roof (02:a9:51:00:00:20) is bound to reboot policy \"nightly\", alarm policy \"loud\" now; it is "
              "offline and hears of it when it joins again\n");
    EXPECT_EQ(body(4), lobby + roof + name32("nightly") + name32("loud") + Bytes(64));
    EXPECT_EQ(get16(controller.requests(4)[0], 6), 2u);
    EXPECT_EQ(get16(controller.requests(4)[0], 2), 0u);
    EXPECT_TRUE(controller.requests(141).empty());
}

TEST_F(Change, a_vlan_policy_has_a_request_of_its_own)
{
    EXPECT_EQ(line({"ap", "bind", "lobby", "--qvlan-policy", "guests"}).status, 0);
    EXPECT_EQ(body(141), lobby + name32("guests"));
    EXPECT_TRUE(controller.requests(4).empty());
}

TEST_F(Change, an_unknown_policy_is_refused_with_those_there_are)
{
    const Ran ran = line({"ap", "bind", "lobby", "--reboot-policy", "x"});
    EXPECT_EQ(ran.status, 5);
    EXPECT_EQ(ran.err, "acctl: there is no reboot policy \"x\"; there are \"nightly\", \"never\"\n");
    EXPECT_EQ(line({"ap", "bind", "lobby", "--password-policy", "x"}).err,
              "acctl: there is no password policy \"x\"; no password policy has been made yet\n");
    EXPECT_TRUE(controller.requests(4).empty());
}

TEST_F(Change, a_binding_that_does_not_come_names_what_is_missing)
{
    site.works = false;
    const Ran ran =
        line(std::vector<std::string>{"ap", "bind", "lobby", "--alarm-policy", "loud", "--qvlan-policy", "guests"} +
             brief_wait);
    EXPECT_EQ(ran.status, 6);
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) is not bound as asked after 0.1 s, missing: alarm, qvlan\n");
}

TEST_F(Change, a_reboot_names_the_online_aps_and_waits_until_they_are_down)
{
    site.comes_back = false;
    const Ran ran = line({"ap", "reboot", "lobby", "roof"});
    EXPECT_EQ(ran.status, 6) << "the offline one can't be asked";
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) has gone down\n"
                       "roof (02:a9:51:00:00:20) is offline and can't be reached\n");
    EXPECT_EQ(body(7), lobby);
    EXPECT_EQ(get16(controller.requests(7)[0], 0), 0u);
    EXPECT_EQ(get16(controller.requests(7)[0], 6), 1u);
}

TEST_F(Change, a_restore_can_be_waited_for_until_the_ap_is_back)
{
    const Ran ran = line({"ap", "restore", "lobby", "--back"});
    EXPECT_EQ(ran.status, 0) << ran.out;
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) has gone down and is back\n");
    EXPECT_EQ(body(8), lobby);
}

TEST_F(Change, a_reboot_that_gets_no_answer_or_no_return_is_told_as_that)
{
    site.comes_back = false;
    EXPECT_EQ(line(std::vector<std::string>{"ap", "reboot", "lobby", "--back"} + brief_wait).out,
              "lobby (02:a9:51:00:00:10) has gone down and is not back after 0.1 s\n");
    site.works = false;
    site.rows[0].status = 1;
    EXPECT_EQ(line(std::vector<std::string>{"ap", "reboot", "lobby"} + brief_wait).out,
              "lobby (02:a9:51:00:00:10) is still online after 0.1 s: it has not answered the controller's request\n");
}

TEST_F(Change, all_aps_are_rebooted_by_one_request_without_macs)
{
    site.comes_back = false;
    const Ran ran = line({"ap", "reboot", "--all", "--yes"});
    EXPECT_EQ(ran.status, 0) << ran.out;
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) has gone down\n"
                       "roof (02:a9:51:00:00:20) is offline and can't be reached\n");
    const Bytes expected = {1, 0, 0, 0, 7, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(controller.requests(7), std::vector<Bytes>{expected});
}

TEST_F(Change, what_is_done_to_all_wants_a_yes)
{
    for (const char* command : {"reboot", "restore", "delete"}) {
        const Ran ran = line({"ap", command, "--all"});
        EXPECT_EQ(ran.status, 2);
        EXPECT_NE(ran.err.find("say --yes to mean it"), std::string::npos) << ran.err;
    }
    for (const unsigned type : {7u, 8u, 16u})
        EXPECT_TRUE(controller.requests(type).empty());
}

TEST_F(Change, deleted_aps_are_gone_from_the_list)
{
    const Ran ran = line({"ap", "delete", "roof", "lobby"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "roof (02:a9:51:00:00:20) is forgotten\n"
                       "lobby (02:a9:51:00:00:10) is forgotten; it is alive and will join again by itself\n");
    EXPECT_EQ(body(16), roof + lobby);
    EXPECT_EQ(get16(controller.requests(16)[0], 6), 2u);
}

TEST_F(Change, an_ap_that_stays_in_the_list_is_told)
{
    site.works = false;
    const Ran ran = line(std::vector<std::string>{"ap", "delete", "--all", "--yes"} + brief_wait);
    EXPECT_EQ(ran.status, 6);
    EXPECT_EQ(ran.out, "lobby (02:a9:51:00:00:10) is still there after 0.1 s\n"
                       "roof (02:a9:51:00:00:20) is still there after 0.1 s\n");
}

TEST_F(Change, many_aps_are_named_in_portions)
{
    site.rows.clear();
    for (unsigned i = 0; i < 1001; i++)
        site.rows.push_back({{2, 0, 0, 0, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)}, "", 0});
    EXPECT_EQ(line({"ap", "delete", "--all", "--yes", "--no-wait"}).status, 0);
    const std::vector<Bytes> requests = controller.requests(16);
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(get16(requests[0], 6), 1000u);
    EXPECT_EQ(requests[0].size(), 20u + 6000u);
    EXPECT_EQ(get16(requests[1], 6), 1u);
    EXPECT_EQ(requests[1].size(), 26u);
}

TEST_F(Change, of_no_aps_at_all_is_done)
{
    site.rows.clear();
    const Ran ran = line({"ap", "channel", "--all", "--channel", "6"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "The controller knows no APs.\n");
}
