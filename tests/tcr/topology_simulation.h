#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_kinds.h"
#include "tcr/central_router.h"
#include "tests/tcr/model_edge.h"
#include "tests/tcr/rough_road.h"
#include "tests/tcr/state_memory.h"

// Edges with the real model and command handlers and a real central router on a rough road, on a
// clock of their own: joins, moves of addresses, ends, returns elsewhere, outages, at random. All
// of a run follows from its seed.
class TopologySimulation : public TcrLink {
  public:
    explicit TopologySimulation(uint32_t seed) : m_random(seed), m_road(m_random) {
        m_router = std::make_unique<CTCentralRouter>(TcrConfig(), *this, &m_state);
        unsigned edges = 2 + Draw(4);
        for (uint32_t i = 0; i < edges; ++i) {
            m_edges.emplace_back();
            m_edges.back().serial = 1001u + i;
            m_edges.back().lease = kFirstLease + i;
        }
        DrawQuality();
    }

    // Something happens, then nothing more, for as long as it may take until all is right.
    void Run() {
        unsigned events = 10 + Draw(25);
        for (unsigned i = 0; i < events; ++i) {
            Happen(m_edges[Draw(static_cast<unsigned>(m_edges.size()))]);
            Pass(!m_acknowledged && OneIn(40) ? kOutageMs : Draw(1500));
            if (!m_acknowledged && OneIn(30)) Restart();
        }
        m_road.quality = RoadQuality();
        for (Edge& edge : m_edges) {
            edge.cut_off = false;
            while (edge.stage != kAway && edge.stage != kJoined)
                JoinOn(edge);
        }
        Pass(m_acknowledged ? kAcknowledgedCalmMs : kCalmMs);
    }
    // Where an edge's model differs from the truth, a line each.
    std::string Faults() const {
        std::ostringstream faults;
        for (const Edge& edge : m_edges) {
            if (edge.stage != kJoined) continue;
            for (uint32_t slot = 0; slot < kTcrSlots; ++slot)
                CheckSlot(edge, slot, faults);
            for (const auto& [ip, owner] : Owners())
                CheckAddress(edge, ip, owner, faults);
        }
        return faults.str();
    }
    uint64_t GetAnnounced() const { return m_announced; }

    bool Send(const TcrPath& to, const void* data, int length) override {
        const uint8_t* bytes = static_cast<const uint8_t*>(data);
        WireBytes datagram(bytes, bytes + length);
        uint16_t port = to.remote.GetPort();
        if (bytes[0] == kCommand) {
            ++m_announced;
            m_road.Put({port, true, std::move(datagram)}, m_now);
        } else {
            m_reply = std::move(datagram);
        }
        return true;
    }
    void Tell(const char*) override {}

  private:
    static constexpr uint8_t kCommand = 3;
    static constexpr uint8_t kInterCommand = 1;
    static constexpr uint32_t kCentralAddr = Ip(10, 0, 0, 1);
    static constexpr uint32_t kFirstLease = Ip(192, 168, 15, 20);
    static constexpr uint32_t kFirstRoaming = Ip(192, 168, 15, 100);
    static constexpr unsigned kRoaming = 4;
    static constexpr TcrTime kHeartbeatMs = 20'000;
    static constexpr TcrTime kOutageMs = 70'000;
    static constexpr TcrTime kTickMs = 250;
    static constexpr TcrTime kIdleTickMs = 10'000;
    // Where every acknowledgement arrives, acknowledgements alone have to do: the last late
    // datagram, the heartbeat of an edge that was left alone, the longest pause before a renewal
    // there. Else the last late datagram, what was contradicted confirmed, the longest pause before
    // a renewal, and two rounds of refreshing.
    static constexpr TcrTime kAcknowledgedCalmMs = 30'000 + kHeartbeatMs + 64'000;
    static constexpr TcrTime kCalmMs = 30'000 + 180'000 + 300'000 + 300'000;

    enum Stage { kAway, kLoggedIn, kFetched, kListed, kJoined };

    struct Edge {
        uint32_t serial = 0;
        uint32_t lease = 0;
        uint16_t port = 0;
        uint32_t identifier = kWireCentral;
        uint16_t seq = 1;
        Stage stage = kAway;
        bool cut_off = false;  // nothing of it arrives, nor anything at it
        TcrTime heartbeat_at = 0;
        WireBytes heartbeat;  // the datagram; nobody looks at its number
        WireMac mac = {};
        std::map<uint32_t, WireMac> devices;
        ModelEdge model;
    };

    unsigned Draw(unsigned n) { return static_cast<unsigned>(m_random() % n); }
    bool OneIn(unsigned n) { return Draw(n) == 0; }

    void DrawQuality() {
        m_acknowledged = OneIn(3);
        if (OneIn(5)) return;  // a good road
        m_road.quality.lost = Draw(40);
        m_road.quality.doubled = Draw(40);
        m_road.quality.late = Draw(30);
        m_road.quality.delay_ms = 1 + Draw(800);
        m_road.quality.late_ms = 1 + Draw(30'000);
    }

    // --- what happens ---

    void Happen(Edge& edge) {
        edge.cut_off = !m_acknowledged && OneIn(10);
        if (edge.stage == kAway) return Login(edge);
        if (edge.stage != kJoined) return JoinOn(edge);
        switch (Draw(8)) {
            case 0:
                return Leave(edge);
            case 1:  // killed: the central router learns nothing of it
                edge.stage = kAway;
                return;
            case 2:  // joins again, from the socket that it has
                return Login(edge, edge.port);
            case 3:
                return Remove(edge, kFirstRoaming + Draw(kRoaming));
            default:
                return Take(edge, kFirstRoaming + Draw(kRoaming));
        }
    }
    void Login(Edge& edge, uint16_t port = 0) {
        if (port == 0) edge.mac = {2, 0, 0, static_cast<uint8_t>(edge.serial), 0, ++m_last_mac};
        edge.port = port != 0 ? port : ++m_last_port;
        edge.identifier = kWireCentral;
        WireBytes reply = Ask(edge, wire_sub::kLogin,
                              EncodeWire(WireLogin{"qwop", "u", "qwop", edge.serial, 0x105}));
        edge.identifier = Decode<WireLoginReply>(reply).identifier;
        edge.devices.clear();
        edge.model.StartAnew();
        edge.stage = kLoggedIn;
        Ask(edge, wire_sub::kDhcp, EncodeWire(WireDhcp{edge.lease, edge.mac}));
    }
    void JoinOn(Edge& edge) {
        switch (edge.stage) {
            case kLoggedIn:
                if (!OneIn(5)) Fetch(edge);  // or no list reaches it
                edge.stage = kFetched;
                return;
            case kFetched:
                Ask(edge, wire_sub::kAddRouter,
                    EncodeWire(WireRouterAdd{edge.identifier, edge.serial, "edge"}));
                edge.stage = m_reply.empty() ? kAway : kListed;
                return;
            default:
                edge.stage = Add(edge, edge.lease) ? kJoined : kAway;
                edge.heartbeat_at = m_now + Draw(kHeartbeatMs);
                edge.heartbeat = HeartbeatOf(edge);
        }
    }
    static WireBytes HeartbeatOf(const Edge& edge) {
        WireMessage heartbeat{kInterCommand, wire_sub::kHeartbeat, 1};
        heartbeat.src = edge.identifier;
        heartbeat.dst = kWireCentral;
        heartbeat.body = EncodeWire(WireTick{1});
        return heartbeat.Encode();
    }
    void Fetch(Edge& edge) {
        auto list = Decode<WireRouterList>(Ask(edge, wire_sub::kGetRouter, {}));
        for (const WireRouter& fetched : list.routers) {
            CTSdwanRouter* router = edge.model.subnet->ReplaceRouter(fetched.identifier);
            if (!router) continue;
            router->SetIdentifier(fetched.identifier);
            router->SetSerialNumber(fetched.serial);
            router->SetSstpAddr(CTSockAddr(fetched.ip, fetched.port));
            edge.model.peers->Insert(fetched.identifier, router->GetSstpAddr());
        }
        for (const WireRouter& fetched : list.routers) {
            if (OneIn(5)) Pass(Draw(300));
            if (OneIn(10)) continue;  // no devices reach it
            WireBytes body = EncodeWire(WireIdentifier{fetched.identifier});
            auto devices = Decode<WireDeviceList>(Ask(edge, wire_sub::kGetDevice, body));
            for (const WireDevice& device : devices.devices)
                edge.model.subnet->AddDevice(fetched.identifier, device.ip, device.mac.data());
        }
    }
    void Leave(Edge& edge) {
        if (OneIn(2)) Remove(edge, edge.lease);
        Ask(edge, wire_sub::kLogout, {});
        edge.stage = kAway;
    }
    // False when the central router took the edge for gone meanwhile, and does not answer.
    bool Add(Edge& edge, uint32_t ip) {
        WireDevice device{.ip = ip, .mac = edge.mac};
        Ask(edge, wire_sub::kAddDevice, EncodeWire(WireDeviceAdd{edge.identifier, {device}}));
        if (m_reply.empty()) return false;
        edge.devices[ip] = edge.mac;
        return true;
    }
    void Remove(Edge& edge, uint32_t ip) {
        if (edge.devices.count(ip) == 0) return;
        Ask(edge, wire_sub::kDelDevice, EncodeWire(WireDeviceDel{edge.identifier, {{ip}}}));
        if (!m_reply.empty()) edge.devices.erase(ip);
    }
    // Moves the address to the edge, unless the one that has it is not there to give it away.
    void Take(Edge& edge, uint32_t ip) {
        for (Edge& other : m_edges) {
            if (other.devices.count(ip) == 0) continue;
            if (other.stage != kJoined) return;
            Remove(other, ip);
            if (m_reply.empty()) return;
        }
        if (OneIn(3)) Pass(Draw(1000));
        if (edge.stage == kJoined) Add(edge, ip);
    }

    // The central router is killed; another one takes up what was written.
    void Restart() {
        m_state.Restarted();
        m_router = std::make_unique<CTCentralRouter>(TcrConfig(), *this, &m_state);
        m_router->Restore(m_state.Image(), m_now, m_now / 1000);
        EndWakeUp();
    }

    // --- time and the road ---

    void Pass(TcrTime ms) {
        TcrTime end = m_now + ms;
        while (m_now < end) {
            TcrTime next = m_now + (m_road.IsEmpty() ? kIdleTickMs : kTickMs);
            if (!m_road.IsEmpty()) next = std::min(next, m_road.NextAt());
            m_now = std::min(next, end);
            while (!m_road.IsEmpty() && m_road.NextAt() <= m_now)
                Deliver(m_road.Take());
            if (m_now >= m_tick_at || m_now == end) Tick();
        }
    }
    void Tick() {
        m_tick_at = m_now + kTickMs;
        m_router->Tick(m_now);
        EndWakeUp();
        for (Edge& edge : m_edges) {
            if (edge.stage != kJoined || m_now < edge.heartbeat_at) continue;
            edge.heartbeat_at = m_now + kHeartbeatMs;
            m_road.Put({edge.port, false, edge.heartbeat}, m_now, m_acknowledged);
        }
    }
    Edge* EdgeAt(uint16_t port) {
        for (Edge& edge : m_edges) {
            if (edge.port == port && edge.stage == kJoined && !edge.cut_off) return &edge;
        }
        return nullptr;
    }
    void Deliver(const RoughRoad::Datagram& datagram) {
        Edge* edge = EdgeAt(datagram.port);
        if (!edge) return;
        if (!datagram.to_edge) return Receive(datagram.port, datagram.bytes);
        if (auto answer = edge->model.Obey(datagram.bytes)) {
            m_road.Put({datagram.port, false, *answer}, m_now, m_acknowledged);
        }
    }
    void Receive(uint16_t port, const WireBytes& bytes) {
        m_router->Receive({CTSockAddr(kCentralAddr, port), 0}, bytes.data(),
                          static_cast<int>(bytes.size()), m_now);
        EndWakeUp();
    }
    void EndWakeUp() {
        m_router->EndOfWakeUp(m_now);
        if (uint64_t ticket = m_state.Write()) m_router->Saved(ticket, m_now);
    }
    // A request and the body of its reply. Requests are repeated until they are answered; for the
    // announcements it is all the same how often.
    WireBytes Ask(Edge& edge, uint8_t sub, const WireBytes& body) {
        WireMessage request{kCommand, sub, edge.seq++, 0, 0, edge.identifier, kWireCentral, body};
        m_reply.clear();
        Receive(edge.port, request.Encode());
        WireFaults faults;
        return WireMessage::Decode(m_reply, faults).body;
    }
    template <typename Body>
    static Body Decode(const WireBytes& body) {
        WireFaults faults;
        return DecodeWire<Body>(body, faults);
    }

    // --- the truth ---

    const Edge* EdgeIn(uint32_t slot) const {
        for (const Edge& edge : m_edges) {
            if (edge.stage == kJoined && edge.identifier == slot) return &edge;
        }
        return nullptr;
    }
    // Every address that ever was, and the edge that has it now.
    std::map<uint32_t, const Edge*> Owners() const {
        std::map<uint32_t, const Edge*> owners;
        for (uint32_t i = 0; i < kRoaming; ++i)
            owners[kFirstRoaming + i] = nullptr;
        for (const Edge& edge : m_edges) {
            owners[edge.lease];
            if (edge.stage != kJoined) continue;
            for (const auto& [ip, mac] : edge.devices)
                owners[ip] = &edge;
        }
        return owners;
    }
    static std::map<uint32_t, WireMac> DevicesOf(const CTSdwanRouter& router) {
        std::map<uint32_t, WireMac> devices;
        const CTSdwanDeviceList& list = router.GetDeviceList();
        for (int i = 0; i < list.Count(); ++i) {
            const CTSdwanDevice* device = list.At(i);
            if (!device) continue;
            WireMac mac = {};
            std::copy_n(device->GetEtherAddr().GetBytes(), mac.size(), mac.begin());
            devices[device->GetIPv4Addr().GetIP()] = mac;
        }
        return devices;
    }
    void CheckSlot(const Edge& edge, uint32_t slot, std::ostream& faults) const {
        const Edge* other = slot == edge.identifier ? nullptr : EdgeIn(slot);
        const CTSdwanRouter* router = edge.model.subnet->GetRouterList().At(static_cast<int>(slot));
        auto fault = [&](const char* what) {
            faults << "edge " << edge.serial << ", router in slot " << slot << ": " << what << '\n';
        };
        if (!router != !other) fault(router ? "is not there any more" : "is missing");
        if (!router || !other) return;
        CTP2PConnect* peer = edge.model.peers->GetConnect(slot);
        CTSockAddr seen_at(kCentralAddr, other->port);
        if (router->GetSerialNumber() != other->serial) fault("another's serial number");
        if (!(router->GetSstpAddr() == seen_at)) fault("an old address");
        if (!peer || !(peer->GetEndpointAddr() == seen_at)) fault("an old endpoint");
        if (DevicesOf(*router) != other->devices) fault("other devices");
    }
    void CheckAddress(const Edge& edge, uint32_t ip, const Edge* owner,
                      std::ostream& faults) const {
        const CTSdwanRouter* router = edge.model.subnet->GetRouterByIPv4Addr(ip);
        uint32_t leads_to = router ? router->GetIdentifier() : kWireCentral;
        uint32_t truth = owner && owner != &edge ? owner->identifier : kWireCentral;
        if (leads_to == truth) return;
        faults << "edge " << edge.serial << ", address ." << (ip & 0xFF) << ": leads to "
               << static_cast<int>(leads_to) << " instead of " << static_cast<int>(truth) << '\n';
    }

    std::mt19937 m_random;
    RoughRoad m_road;
    bool m_acknowledged = false;  // acknowledgements arrive, and the central router remembers them
    TcrTime m_now = 1'000'000;
    TcrTime m_tick_at = 0;
    MemoryState m_state;
    std::unique_ptr<CTCentralRouter> m_router;
    std::deque<Edge> m_edges;
    WireBytes m_reply;
    uint16_t m_last_port = 1000;
    uint8_t m_last_mac = 0;
    uint64_t m_announced = 0;
};
