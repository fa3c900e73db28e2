#include "forward/forward_base.h"

int CTForwardBase::Start(CTNetDevice& device, CTSstpPort& port) {
    m_device = &device;
    m_port = &port;
    return StartThread();
}

int CTForwardBase::StartThread() {
    m_running = 1;
    if (m_thread.Start(ThreadEntry, this)) return 1;
    m_running = 0;
    return 0;
}

void CTForwardBase::StopThread() {
    if (!IsRunning()) return;
    m_running = 0;
    m_thread.Stop();
}

void* CTForwardBase::ThreadEntry(void* forwarder) {
    static_cast<CTForwardBase*>(forwarder)->DoneLoop();
    return nullptr;
}
