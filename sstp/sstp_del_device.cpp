#include "sstp/sstp_del_device.h"

#include "inet/tnet_view.h"

int CTSstpDelDeviceMsg::FillParamList(const uint32_t* addrs, int n) {
    return FillList(addrs, n);
}

void CTSstpDelDeviceMsg::PrintTo(CTString& text) {
    PrintHead("\nDel Device: ", text);
    text.Append(" Ident: 0x%08X\n", GetIdentifier());
    const uint8_t* addr = static_cast<const uint8_t*>(GetParamListPtr());
    int count = GetParamListLength() / static_cast<int>(sizeof(uint32_t));
    for (int i = 0; i < count; ++i, addr += sizeof(uint32_t)) {
        text.Append(" %d. ", i);
        tnet_print_line(text, "", tnet_load32(addr));
    }
}

int CTSstpDelDeviceMsg::Print() {
    CTString text;
    PrintTo(text);
    return Show(text);
}

int CTSstpDelDeviceAck::Print() {
    return ShowHead("\nDel Device Ack: ");
}
