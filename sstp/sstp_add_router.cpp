#include "sstp/sstp_add_router.h"

void CTSstpAddRouterMsg::SetExtSockAddr(const CTSockAddr& addr) {
    m_body.StoreSockAddr(offsetof(Record, ext_port), offsetof(Record, ext_ip), addr);
}

bool CTSstpAddRouterMsg::GetExtSockaddr(CTSockAddr& addr) const {
    return m_body.LoadSockAddr(offsetof(Record, ext_port), offsetof(Record, ext_ip), addr);
}

void CTSstpAddRouterMsg::PrintTo(CTString& text) {
    PrintHead("\nAdd Router: ", text);
    text.Append(" label: %.32s\n", GetRouterLabel());
    text.Append(" Serial Number: 0x%08x\n", GetSerialNumber());
    text.Append(" type: %d\n", GetRouterType());
    text.Append(" layer: % d\n", GetNetLayer());
}

int CTSstpAddRouterMsg::Print() {
    CTString text;
    PrintTo(text);
    return Show(text);
}

int CTSstpAddRouterAck::Print() {
    CTString text;
    PrintHead("\nAdd Router Ack: ", text);
    text.Append(" result: %d\n", GetError());
    return Show(text);
}
