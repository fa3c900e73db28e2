// CTsdwSys: the topology: the other routers, their devices and the peers, fetched while joining.

#include <algorithm>
#include <cstdio>

#include "sstp/sstp_device_list.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_router_list.h"
#include "sys/tsdw_sys.h"

int CTsdwSys::InitExternalNet() {
    int status = FetchExtRouter();
    if (status != 0) return status;
    FetchExtAllDevice();
    ShowExternalNet();
    return 0;
}

void CTsdwSys::ShowExternalNet() {
    m_fetched_subnet->SetSubnetName(m_config.GetSubnetName());
    m_fetched_subnet->SetGateway(m_config.GetSubnetGateway());
    m_fetched_subnet->SetNetMask(m_config.GetLocalNetMask());
    printf(
        "\n---------------------------------- External Network Map "
        "----------------------------------\n");
    m_fetched_subnet->Print();
}

// The header of a reply may state more records than arrived.
int CTsdwSys::QueryList(CTSstpMessage& request, CTSstpMessage& reply) {
    int received = 0;
    int status = m_client.WriteAndWaitReply(m_client.GetCentralRouterAddr(), request, reply,
                                            CTSstpConnect::kAttempts, &received);
    if (status != 0) return -1;
    return std::min(reply.GetBodyLimit(), received - kSstpHeaderSize);
}

int CTsdwSys::FetchExtRouter() {
    CTSstpGetRouterMsg request;
    CTSstpGetRouterAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.Print();
    int length = QueryList(request, reply);
    if (length < 0) return 1;
    reply.Print();
    CTSstpGetRouterAckParamList list;
    list.Attach(reply.GetDataPtr(), length);
    list.Print();
    for (list.First(); !list.IsEnd(); list.Next()) {
        CTSdwanRouter* router = m_fetched_subnet->ReplaceRouter(list.GetIdentifier());
        if (!router) continue;
        router->SetIdentifier(list.GetIdentifier());
        router->SetSerialNumber(list.GetSerialNumber());
        router->SetStatus(list.GetStat());
        router->SetType(list.GetType());
        router->SetNetLayer(list.GetNetLayer());
        list.GetExtSockaddr(router->GetSstpAddr());
    }
    return 0;
}

int CTsdwSys::FetchExtAllDevice() {
    CTSdwanRouterList& routers = m_fetched_subnet->GetRouterList();
    for (int i = 0; i < routers.Count(); ++i) {
        if (CTSdwanRouter* router = routers.At(i)) FetchExtDevice(*router);
    }
    return 0;
}

int CTsdwSys::FetchExtDevice(CTSdwanRouter& router) {
    CTSstpGetDeviceMsg request;
    CTSstpGetDeviceAck reply;
    if (!request.Create() || !reply.Create()) return 1;
    request.SetIdentifier(router.GetIdentifier());
    request.Print();
    int length = QueryList(request, reply);
    if (length < 0) return 1;
    reply.Print();
    CTSstpGetDeviceAckParamList list;
    list.Attach(reply.GetDataPtr(), length);
    for (list.First(); !list.IsEnd(); list.Next()) {
        CTSdwanDevice* device =
            m_fetched_subnet->AddDevice(&router, list.GetIPvAddr(), list.GetEtherAddr());
        if (!device) continue;
        device->SetStatus(list.GetStat());
        device->SetType(list.GetType());
    }
    return 0;
}

int CTsdwSys::InitP2PConnects() {
    CTSdwanRouterList& routers = m_fetched_subnet->GetRouterList();
    for (int i = 0; i < routers.Count(); ++i) {
        CTSdwanRouter* router = routers.At(i);
        if (router) m_fetched_peers->Insert(router->GetIdentifier(), router->GetSstpAddr());
    }
    m_fetched_peers->Print();
    return 0;
}
