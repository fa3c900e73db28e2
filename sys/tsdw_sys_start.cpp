// CTsdwSys: start and stop of the whole system, in this order and the other way round.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "base/pvu_event.h"
#include "sys/tsdw_sys.h"

namespace {

constexpr char kKeptSuffix[] = ".bad";

}  // namespace

bool CTsdwSys::Start() {
    if (!Init()) return false;
    m_config.Print();

    if (!m_device.Open(m_adapter, m_pool)) {
        DeInit();
        return FailStart("net device open failed");
    }

    m_rejoin.SetAfter(m_config.GetSstpRejoinAfter());
    m_port.SetHeartBeatInterval(m_config.GetSstpHeartBeatInterval());
    m_port.SetStrictSource(m_config.GetSstpStrictSource());
    if (!m_port.Open(m_pool, m_client)) {
        m_device.Close();
        DeInit();
        return FailStart("sstp port open failed");
    }

    AssignPeers();
    m_outgress.SetCentralRouterAddr(m_central_router);
    HandModelTo(m_outgress);
    if (!m_outgress.Start(m_device, m_port)) {
        m_device.Close();
        m_port.Close();
        DeInit();
        return FailStart("forwarder outgress start failed");
    }

    HandModelTo(m_ingress);
    if (!m_ingress.Start(m_device, m_port)) {
        m_device.Close();
        m_port.Close();
        m_outgress.Stop();
        FailStart("forwarder ingress start failed");
        DeInit();
        return false;
    }
    m_device.SetTaker(&m_outgress);
    m_port.SetTaker(&m_ingress);
    NoteIdentity(true);
    StartWatchdog();
    TellJoined("joined");
    return true;
}

void CTsdwSys::HandModelTo(CTForwardBase& forwarder) {
    // Nobody runs yet; the lock is there for the analysis.
    CTWriteGuard guard(m_model_lock);
    forwarder.SetExternalSubnet(m_external_subnet);
    forwarder.SetP2PConnectList(m_peers);
    forwarder.SetModelLock(m_model_lock);
    forwarder.SetPeerTraffic(m_peer_traffic);
}

bool CTsdwSys::Init() {
    printf("read config file: %s\n", m_config_file.c_str());
    m_config_unused = m_config.ReadFromJsonFile(m_config_file.c_str()) != 0;
    if (m_config_unused) {
        printf("config file not usable, defaults in force: %s\n", m_config_file.c_str());
        CTEvent(CTEventLevel::kError, "configuration fault")
            .Add("file", m_config_file.c_str())
            .Add("reason", "not readable or no JSON, defaults in force")
            .Log();
    }
    if (const char* key = m_config.GetRefusedKey()) {
        return FailStart(
            (std::string("config file refused, key \"") + key + "\" in section \"lan\"").c_str());
    }
    if (const char* key = m_config.GetRefusedCentralRouterKey()) {
        return FailStart(
            (std::string("config file refused, key \"") + key + "\" in section \"central router\"")
                .c_str());
    }
    if (!InitSeal()) return false;
    if (!InitTap()) return false;
    TellStarted();
    NoteIdentity(false);
    // Until it has joined it is asked most, and why it has not.
    if (m_waits_for_router) StartControl();
    if (m_waits_for_router && !SstpConnectAtLast()) {
        DeInitTap();
        return false;
    }
    if (!m_waits_for_router && !SstpConnect()) {
        DeInitTap();
        // Which key it was is not to be seen in what is exchanged.
        if (m_client.GetSealedLink().HasFailed()) printf("%s\n", JoinFault().c_str());
        return FailStart("connected tcr failed, tcr is not online", JoinFault());
    }
    if (!m_adapter.ConfigTun(m_config.GetLocalIPAddr(), m_config.GetLocalNetMask())) {
        DeInitTap();
        return FailStart("config net adapter IP adress and net mask failed");
    }
    return true;
}

void CTsdwSys::Stop() {
    m_device.Close();
    m_port.Close();
    m_device.SetTaker(nullptr);
    m_port.SetTaker(nullptr);
    m_outgress.Stop();
    m_ingress.Stop();
    // Heartbeats that the ingress thread queued after the port was closed.
    m_port.ClearTxFifo();
    DeInit();
}

void CTsdwSys::DeInit() {
    SstpDisConnect();
    DeInitTap();
    if (m_config_unused) KeepConfigFile();
    printf("write config file: %s\n", m_config_file.c_str());
    m_config.WriteToJsonFile(m_config_file.c_str());
}

// Somebody wrote it, and it may be one comma away from right: the file that replaces it must not be
// the end of it. A second name for the same content costs nothing, whatever its size; a file system
// that knows no second names gets its line. Devices keep their one name.
void CTsdwSys::KeepConfigFile() {
    std::error_code error;
    if (!std::filesystem::is_regular_file(m_config_file.c_str(), error)) return;
    std::string kept = std::string(m_config_file.c_str()) + kKeptSuffix;
    unlink(kept.c_str());
    int result = linkat(AT_FDCWD, m_config_file.c_str(), AT_FDCWD, kept.c_str(), AT_SYMLINK_FOLLOW);
    if (result == 0) {
        printf("config file kept as: %s\n", kept.c_str());
    } else {
        printf("config file not kept as: %s: %s\n", kept.c_str(), strerror(errno));
    }
}
