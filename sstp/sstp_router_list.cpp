#include "sstp/sstp_router_list.h"

#include <cstdio>

namespace {

constexpr int kPrintCapacity = 512;

}  // namespace

void CTSstpGetRouterAckParamList::SetExtSockAddr(const CTSockAddr& addr) {
    Current().StoreSockAddr(offsetof(Record, ext_port), offsetof(Record, ext_ip), addr);
}

bool CTSstpGetRouterAckParamList::GetExtSockaddr(CTSockAddr& addr) const {
    return Current().LoadSockAddr(offsetof(Record, ext_port), offsetof(Record, ext_ip), addr);
}

int CTSstpGetRouterAckParamList::Print(CTString& text) {
    text.Append("GetRouterParam list: count: %d, length: %d\n", GetCount(), GetDataLength());
    for (First(); !IsEnd(); Next()) {
        CTSockAddr addr;
        GetExtSockaddr(addr);
        text.Append("serial:0x%08X, ident: %d, stat: %d, type: %d, layer: %d, ext addr: ",
                    GetSerialNumber(), GetIdentifier(), GetStat(), GetType(), GetNetLayer());
        addr.Print(text);
        text.Append("\n");
    }
    return text.GetLength();
}

int CTSstpGetRouterAckParamList::Print() {
    CTString text(kPrintCapacity);
    int length = Print(text);
    printf("%s", text.c_str());
    return length;
}
