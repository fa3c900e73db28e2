#pragma once

#include <atomic>
#include <cstdint>

#include "base/pvu_pulse.h"
#include "base/pvu_rwlock.h"
#include "base/pvu_thread.h"
#include "base/pvu_thread_safety.h"
#include "forward/peer_traffic.h"

class CTNetDevice;
class CTP2pConnectList;
class CTSdwanSubnet;
class CTSstpPort;

// What both forwarders are made of: a thread, and references to the device, the tunnel port, the
// network model and the peer list, none of them owned. The system object owns the forwarders and
// sets everything before Start; the main thread starts and stops them.
//
// The model and the peer list take no lock of their own. The two forwarders share one: outgress
// holds it for reading during its look-up, ingress for writing while it changes the model or walks
// the peer list, so that no router is read after a command deleted it.
class CTForwardBase {
  public:
    CTForwardBase(const CTForwardBase&) = delete;
    CTForwardBase& operator=(const CTForwardBase&) = delete;

    void SetExternalSubnet(CTSdwanSubnet& subnet) { m_subnet = &subnet; }
    void SetP2PConnectList(CTP2pConnectList& peers) { m_peers = &peers; }
    // The lock shared with the other forwarder; each has one of its own until then.
    void SetModelLock(CTReadWriteLock& lock) { m_lock = &lock; }
    // Where both count their packets; each has counts of its own until then.
    void SetPeerTraffic(CTPeerTraffic& traffic) { m_traffic = &traffic; }

    // 1 when the thread runs, else 0.
    int Start(CTNetDevice& device, CTSstpPort& port);
    // Of the thread. Any thread.
    const CTPulse& GetPulse() const { return m_pulse; }

  protected:
    CTForwardBase() = default;
    ~CTForwardBase() = default;

    bool IsRunning() const { return m_running == 1; }
    // Whether everything that the loop needs is there.
    bool IsComplete() const { return m_port && m_device && m_subnet && m_peers; }
    int StartThread();
    void StopThread();

    // The model and the peers for reading, by whoever holds the lock, and for changing them.
    const CTSdwanSubnet& GetSubnet() const PVU_REQUIRES_SHARED(*m_lock) { return *m_subnet; }
    const CTP2pConnectList& GetPeers() const PVU_REQUIRES_SHARED(*m_lock) { return *m_peers; }
    CTSdwanSubnet& EditSubnet() PVU_REQUIRES(*m_lock) { return *m_subnet; }
    CTP2pConnectList& EditPeers() PVU_REQUIRES(*m_lock) { return *m_peers; }

    // The thread's body.
    virtual void DoneLoop() = 0;

    CTThread m_thread;
    CTPulse m_pulse;  // beats in every turn of the loop
    std::atomic<uint8_t> m_running{0};
    CTSstpPort* m_port = nullptr;
    CTNetDevice* m_device = nullptr;
    CTReadWriteLock* m_lock = &m_own_lock;
    CTPeerTraffic* m_traffic = &m_own_traffic;

  private:
    static void* ThreadEntry(void* forwarder);

    CTSdwanSubnet* m_subnet PVU_PT_GUARDED_BY(*m_lock) = nullptr;
    CTP2pConnectList* m_peers PVU_PT_GUARDED_BY(*m_lock) = nullptr;

    CTReadWriteLock m_own_lock;
    CTPeerTraffic m_own_traffic;
};
