#pragma once

#include "sstp/sstp_body.h"

// Tells that addresses are no longer behind a router: from the edge that leaves to the central
// router, and from there to the other edges. The answer has no body.
//
//   0       1       2       3
// +-------+-------+-------+-------+
// | identifier of the router      |  0
// +-------------------------------+
// | IPv4 addresses, at most 32    |  4 ..
// +-------------------------------+
struct __attribute__((packed)) sstp_del_device_msg {
    uint32_t identifier;
};
static_assert(sizeof(sstp_del_device_msg) == 4);

constexpr int kSstpDelDeviceMaxAddrs = 32;

class CTSstpDelDeviceMsg
    : public CTSstpListMsg<kSstpCommand, kSstpCmmDelDevice, sstp_del_device_msg, sizeof(uint32_t),
                           kSstpDelDeviceMaxAddrs> {
  public:
    void SetIdentifier(uint32_t id) { m_body.Store32(offsetof(Record, identifier), id); }
    uint32_t GetIdentifier() const { return m_body.Load32(offsetof(Record, identifier)); }
    // Copies n addresses, at most 32, as they are: pass them in network byte order. Sets the
    // message's length, which counts the identifier only from now on; the bytes copied.
    int FillParamList(const uint32_t* addrs, int n);

    // Appends the print-out, with one line for each address that the buffer holds.
    void PrintTo(CTString& text);
    int Print();
};

class CTSstpDelDeviceAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmDelDevice> {
  public:
    int Print();
};
