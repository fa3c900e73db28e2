#include "lab/edges/edge.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "lab/wire/wire_kinds.h"

namespace {

constexpr uint8_t kInterCommand = 1;
constexpr uint8_t kInterReply = 2;
constexpr uint8_t kCommand = 3;
constexpr uint8_t kCommandReply = 4;
constexpr uint8_t kPacket = 5;
constexpr uint32_t kVersion = 0x105;
constexpr uint32_t kFirstSerial = 0x10000;
constexpr auto kReceiveTimeout = std::chrono::milliseconds(200);
constexpr size_t kLargestDatagram = 2048;
constexpr uint32_t kHostsBefore = 10;  // below the first edge's address in its subnet

}  // namespace

std::string SubnetName(int subnet) {
    return "lab-" + std::to_string(subnet);
}

uint32_t SubnetAddr(int subnet) {
    return Ip(10, static_cast<uint32_t>(subnet) / 256, static_cast<uint32_t>(subnet) % 256, 0);
}

Edge::Edge(int its_subnet, uint32_t number, const sockaddr_in& central)
    : subnet(its_subnet), m_number(number) {
    m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_socket < 0) return;
    if (connect(m_socket, reinterpret_cast<const sockaddr*>(&central), sizeof central) == 0) return;
    close(m_socket);
    m_socket = -1;
}

Edge::~Edge() {
    if (m_socket >= 0) close(m_socket);
}

void Edge::StartJoin(Clock::time_point now) {
    identifier = kWireCentral;
    others.clear();
    join_began = now;
    AskStep(kEcho, now);
}

void Edge::Ask(Step step, uint8_t sub, const WireBytes& body, Clock::time_point now) {
    m_step = step;
    m_asked_sub = sub;
    m_asked_seq = m_seq++;
    if (m_seq == 0) m_seq = 1;
    WireMessage request{kCommand, sub, m_asked_seq, 0, 0, identifier, kWireCentral, body};
    m_request = request.Encode();
    m_asked_at = now;
    send(m_socket, m_request.data(), m_request.size(), 0);
}

void Edge::AskStep(Step step, Clock::time_point now) {
    uint32_t serial = kFirstSerial + m_number;
    WireMac mac = {2, 0, 0, 0, static_cast<uint8_t>(m_number >> 8), static_cast<uint8_t>(m_number)};
    switch (step) {
        case kEcho:
            return Ask(step, wire_sub::kEcho, {}, now);
        case kLogin:
            ++logins;
            return Ask(step, wire_sub::kLogin,
                       EncodeWire(WireLogin{SubnetName(subnet), "u", "pw", serial, kVersion}), now);
        case kDhcp:
            ip = SubnetAddr(subnet) + kHostsBefore + identifier % kWireSlots;
            return Ask(step, wire_sub::kDhcp, EncodeWire(WireDhcp{ip, mac}), now);
        case kSubnet:
            return Ask(step, wire_sub::kSubnet, EncodeWire(WireSubnet{SubnetName(subnet)}), now);
        case kGetRouter:
            return Ask(step, wire_sub::kGetRouter, {}, now);
        case kAddRouter:
            return Ask(step, wire_sub::kAddRouter,
                       EncodeWire(WireRouterAdd{identifier, serial, label}), now);
        case kAddDevice:
            return Ask(step, wire_sub::kAddDevice,
                       EncodeWire(WireDeviceAdd{identifier, {{ip, mac}}}), now);
        default:
            return;
    }
}

void Edge::AskNextDevices(Clock::time_point now) {
    if (m_to_fetch.empty()) return AskStep(kAddRouter, now);
    Ask(kGetDevice, wire_sub::kGetDevice, EncodeWire(WireIdentifier{*m_to_fetch.begin()}), now);
}

void Edge::Elapse(Clock::time_point now) {
    if (!IsJoining() || now - m_asked_at < kReceiveTimeout) return;
    ++repeats;
    m_asked_at = now;
    send(m_socket, m_request.data(), m_request.size(), 0);
}

void Edge::Read(Clock::time_point now) {
    std::array<uint8_t, kLargestDatagram> bytes;
    ssize_t length = 0;
    while ((length = recv(m_socket, bytes.data(), bytes.size(), 0)) > 0)
        Take(WireBytes(bytes.begin(), bytes.begin() + length), now);
}

void Edge::Take(const WireBytes& datagram, Clock::time_point now) {
    WireFaults wrong;
    WireMessage message = WireMessage::Decode(datagram, wrong);
    faults += wrong.size();
    switch (message.type) {
        case kInterReply:
            ++heartbeats_answered;
            break;
        case kCommand:
            if (IsJoined()) CarryOut(message, now);  // one that joins waits for its reply only
            break;
        case kCommandReply:
            if (IsJoining() && message.sub == m_asked_sub && message.seq == m_asked_seq)
                TakeReply(message, now);
            break;
        case kPacket:
            ++packets_received;
            break;
        default:
            break;
    }
}

template <typename Body>
Body Edge::BodyOf(const WireMessage& message) {
    WireFaults wrong;
    Body body = DecodeWire<Body>(message.body, wrong);
    faults += wrong.size();
    return body;
}

void Edge::TakeReply(const WireMessage& reply, Clock::time_point now) {
    switch (m_step) {
        case kLogin: {
            auto login = BodyOf<WireLoginReply>(reply);
            faults += login.error != 0;
            identifier = login.identifier;
            return AskStep(kDhcp, now);
        }
        case kDhcp: {
            auto lease = BodyOf<WireDhcpReply>(reply);
            faults += lease.error != 0;
            ip = lease.ip;
            return AskStep(kSubnet, now);
        }
        case kGetRouter:
            for (const WireRouter& router : BodyOf<WireRouterList>(reply).routers) {
                others[router.identifier];
                m_to_fetch.insert(router.identifier);
            }
            return AskNextDevices(now);
        case kGetDevice:
            AddDevices(*m_to_fetch.begin(), BodyOf<WireDeviceList>(reply).devices);
            m_to_fetch.erase(m_to_fetch.begin());
            return AskNextDevices(now);
        case kAddRouter:
            faults += BodyOf<WireRouterAddReply>(reply).error != 0;
            return AskStep(kAddDevice, now);
        case kAddDevice:
            m_step = kJoined;
            joined_at = now;
            return;
        default:
            return AskStep(static_cast<Step>(m_step + 1), now);
    }
}

void Edge::AddDevices(uint32_t router, const std::vector<WireDevice>& devices) {
    auto other = others.find(router);
    if (other == others.end()) return;
    for (const WireDevice& device : devices)
        other->second.insert(device.ip);
}

void Edge::CarryOut(const WireMessage& command, Clock::time_point now) {
    ++announcements;
    WireMessage ack = command.Reply();
    if (command.sub == wire_sub::kAddRouter) {
        others[BodyOf<WireRouterAdd>(command).identifier].clear();
        ack.body = EncodeWire(WireRouterAddReply{0});
    } else if (command.sub == wire_sub::kDelRouter) {
        others.erase(BodyOf<WireIdentifier>(command).identifier);
    } else if (command.sub == wire_sub::kAddDevice) {
        auto add = BodyOf<WireDeviceAdd>(command);
        AddDevices(add.identifier, add.devices);
        for (const WireDevice& device : add.devices) {
            learned_at.emplace(device.ip, now);
            announced_at[device.ip] = now;
        }
    } else if (command.sub == wire_sub::kDelDevice) {
        for (WireAddress gone : BodyOf<WireDeviceDel>(command).addresses) {
            for (auto& [router, addresses] : others)
                addresses.erase(gone.ip);
        }
    }
    Send(ack);
}

void Edge::SendHeartbeat() {
    WireMessage heartbeat{kInterCommand, wire_sub::kHeartbeat, m_seq++};
    heartbeat.src = identifier;
    heartbeat.dst = kWireCentral;
    heartbeat.body = EncodeWire(WireTick{1});
    Send(heartbeat);
}

// An IPv4 header and nothing else, as far as the central router is concerned.
void Edge::SendPacket(uint32_t to, uint32_t dst_ip, size_t size) {
    WireMessage packet{kPacket, 0, m_seq++};
    packet.src = identifier;
    packet.dst = to;
    uint8_t high = static_cast<uint8_t>(size >> 8);
    packet.body = {0x45, 0, high, static_cast<uint8_t>(size), 0, 0, 0, 0, 64, 253, 0, 0};
    for (uint32_t addr : {ip, dst_ip}) {
        for (int shift = 24; shift >= 0; shift -= 8)
            packet.body.push_back(static_cast<uint8_t>(addr >> shift));
    }
    packet.body.resize(std::max(size, kHeaderSize));
    ++packets_sent;
    Send(packet);
}

void Edge::LogOut() {
    WireMessage logout{kCommand, wire_sub::kLogout, m_seq++};
    logout.src = identifier;
    logout.dst = kWireCentral;
    Send(logout);
}

void Edge::Send(const WireMessage& message) {
    WireBytes bytes = message.Encode();
    send(m_socket, bytes.data(), bytes.size(), 0);
}
