#pragma once

#include "sstp/sstp_body.h"

// Asks whether the central router is there. Neither message has a body, nor prints anything.

class CTSstpEchoMsg : public CTSstpBodyMsg<kSstpCommand, kSstpCmmEcho> {
  public:
    int Print() const;
};

class CTSstpEchoAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmEcho> {
  public:
    int Print() const;
};
