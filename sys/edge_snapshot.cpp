#include "sys/edge_snapshot.h"

#include "sstp/p2p_connect.h"

const char* edge_peer_state_name(int state) {
    switch (state) {
        case CTP2PConnect::kOn:
            return "on";
        case CTP2PConnect::kPending:
            return "pending";
        default:
            return "off";
    }
}

bool edge_has_joined(const CTEdgeSnapshot& snapshot) {
    return snapshot.joined_ms >= 0;
}

bool edge_is_central_silent(const CTEdgeSnapshot& snapshot) {
    return !edge_has_joined(snapshot) || snapshot.heartbeats_unanswered > 1;
}
