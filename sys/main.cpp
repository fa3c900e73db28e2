#include <cstdio>

#include "base/pvu_event.h"
#include "base/pvu_service.h"
#include "base/pvu_stdout.h"
#include "sys/command_option.h"
#include "sys/daemon.h"
#include "sys/tsdw_sys.h"

int main(int argc, char** argv) {
    // A line is seen when it is printed, also in a file or a pipe.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    CTsdwCommandOption option;
    option.Parse(argc, argv);
    CTsdwSys* sys = CTsdwSys::GetInstance();
    if (option.IsVersion()) {
        CTsdwCommandOption::PrintVersion(sys->GetVersion());
        return 0;
    }
    if (option.IsHelp()) {
        CTsdwCommandOption::PrintHelp();
        return 0;
    }
    if (option.IsConfig()) sys->SetConfigFile(option.GetConfigFile());
    // A daemon prints to /dev/null, which nobody ever waits for.
    CTStdoutEnd end;
    if (option.IsTerminal()) {
        pvu_stdout_start();
        if (pvu_service_is_managed()) sys->WaitForCentralRouter();
    } else {
        init_daemon(nullptr);
    }
    CTEventsEnd events_end;
    pvu_events_start("tamvo");
    return sys->MainLoop();
}
