#include "sstp/sstp_login.h"

#include "base/pvu_version.h"

bool CTSstpLoginMsg::Attach(CTSkBuffer& skb) {
    CTSstpBodyMsg::Attach(skb);
    return true;
}

int CTSstpLoginMsg::Print() {
    CTVersion version(GetVersion());
    CTString text;
    PrintHead("Login Message:\n", text);
    text.Append("    subnet: %.32s\n", GetSubnetName());
    text.Append("    user name: %.32s\n", GetUserName());
    text.Append("    user password: %.32s\n", GetUserPwd());
    text.Append("    serial number:0x%08x\n", GetSerialNumber());
    text.Append("    version:%d.%d.%d\n", version.GetMajor(), version.GetMinor(),
                version.GetPatch());
    return Show(text);
}

int CTSstpLoginAck::Print() {
    CTString text;
    PrintHead("\nLogin ACK: ", text);
    text.Append("    err: %u\n", GetError());
    text.Append("    identifier: 0x%08X\n", GetIdentifier());
    return Show(text);
}
