// The daemon dies at any moment, and what it had committed is what it starts with.
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>

#include "common/config_ap_type.h"
#include "site.h"

using namespace std::chrono_literals;

namespace {

constexpr std::size_t APS = 100;
constexpr int SCALE = WTP_CRASH_SCALE;
constexpr int LONGEST_LIFE_MS = 250; // with changes, before a kill
constexpr UINT32 SEED = 20231114;

// WTP_CRASH_KILLS in the environment, else the build's number.
int kills_wanted()
{
    const char* text = getenv("WTP_CRASH_KILLS");
    return text != nullptr ? atoi(text) : WTP_CRASH_KILLS;
}

std::string mac_text(const Mac& mac)
{
    char text[18];
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

// A database of its own, opened beside the daemon or after its end.
class File {
public:
    explicit File(const std::string& path)
    {
        EXPECT_EQ(sqlite3_open_v2(path.c_str(), &handle_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK) << path;
        sqlite3_busy_timeout(handle_, static_cast<int>(PATIENCE.count()));
    }
    ~File() { sqlite3_close(handle_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    template <typename Row> void each(const std::string& sql, Row&& row) const
    {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(handle_);
        int ret = SQLITE_DONE;
        while (statement != nullptr && (ret = sqlite3_step(statement)) == SQLITE_ROW)
            row(statement);
        EXPECT_EQ(ret, SQLITE_DONE) << sqlite3_errmsg(handle_);
        sqlite3_finalize(statement);
    }
    std::string value(const std::string& sql) const
    {
        std::string text;
        each(sql, [&](sqlite3_stmt* row) { text = reinterpret_cast<const char*>(sqlite3_column_text(row, 0)); });
        return text;
    }

private:
    sqlite3* handle_ = nullptr;
};

// One row in the form of door_stored.h.
struct RowText {
    sqlite3_stmt* row;
    int column;
    std::string text = {};

    RowText(sqlite3_stmt* a_row, int first_column) : row(a_row), column(first_column) {}

    void bytes(int count, int width) // a whole number as a field of `width` bytes holds it
    {
        for (; count > 0; count--) {
            const auto value = static_cast<UINT32>(sqlite3_column_int64(row, column++));
            text += std::to_string(width == 1 ? value & 0xFF : width == 2 ? value & 0xFFFF : value) + "|";
        }
    }
    void field()
    {
        const void* content = sqlite3_column_text(row, column);
        text += hex(content, static_cast<std::size_t>(sqlite3_column_bytes(row, column++))) + "|";
    }
};

struct StoredAp {
    std::string basic;
    std::string ssids;  // the last row first, as a load lists them
    std::string radios; // likewise
    int ssid_rows = 0;
    std::string text() const { return basic + ssids + radios; }
};

std::string basic_of(sqlite3_stmt* row)
{
    RowText out(row, 1); // behind apmac
    out.bytes(2, 1);
    out.bytes(5, 4);
    for (int i = 0; i < 2; i++) { // apname, version
        out.field();
        out.bytes(1, 1);
    }
    out.bytes(2, 1);
    out.bytes(1, 2);
    out.bytes(2, 1);
    out.bytes(1, 4);
    out.bytes(1, 1);
    out.field();
    out.field();
    out.bytes(1, 2);
    out.bytes(1, 1);
    out.bytes(1, 4);
    out.field();
    out.field();
    out.bytes(1, 2);
    out.column++; // status: a load takes every AP for offline
    out.field();
    out.field();
    out.bytes(1, 4);
    out.field();
    out.field();
    out.bytes(1, 4);
    out.field();
    return out.text;
}

std::string ssid_of(sqlite3_stmt* row)
{
    RowText out(row, 1);
    out.bytes(3, 1);
    out.bytes(1, 2);
    out.field();
    out.bytes(3, 1);
    out.field();
    out.bytes(1, 1);
    out.bytes(1, 4);
    out.column = 29; // wl_basic_name
    out.field();
    return out.text;
}

// `last` is the last row of the radio: its policy name is the one that a load keeps.
std::string radio_of(sqlite3_stmt* row, const std::string& name)
{
    RowText out(row, 13);
    out.bytes(7, 1);
    out.column = 21; // behind ssid_en
    out.bytes(3, 1);
    out.bytes(4, 2);
    out.field();
    return out.text + name + "|";
}

// What the next start must load, by MAC.
std::map<std::string, StoredAp> stored_in(const File& file)
{
    std::map<std::string, StoredAp> aps;
    const auto text_at = [](sqlite3_stmt* row, int column) {
        return std::string(reinterpret_cast<const char*>(sqlite3_column_text(row, column)));
    };
    file.each("select * from ap_basic", [&](sqlite3_stmt* row) {
        EXPECT_EQ(sqlite3_column_count(row), 35);
        StoredAp& ap = aps[text_at(row, 0)];
        EXPECT_EQ(ap.basic, "") << text_at(row, 0) << " has two rows";
        ap.basic = basic_of(row);
    });
    std::map<std::string, std::string> radio_names; // by MAC and radio
    const auto radio_key = [&](sqlite3_stmt* row) {
        return text_at(row, 0) + (sqlite3_column_int(row, 1) < 8 ? "/0" : "/1");
    };
    file.each("select * from ap_ssid", [&](sqlite3_stmt* row) {
        RowText name(row, 30);
        name.field();
        name.text.pop_back();
        radio_names[radio_key(row)] = name.text;
    });
    file.each("select * from ap_ssid", [&](sqlite3_stmt* row) {
        EXPECT_EQ(sqlite3_column_count(row), 31);
        ASSERT_NE(aps.find(text_at(row, 0)), aps.end()) << "an SSID of no AP would stop the load";
        StoredAp& ap = aps[text_at(row, 0)];
        ap.ssids = ";" + ssid_of(row) + ap.ssids;
        ap.ssid_rows++;
        const int ssid_id = sqlite3_column_int(row, 1);
        if (ssid_id == 0 || ssid_id == 8) ap.radios = ";" + radio_of(row, radio_names[radio_key(row)]) + ap.radios;
    });
    return aps;
}

class CrashSite {
public:
    CrashSite() : daemon(SCALE), random_(SEED)
    {
        daemon.start();
        fleet = std::make_unique<apsim::Fleet>(fleet_options(daemon, APS));
    }

    int draw(int below) { return static_cast<int>(random_() % static_cast<UINT32>(below)); }

    // Names with quotes, channels and deletions at random, while the fleet goes on.
    void live_with_changes(std::chrono::milliseconds real)
    {
        const auto until = std::chrono::steady_clock::now() + real;
        while (std::chrono::steady_clock::now() < until) {
            const Mac mac = mac_of(*fleet, static_cast<std::size_t>(draw(APS)));
            const int what = draw(20);
            if (what == 0)
                daemon.remove(mac);
            else if (what < 6)
                daemon.update(SET_AP_CHANNEL, mac, {0, 0, static_cast<unsigned char>(draw(13))});
            else
                daemon.update(SET_AP_REMARK_REQ, mac, ap_name("it's '" + std::to_string(draw(100000))));
            fleet->run_for(1ms);
        }
    }

    // Joins begin anew after each start; this moment may fall among them.
    void live_until_a_random_moment()
    {
        if (draw(2) == 0) {
            const auto enough = static_cast<std::size_t>(draw(APS));
            ASSERT_TRUE(
                fleet->run_until([&] { return fleet->stats().in_state(apsim::ApState::running) >= enough; }, PATIENCE));
            fleet->run_for(std::chrono::milliseconds(draw(20)));
        } else {
            ASSERT_TRUE(all_run(daemon, *fleet)) << daemon.log();
            live_with_changes(std::chrono::milliseconds(draw(LONGEST_LIFE_MS)));
        }
    }

    // Looks at copies of both files, journals included: the daemon itself shall be the one to mend the originals.
    std::map<std::string, StoredAp> look_at_files()
    {
        namespace fs = std::filesystem;
        if (fs::exists(daemon.root() + "/mnt/l_brcmnand/Wlc_database.db-journal")) inside_statements_++;
        const fs::path copy = daemon.root() + "/look";
        fs::remove_all(copy);
        std::map<std::string, StoredAp> aps;
        for (const char* place : {"l_brcmnand", "s_brcmnand"}) {
            fs::create_directories(copy / place);
            fs::copy(daemon.root() + "/mnt/" + place, copy / place, fs::copy_options::recursive);
            const File file(copy / place / "Wlc_database.db");
            EXPECT_EQ(file.value("pragma integrity_check"), "ok") << place;
            if (place[0] == 'l') aps = stored_in(file);
        }
        return aps;
    }

    void check_loaded(const std::map<std::string, StoredAp>& stored)
    {
        EXPECT_EQ(daemon.count()[0], static_cast<int>(stored.size()));
        for (std::size_t i = 0; i < APS; i++) {
            const Mac mac = mac_of(*fleet, i);
            const auto found = stored.find(mac_text(mac));
            EXPECT_EQ(daemon.ask("stored " + hex(mac)), found == stored.end() ? "-1" : found->second.text());
            if (found == stored.end()) continue;
            // One statement writes them and one deletes them.
            const auto all = static_cast<int>(fleet->ap(i).config().ssids.size());
            EXPECT_TRUE(found->second.ssid_rows == 0 || found->second.ssid_rows == all) << found->second.ssid_rows;
        }
    }

    bool all_rows_stand()
    {
        const File file(daemon.root() + "/mnt/l_brcmnand/Wlc_database.db");
        std::size_t ssids = 0;
        for (std::size_t i = 0; i < APS; i++)
            ssids += fleet->ap(i).config().ssids.size();
        return file.value("select count(*) from ap_basic") == std::to_string(APS) &&
               file.value("select count(*) from ap_ssid") == std::to_string(ssids);
    }

    Daemon daemon;
    std::unique_ptr<apsim::Fleet> fleet;

    int inside_statements() const { return inside_statements_; }

private:
    std::mt19937 random_;
    int inside_statements_ = 0; // kills that left a journal behind
};

} // namespace

TEST(Crash, killed_at_any_moment_it_starts_with_what_was_committed_and_its_aps_come_back)
{
    const int kills = kills_wanted();
    printf("seed %u, %d kills\n", SEED, kills);
    CrashSite site;
    std::size_t loaded = 0;
    for (int kill = 0; kill < kills && !::testing::Test::HasFailure(); kill++) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        ASSERT_NO_FATAL_FAILURE(site.live_until_a_random_moment());
        ASSERT_TRUE(site.daemon.running()) << site.daemon.log();
        site.daemon.stop(SIGKILL);
        const auto stored = site.look_at_files();
        loaded += stored.size();
        ASSERT_NO_FATAL_FAILURE(site.daemon.start());
        site.check_loaded(stored);
    }
    printf("%d kills fell into a statement\n", site.inside_statements());
    EXPECT_GT(loaded, 0u);
    ASSERT_TRUE(all_run(site.daemon, *site.fleet)) << site.daemon.log();
    EXPECT_TRUE(site.fleet->run_until([&] { return site.all_rows_stand(); }, PATIENCE))
        << "an AP that a kill left without its SSIDs gets them at its next join";
}
