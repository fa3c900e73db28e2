#include "sstp/sstp_p2p_heartbeat.h"

int CTSstpP2PHeartbeatMsg::Print() {
    return ShowTick("\np2p heartbeat: ");
}

int CTSstpP2PHeartbeatAck::Print() {
    return ShowTick("\np2p heartbeat ack: ");
}
