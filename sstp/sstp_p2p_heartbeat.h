#pragma once

#include "sstp/sstp_heartbeat.h"

// Finds out whether a peer edge can be reached directly. The peer answers with the request's seq
// and tick, to the address from which the request came.
class CTSstpP2PHeartbeatMsg : public CTSstpTickMsg<kSstpCommand, kSstpCmmP2PHeartbeat> {
  public:
    int Print();
};

class CTSstpP2PHeartbeatAck : public CTSstpTickMsg<kSstpCommandAck, kSstpCmmP2PHeartbeat> {
  public:
    int Print();
};
