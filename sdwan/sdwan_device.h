#pragma once

#include <cstdint>

#include "base/pvu_string.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"

// Codes of a device, in memory and on the wire. A router's status codes are others.
constexpr uint16_t kDeviceStatusOff = 0;
constexpr uint16_t kDeviceStatusOn = 1;
constexpr uint16_t kDeviceStatusIdle = 2;
constexpr uint16_t kDeviceTypeIPv4 = 1;
constexpr uint16_t kDeviceTypeIPv6 = 2;
constexpr uint16_t kDeviceTypeEcho = 3;

// One host behind a router. Owned by its router's device list; no lock, see CTSdwanSubnet.
class CTSdwanDevice {
  public:
    // Idle, of type IPv4, with the placeholder 2.2.2.2 and a zero MAC: whoever creates a device
    // gives it its addresses.
    CTSdwanDevice() { m_ether.SetZero(); }

    unsigned short GetStatus() const { return m_status; }
    void SetStatus(unsigned short status) { m_status = status; }
    void SetStatusOn() { m_status = kDeviceStatusOn; }
    unsigned short GetType() const { return m_type; }
    void SetType(unsigned short type) { m_type = type; }
    void SetTypeIPv4() { m_type = kDeviceTypeIPv4; }
    const CIPv4Addr& GetIPv4Addr() const { return m_ip; }
    void SetIPv4Addr(const CIPv4Addr& ip) { m_ip = ip; }
    const CEtherAddr& GetEtherAddr() const { return m_ether; }
    void SetEtherAddr(const CEtherAddr& ether) { m_ether = ether; }

    // "ipv4", "off" and so on; "unknow" for any other code.
    const char* GetTypeName() const;
    const char* GetStatusName() const;

    // Appends "192.168.15.2, 02:00:00:00:00:01, on(1), ipv4(1)"; returns the text's new length.
    int Print(CTString& text) const;

  private:
    uint16_t m_status = kDeviceStatusIdle;
    uint16_t m_type = kDeviceTypeIPv4;
    CIPv4Addr m_ip{2, 2, 2, 2};
    CEtherAddr m_ether;
};
