#include "sstp/sstp_del_router.h"

void CTSstpDelRouterMsg::PrintTo(CTString& text) {
    PrintHead("\nDel Router: ", text);
    text.Append(" identifier: 0x%08X\n", GetIdentifier());
}

int CTSstpDelRouterMsg::Print() {
    CTString text;
    PrintTo(text);
    return Show(text);
}

int CTSstpDelRouterAck::Print() {
    return ShowHead("\nDel Router Ack: ");
}
