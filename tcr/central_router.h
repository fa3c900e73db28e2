#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "inet/tnet_npkt.h"
#include "sdwan/sdwan_sys.h"
#include "sstp/sstp_message.h"
#include "tcr/announcer.h"
#include "tcr/gateway.h"
#include "tcr/tcr_config.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_subnet.h"
#include "tcr/tcr_time.h"

// In replies, beside the errors of sstp/sstp_error.h.
constexpr uint32_t kTcrErrNone = 0;
constexpr uint32_t kTcrErrRefused = 1;

// What the central router counts. Nothing is printed for a single datagram.
struct TcrCounters {
    uint64_t received = 0;
    uint64_t relayed = 0;
    uint64_t answered = 0;             // requests and heartbeats
    uint64_t pings = 0;                // to a gateway, answered or waiting for a fragment
    uint64_t malformed = 0;            // length field or body does not fit the datagram
    uint64_t foreign = 0;              // not from the address that logged in with the identifier
    uint64_t wrong = 0;                // no request for a central router, or not in that state
    uint64_t unknown_destination = 0;  // network packets for nobody
    uint64_t refused_logins = 0;
    uint64_t send_refused = 0;  // network packets that the system did not take
};

// The central router: keeps the model of its subnets, lets edges join and leave, tells them of each
// other and relays their packets. It knows no socket and no clock: datagrams and the time come
// in through Receive and Tick, everything else goes out through the link.
// One thread.
class CTCentralRouter {
  public:
    CTCentralRouter(const TcrConfig& config, TcrLink& link);

    // One datagram.
    void Receive(const TcrPath& from, const uint8_t* data, int length, TcrTime now);
    // What is due by now: edges gone silent, announcements. A few times a second.
    void Tick(TcrTime now);

    // The table of subnets, routers and devices, and the counters, line by line to the link.
    void PrintTable(TcrTime now);
    const TcrCounters& GetCounters() const { return m_counters; }

  private:
    // Where a request comes from.
    struct Edge {
        TcrSubnet* subnet = nullptr;
        int slot = 0;
        TcrSession& Session() const { return subnet->sessions[slot]; }
        CTSdwanRouter* Router() const { return subnet->Router(slot); }
        uint32_t Identifier() const { return subnet->Identifier(slot); }
    };

    // central_router.cpp: sorting what arrives, sessions, time.
    TcrSubnet* SubnetOf(uint32_t identifier) const;
    bool FindEdge(uint32_t identifier, const TcrPath& from, Edge& edge);
    void RelayNetPacket(const TcrPath& from, const uint8_t* data, int length, CTSstpMessage& msg,
                        TcrTime now);
    void HeartBeat(const TcrPath& from, CTSstpMessage& msg, TcrTime now);
    void Acknowledgement(const TcrPath& from, CTSstpMessage& msg, TcrTime now);
    void CheckSilence(const Edge& edge, TcrTime now);
    void CheckSettled(const Edge& edge, TcrTime now);
    // From now on the edge is sent announcements and packets, and the others are told of it.
    void Settle(const Edge& edge, TcrTime now);
    // The others no longer see the router; its devices wait with it or end.
    void Unlist(const Edge& edge, uint16_t device_status);
    // The edge registered its router, or is back; the others see it once it has settled.
    void List(const Edge& edge);
    void Tell(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void PrintEdge(const Edge& edge, TcrTime now);

    // central_router_request.cpp: sorting requests, and what edges ask and register. The handlers
    // give false for a request that is wrong as it stands and gets no reply.
    void Command(const TcrPath& from, CTSstpMessage& msg, TcrTime now);
    bool Dispatch(const Edge& edge, CTSstpMessage& msg, TcrTime now);
    void Echo(const TcrPath& from, CTSstpMessage& msg);
    bool Subnet(const Edge& edge, CTSstpMessage& msg);
    bool GetRouters(const Edge& edge, CTSstpMessage& msg);
    bool GetDevices(const Edge& edge, CTSstpMessage& msg);
    bool AddRouter(const Edge& edge, CTSstpMessage& msg);
    bool AddDevices(const Edge& edge, CTSstpMessage& msg, TcrTime now);
    bool DelDevices(const Edge& edge, CTSstpMessage& msg);
    void AddDevice(const Edge& edge, uint32_t ip, const uint8_t* mac);
    void Reply(const TcrPath& to, CTSstpMessage& request, CTSstpMessage& reply);
    void ReplyTo(const Edge& edge, CTSstpMessage& request, CTSstpMessage& reply);
    bool HoldsBody(CTSstpMessage& msg, int length);

    // central_router_login.cpp: edges that come and go.
    void Login(const TcrPath& from, CTSstpMessage& msg, TcrTime now);
    bool Logout(const Edge& edge, CTSstpMessage& msg, TcrTime now);
    uint32_t JudgeLogin(class CTSstpLoginMsg& login, TcrSubnet*& subnet);
    bool TakeSlot(TcrSubnet& subnet, uint32_t serial, int& slot);
    void RefuseLogin(const TcrPath& from, uint32_t error, TcrTime now);
    void DropDevicesBut(const Edge& edge, uint32_t kept);

    // central_router_lease.cpp: which address an edge gets.
    bool Dhcp(const Edge& edge, CTSstpMessage& msg);
    uint32_t Lease(const Edge& edge, uint32_t requested, const uint8_t* mac);
    void HoldLease(const Edge& edge, uint32_t ip, const uint8_t* mac);

    const TcrConfig m_config;
    TcrLink& m_link;
    TcrCounters m_counters;
    CTSdwanSys m_model;
    std::vector<std::unique_ptr<TcrSubnet>> m_subnets;  // by index
    TcrAnnouncer m_announcer;
    TcrGateway m_gateway;
    CTSkBuffer m_request;  // the request being handled, as the message classes want it
    TcrTime m_last_refusal_tick = 0;
    uint64_t m_refusals_not_told = 0;
    bool m_refusal_told = false;
};
