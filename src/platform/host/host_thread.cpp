#include <pthread.h>
#include <sched.h>

#include "platform/ac_platform.h"

void ac_thread_in_batches()
{
    const struct sched_param unused = {};
    // Needs no privilege; a kernel that does not know the policy leaves the thread as it is.
    (void)pthread_setschedparam(pthread_self(), SCHED_BATCH, &unused);
}
