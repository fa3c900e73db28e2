// The command operations of CTSstpConnect: each builds one request and its reply and exchanges
// them with the central router. The exchange itself is in sstp_connect.cpp.

#include <cstdio>

#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_connect.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_device_list.h"
#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_error.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_logout.h"
#include "sstp/sstp_subnet.h"

int CTSstpConnect::SstpEcho(CTSstpConnect& conn) {
    CTSstpEchoMsg request;
    CTSstpEchoAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    // Every join and rejoin begins here: with a channel of its own. Without one nothing was sent.
    conn.m_answered = false;
    conn.m_send_error = 0;
    if (conn.m_sealed.IsOn() && !conn.OpenChannel()) return 1;
    return conn.WriteAndWaitReply(request, reply);
}

int CTSstpConnect::SstpLogin(CTSstpConnect& conn, const char* subnet, const char* user,
                             const char* password, uint32_t serial, uint32_t version) {
    if (!subnet || !user || !password) return 1;
    CTSstpLoginMsg request;
    CTSstpLoginAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetSubnetName(subnet);
    request.SetUserName(user);
    request.SetUserPwd(password);
    request.SetSerialNumber(serial);
    request.SetVersion(version);

    int result = conn.WriteAndWaitReply(request, reply);
    if (result == 0 && reply.GetError() == 0) {
        conn.SetIdentify(reply.GetIdentifier());
        request.SetSrc(reply.GetIdentifier());
        conn.m_sealed.SetLogin(request.GetBufferPtr(), request.GetMessageLength());
    } else {
        CTSstpError::SetLastError(static_cast<int>(reply.GetError()));
        result = 1;
    }
    reply.Print();
    return result;
}

int CTSstpConnect::SstpLogout(CTSstpConnect& conn) {
    CTSstpLogoutMsg request;
    CTSstpLogoutAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.Print();
    int result = conn.WriteAndWaitReply(request, reply);
    if (result != 0) {
        printf("Logout failed, ret=%d\n", result);
    } else {
        reply.Print();
    }
    return result;
}

int CTSstpConnect::SstpDhcp(CTSstpConnect& conn, uint32_t ip, const uint8_t* mac) {
    if (!mac) return 1;
    CTSstpDhcpMsg request;
    CTSstpDhcpAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetIPAddr(ip);
    request.SetEtherAddr(mac);
    return conn.WriteAndWaitReply(request, reply);
}

int CTSstpConnect::SstpSubnet(CTSstpConnect& conn, const char* subnet) {
    if (!subnet) return 1;
    CTSstpSubnetMsg request;
    CTSstpSubnetAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetSubnetName(subnet);
    int result = conn.WriteAndWaitReply(request, reply);
    if (result == 0) reply.Print();
    return result;
}

int CTSstpConnect::SstpAddRouter(CTSstpConnect& conn, const char* label, uint32_t serial,
                                 uint16_t router_type, uint8_t net_layer) {
    if (!label) return 1;
    CTSstpAddRouterMsg request;
    CTSstpAddRouterAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetRouterType(router_type);
    request.SetNetLayer(net_layer);
    request.SetSerialNumber(serial);
    request.SetRouterLabel(label);
    request.SetIdentifier(conn.GetIdentifier());
    request.Print();
    int result = conn.WriteAndWaitReply(request, reply);
    return result == 0 && reply.GetError() == 0 ? 0 : 1;
}

int CTSstpConnect::SstpAddDevice(CTSstpConnect& conn, CTSstpGetDeviceAckParamList& devices) {
    CTSstpAddDeviceMsg request;
    CTSstpAddDeviceAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetIdentifier(conn.GetIdentifier());
    request.FillParamList(devices);
    request.Print();
    return conn.WriteAndWaitReply(request, reply);
}

int CTSstpConnect::SstpDelDevice(CTSstpConnect& conn, const uint32_t* addrs, int count) {
    if (!addrs) return 1;
    CTSstpDelDeviceMsg request;
    CTSstpDelDeviceAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetIdentifier(conn.GetIdentifier());
    request.FillParamList(addrs, count);
    request.Print();
    return conn.WriteAndWaitReply(request, reply);
}
