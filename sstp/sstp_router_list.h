#pragma once

#include "base/pvu_string.h"
#include "sstp/sstp_record_list.h"

// One router of a subnet.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | stat          | type          |  0
// +-------+-------+---------------+
// | layer | res.  | external port |  4
// +-------+-------+---------------+
// | external IPv4 address         |  8
// +-------------------------------+
// | identifier                    | 12
// +-------------------------------+
// | serial number                 | 16
// +-------------------------------+
struct __attribute__((packed)) sstp_router_record {
    uint16_t stat;
    uint16_t type;
    uint8_t net_layer;
    uint8_t reserved;
    uint16_t ext_port;
    uint32_t ext_ip;
    uint32_t identifier;
    uint32_t serial_number;
};
static_assert(sizeof(sstp_router_record) == 20);
static_assert(offsetof(sstp_router_record, type) == 2 &&
              offsetof(sstp_router_record, net_layer) == 4 &&
              offsetof(sstp_router_record, ext_port) == 6 &&
              offsetof(sstp_router_record, ext_ip) == 8 &&
              offsetof(sstp_router_record, identifier) == 12 &&
              offsetof(sstp_router_record, serial_number) == 16);

// The routers of a get-router reply; see sstp_record_list.h for the walk.
class CTSstpGetRouterAckParamList : public CTSstpRecordList {
  public:
    static constexpr int kMaximum = 40;

    CTSstpGetRouterAckParamList() : CTSstpRecordList(GetElementSize(), kMaximum) {}
    static constexpr int GetElementSize() { return sizeof(sstp_router_record); }

    // Of the current record, in host byte order.
    uint16_t GetStat() const { return Current().Load16(offsetof(Record, stat)); }
    uint16_t GetType() const { return Current().Load16(offsetof(Record, type)); }
    uint8_t GetNetLayer() const { return Current().Load8(offsetof(Record, net_layer)); }
    uint32_t GetIdentifier() const { return Current().Load32(offsetof(Record, identifier)); }
    uint32_t GetSerialNumber() const { return Current().Load32(offsetof(Record, serial_number)); }
    // Fills address and port: true. False, and addr as it was, without a current record.
    bool GetExtSockaddr(CTSockAddr& addr) const;
    void SetStat(uint16_t stat) { Current().Store16(offsetof(Record, stat), stat); }
    void SetType(uint16_t type) { Current().Store16(offsetof(Record, type), type); }
    void SetNetLayer(uint8_t layer) { Current().Store8(offsetof(Record, net_layer), layer); }
    void SetIdentifier(uint32_t id) { Current().Store32(offsetof(Record, identifier), id); }
    void SetSerialNumber(uint32_t n) { Current().Store32(offsetof(Record, serial_number), n); }
    void SetExtSockAddr(const CTSockAddr& addr);

    // Appends a title and a line for each record, and leaves the cursor at the end; the text's
    // length.
    int Print(CTString& text);
    // The same to standard output.
    int Print();

  private:
    using Record = sstp_router_record;
};
