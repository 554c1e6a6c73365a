#include "ac_mib/sql_flash_queue.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ac_mib/apconfig.h"
#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

ac_mutex g_sql_flash_mutex("g_sql_flash_mutex", AC_RANK_SQL_FLASH);
// Ready before any thread or any other unit's start could use it.
constinit list_node g_sql_flash_queue = {&g_sql_flash_queue, &g_sql_flash_queue};
sem_t sql_flash_sig;

namespace {

constexpr unsigned int NOTE_BLOCKS = 1000;
constexpr unsigned int NOTE_BLOCK_SIZE = 64;

// Room for data that is put together for one statement.
union flash_scratch {
    sql_rf_data rf;
    int index;
};

// What sqlite_apconfig_update gets for a note; null: nothing is written.
typedef void* (*flash_prepare)(APCONFIG& record, int index, flash_scratch& scratch);

void* prepare_led(APCONFIG& record, int, flash_scratch&)
{
    return &record.info_basic.led_status;
}

void* prepare_status(APCONFIG& record, int, flash_scratch&)
{
    return &record.status;
}

void* prepare_ip(APCONFIG& record, int, flash_scratch&)
{
    return &record.info_basic.ip;
}

void* prepare_apname(APCONFIG& record, int, flash_scratch&)
{
    return &record.info_basic.apname;
}

CONFIG_WL_RF_LIST* rf_node_of(APCONFIG& record, int index)
{
    if (index < 0 || index >= AC_RADIO_MAX) return nullptr;
    return apconfig_find_rf_node(&record.list_rf, static_cast<UINT8>(index));
}

void* prepare_rf(APCONFIG& record, int index, flash_scratch& scratch)
{
    const CONFIG_WL_RF_LIST* node = rf_node_of(record, index);
    if (node == nullptr) {
        AC_ERR("index:%d", index);
        return nullptr;
    }
    scratch.rf.rf = node->rf;
    memcpy(scratch.rf.wl_rf_name, record.p_wl_rf_policy_name[index], AC_NAME_LEN);
    return &scratch.rf;
}

void* prepare_wl_basic(APCONFIG& record, int index, flash_scratch&)
{
    CONFIG_WL_BASIC_LIST* node = apconfig_find_wlbasic_node(&record.list_wl, static_cast<UINT8>(index & 0xFF));
    return node == nullptr ? nullptr : &node->wl_basic;
}

void* prepare_reboot(APCONFIG& record, int, flash_scratch&)
{
    return &record.info_reboot;
}

void* prepare_alarm(APCONFIG& record, int, flash_scratch&)
{
    return &record.info_alarm;
}

void* prepare_version(APCONFIG& record, int, flash_scratch&)
{
    return record.AP_config_version;
}

void* prepare_alarm_event(APCONFIG& record, int, flash_scratch&)
{
    return &record.info_event;
}

void* prepare_alarm_name(APCONFIG& record, int, flash_scratch&)
{
    return record.p_alarm_name;
}

void* prepare_reboot_name(APCONFIG& record, int, flash_scratch&)
{
    return record.p_reboot_name;
}

void* prepare_record(APCONFIG& record, int, flash_scratch&)
{
    return &record;
}

void* prepare_channel(APCONFIG& record, int index, flash_scratch&)
{
    CONFIG_WL_RF_LIST* node = rf_node_of(record, index);
    if (node != nullptr) return &node->rf;
    AC_ERR("");
    return nullptr;
}

void* prepare_index(APCONFIG&, int index, flash_scratch& scratch)
{
    scratch.index = index;
    return &scratch.index;
}

void* prepare_password_name(APCONFIG& record, int, flash_scratch&)
{
    return record.p_pass_name;
}

void* prepare_qvlan_name(APCONFIG& record, int, flash_scratch&)
{
    return record.p_qvlan_name;
}

void* prepare_wl_deploy_name(APCONFIG& record, int, flash_scratch&)
{
    return record.p_wl_deploy_name;
}

// The record is written whole instead of by a group of its fields.
void* prepare_whole(APCONFIG& record, int, flash_scratch&)
{
    (void)sqlite_apconfig_add(&record); // always 0
    return nullptr;
}

struct FLASH_ROW {
    config_sql_type type;
    flash_prepare prepare;
};

constexpr FLASH_ROW g_flash_rows[] = {
    {CONFIG_SQL_LED, prepare_led},
    {CONFIG_SQL_STATUS, prepare_status},
    {CONFIG_SQL_IP, prepare_ip},
    {CONFIG_SQL_APNAME, prepare_apname},
    {CONFIG_SQL_RF, prepare_rf},
    {CONFIG_SQL_WL_BASIC, prepare_wl_basic},
    {CONFIG_SQL_REBOOT, prepare_reboot},
    {CONFIG_SQL_ALARM, prepare_alarm},
    {CONFIG_SQL_VERSION, prepare_version},
    {CONFIG_SQL_ALARM_EVENT, prepare_alarm_event},
    {CONFIG_SQL_ALARM_NAME, prepare_alarm_name},
    {CONFIG_SQL_REBOOT_NAME, prepare_reboot_name},
    {CONFIG_SQL_ADD_AP, prepare_whole},
    {CONFIG_SQL_WLRF, prepare_record},
    {CONFIG_SQL_ADVANCE, prepare_record},
    {CONFIG_SQL_CLI_LIMIT, prepare_wl_basic},
    {CONFIG_SQL_CHANNEL, prepare_channel},
    {CONFIG_SQL_WL_POLICY_NAME, prepare_index},
    {CONFIG_SQL_PASSWORD_NAME, prepare_password_name},
    {CONFIG_SQL_QVLAN_NAME, prepare_qvlan_name},
    {CONFIG_SQL_WL_DEPLOY_NAME, prepare_wl_deploy_name},
};

void write_group(APCONFIG& record, const SQL_FLASH_QUEUE& note)
{
    for (const FLASH_ROW& row : g_flash_rows) {
        if (row.type != note.type) continue;
        flash_scratch scratch = {};
        void* data = row.prepare(record, note.index, scratch);
        if (data != nullptr) (void)sqlite_apconfig_update(note.type, note.ethaddr, data); // it has printed its line
        return;
    }
    AC_ERR(" write flash msg_type err");
}

// false where the AP has no record any more.
bool write_record(const SQL_FLASH_QUEUE& note)
{
    const ac_lock lock(g_apconfig_mutex);
    APCONFIG* record = apconfig_hnode_find_locked(note.ethaddr);
    if (record == nullptr) return false;
    if (record->sql_flag == 0) {
        record->sql_flag = 1;
        (void)sqlite_apconfig_add(record); // always 0
    } else
        write_group(*record, note);
    return true;
}

void handle_note(const SQL_FLASH_QUEUE& note)
{
    const ac_reader reader;
    if (note.type == CONFIG_SQL_DELETE_AP) {
        (void)sqlite_apconfig_del(note.ethaddr); // it has printed its lines; rows left over are met at the next start
        return;
    }
    if (write_record(note)) return;
    AC_ERR("-type=[%d]--[%02x:%02x:%02x:%02x:%02x:%02x]--error\n", note.type, AC_MAC_ARGS(note.ethaddr));
}

list_node* next_note(list_node* node)
{
    const ac_lock lock(g_sql_flash_mutex);
    return node->next;
}

UINT32 g_notes_lost AC_GUARDED_BY(g_sql_flash_mutex); // since the queue was last full, for want of room

unsigned int blocks_out(const CWMemoryPool* pool)
{
    return pool->blockCount - pool->freeCount; // right also where freeCount has wrapped, as it does when the pool grows
}

// Gives the block back; how many notes were lost, once the queue has room again.
UINT32 release_note(list_node* node)
{
    const ac_lock lock(g_sql_flash_mutex);
    CWMemoryPool* pool = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    list_del(node);
    CWPool_free(pool, list_entry(node, SQL_FLASH_QUEUE, list));
    if (blocks_out(pool) > SQL_FLASH_NOTES_MAX / 2) return 0;
    return std::exchange(g_notes_lost, 0);
}

void spend_note(list_node* node)
{
    const UINT32 lost = release_note(node);
    if (lost != 0) AC_ERR("%u notes lost\n", lost);
}

struct flash_block {
    SQL_FLASH_QUEUE* note; // null: none can be had
    bool silent;           // the loss of earlier notes has been reported and the queue is still full
};

flash_block take_block(int type)
{
    const ac_lock lock(g_sql_flash_mutex);
    CWMemoryPool* pool = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    if (pool == nullptr) return {nullptr, false};
    const unsigned int kept = type == CONFIG_SQL_DELETE_AP ? 0 : SQL_FLASH_NOTES_KEPT;
    if (blocks_out(pool) < SQL_FLASH_NOTES_MAX - kept)
        return {static_cast<SQL_FLASH_QUEUE*>(CWPool_alloc(pool, 0)), false};
    errno = ENOMEM;
    return {nullptr, g_notes_lost++ != 0};
}

template <typename Link> void free_nodes(list_node* head)
{
    while (!list_empty(head)) {
        list_node* node = head->next;
        list_del(node);
        ac_retire(list_entry(node, Link, list));
    }
}

} // namespace

int sql_flash_queue_in(int type, int index, const UINT8* ethaddr)
{
    acwtp_pools_wait(PTHREAD_AC_SQL);
    const auto [note, silent] = take_block(type);
    if (note == nullptr) {
        if (!silent) perror("malloc"); // a flood must not become one of lines
        return AC_RET_ERROR;
    }
    note->type = type;
    note->index = index;
    memcpy(note->ethaddr, ethaddr, AC_MAC_LEN);
    {
        const ac_lock lock(g_sql_flash_mutex);
        list_add_tail(&note->list, &g_sql_flash_queue);
    }
    sem_post(&sql_flash_sig);
    return AC_RET_OK;
}

void sql_flash_queue_out()
{
    for (list_node* node = next_note(&g_sql_flash_queue); node != &g_sql_flash_queue;) {
        list_node* next = next_note(node); // what comes behind it from here on waits for its own post
        handle_note(*list_entry(node, SQL_FLASH_QUEUE, list));
        spend_note(node);
        ac_mutex_let_in(g_apconfig_mutex); // or this thread would mostly be the first to have it again
        node = next;
    }
}

bool sql_flash_pools_make()
{
    ACWTP_THREAD_MEMPOOL& row = g_ac_pthread[PTHREAD_AC_SQL];
    if (row.mempool == nullptr) {
        CWMemoryPool* pool = acwtp_pool_record();
        if (pool == nullptr) return false;
        CWPool_init(pool, NOTE_BLOCKS, NOTE_BLOCK_SIZE);
        row.mempool = pool;
        row.mempool_1 = nullptr;
    }
    acwtp_pools_ready(PTHREAD_AC_SQL);
    return true;
}

void* thread_write_flash(void*)
{
    acwtp_thread_row(PTHREAD_AC_SQL);
    acwtp_thread_log("thread_write_flash", "\n");
    if (!sql_flash_pools_make()) {
        perror("malloc");
        exit(1);
    }
    for (;;) {
        acwtp_sem_wait_all(&sql_flash_sig);
        sql_flash_queue_out();
    }
}

void free_list_node(APCONFIG* node)
{
    free_nodes<CONFIG_WL_RF_LIST>(&node->list_rf);
    free_nodes<CONFIG_WL_BASIC_LIST>(&node->list_wl);
}
