#include "cloud_upgrade/upgrade_sync.h"

ac_mutex acwtp_upgrade_mutex("acwtp_upgrade_mutex", AC_RANK_UPGRADE);
sem_t upgrade_ctrl_sig;
