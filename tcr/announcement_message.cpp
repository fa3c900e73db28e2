#include "tcr/announcement_message.h"

#include "inet/tnet_byteorder.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_device_list.h"

namespace {

std::vector<uint8_t> Datagram(CTSstpMessage& msg, uint32_t dst, uint16_t seq) {
    msg.SetSeq(seq);
    msg.SetSrc(kSstpCentralRouter);
    msg.SetDst(dst);
    const uint8_t* bytes = msg.GetBufferPtr();
    return {bytes, bytes + msg.GetMessageLength()};
}

}  // namespace

std::vector<uint8_t> tcr_add_router_message(uint32_t dst, uint16_t seq,
                                            const CTSdwanRouter& router) {
    CTSstpAddRouterMsg msg;
    if (!msg.Create()) return {};
    msg.SetRouterType(router.GetType());
    msg.SetNetLayer(router.GetNetLayer());
    msg.SetIdentifier(router.GetIdentifier());
    msg.SetSerialNumber(router.GetSerialNumber());
    msg.SetExtSockAddr(router.GetSstpAddr());
    msg.SetRouterLabel(router.GetLabel());
    return Datagram(msg, dst, seq);
}

std::vector<uint8_t> tcr_del_router_message(uint32_t dst, uint16_t seq, uint32_t router) {
    CTSstpDelRouterMsg msg;
    if (!msg.Create()) return {};
    msg.SetIdentifier(router);
    return Datagram(msg, dst, seq);
}

std::vector<uint8_t> tcr_add_device_message(uint32_t dst, uint16_t seq, uint32_t router,
                                            const TcrDevices& devices) {
    CTSstpAddDeviceMsg msg;
    CTSstpGetDeviceAckParamList list;
    if (!msg.Create() || list.Create(static_cast<int>(devices.size())) != 0) return {};
    for (const TcrDevice& device : devices) {
        if (!list.Append()) break;
        list.SetStat(kDeviceStatusOn);
        list.SetType(kDeviceTypeIPv4);
        list.SetIPv4Addr(device.ip);
        list.SetEtherAddr(device.mac.bytes);
    }
    msg.SetIdentifier(router);
    msg.FillParamList(list);
    return Datagram(msg, dst, seq);
}

std::vector<uint8_t> tcr_del_device_message(uint32_t dst, uint16_t seq, uint32_t router,
                                            const TcrDevices& devices) {
    CTSstpDelDeviceMsg msg;
    if (!msg.Create()) return {};
    std::vector<uint32_t> addrs;
    for (const TcrDevice& device : devices)
        addrs.push_back(htonl(device.ip));
    msg.SetIdentifier(router);
    msg.FillParamList(addrs.data(), static_cast<int>(addrs.size()));
    return Datagram(msg, dst, seq);
}
