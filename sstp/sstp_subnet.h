#pragma once

#include "sstp/sstp_body.h"

// Asks for the gateway and the mask of a subnet; the body is the subnet's name, 32 bytes.
struct __attribute__((packed)) sstp_subnet_msg {
    char subnet_name[kTextFieldSize];
};
static_assert(sizeof(sstp_subnet_msg) == 32);

class CTSstpSubnetMsg : public CTSstpBodyMsg<kSstpCommand, kSstpCmmSubnet, sstp_subnet_msg> {
  public:
    // Null leaves the field as it was.
    void SetSubnetName(const char* name) { m_body.StoreText(offsetof(Record, subnet_name), name); }
    const char* GetSubnetName() const { return m_body.LoadText(offsetof(Record, subnet_name)); }

    int Print();
};

//   0       1       2       3
// +-------+-------+-------+-------+
// | subnet name                   |  0 .. 31
// +-------------------------------+
// | gateway                       | 32
// +-------------------------------+
// | network mask                  | 36
// +-------------------------------+
struct __attribute__((packed)) sstp_subnet_ack {
    char subnet_name[kTextFieldSize];
    uint32_t gateway;
    uint32_t net_mask;
};
static_assert(sizeof(sstp_subnet_ack) == 40);
static_assert(offsetof(sstp_subnet_ack, gateway) == 32 &&
              offsetof(sstp_subnet_ack, net_mask) == 36);

class CTSstpSubnetAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmSubnet, sstp_subnet_ack> {
  public:
    // Null leaves the field as it was.
    void SetSubnetName(const char* name) { m_body.StoreText(offsetof(Record, subnet_name), name); }
    void SetGateway(uint32_t ip) { m_body.Store32(offsetof(Record, gateway), ip); }
    void SetNetMask(uint32_t mask) { m_body.Store32(offsetof(Record, net_mask), mask); }
    const char* GetSubnetName() const { return m_body.LoadText(offsetof(Record, subnet_name)); }
    uint32_t GetGateway() const { return m_body.Load32(offsetof(Record, gateway)); }
    uint32_t GetNetMask() const { return m_body.Load32(offsetof(Record, net_mask)); }

    int Print();
};
