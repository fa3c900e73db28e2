// CTsdwSys: joining the overlay, step by step on the main thread, and leaving it.

#include <cstdio>
#include <cstring>

#include "inet/tnet_byteorder.h"
#include "sstp/sstp_device_list.h"
#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_error.h"
#include "sys/tsdw_sys.h"

namespace {

constexpr int kMacTextSize = 64;
constexpr char kKeySuffix[] = ".key";
constexpr uint16_t kRouterTypeTap = 1;
constexpr uint16_t kRouterTypeTun = 2;
constexpr int kRegistrationRecords = 960;  // capped by the list's own maximum
constexpr int kMaxUnregister = 32;         // addresses that one message takes

}  // namespace

bool CTsdwSys::InitTap() {
    m_adapter.SetMtu(m_config.GetInterfaceMtu());
    if (!m_adapter.Open(m_config.GetInterface())) {
        return FailStart("net adapter open failed", strerror(m_adapter.GetOpenError()));
    }
    unsigned int major = 0;
    unsigned int minor = 0;
    m_adapter.GetVersion(major, minor);
    printf("tap driver version, major=%d, minor=%d\n", static_cast<int>(major),
           static_cast<int>(minor));
    printf("tap device mtu = %d\n", m_adapter.GetMtu());

    CEtherAddr mac;
    m_adapter.GetMAC(mac);
    char text[kMacTextSize];
    mac.Format(text, sizeof text);
    printf("Net Adapter MAC: %s\n", text);
    bool is_new = memcmp(mac.GetBytes(), m_config.GetLocalEtherAddr(), kEtherAddrSize) != 0;
    if (!mac.IsZero() && is_new) m_config.SetLocalEtherAddr(mac.GetBytes());

    bool layer2 = m_adapter.GetNetLayer() == kNetLayer2;
    m_config.SetLocalRouterType(layer2 ? kRouterTypeTap : kRouterTypeTun);
    m_config.SetLocalRouterLayer(layer2 ? kNetLayer2 : kNetLayer3);
    return true;
}

// The edge's own key lies beside its configuration file.
bool CTsdwSys::InitSeal() {
    if (m_config.GetCentralRouterKeys().empty()) return true;
    std::string fault;
    if (!m_seal_key.Open(std::string(m_config_file.c_str()) + kKeySuffix, fault)) {
        return FailStart(fault.c_str());
    }
    printf("key %s\n", m_seal_key.GetFingerprint().Text().c_str());
    m_client.GetSealedLink().TurnOn(m_seal_key, m_config.GetCentralRouterKeys());
    return true;
}

bool CTsdwSys::OpenClient() {
    m_central_router =
        CTSockAddr(m_config.GetCentralRouterIPAddr(), m_config.GetCentralRouterPort());
    if (!m_client.Open(m_central_router)) return false;
    m_client.SetRecvTimeout(m_config.GetSstpRecvTimeout());
    m_client.SetStrictSource(m_config.GetSstpStrictSource());
    return true;
}

bool CTsdwSys::SstpConnect() {
    if (!OpenClient()) return false;
    if (SstpLogin() != 0) return false;
    if (SstpDhcp() != 0) return false;
    if (SstpSubnet() != 0) return false;
    InitLocalRouter();
    InitExternalNet();
    InitP2PConnects();
    return SstpRegist() == 0;
}

void CTsdwSys::SstpDisConnect() {
    SstpUnRegisteDevice();
    CTSstpConnect::SstpLogout(m_client);
    m_client.Close();
}

int CTsdwSys::SstpLogin() {
    int status = CTSstpConnect::SstpEcho(m_client);
    if (status != 0) {
        CTSstpError::SetLastError(kSstpErrTcrNotOnline);
        return status;
    }
    return SendLogin();
}

int CTsdwSys::SendLogin() {
    return CTSstpConnect::SstpLogin(m_client, m_config.GetSubnetName(), m_config.GetUserName(),
                                    m_config.GetUserPwd(), m_config.GetSerialNumber(),
                                    m_version.GetVersion());
}

// A reply with an error keeps the configured address, and the join goes on.
int CTsdwSys::SstpDhcp() {
    CTSstpDhcpMsg request;
    CTSstpDhcpAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetIPAddr(m_config.GetLocalIPAddr());
    request.SetEtherAddr(m_config.GetLocalEtherAddr());
    request.Print();
    int status = m_client.WriteAndWaitReply(request, reply);
    if (status == 0 && reply.GetError() == 0) {
        reply.Print();
        m_config.SetLocalIPAddr(reply.GetIP());
        m_config.SetSubnetGateway(reply.GetGateway());
        m_config.SetLocalNetMask(reply.GetMask());
    }
    return status;
}

int CTsdwSys::SstpSubnet() {
    return CTSstpConnect::SstpSubnet(m_client, m_config.GetSubnetName());
}

int CTsdwSys::InitLocalRouter() {
    m_local_router.SetLabel(m_config.GetLocalRouterLabel());
    m_local_router.SetSerialNumber(m_config.GetSerialNumber());
    m_local_router.SetUserName(m_config.GetUserName());
    m_local_router.SetUserPwd(m_config.GetUserPwd());
    m_local_router.SetType(m_config.GetLocalRouterType());
    m_local_router.SetNetLayer(m_config.GetLocalRouterLayer());
    m_local_router.SetIdentifier(m_client.GetIdentifier());
    m_local_router.SetSstpAddr(m_central_router);
    m_local_router.AppendDevice(m_config.GetLocalIPAddr(), m_config.GetLocalEtherAddr());
    printf(
        "\n---------------------------------- Local Router Map "
        "----------------------------------\n");
    m_local_router.Print();
    return 0;
}

int CTsdwSys::SstpRegist() {
    m_local_router.SetIdentifier(m_client.GetIdentifier());
    m_local_router.SetLabel(m_config.GetLocalRouterLabel());
    m_local_router.SetType(m_config.GetLocalRouterType());
    m_local_router.SetNetLayer(m_config.GetLocalRouterLayer());
    m_local_router.SetSerialNumber(m_config.GetSerialNumber());
    CTSdwanDevice* device =
        m_local_router.AppendDevice(m_config.GetLocalIPAddr(), m_config.GetLocalEtherAddr());
    if (device) {
        device->SetStatusOn();
        device->SetTypeIPv4();
    }
    int status = SstpRegistRouter();
    return status != 0 ? status : SstpRegistDevices();
}

int CTsdwSys::SstpRegistRouter() {
    return CTSstpConnect::SstpAddRouter(m_client, m_config.GetLocalRouterLabel(),
                                        m_config.GetSerialNumber(), m_config.GetLocalRouterType(),
                                        m_config.GetLocalRouterLayer());
}

int CTsdwSys::SstpRegistDevices() {
    CTSstpGetDeviceAckParamList list;
    list.Create(kRegistrationRecords);
    if (!list.Append()) return 1;
    list.SetStat(kDeviceStatusOn);
    list.SetType(kDeviceTypeIPv4);
    list.SetIPv4Addr(m_config.GetLocalIPAddr());
    list.SetEtherAddr(m_config.GetLocalEtherAddr());
    return CTSstpConnect::SstpAddDevice(m_client, list);
}

int CTsdwSys::SstpUnRegisteDevice() {
    uint32_t addrs[kMaxUnregister];
    int count = 0;
    CTSdwanDeviceList& devices = m_local_router.GetDeviceList();
    for (int i = 0; i < devices.Count() && count < kMaxUnregister; ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device) addrs[count++] = htonl(device->GetIPv4Addr().GetIP());
    }
    return count == 0 ? 1 : CTSstpConnect::SstpDelDevice(m_client, addrs, count);
}
