#include "sstp/sstp_dhcp.h"

#include "inet/tnet_view.h"

int CTSstpDhcpMsg::Print() {
    CEtherAddr mac;
    mac.SetZero();
    mac.Set(GetEtherAddr());
    CTString text;
    PrintHead("\nDhcp msg: ", text);
    tnet_print_line(text, " MAC: ", mac.GetAddr());
    tnet_print_line(text, " IP: ", GetIPAddr());
    return Show(text);
}

int CTSstpDhcpAck::Print() {
    CTString text;
    PrintHead("\nDhcp Ack: ", text);
    text.Append(" err: %d\n", GetError());
    tnet_print_line(text, " IP:", GetIP());
    tnet_print_line(text, " Gateway: ", GetGateway());
    tnet_print_line(text, " Mask: ", GetMask());
    return Show(text);
}
