#include "ac_wtp_protocol/acwtp_thread.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "common/ac_alloc.h"
#include "platform/ac_platform.h"

ACWTP_THREAD_MEMPOOL g_ac_pthread[AC_WTP_THREAD_NUM];
ACWTPBool keep_loop = ACWTP_FALSE;
char g_sys_lang[32];
UINT8 g_ac_ip[4];
UINT8 g_ac_mask[4];
struct mac_addr g_ac_mac;
UINT8 _g_ac_mac[7];

static const char LOCAL_LOG[] = "/etc/ac_conf";
static std::atomic<int> g_pools_ready[AC_WTP_THREAD_NUM];

void acwtp_thread_row(ac_pthread row)
{
    g_ac_pthread[row].tid = pthread_self();
    g_ac_pthread[row].pid = getpid();
}

CWMemoryPool* acwtp_pool_record()
{
    return static_cast<CWMemoryPool*>(ac_malloc(sizeof(CWMemoryPool)));
}

void acwtp_pools_ready(ac_pthread row)
{
    g_pools_ready[row].store(1);
    g_pools_ready[row].notify_all();
}

void acwtp_pools_wait(ac_pthread row)
{
    g_pools_ready[row].wait(0);
}

void acwtp_sem_wait_all(sem_t* sem)
{
    while (sem_wait(sem) != 0) {
    } // a signal came: wait again
    while (sem_trywait(sem) == 0) {
    }
}

int hd_ac_local_log(const char* text)
{
    if (text == nullptr) return AC_RET_ERROR;
    const ac_path path(LOCAL_LOG);
    FILE* file = fopen(path.c_str(), "a+");
    if (file == nullptr) return AC_RET_ERROR;
    fputs(text, file);
    fclose(file);
    return AC_RET_OK;
}

int hd_ac_local_log_clear()
{
    const ac_path path(LOCAL_LOG);
    FILE* file = fopen(path.c_str(), "w+");
    if (file == nullptr) return AC_RET_ERROR;
    fclose(file);
    return AC_RET_OK;
}

void acwtp_thread_log(const char* before, const char* after)
{
    char line[128];
    snprintf(line, sizeof line, "%s pid:%d pthread_id:%d%s", before, static_cast<int>(getpid()),
             static_cast<int>(reinterpret_cast<std::uintptr_t>(reinterpret_cast<void*>(pthread_self()))), after);
    hd_ac_local_log(line);
}
