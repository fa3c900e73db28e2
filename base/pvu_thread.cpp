#include "base/pvu_thread.h"

#include <pthread.h>

#include <cerrno>

#include "base/pvu_sleep.h"
#include "base/pvu_tick.h"

int pvu_thread_start(unsigned long* handle, void* (*fn)(void*), void* arg) {
    if (!handle) return EINVAL;
    return pthread_create(handle, nullptr, fn, arg);
}

int pvu_thread_stop(unsigned long handle) {
    return pthread_join(handle, nullptr);
}

bool CTThread::Start(void* (*fn)(void*), void* arg) {
    if (pvu_thread_start(&m_handle, fn, arg) != 0) return false;
    m_started = true;
    return true;
}

void CTThread::Stop() {
    if (!m_started) return;
    m_started = false;
    pvu_thread_stop(m_handle);
}

void CTThread::Sleep(int ms) {
    pvu_msleep(static_cast<unsigned>(ms));
}

void CTThread::SleepUs(int us) {
    pvu_usleep(static_cast<unsigned>(us));
}

uint32_t CTThread::GetCurrentTick() {
    return static_cast<uint32_t>(pvu_get_current_tick());
}
