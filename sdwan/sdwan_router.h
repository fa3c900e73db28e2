#pragma once

#include <cstdint>

#include "base/pvu_sockaddr.h"
#include "base/pvu_string.h"
#include "base/pvu_text_field.h"
#include "sdwan/sdwan_device_list.h"

// Codes of a router's status, in memory and on the wire; a device's are others.
constexpr uint16_t kRouterStatusIdle = 0;
constexpr uint16_t kRouterStatusOnline = 1;

// One edge node and the devices behind it, which it owns. The routers of a subnet belong to its
// router list; the edge's own router belongs to the system object. No lock, see CTSdwanSubnet.
//
// An identifier names a router: bits 0-7 its slot in the subnet's router list, the bits above the
// subnet's index. The serial number is its owner's name for it, by which a list finds it.
//
// User name, password and label are fields of 32 bytes; a longer text is cut, null changes
// nothing. Their getters give terminated text also for a full field.
class CTSdwanRouter {
  public:
    static constexpr unsigned int kIndexMask = 0xFF;

    CTSdwanRouter() { Init(); }
    CTSdwanRouter(const CTSdwanRouter&) = delete;
    CTSdwanRouter& operator=(const CTSdwanRouter&) = delete;

    // Every value as in a new router; the devices stay. Returns 0.
    int Init();

    // The router's slot, whatever the subnet.
    static int GetIndexFromIdentifier(unsigned int identifier) {
        return static_cast<int>(identifier & kIndexMask);
    }

    bool IsIdle() const { return m_status == kRouterStatusIdle; }
    bool IsOnline() const { return m_status == kRouterStatusOnline; }
    bool IsSame(unsigned int serial) const { return m_serial == serial; }

    unsigned short GetStatus() const { return m_status; }
    void SetStatus(unsigned short status) { m_status = status; }
    unsigned short GetType() const { return m_type; }
    void SetType(unsigned short type) { m_type = type; }
    unsigned char GetNetLayer() const { return m_net_layer; }
    void SetNetLayer(unsigned char layer) { m_net_layer = layer; }
    int GetIndex() const { return m_index; }
    void SetIndex(int index) { m_index = index; }
    unsigned int GetIdentifier() const { return m_identifier; }
    void SetIdentifier(unsigned int identifier) { m_identifier = identifier; }
    unsigned int GetSerialNumber() const { return m_serial; }
    void SetSerialNumber(unsigned int serial) { m_serial = serial; }
    const char* GetUserName() const { return m_user_name; }
    void SetUserName(const char* name) { pvu_text_field_set(m_user_name, name); }
    const char* GetUserPwd() const { return m_user_pwd; }
    void SetUserPwd(const char* pwd) { pvu_text_field_set(m_user_pwd, pwd); }
    const char* GetLabel() const { return m_label; }
    void SetLabel(const char* label) { pvu_text_field_set(m_label, label); }
    // Where the router's end of the tunnel is reached by UDP.
    CTSockAddr& GetSstpAddr() { return m_sstp_addr; }
    const CTSockAddr& GetSstpAddr() const { return m_sstp_addr; }
    void SetSstpAddr(const CTSockAddr& addr) { m_sstp_addr = addr; }

    CTSdwanDeviceList& GetDeviceList() { return m_devices; }
    const CTSdwanDeviceList& GetDeviceList() const { return m_devices; }
    // As the device list's Append. On a router of a subnet use the subnet's AddDevice and
    // DelDevice, which keep its router map true.
    CTSdwanDevice* AppendDevice(unsigned int ip, const unsigned char* mac) {
        return m_devices.Append(ip, mac);
    }
    // Null when absent.
    CTSdwanDevice* FindDevice(unsigned int ip) const { return m_devices.At(m_devices.Find(ip)); }
    // 0 in every case.
    int RemoveDevice(int index) { return m_devices.Remove(index); }
    int DeleteDevice(unsigned int ip) { return m_devices.Delete(ip); }
    int DeleteDevice(const unsigned char* mac) { return m_devices.Delete(mac); }

    // Appends the router's line, whose index is the identifier's low byte, and its devices' lines;
    // returns the text's new length.
    int Print(CTString& text) const;
    // The same to standard output, with a newline added; returns the text's length.
    int Print() const;

  private:
    uint16_t m_status;
    uint16_t m_type;
    uint8_t m_net_layer;
    int32_t m_index;
    uint32_t m_identifier;
    CTTextField m_user_name = {};
    CTTextField m_user_pwd = {};
    uint32_t m_serial;
    CTTextField m_label = {};
    CTSockAddr m_sstp_addr;
    CTSdwanDeviceList m_devices;
};
