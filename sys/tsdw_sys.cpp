#include "sys/tsdw_sys.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "base/pvu_fileop.h"
#include "base/pvu_log.h"
#include "base/pvu_service.h"
#include "base/pvu_sleep.h"
#include "base/pvu_stdout.h"
#include "base/pvu_tick.h"

namespace {

constexpr int kPoolBufSize = 2048;
constexpr int kPoolMax = 128;
constexpr int kPoolMaxUnderLoad = 4096;
constexpr unsigned kQuitPollMs = 100;
constexpr unsigned kLooksBetweenTrims = 10;
constexpr char kLogFile[] = "tamvo.log";
constexpr char kConfigFile[] = "config.json";

}  // namespace

CTsdwSys CTsdwSys::m_sys;

CTsdwSys::CTsdwSys() : m_spare_pool(kPoolBufSize, kPoolMax), m_pool(kPoolBufSize, kPoolMax) {
    m_pool.KeepUnderLoad(kPoolMaxUnderLoad);
    init_object();
}

void CTsdwSys::init_object() {
    char dir[PATH_MAX];
    if (CTFileOp::GetExecFilePath(dir, sizeof dir) == 0) {
        m_config_file = dir;
        m_config_file.Append(kConfigFile);
    } else {
        m_config_file = kConfigFile;
    }
    m_central_router.Zero();
    m_version.Set(0, 1, 5);
}

int CTsdwSys::MainLoop() {
    if (!flog_open(kLogFile)) printf("log file not opened: %s: %s\n", kLogFile, strerror(errno));
    signal(SIGINT, signal_handler);
    signal(SIGKILL, signal_handler);  // asked for, and refused by the system
    signal(SIGTERM, signal_handler);
    signal(SIGUSR1, signal_handler);
    flog_printf("tamvo start\n");
    if (!Start()) {
        // One that waits for the central router fails by itself, or is told to end.
        bool told = m_waits_for_router && m_quit == 1;
        StopControl();
        flog_printf(told ? "tamvo exit\n" : "tamvo core start failed\n");
        flog_close();
        if (told) TellEnd();
        return told ? 0 : 1;
    }
    if (!m_waits_for_router) StartControl();
    for (unsigned look = 0; m_quit != 1; ++look) {
        if (m_status_asked.exchange(false)) PrintStatus();
        if (look % kLooksBetweenTrims == 0) m_pool.Trim();
        KeepJoined();
        m_watchdog.Look(pvu_get_current_tick());
        if (m_quit != 1) pvu_msleep(kQuitPollMs);
    }
    pvu_service_stopping();
    StopControl();
    Stop();
    TellEnd();
    flog_printf("tamvo exit\n");
    flog_close();
    return 0;
}

void CTsdwSys::signal_handler(int sig) {
    if (sig == SIGUSR1) GetInstance()->m_status_asked = true;
    if (sig != SIGINT && sig != SIGTERM && sig != SIGKILL) return;
    int saved_errno = errno;
    pvu_stdout_signal(sig);
    GetInstance()->ForceQuit();
    errno = saved_errno;
}
