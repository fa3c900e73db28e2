#include "sstp/sstp_logout.h"

int CTSstpLogoutMsg::Print() {
    return ShowHead("\nLogout: ");
}

int CTSstpLogoutAck::Print() {
    return ShowHead("\nLogout Ack: ");
}
