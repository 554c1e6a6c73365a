#include "main/wtp_main.h"

#include <malloc.h>
#include <pthread.h>
#include <semaphore.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_ip_check/ac_ip_check.h"
#include "ac_mib/apconfig.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_load.h"
#include "ac_sql/sqlite_schema.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/acwtp_msged.h"
#include "cgi_socket_handle/acmsg_server.h"
#include "cloud_upgrade/upgrade_sync.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"

static const char UNIT_NAME[] = "main";
static const char LANGUAGE_FILE[] = "/var/sys_lang";
static constexpr unsigned int IDLE_SECONDS = 3;

static const std::array<ac_mutex*, 3> g_main_mutexes = {&acwtp_mutex, &acwtp_msged_mutex, &acwtp_upgrade_mutex};
static const std::array<sem_t*, 5> g_main_semaphores = {&sem_protocol, &udp_sem_sig, &udp_discvr_sem_sig,
                                                        &sql_flash_sig, &upgrade_ctrl_sig};

int get_ac_language_file(UINT8* buf)
{
    const ac_path path(LANGUAGE_FILE);
    FILE* file = fopen(path.c_str(), "r");
    if (file == nullptr) {
        printf("****************************************\n");
        return -1;
    }
    char line[32] = {};
    const bool read = fgets(line, sizeof line, file) != nullptr;
    fclose(file);
    static constexpr char nothing[4] = {};
    if (read && memcmp(line, nothing, sizeof nothing) != 0)
        memcpy(buf, line, sizeof line); // as it stands, a line end included
    else
        memcpy(buf, "cn", sizeof "cn");
    return 0;
}

static void make_locks_and_semaphores()
{
    for (ac_mutex* mutex : g_main_mutexes)
        ac_mutex_init(*mutex);
    for (sem_t* semaphore : g_main_semaphores)
        sem_init(semaphore, 0, 0);
}

static void wait_for_network()
{
    char text[24] = {};
    while (check_network(text) <= 0)
        ac_sleep(1);
    printf("[acwtp]%s check network %s success\n", UNIT_NAME, text);
}

// Each failure is printed and the start goes on.
static void open_and_load_database()
{
    if (sqlite_init() != AC_RET_OK) AC_ERR("sqlite init error\n");
    if (sqlite_create_table() != AC_RET_OK) AC_ERR("table create error\n");
    if (sqlite_logs_init() != AC_RET_OK) AC_ERR("sqlite log init error\n");
    if (load_apconfig_from_flash() != AC_RET_OK) AC_ERR("load config err.\n");
}

static pthread_t acmsg_protocol_id; // the control thread; never joined

static void start_thread(pthread_t* thread, void* (*entry)(void*))
{
    if (pthread_create(thread, nullptr, entry, nullptr) == 0) return;
    AC_ERR("Create acmsg pthread error.\n");
    exit(1);
}

static void destroy_pool(CWMemoryPool*& pool)
{
    if (pool != nullptr) CWPool_destroy(pool);
}

void destroy_mempools()
{
    CWMemoryPool** const pools[] = {
        &g_ac_pthread[PTHREAD_AC_SQL].mempool,
        &g_ac_pthread[PTHREAD_UDP_QUEUE].mempool,
        &g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1,
        &g_ac_pthread[PTHREAD_DISCORVER].mempool_1,
    };
    for (CWMemoryPool** pool : pools)
        destroy_pool(*pool);
    for (CWMemoryPool** pool : pools) {
        ac_free(*pool);
        *pool = nullptr;
    }
}

static int stop_sequence()
{
    for (ac_mutex* mutex : g_main_mutexes)
        ac_mutex_destroy(*mutex);
    for (sem_t* semaphore : g_main_semaphores)
        sem_destroy(semaphore);
    acwtp_msg_list_del_all();
    acwtp_msged_list_del_all();
    apconfig_del_all();
    acwtp_join_list_del_all();
    (void)sqlite_exit();      // always 0
    (void)sqlite_logs_exit(); // nothing is left to be done about a failure
    destroy_mempools();
    return 0;
}

int wtp_main()
{
    make_locks_and_semaphores();
    apconfig_htable_init();
    acwtp_joined_htable_init();
    (void)hd_ac_local_log_clear(); // a log that can't be emptied is no reason not to start
    init_core_dump();
    setup_signals();
    mallopt(M_TRIM_THRESHOLD, 0);
    mallopt(M_MMAP_THRESHOLD, 2048);
    wait_for_network();
    (void)get_ac_language_file(reinterpret_cast<UINT8*>(g_sys_lang)); // without the file the language stays empty
    open_and_load_database();
    // Clients that were online when the last run ended are closed here.
    keep_loop = ACWTP_TRUE;
    start_thread(&acmsg_protocol_id, acmsg_cgi_thread);
    pthread_t flash_thread;
    start_thread(&flash_thread, thread_write_flash);
    // The default adverts, the portal's limits and its files for the web root have their place here.
    (void)ac_main(0, nullptr); // -1: the control and flash threads go on without an AP protocol
    while (keep_loop == ACWTP_TRUE)
        ac_sleep(IDLE_SECONDS);
    return stop_sequence();
}

static int fill_local_addresses()
{
    if (get_local_ip(g_ac_ip) != 0) {
        AC_ERR("get local ac ip is error.\n");
        return -1;
    }
    if (get_local_mask(g_ac_mask) != 0) {
        AC_ERR("get local ac mask is error.\n");
        return -1;
    }
    if (get_local_mac(&g_ac_mac) != 0) {
        AC_ERR("get mac address failure!");
        return -1;
    }
    return 0;
}

static int start_protocol_threads()
{
    if (create_discovery_thread() != 1) {
        AC_ERR("create discovery thread is fail and exit.\n");
        return -1;
    }
    if (create_manage_thread() != 1) {
        AC_ERR("create manage thread is fail and exit.\n");
        return -1;
    }
    // The upgrade thread is created between these two.
    if (create_echo_thread() != 1) {
        AC_ERR("create echo thread is fail and exit.\n");
        return -1;
    }
    return 0;
}

int ac_main(int /*argc*/, char** /*argv*/)
{
    if (fill_local_addresses() != 0) return -1;
    // The switch's port isolation is set here.
    if (start_protocol_threads() != 0) return -1;
    // The portal's NAT rule for g_ac_ip goes in here.
    for (;;) {
        acwtp_sem_wait_all(&sem_protocol);
        acprotocol_signal_handle();
    }
}
