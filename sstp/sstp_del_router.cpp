#include "sstp/sstp_del_router.h"

int CTSstpDelRouterMsg::Print() {
    CTString text;
    PrintHead("\nDel Router: ", text);
    text.Append(" identifier: 0x%08X\n", GetIdentifier());
    return Show(text);
}

int CTSstpDelRouterAck::Print() {
    return ShowHead("\nDel Router Ack: ");
}
