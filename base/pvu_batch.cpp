#include "base/pvu_batch.h"

#include <sched.h>

void pvu_batch_thread() {
    sched_param none = {};
    sched_setscheduler(0, SCHED_BATCH, &none);
}
