#include "sstp/sstp_echo.h"

int CTSstpEchoMsg::Print() const {
    return 0;
}

int CTSstpEchoAck::Print() const {
    return 0;
}
