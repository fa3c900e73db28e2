#include "sstp/sstp_get_device.h"

int CTSstpGetDeviceMsg::Print() {
    CTString text;
    PrintHead("\nGet Device: ", text);
    text.Append(" Ident: 0x%08X\n", GetIdentifier());
    return Show(text);
}

int CTSstpGetDeviceAck::FillParamList(CTSstpGetDeviceAckParamList& list) {
    return FillList(list.GetDataPtr(), list.GetCount());
}

int CTSstpGetDeviceAck::Print() {
    return ShowHead("\nGet Device Ack: ");
}
