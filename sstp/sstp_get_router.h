#pragma once

#include "sstp/sstp_body.h"
#include "sstp/sstp_router_list.h"

// Asks for the other routers of the edge's subnet. No body.
class CTSstpGetRouterMsg : public CTSstpBodyMsg<kSstpCommand, kSstpCmmGetRouter> {
  public:
    int Print();
};

constexpr int kSstpGetRouterMaxRecords = 32;

// The answer: router records back to back (sstp_router_list.h). The receiver's buffer holds 32 of
// them, so a sender puts no more into one.
class CTSstpGetRouterAck
    : public CTSstpListMsg<kSstpCommandAck, kSstpCmmGetRouter, sstp_no_record,
                           sizeof(sstp_router_record), kSstpGetRouterMaxRecords> {
  public:
    // Copies the list's records, at most 32, and sets the message's length; the bytes copied.
    int FillParamList(CTSstpGetRouterAckParamList& list);

    int Print();
};
