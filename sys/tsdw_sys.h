#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "base/pvu_counter.h"
#include "base/pvu_rwlock.h"
#include "base/pvu_sockaddr.h"
#include "base/pvu_string.h"
#include "base/pvu_thread_safety.h"
#include "base/pvu_version.h"
#include "base/pvu_watchdog.h"
#include "cfg/sys_cfg.h"
#include "forward/forward_ingress.h"
#include "forward/forward_outgress.h"
#include "forward/net_adapter.h"
#include "forward/net_device.h"
#include "inet/xmit_pkt_pool.h"
#include "sdwan/sdwan_router.h"
#include "sdwan/sdwan_subnet.h"
#include "seal/seal_key.h"
#include "sstp/p2p_connect_list.h"
#include "sstp/sstp_connect.h"
#include "sstp/sstp_port.h"
#include "sys/edge_control.h"
#include "sys/rejoin_schedule.h"

class CTSstpMessage;

// The system object: owns every long-lived component of the edge for the life of the process,
// joins and leaves the overlay, and starts and stops the components in order. The program has one,
// built before main; a test may build its own. Every operation is the main thread's, but for
// signal_handler, ForceQuit and what is said to be another's.
class CTsdwSys {
  public:
    CTsdwSys();
    CTsdwSys(const CTsdwSys&) = delete;
    CTsdwSys& operator=(const CTsdwSys&) = delete;
    static CTsdwSys* GetInstance() { return &m_sys; }

    // ---- The program's (tsdw_sys.cpp) ----

    CTVersion& GetVersion() { return m_version; }
    void SetConfigFile(CTString& path) { m_config_file = path; }
    // A start waits for the central router, as long as it takes, instead of failing without it: for
    // a service manager, to which the edge is up once it has its interface.
    void WaitForCentralRouter() { m_waits_for_router = true; }
    // Runs until a quit is requested; the process exit status, 0 after an orderly stop and 1 when
    // the start failed.
    int MainLoop();
    // Requests the stop. Any thread or signal handler; never taken back.
    void ForceQuit() { m_quit = 1; }
    // SIGINT and SIGTERM request the stop, SIGUSR1 the status. Calls nothing that is not safe in a
    // signal handler.
    static void signal_handler(int sig);
    void init_object();

    // ---- The steps of the main loop ----

    // tsdw_sys_start.cpp: start and stop. A start that fails undoes what it did, logs a line and
    // gives false.
    bool Start();
    bool Init();
    void Stop();
    void DeInit();

    // tsdw_sys_status.cpp: counters, queue depths and their high-water marks, to standard output
    // and, as a daemon has none, to "tamvo.stat" in the working directory.
    void PrintStatus();
    // tsdw_sys_rejoin.cpp: one look of the main loop at the heartbeats. Joins again when it is
    // time, which takes as long as a join, or a receive time-out more once a quit is requested; a
    // join that fails changes nothing but the identifier, if a new one was given.
    void KeepJoined();

    // tsdw_sys_snapshot.cpp: from StartControl, after a start, or in one that waits for the central
    // router, to StopControl, before the stop, operators are answered on the control socket; where
    // it cannot be had, one line says why.
    void StartControl();
    void StopControl() { m_control_server.Stop(); }

    // ---- The control server's thread ----

    // The state, but for the rates, which the asker knows.
    void TakeSnapshot(CTEdgeSnapshot& snapshot) PVU_EXCLUDES(m_identity_mutex, m_model_lock);
    const CTPeerTraffic& GetPeerTraffic() const { return m_peer_traffic; }
    // Open where the edge speaks through sealed channels; the same from then on.
    const CTSealKey& GetSealKey() const { return m_seal_key; }

    // ---- The steps of joining and leaving ----

    // tsdw_sys_join.cpp: each step once. True for success, or 0 for success and otherwise the
    // status of the exchange. A join that fails leaves the client open.
    bool InitTap();
    void DeInitTap() { m_adapter.Close(); }
    bool SstpConnect();
    // tsdw_sys_service.cpp: tries until it is joined, with the pauses of a rejoin; false once a
    // quit is requested, with nothing changed.
    bool SstpConnectAtLast();
    void SstpDisConnect();
    int SstpLogin();
    int SstpDhcp();
    int SstpSubnet();
    int SstpRegist();
    int SstpRegistRouter();
    int SstpRegistDevices();
    // 1, with nothing sent, when the local router has no device.
    int SstpUnRegisteDevice();
    int InitLocalRouter();

    // tsdw_sys_external.cpp: the topology, as the central router has it. The status of the router
    // query; the steps without one give 0.
    int InitExternalNet();
    int FetchExtRouter();
    int FetchExtAllDevice();
    int FetchExtDevice(CTSdwanRouter& router);
    int InitP2PConnects();

    // ---- The tests' ----

    // The model and the peers are read under the lock while the forwarders run.
    CTSdwanSubnet& GetExternalSubnet() PVU_REQUIRES_SHARED(m_model_lock) {
        return m_external_subnet;
    }
    CTP2pConnectList& GetPeers() PVU_REQUIRES_SHARED(m_model_lock) { return m_peers; }
    CTReadWriteLock& GetModelLock() PVU_RETURN_CAPABILITY(m_model_lock) { return m_model_lock; }
    CTNetAdapter& GetAdapter() { return m_adapter; }
    CTSysCfg& GetConfig() { return m_config; }
    CTSstpConnect& GetClient() { return m_client; }
    CTXmitPktPool& GetPool() { return m_pool; }

  private:
    // What the central router lends: host byte order.
    struct Lease {
        uint32_t ip, mask, gateway;
    };

    bool InitSeal();
    bool OpenClient();
    void JoinAgain();
    bool ExchangeRejoin(CTSdwanSubnet& subnet, CTP2pConnectList& peers);
    bool LogInAgain();
    bool FetchWholeNet();
    bool FailRejoin(const char* request);
    int DelayAfterFailure();
    void ReplaceTopology(CTSdwanSubnet& subnet, CTP2pConnectList& peers);
    void FinishRejoin(const Lease& before);
    Lease GetLease() const;
    void PutLeaseBack(const Lease& lease);

    // What others may know: in a start, and after each attempt to join, which it did or not.
    void NoteIdentity(bool joined) PVU_EXCLUDES(m_identity_mutex);
    void AssignPeers() PVU_EXCLUDES(m_model_lock);
    void CopyPeers(int64_t now, CTEdgeSnapshot& snapshot) PVU_EXCLUDES(m_model_lock);
    void CopyCounts(CTEdgeSnapshot& snapshot);

    int SendLogin();
    void ShowExternalNet();
    void HandModelTo(CTForwardBase& forwarder);
    void KeepConfigFile();

    // tsdw_sys_service.cpp: what the system's log and a service manager are told.
    bool FailStart(const char* reason, const std::string& detail = "");
    std::string JoinFault() const;
    void TellStarted();
    void TellJoined(const char* what);
    void TellNotJoined(const char* what, int delay_ms);
    void TellSession();
    void TellRouter(bool lost);
    void TellSessionGoesOn();
    void TellEnd();
    void StartWatchdog();
    bool TryToConnect();
    void WaitForTry(uint64_t tick);
    // One exchange with the central router; the list bytes that arrived with the reply, or -1.
    int QueryList(CTSstpMessage& request, CTSstpMessage& reply);

    static CTsdwSys m_sys;

    // In the order of their construction.
    std::atomic<uint8_t> m_quit{0};
    std::atomic<bool> m_status_asked{false};
    CTXmitPktPool m_spare_pool;  // no component is handed it
    CTXmitPktPool m_pool;        // shared by the network device and the tunnel port
    CTNetAdapter m_adapter;
    CTNetDevice m_device;
    CTSealKey m_seal_key;  // of sealed channels, where they are asked for
    CTSstpConnect m_client;
    CTSstpPort m_port;
    CTSdwanRouter m_local_router;
    CTReadWriteLock m_model_lock;
    CTSdwanSubnet m_external_subnet PVU_GUARDED_BY(m_model_lock);
    CTP2pConnectList m_peers PVU_GUARDED_BY(m_model_lock);
    CTForwardIngress m_ingress;
    CTForwardOutgress m_outgress;
    CTSockAddr m_central_router;
    CTSysCfg m_config;
    CTString m_config_file;
    bool m_config_unused = false;  // there, but not understood
    CTVersion m_version;

    // Joining again. What is fetched goes into these: the model in use before the forwarders run,
    // which nobody else has then, or one beside it.
    CTSdwanSubnet* m_fetched_subnet = &m_external_subnet;
    CTP2pConnectList* m_fetched_peers = &m_peers;
    CTRejoinSchedule m_rejoin;
    CTString m_rejoin_fault;   // of the last one
    std::string m_told_fault;  // of those in a row, in the system's log
    bool m_told_lost = false;  // likewise
    bool m_told_back = false;  // since the last attempt that failed
    bool m_waits_for_router = false;
    CTWatchdog m_watchdog;
    CTCounter m_rejoins;
    CTCounter m_rejoins_failed;

    // Operators.
    CTPeerTraffic m_peer_traffic;
    CTMutex m_identity_mutex;
    CTEdgeIdentity m_identity PVU_GUARDED_BY(m_identity_mutex);
    CTEdgeControl m_control{*this};
    CTControlServer m_control_server;
};
