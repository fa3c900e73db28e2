#include "sstp/sstp_add_device.h"

int CTSstpAddDeviceMsg::FillParamList(CTSstpGetDeviceAckParamList& list) {
    return FillList(list.GetDataPtr(), list.GetCount());
}

void CTSstpAddDeviceMsg::PrintTo(CTString& text) {
    PrintHead("\nAdd Device: ", text);
    text.Append(" Ident: 0x%08X\n", GetIdentifier());
}

int CTSstpAddDeviceMsg::Print() {
    CTString text;
    PrintTo(text);
    return Show(text);
}

int CTSstpAddDeviceAck::Print() {
    return ShowHead("\nAdd Device Ack: ");
}
