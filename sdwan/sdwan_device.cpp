#include "sdwan/sdwan_device.h"

const char* CTSdwanDevice::GetTypeName() const {
    switch (m_type) {
        case kDeviceTypeIPv4:
            return "ipv4";
        case kDeviceTypeIPv6:
            return "ipv6";
        case kDeviceTypeEcho:
            return "echo";
        default:
            return "unknow";
    }
}

const char* CTSdwanDevice::GetStatusName() const {
    switch (m_status) {
        case kDeviceStatusOff:
            return "off";
        case kDeviceStatusOn:
            return "on";
        case kDeviceStatusIdle:
            return "idle";
        default:
            return "unknow";
    }
}

int CTSdwanDevice::Print(CTString& text) const {
    CTString ip;
    CTString mac;
    m_ip.Print(ip);
    m_ether.Print(mac);
    text.Append("%s, %s, %s(%d), %s(%d)", ip.c_str(), mac.c_str(), GetStatusName(), m_status,
                GetTypeName(), m_type);
    return text.GetLength();
}
