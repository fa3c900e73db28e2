#include <unistd.h>

#include <cstdio>

#include "base/pvu_event.h"
#include "base/pvu_stdout.h"
#include "ops/control_server.h"
#include "tcr/page_server.h"
#include "tcr/tcr_config.h"
#include "tcr/tcr_control.h"
#include "tcr/tcr_option.h"
#include "tcr/tcr_server.h"

namespace {

constexpr int kExitFault = 2;

int Fail(const std::string& fault, const char* event = "start failed") {
    fprintf(stderr, "tamvo-tcr: %s\n", fault.c_str());
    CTEvent(CTEventLevel::kError, event).Add("reason", fault).Log();
    return kExitFault;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    std::string fault;
    TcrOption option;
    switch (option.Parse(argc, argv, fault)) {
        case TcrOption::Action::kPrintVersion:
            TcrOption::PrintVersion();
            return 0;
        case TcrOption::Action::kPrintHelp:
            TcrOption::PrintHelp();
            return 0;
        case TcrOption::Action::kFault:
            return Fail(fault);
        case TcrOption::Action::kServe:
            break;
    }
    pvu_stdout_start();
    CTStdoutEnd end;
    CTEventsEnd events_end;
    pvu_events_start("tamvo-tcr");
    TcrConfig config;
    if (!option.config_file.empty() && !config.ReadFile(option.config_file, fault)) {
        return Fail(fault, "configuration fault");
    }
    TcrServer server;
    if (!server.Open(option, config, fault)) return Fail(fault);
    std::string state = option.StateFile(config);
    if (!state.empty() && !server.Keep(state, fault)) return Fail(fault);
    if (!server.Seal(config, option.KeyFile(config), fault)) return Fail(fault);
    TcrControl control(server.GetDesk());
    CTControlServer operators;
    std::string socket = control_socket_path(config.control);
    if (!socket.empty() && !operators.Start(socket, control, fault)) {
        server.Tell(("control socket not opened: " + fault).c_str());
        CTEvent(CTEventLevel::kWarning, "control socket not opened").Add("reason", fault).Log();
    }
    TcrPageServer page;
    if (config.http_port != 0 &&
        !page.Start(config.http_bind, config.http_port, server.GetDesk(), fault)) {
        server.Tell(("page not served: " + fault).c_str());
        CTEvent(CTEventLevel::kWarning, "page not served").Add("reason", fault).Log();
    }
    server.Started(option, config);
    bool ended = server.Run(config);
    page.Stop();
    operators.Stop();
    CTEvent(CTEventLevel::kNotice, "stopped").Log();
    if (ended) return 0;
    // The writer cannot be waited for: nothing that it uses may be taken down.
    pvu_events_end();
    pvu_stdout_end();
    _exit(kExitFault);
}
