#include "sstp/sstp_subnet.h"

#include "inet/tnet_view.h"

int CTSstpSubnetMsg::Print() {
    CTString text;
    PrintHead("\nSubnet: ", text);
    text.Append(" subnet name: %.32s\n", GetSubnetName());
    return Show(text);
}

int CTSstpSubnetAck::Print() {
    CTString text;
    PrintHead("\nSubnet Ack: ", text);
    text.Append(" Subnet: %.32s\n", GetSubnetName());
    tnet_print_line(text, " gateway: ", GetGateway());
    tnet_print_line(text, " network mask:", GetNetMask());
    text.Append("\n");
    return Show(text);
}
