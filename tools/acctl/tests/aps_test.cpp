#include "aps.h"

#include <gtest/gtest.h>

using namespace acctl;

namespace {

Ap ap_called(const std::string& name, UINT8 last)
{
    Ap ap;
    ap.mac = {2, 0, 0, 0, 0, last};
    ap.name = name;
    return ap;
}

const std::vector<Ap> fleet = {ap_called("lobby", 1),        ap_called("roof", 2),       ap_called("hall", 3),
                               ap_called("hall", 4),         ap_called("", 5),           ap_called("\x1b[2J", 6),
                               ap_called("020000000002", 7), ap_called("Lobby north", 8)};

std::vector<int> found(const std::vector<std::string>& wanted)
{
    std::vector<int> lasts;
    for (const Ap& ap : resolve(fleet, wanted))
        lasts.push_back(ap.mac[5]);
    return lasts;
}

std::string refusal(const std::vector<std::string>& wanted)
{
    try {
        resolve(fleet, wanted);
    } catch (const NotFound& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(Mac, is_read_in_its_usual_forms)
{
    const Mac mac = {0x02, 0xA9, 0x51, 0x00, 0x00, 0x10};
    for (const char* text : {"02:a9:51:00:00:10", "02:A9:51:00:00:10", "02-a9-51-00-00-10", "02a951000010"})
        EXPECT_EQ(parse_mac(text), mac) << text;
    EXPECT_EQ(to_string(mac), "02:a9:51:00:00:10");
}

TEST(Mac, no_other_text_is_one)
{
    for (const char* text :
         {"", "lobby", "02:a9:51:00:00", "02:a9:51:00:00:1", "02:a9:51:00:00:1g", "02:a9:51:00:00:100",
          "02.a9.51.00.00.10", "+2:a9:51:00:00:10", "02a95100001", "0x2a95100001", "02:a9:51:00:0010:"})
        EXPECT_FALSE(parse_mac(text)) << text;
}

TEST(Resolve, takes_macs_and_names_in_the_order_of_the_line)
{
    EXPECT_EQ(found({"roof", "02:00:00:00:00:01", "Lobby north"}), (std::vector{2, 1, 8}));
}

TEST(Resolve, an_ap_that_is_named_twice_counts_once)
{
    EXPECT_EQ(found({"roof", "02:00:00:00:00:02"}), (std::vector{2}));
}

TEST(Resolve, a_mac_beats_a_name_that_looks_like_one)
{
    EXPECT_EQ(found({"020000000002"}), (std::vector{2}));
    EXPECT_EQ(resolve({ap_called("020000000009", 7)}, {"020000000009"}).front().mac[5], 7);
}

TEST(Resolve, a_name_that_does_not_print_is_taken_as_it_is_printed)
{
    EXPECT_EQ(found({"\\x1b[2J"}), (std::vector{6}));
}

TEST(Resolve, a_name_of_two_is_refused_with_their_macs)
{
    EXPECT_EQ(refusal({"hall"}),
              "2 APs are called \"hall\": name one by its MAC, 02:00:00:00:00:03, 02:00:00:00:00:04");
}

TEST(Resolve, an_unknown_name_is_refused_with_those_that_are_like_it)
{
    EXPECT_EQ(refusal({"LOB"}), "there is no AP \"LOB\"; did you mean \"lobby\", \"Lobby north\"?");
    EXPECT_EQ(refusal({"cellar"}), "there is no AP \"cellar\"; `acctl ap list` shows those there are");
    EXPECT_EQ(refusal({"02:00:00:00:00:99"}),
              "there is no AP \"02:00:00:00:00:99\"; `acctl ap list` shows those there are");
    EXPECT_EQ(refusal({"\x1b[31m"}), "there is no AP \"\\x1b[31m\"; `acctl ap list` shows those there are");
    EXPECT_EQ(refusal({""}), "there is no AP \"\"; `acctl ap list` shows those there are");
}

TEST(Order, is_always_the_same_for_equal_ones)
{
    std::vector<Ap> aps = {ap_called("b", 9), ap_called("a", 8), ap_called("a", 2)};
    aps[0].status = ApStatus::online;
    aps[1].radios = {{.clients = 1}};
    const auto order = [&](Order by) {
        sort_aps(aps, by);
        return std::vector<int>{aps[0].mac[5], aps[1].mac[5], aps[2].mac[5]};
    };
    EXPECT_EQ(order(Order::name), (std::vector{2, 8, 9}));
    EXPECT_EQ(order(Order::mac), (std::vector{2, 8, 9}));
    EXPECT_EQ(order(Order::status), (std::vector{9, 2, 8}));
    EXPECT_EQ(order(Order::clients), (std::vector{8, 2, 9}));
}

TEST(Label, names_an_ap_without_a_name_by_its_mac)
{
    EXPECT_EQ(label(fleet[0]), "lobby (02:00:00:00:00:01)");
    EXPECT_EQ(label(fleet[4]), "02:00:00:00:00:05");
    EXPECT_EQ(label(fleet[5]), "\\x1b[2J (02:00:00:00:00:06)");
}
