// wtpmasterd_door - the daemon with a door for tests: the same start, the same threads, and one more that takes
// commands on standard input and answers on descriptor 3, a line each.
//
//     item TYPE NUM_FLAG AP_NUM HEX    a work item of the control side        -> "ok RESULT"
//     update TYPE MAC HEX              a change to the table                  -> "ok RESULT"
//     delete MAC                       out of the table and off the flash     -> "ok RESULT"
//     joined MAC                       its protocol state, -1 for none        -> "ok STATE"
//     record MAC                       status, version and name of its record -> "ok STATUS VERSION HEXNAME", "ok -1"
//     stored MAC                       all of its record that the databases keep (door_stored.h)
//     rename TYPE NAME                 a new name for all records, a note of that type each -> "ok 0"
//     waiting                          notes for the flash thread             -> "ok NUMBER"
//     count                            records, those online                  -> "ok TOTAL ONLINE"
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_intake.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "acwtp_msg/acwtp_msg.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "door_stored.h"
#include "main/wtp_main.h"
#include "platform/ac_platform.h"

namespace {

constexpr int ANSWER_FD = 3;

std::vector<UINT8> from_hex(const char* hex)
{
    std::vector<UINT8> bytes;
    for (; hex[0] != '\0' && hex[1] != '\0'; hex += 2) {
        const char digits[3] = {hex[0], hex[1], '\0'};
        bytes.push_back(static_cast<UINT8>(strtoul(digits, nullptr, 16)));
    }
    return bytes;
}

std::string do_item(int type, int num_flag, int ap_num, std::vector<UINT8> bytes)
{
    ACWTP_MSG_TABLE item = {};
    item.type = static_cast<UINT16>(type);
    item.num_flag = static_cast<UINT16>(num_flag);
    item.ap_num = static_cast<UINT16>(ap_num);
    item.flags = CGI_MSG;
    item.length = static_cast<UINT32>(bytes.size());
    item.msg = reinterpret_cast<char*>(bytes.data());
    return std::to_string(acmsg_to_acprotocol(&item, MSG_ADD_TAIL));
}

std::string describe_record(const UINT8* mac)
{
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(mac);
    if (node == nullptr) return "-1";
    const CONFIG_APNAME& name = node->info_basic.apname;
    return std::to_string(ac_load(node->status)) + " " +
           std::to_string(apconfig_version_number(node->AP_config_version)) + " x" +
           to_hex(name.ap_name, std::min<std::size_t>(name.ap_name_length, sizeof name.ap_name));
}

std::string describe_joined(const UINT8* mac)
{
    ACWTP_JOIN_LIST entry;
    return std::to_string(acwtp_joined_copy(mac, &entry) ? entry.current_status : -1);
}

std::string describe_count()
{
    UINT32 total = 0;
    UINT32 online = 0;
    obtain_ap_num(&total, &online);
    return std::to_string(total) + " " + std::to_string(online);
}

std::string do_rename(int type, const std::string& name)
{
    ac_lock lock(g_apconfig_mutex);
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        CONFIG_APNAME& ap_name = node->info_basic.apname;
        ap_name.ap_name_length = static_cast<UINT8>(std::min<std::size_t>(name.size(), sizeof ap_name.ap_name));
        memcpy(ap_name.ap_name, name.data(), ap_name.ap_name_length);
        sql_flash_queue_in(type, 0, node->ethaddr);
    }
    return "0";
}

std::string describe_waiting()
{
    ac_lock lock(g_sql_flash_mutex);
    int notes = 0;
    for (const list_node* at = g_sql_flash_queue.next; at != &g_sql_flash_queue; at = at->next)
        notes++;
    return std::to_string(notes);
}

std::string answer_to(char* line)
{
    std::vector<char*> words;
    char* rest = nullptr;
    for (char* word = strtok_r(line, " \n", &rest); word != nullptr; word = strtok_r(nullptr, " \n", &rest))
        words.push_back(word);
    const std::size_t count = words.size();
    const std::string command = count > 0 ? words[0] : "";
    if (command == "item" && count >= 4)
        return do_item(atoi(words[1]), atoi(words[2]), atoi(words[3]), from_hex(count > 4 ? words[4] : ""));
    if (command == "count") return describe_count();
    if (command == "waiting") return describe_waiting();
    if (count < 2) return "what?";
    if (command == "rename" && count > 2) return do_rename(atoi(words[1]), words[2]);
    const std::vector<UINT8> mac = from_hex(command == "update" && count > 2 ? words[2] : words[1]);
    if (mac.size() != AC_MAC_LEN) return "bad mac";
    if (command == "update")
        return std::to_string(
            apconfig_mib_update(static_cast<UINT16>(atoi(words[1])), mac.data(), from_hex(count > 3 ? words[3] : "")));
    if (command == "delete") {
        delete_wtp_listinfo(mac.data());
        return std::to_string(apconfig_mib_node_del(mac.data(), 1));
    }
    if (command == "joined") return describe_joined(mac.data());
    if (command == "record") return describe_record(mac.data());
    if (command == "stored") return describe_stored(mac.data());
    return "what?";
}

void* door_thread(void* /*unused*/)
{
    char* line = nullptr;
    std::size_t size = 0;
    while (getline(&line, &size, stdin) > 0) {
        ac_reader section;
        const std::string answer = "ok " + answer_to(line) + "\n";
        if (write(ANSWER_FD, answer.data(), answer.size()) < 0) break;
    }
    free(line);
    return nullptr;
}

} // namespace

int main()
{
    platform_init();
    pthread_t thread;
    if (pthread_create(&thread, nullptr, door_thread, nullptr) != 0) return 1;
    return wtp_main();
}
