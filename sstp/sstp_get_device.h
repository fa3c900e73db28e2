#pragma once

#include "sstp/sstp_body.h"
#include "sstp/sstp_device_list.h"

// Asks for the devices behind a router; the body is that router's identifier, 4 bytes.
struct __attribute__((packed)) sstp_get_device_msg {
    uint32_t identifier;
};
static_assert(sizeof(sstp_get_device_msg) == 4);

class CTSstpGetDeviceMsg
    : public CTSstpBodyMsg<kSstpCommand, kSstpCmmGetDevice, sstp_get_device_msg> {
  public:
    void SetIdentifier(uint32_t id) { m_body.Store32(offsetof(Record, identifier), id); }
    uint32_t GetIdentifier() const { return m_body.Load32(offsetof(Record, identifier)); }

    int Print();
};

constexpr int kSstpGetDeviceMaxRecords = 32;

// The answer: device records back to back (sstp_device_list.h). The receiver's buffer holds 32 of
// them, so a sender puts no more into one.
class CTSstpGetDeviceAck
    : public CTSstpListMsg<kSstpCommandAck, kSstpCmmGetDevice, sstp_no_record,
                           sizeof(sstp_device_record), kSstpGetDeviceMaxRecords> {
  public:
    // Copies the list's records, at most 32, and sets the message's length; the bytes copied.
    int FillParamList(CTSstpGetDeviceAckParamList& list);

    int Print();
};
