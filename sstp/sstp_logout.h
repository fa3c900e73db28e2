#pragma once

#include "sstp/sstp_body.h"

// Takes leave of the central router. Neither message has a body.

class CTSstpLogoutMsg : public CTSstpBodyMsg<kSstpCommand, kSstpCmmLogout> {
  public:
    int Print();
};

class CTSstpLogoutAck : public CTSstpBodyMsg<kSstpCommandAck, kSstpCmmLogout> {
  public:
    int Print();
};
