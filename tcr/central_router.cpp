// CTCentralRouter: what arrives is sorted here by message type; requests are handled in
// central_router_request.cpp and the files that it names.
//
//   network packet    RelayNetPacket: to the edge that its dst names, as it came, or to the gateway
//   interior command  HeartBeat
//   command           Command (request, reply)
//   command ack       Acknowledgement: of an announcement

#include "tcr/central_router.h"

#include <cstdarg>
#include <cstdio>

#include "sstp/sstp_heartbeat.h"
#include "tcr/tcr_text.h"

namespace {

constexpr int kRequestSize = 2048;
constexpr int kLineSize = 256;
constexpr TcrTime kMillisPerSecond = 1000;

const char* PresenceName(const TcrSession& session) {
    switch (session.presence) {
        case TcrPresence::kAbsent:
            return "away";
        case TcrPresence::kSilent:
            return "silent";
        case TcrPresence::kLoggedIn:
            break;
    }
    return session.settled ? "joined" : "joining";
}

}  // namespace

CTCentralRouter::CTCentralRouter(const TcrConfig& config, TcrLink& link)
    : m_config(config), m_link(link), m_announcer(link), m_gateway(link), m_request(kRequestSize) {
    for (const TcrSubnetConfig& served : config.subnets) {
        CTSdwanSubnet* subnet = m_model.AddSubnet(served.name.c_str(), served.password.c_str());
        if (!subnet) continue;
        subnet->SetGateway(served.gateway);
        subnet->SetNetMask(served.mask);
        m_subnets.push_back(std::make_unique<TcrSubnet>(*subnet));
    }
}

void CTCentralRouter::Receive(const TcrPath& from, const uint8_t* data, int length, TcrTime now) {
    ++m_counters.received;
    m_request.Copy(data, length);
    CTSstpMessage msg;
    bool complete = m_request.GetDataLength() == length && length >= kSstpHeaderSize &&
                    msg.Attach(m_request) && msg.GetMessageLength() >= kSstpHeaderSize &&
                    msg.GetMessageLength() <= length;
    if (!complete) {
        ++m_counters.malformed;
        return;
    }
    switch (msg.GetType()) {
        case kSstpNetPacket:
            RelayNetPacket(from, data, length, msg, now);
            break;
        case kSstpInterCommand:
            HeartBeat(from, msg, now);
            break;
        case kSstpCommand:
            Command(from, msg, now);
            break;
        case kSstpCommandAck:
            Acknowledgement(from, msg, now);
            break;
        default:
            ++m_counters.wrong;
            break;
    }
}

TcrSubnet* CTCentralRouter::SubnetOf(uint32_t identifier) const {
    size_t index = static_cast<size_t>(CTSdwanSubnet::GetIndexFromIdentifier(identifier));
    return index < m_subnets.size() ? m_subnets[index].get() : nullptr;
}

// The edge with that identifier, if the datagram comes from where it logged in.
bool CTCentralRouter::FindEdge(uint32_t identifier, const TcrPath& from, Edge& edge) {
    edge.subnet = SubnetOf(identifier);
    edge.slot = CTSdwanSubnet::RouterIDToIndex(identifier);
    bool found = edge.subnet && edge.slot < kTcrSlots && edge.Router() &&
                 edge.Session().path.remote.GetPort() != 0 && edge.Session().path.SameRemote(from);
    if (!found) {
        ++m_counters.foreign;
        return false;
    }
    edge.Session().path.local = from.local;  // what it is sent leaves from where it asks now
    return true;
}

void CTCentralRouter::RelayNetPacket(const TcrPath& from, const uint8_t* data, int length,
                                     CTSstpMessage& msg, TcrTime now) {
    Edge edge;
    if (!FindEdge(msg.GetSrc(), from, edge)) return;
    TcrSession& sender = edge.Session();
    if (sender.presence != TcrPresence::kLoggedIn || !sender.registered) {
        ++m_counters.wrong;
        return;
    }
    sender.heard_tick = now;
    Settle(edge, now);  // it would not send packets while it joins
    if (msg.GetDst() == kSstpCentralRouter) {
        bool taken = m_gateway.Receive(from, data, length, edge.subnet->model.GetGateway());
        ++(taken ? m_counters.pings : m_counters.unknown_destination);
        return;
    }
    int slot = CTSdwanSubnet::RouterIDToIndex(msg.GetDst());
    bool known = SubnetOf(msg.GetDst()) == edge.subnet && slot < kTcrSlots &&
                 edge.subnet->sessions[slot].presence == TcrPresence::kLoggedIn &&
                 edge.subnet->sessions[slot].settled;
    if (!known) {
        ++m_counters.unknown_destination;
        return;
    }
    bool sent = m_link.Send(edge.subnet->sessions[slot].path, data, length);
    ++(sent ? m_counters.relayed : m_counters.send_refused);
}

void CTCentralRouter::HeartBeat(const TcrPath& from, CTSstpMessage& msg, TcrTime now) {
    Edge edge;
    CTSstpHeartBeatMsg heartbeat;
    CTSstpHeartBeatAck reply;
    if (msg.GetSubType() != kSstpInterHeartBeat) {
        ++m_counters.wrong;
        return;
    }
    if (!HoldsBody(msg, CTSstpHeartBeatMsg::GetContextLength())) return;
    if (!FindEdge(msg.GetSrc(), from, edge)) return;
    TcrSession& session = edge.Session();
    if (session.presence == TcrPresence::kAbsent) {
        ++m_counters.wrong;
        return;
    }
    if (!heartbeat.Attach(m_request) || !reply.Create()) return;
    reply.SetTick(heartbeat.GetTick());
    Reply(from, msg, reply);

    session.heard_tick = now;
    session.topology.stalled = false;
    if (session.presence == TcrPresence::kSilent) {
        session.presence = TcrPresence::kLoggedIn;
        if (session.registered) List(edge);
        Tell("edge 0x%08x is back", edge.Identifier());
    }
    if (session.registered) Settle(edge, now);
    m_announcer.Advance(*edge.subnet, edge.slot, now);
}

void CTCentralRouter::Acknowledgement(const TcrPath& from, CTSstpMessage& msg, TcrTime now) {
    Edge edge;
    if (!FindEdge(msg.GetSrc(), from, edge)) return;
    edge.Session().heard_tick = now;
    if (!m_announcer.Acknowledge(*edge.subnet, edge.slot, msg, msg.GetBodyLimit(), now)) {
        ++m_counters.wrong;
    }
}

void CTCentralRouter::Tick(TcrTime now) {
    for (std::unique_ptr<TcrSubnet>& subnet : m_subnets) {
        for (int slot = 0; slot < kTcrSlots; ++slot) {
            Edge edge{subnet.get(), slot};
            if (edge.Session().presence != TcrPresence::kLoggedIn) continue;
            CheckSilence(edge, now);
            CheckSettled(edge, now);
        }
        m_announcer.AdvanceAll(*subnet, now);
    }
}

void CTCentralRouter::CheckSilence(const Edge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    TcrTime limit = m_config.silent_seconds * kMillisPerSecond;
    if (now - session.heard_tick < limit) return;
    session.presence = TcrPresence::kSilent;
    session.gone_tick = now;
    session.topology.pending.active = false;
    Unlist(edge, kDeviceStatusIdle);
    Tell("edge 0x%08x not heard of for %d s, gone", edge.Identifier(), m_config.silent_seconds);
}

void CTCentralRouter::CheckSettled(const Edge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    if (session.presence != TcrPresence::kLoggedIn || !session.registered) return;
    if (now >= session.settle_tick) Settle(edge, now);
}

void CTCentralRouter::Settle(const Edge& edge, TcrTime now) {
    TcrSession& session = edge.Session();
    if (session.settled) return;
    session.settled = true;
    Tell("edge 0x%08x \"%s\" joined", edge.Identifier(),
         tcr_printable(edge.Router()->GetLabel()).c_str());
    // At once: the others cannot answer its packets before they know it.
    m_announcer.AdvanceAll(*edge.subnet, now);
}

void CTCentralRouter::Unlist(const Edge& edge, uint16_t device_status) {
    TcrSession& session = edge.Session();
    session.listed = false;
    session.settled = false;
    CTSdwanRouter* router = edge.Router();
    if (!router) return;
    router->SetStatus(kRouterStatusIdle);
    CTSdwanDeviceList& devices = router->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device && device->GetStatus() != kDeviceStatusOff) device->SetStatus(device_status);
    }
}

void CTCentralRouter::List(const Edge& edge) {
    TcrSession& session = edge.Session();
    CTSdwanRouter* router = edge.Router();
    session.listed = true;
    session.version = ++edge.subnet->last_version;
    router->SetStatus(kRouterStatusOnline);
    router->SetSstpAddr(session.path.remote);
    CTSdwanDeviceList& devices = router->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (device && device->GetStatus() == kDeviceStatusIdle) device->SetStatusOn();
    }
}

void CTCentralRouter::Tell(const char* format, ...) {
    char line[kLineSize];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    m_link.Tell(line);
}

void CTCentralRouter::PrintTable(TcrTime now) {
    for (std::unique_ptr<TcrSubnet>& subnet : m_subnets) {
        Tell("subnet %d \"%s\" gateway %s mask %s", subnet->model.GetIndex(),
             tcr_printable(subnet->model.GetName()).c_str(),
             tcr_ip_text(subnet->model.GetGateway()).c_str(),
             tcr_ip_text(subnet->model.GetNetMask()).c_str());
        for (int slot = 0; slot < kTcrSlots; ++slot)
            PrintEdge({subnet.get(), slot}, now);
    }
    Tell("received %llu relayed %llu answered %llu pings %llu",
         static_cast<unsigned long long>(m_counters.received),
         static_cast<unsigned long long>(m_counters.relayed),
         static_cast<unsigned long long>(m_counters.answered),
         static_cast<unsigned long long>(m_counters.pings));
    Tell(
        "dropped: malformed %llu foreign %llu wrong %llu unknown destination %llu refused logins "
        "%llu send refused %llu",
        static_cast<unsigned long long>(m_counters.malformed),
        static_cast<unsigned long long>(m_counters.foreign),
        static_cast<unsigned long long>(m_counters.wrong),
        static_cast<unsigned long long>(m_counters.unknown_destination),
        static_cast<unsigned long long>(m_counters.refused_logins),
        static_cast<unsigned long long>(m_counters.send_refused));
}

void CTCentralRouter::PrintEdge(const Edge& edge, TcrTime now) {
    CTSdwanRouter* router = edge.Router();
    if (!router) return;
    const TcrSession& session = edge.Session();
    Tell("  edge 0x%08x %-7s serial 0x%08x from %-21s heard %lld s ago \"%s\"", edge.Identifier(),
         PresenceName(session), router->GetSerialNumber(),
         tcr_addr_text(session.path.remote).c_str(),
         static_cast<long long>((now - session.heard_tick) / kMillisPerSecond),
         tcr_printable(router->GetLabel()).c_str());
    CTSdwanDeviceList& devices = router->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (!device) continue;
        CTString text;
        device->Print(text);
        Tell("    device %s", text.c_str());
    }
}
