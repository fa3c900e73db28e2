#include "sstp/sstp_device_list.h"

#include <cstdio>

#include "inet/tnet_ip.h"

namespace {

constexpr int kPrintCapacity = 512;

}  // namespace

int CTSstpGetDeviceAckParamList::Print(CTString& text) {
    text.Append("GetDeviceParam list: count: %d, length: %d\n", GetCount(), GetDataLength());
    for (First(); !IsEnd(); Next()) {
        CEtherAddr mac;
        mac.Set(GetEtherAddr());
        text.Append("IP: ");
        CIPv4Addr(GetIPvAddr()).Print(text);
        text.Append(", MAC: ");
        mac.Print(text);
        text.Append(", stat: %d, type: %d\n", GetStat(), GetType());
    }
    return text.GetLength();
}

int CTSstpGetDeviceAckParamList::Print() {
    CTString text(kPrintCapacity);
    int length = Print(text);
    printf("%s", text.c_str());
    return length;
}
