#pragma once

#include "sstp/sstp_body.h"

// The request for the address of the edge's interface. The address in it is the one that the edge
// wishes for or had before.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | IPv4 address                  |  0
// +-------------------------------+
// | MAC address                   |  4
// |               +---------------+
// |               | reserved, 0   |  8
// +---------------+---------------+
struct __attribute__((packed)) sstp_dhcp_msg {
    uint32_t ip;
    uint8_t mac[kEtherAddrSize];
    uint16_t reserved;
};
static_assert(sizeof(sstp_dhcp_msg) == 12);
static_assert(offsetof(sstp_dhcp_msg, mac) == 4);

class CTSstpDhcpMsg : public CTSstpBodyMsg<kSstpCommand, kSstpCmmDhcp, sstp_dhcp_msg> {
  public:
    void SetIPAddr(uint32_t ip) { m_body.Store32(offsetof(Record, ip), ip); }
    // Copies 6 bytes; null leaves the field as it was.
    void SetEtherAddr(const uint8_t* mac) { m_body.StoreEther(offsetof(Record, mac), mac); }
    uint32_t GetIPAddr() const { return m_body.Load32(offsetof(Record, ip)); }
    // The 6 bytes in the message; null without a body.
    const uint8_t* GetEtherAddr() const { return m_body.LoadEther(offsetof(Record, mac)); }

    int Print();
};

// The answer. The three addresses count if the error is 0.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | error                         |  0
// +-------------------------------+
// | gateway                       |  4
// +-------------------------------+
// | network mask                  |  8
// +-------------------------------+
// | IPv4 address                  | 12
// +-------------------------------+
struct __attribute__((packed)) sstp_dhcp_ack {
    uint32_t error;
    uint32_t gateway;
    uint32_t mask;
    uint32_t ip;
};
static_assert(sizeof(sstp_dhcp_ack) == 16);
static_assert(offsetof(sstp_dhcp_ack, gateway) == 4 && offsetof(sstp_dhcp_ack, mask) == 8 &&
              offsetof(sstp_dhcp_ack, ip) == 12);

class CTSstpDhcpAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmDhcp, sstp_dhcp_ack> {
  public:
    void SetError(uint32_t error) { m_body.Store32(offsetof(Record, error), error); }
    void SetGateway(uint32_t ip) { m_body.Store32(offsetof(Record, gateway), ip); }
    void SetMask(uint32_t mask) { m_body.Store32(offsetof(Record, mask), mask); }
    void SetIP(uint32_t ip) { m_body.Store32(offsetof(Record, ip), ip); }
    uint32_t GetError() const { return m_body.Load32(offsetof(Record, error)); }
    uint32_t GetGateway() const { return m_body.Load32(offsetof(Record, gateway)); }
    uint32_t GetMask() const { return m_body.Load32(offsetof(Record, mask)); }
    uint32_t GetIP() const { return m_body.Load32(offsetof(Record, ip)); }

    int Print();
};
