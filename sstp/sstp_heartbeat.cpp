#include "sstp/sstp_heartbeat.h"

int CTSstpHeartBeatMsg::Print() {
    return ShowTick("\nHeartBeat: ");
}

int CTSstpHeartBeatAck::Print() {
    return ShowTick("\nHeartBeat Ack: ");
}
