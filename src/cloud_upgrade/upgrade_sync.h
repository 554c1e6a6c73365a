// upgrade_sync - the lock and the semaphore of the upgrade queue.
#pragma once

#include <semaphore.h>

#include "common/ac_lock.h"

extern ac_mutex acwtp_upgrade_mutex;
extern sem_t upgrade_ctrl_sig;
