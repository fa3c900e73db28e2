#include "sstp/sstp_get_router.h"

int CTSstpGetRouterMsg::Print() {
    return ShowHead("\nGet Router: ");
}

int CTSstpGetRouterAck::FillParamList(CTSstpGetRouterAckParamList& list) {
    return FillList(list.GetDataPtr(), list.GetCount());
}

int CTSstpGetRouterAck::Print() {
    return ShowHead("\nGet Router Ack: ");
}
