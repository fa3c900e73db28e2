#include "base/pvu_thread_worker.h"

#include <pthread.h>
#include <sched.h>

#include "base/pvu_thread.h"

bool CTThreadWorker::Start() {
    return pvu_thread_start(&m_handle, pvu_thread_func_wrapper, this) == 0;
}

int CTThreadWorker::Stop() {
    return pvu_thread_stop(m_handle);
}

unsigned long CTThreadWorker::GetID() {
    return pthread_self();
}

int CTThreadWorker::SetPriority(int prio) {
    sched_param param = {};
    param.sched_priority = prio;
    return pthread_setschedparam(m_handle, SCHED_OTHER, &param);
}

void* CTThreadWorker::pvu_thread_func_wrapper(void* worker) {
    if (worker) static_cast<CTThreadWorker*>(worker)->ThreadBody();
    return nullptr;
}
