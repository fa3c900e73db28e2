#pragma once

#include "sstp/sstp_body.h"
#include "sstp/sstp_device_list.h"

// Registers devices behind the edge's router, or announces another router's devices to an edge.
// The answer has no body.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | identifier of the router      |  0
// +-------------------------------+
// | device records, at most 64    |  4 ..   (sstp_device_list.h)
// +-------------------------------+
struct __attribute__((packed)) sstp_add_device_msg {
    uint32_t identifier;
};
static_assert(sizeof(sstp_add_device_msg) == 4);

constexpr int kSstpAddDeviceMaxRecords = 64;

class CTSstpAddDeviceMsg
    : public CTSstpListMsg<kSstpCommand, kSstpCmmAddDevice, sstp_add_device_msg,
                           sizeof(sstp_device_record), kSstpAddDeviceMaxRecords> {
  public:
    void SetIdentifier(uint32_t id) { m_body.Store32(offsetof(Record, identifier), id); }
    uint32_t GetIdentifier() const { return m_body.Load32(offsetof(Record, identifier)); }
    // Copies the list's records, at most 64, and sets the message's length, which counts the
    // identifier only from now on; the bytes copied.
    int FillParamList(CTSstpGetDeviceAckParamList& list);

    // Appends the print-out.
    void PrintTo(CTString& text);
    int Print();
};

class CTSstpAddDeviceAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmAddDevice> {
  public:
    int Print();
};
