#pragma once

#include "sstp/sstp_body.h"

// Registers the edge's router with the central router, or announces another edge's router, with
// the address at which it was seen, to an edge.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | router type   | layer | res.  |  0
// +---------------+-------+-------+
// | identifier                    |  4
// +-------------------------------+
// | serial number                 |  8
// +---------------+---------------+
// | reserved, 0   | external port | 12
// +---------------+---------------+
// | external IPv4 address         | 16
// +-------------------------------+
// | router label                  | 20 .. 51
// +-------------------------------+
struct __attribute__((packed)) sstp_add_router_msg {
    uint16_t router_type;
    uint8_t net_layer;
    uint8_t reserved0;
    uint32_t identifier;
    uint32_t serial_number;
    uint16_t reserved1;
    uint16_t ext_port;
    uint32_t ext_ip;
    char label[kTextFieldSize];
};
static_assert(sizeof(sstp_add_router_msg) == 52);
static_assert(offsetof(sstp_add_router_msg, net_layer) == 2 &&
              offsetof(sstp_add_router_msg, identifier) == 4 &&
              offsetof(sstp_add_router_msg, serial_number) == 8 &&
              offsetof(sstp_add_router_msg, ext_port) == 14 &&
              offsetof(sstp_add_router_msg, ext_ip) == 16 &&
              offsetof(sstp_add_router_msg, label) == 20);

class CTSstpAddRouterMsg
    : public CTSstpBodyMsg<kSstpCommand, kSstpCmmAddRouter, sstp_add_router_msg> {
  public:
    void SetRouterType(uint16_t type) { m_body.Store16(offsetof(Record, router_type), type); }
    void SetNetLayer(uint8_t layer) { m_body.Store8(offsetof(Record, net_layer), layer); }
    void SetIdentifier(uint32_t id) { m_body.Store32(offsetof(Record, identifier), id); }
    void SetSerialNumber(uint32_t n) { m_body.Store32(offsetof(Record, serial_number), n); }
    // Null leaves the field as it was.
    void SetRouterLabel(const char* label) { m_body.StoreText(offsetof(Record, label), label); }
    void SetExtSockAddr(const CTSockAddr& addr);
    uint16_t GetRouterType() const { return m_body.Load16(offsetof(Record, router_type)); }
    uint8_t GetNetLayer() const { return m_body.Load8(offsetof(Record, net_layer)); }
    uint32_t GetIdentifier() const { return m_body.Load32(offsetof(Record, identifier)); }
    uint32_t GetSerialNumber() const { return m_body.Load32(offsetof(Record, serial_number)); }
    const char* GetRouterLabel() const { return m_body.LoadText(offsetof(Record, label)); }
    // Fills address and port: true. False without a body.
    bool GetExtSockaddr(CTSockAddr& addr) const;

    // Appends the print-out.
    void PrintTo(CTString& text);
    int Print();
};

// The answer: an error, 0 for success, 4 bytes.
struct __attribute__((packed)) sstp_add_router_ack {
    uint32_t error;
};
static_assert(sizeof(sstp_add_router_ack) == 4);

class CTSstpAddRouterAck
    : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmAddRouter, sstp_add_router_ack> {
  public:
    void SetError(uint32_t error) { m_body.Store32(offsetof(Record, error), error); }
    uint32_t GetError() const { return m_body.Load32(offsetof(Record, error)); }

    int Print();
};
