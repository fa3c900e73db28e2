#pragma once

#include "base/pvu_string.h"
#include "sstp/sstp_record_list.h"

// One device behind a router.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | stat          | type          |  0
// +---------------+---------------+
// | IPv4 address                  |  4
// +-------------------------------+
// | MAC address                   |  8
// |               +---------------+
// |               |                 12
// +---------------+
struct __attribute__((packed)) sstp_device_record {
    uint16_t stat;
    uint16_t type;
    uint32_t ip;
    uint8_t mac[kEtherAddrSize];
};
static_assert(sizeof(sstp_device_record) == 14);
static_assert(offsetof(sstp_device_record, type) == 2 && offsetof(sstp_device_record, ip) == 4 &&
              offsetof(sstp_device_record, mac) == 8);

// The devices of a get-device reply or an add-device request; see sstp_record_list.h for the walk.
class CTSstpGetDeviceAckParamList : public CTSstpRecordList {
  public:
    static constexpr int kMaximum = 64;

    CTSstpGetDeviceAckParamList() : CTSstpRecordList(GetElementSize(), kMaximum) {}
    static constexpr int GetElementSize() { return sizeof(sstp_device_record); }

    // Of the current record, in host byte order.
    uint16_t GetStat() const { return Current().Load16(offsetof(Record, stat)); }
    uint16_t GetType() const { return Current().Load16(offsetof(Record, type)); }
    uint32_t GetIPvAddr() const { return Current().Load32(offsetof(Record, ip)); }
    // The 6 bytes in the record; null without a current record.
    const uint8_t* GetEtherAddr() const { return Current().LoadEther(offsetof(Record, mac)); }
    void SetStat(uint16_t stat) { Current().Store16(offsetof(Record, stat), stat); }
    void SetType(uint16_t type) { Current().Store16(offsetof(Record, type), type); }
    void SetIPv4Addr(uint32_t ip) { Current().Store32(offsetof(Record, ip), ip); }
    // Copies 6 bytes; null leaves the field as it was.
    void SetEtherAddr(const uint8_t* mac) { Current().StoreEther(offsetof(Record, mac), mac); }

    // Appends a title and a line for each record, and leaves the cursor at the end; the text's
    // length.
    int Print(CTString& text);
    // The same to standard output.
    int Print();

  private:
    using Record = sstp_device_record;
};
