#pragma once

#include "sstp/sstp_body.h"

// Announces to an edge that a router is gone; the body is that router's identifier, 4 bytes. The
// answer has no body.
struct __attribute__((packed)) sstp_del_router_msg {
    uint32_t identifier;
};
static_assert(sizeof(sstp_del_router_msg) == 4);

class CTSstpDelRouterMsg
    : public CTSstpBodyMsg<kSstpCommand, kSstpCmmDelRouter, sstp_del_router_msg> {
  public:
    void SetIdentifier(uint32_t id) { m_body.Store32(offsetof(Record, identifier), id); }
    uint32_t GetIdentifier() const { return m_body.Load32(offsetof(Record, identifier)); }

    // Appends the print-out.
    void PrintTo(CTString& text);
    int Print();
};

class CTSstpDelRouterAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmDelRouter> {
  public:
    int Print();
};
