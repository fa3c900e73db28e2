#include "tests/support/scripted_router.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/expect_wire.h"

namespace {

constexpr int kTickMs = 20;
constexpr std::chrono::seconds kWait(10);

}  // namespace

void ScriptedRouter::Run(std::stop_token stop) {
    while (!stop.stop_requested()) {
        if (!m_peer.HasWaiting(kTickMs)) continue;
        std::lock_guard lock(m_mutex);
        std::optional<WireBytes> datagram = m_peer.ReceiveBytes();
        if (!datagram) continue;
        WireMessage message = ExpectMessage(*datagram, true);
        m_received.push_back(message);
        if (!message.IsReply() && !message.IsPacket() && !m_silent) Handle(message);
        m_arrived.notify_all();
    }
}

void ScriptedRouter::Handle(const WireMessage& request) {
    if (request.type == 1 && !m_answers_heartbeats) return;
    WireMessage answer = request.Reply(AnswerBody(request));
    Script& next = m_scripts[request.sub];
    if (next.drop > 0) {
        --next.drop;
        return;
    }
    Script script = std::exchange(next, {});
    if (script.answer) {
        answer.body = script.answer->body;
        answer.length_field = script.answer->length_field;
    }
    if (script.late) {
        m_held[request.sub] = answer;
        return;
    }
    if (auto held = m_held.extract(request.sub)) m_peer.Reply(held.mapped());
    if (script.stray) {
        WireMessage stray = answer;
        stray.seq = static_cast<uint16_t>(stray.seq + 100);
        m_peer.Reply(stray);
    }
    m_peer.Reply(answer);
    if (script.twice) m_peer.Reply(answer);
}

WireBytes ScriptedRouter::AnswerBody(const WireMessage& request) {
    if (request.type == 1) return request.body;
    switch (request.sub) {
        case wire_sub::kLogin:
            return EncodeWire(WireLoginReply{.identifier = kIdentifier});
        case wire_sub::kDhcp:
            return EncodeWire(WireDhcpReply{0, kGateway, kMask, kAssignedIp});
        case wire_sub::kSubnet:
            return EncodeWire(
                WireSubnetReply{ExpectBody<WireSubnet>(request).name, kGateway, kMask});
        case wire_sub::kAddRouter:
            return EncodeWire(WireRouterAddReply());
        case wire_sub::kGetRouter:
            return EncodeWire(m_routers);
        case wire_sub::kGetDevice:
            return EncodeWire(m_devices[ExpectBody<WireIdentifier>(request).identifier]);
        default:
            return {};
    }
}

void ScriptedRouter::AddRouter(uint32_t identifier, uint32_t serial, uint16_t udp_port) {
    std::lock_guard lock(m_mutex);
    m_routers.routers.push_back(RouterRecord(identifier, serial, udp_port));
}

void ScriptedRouter::AddDevice(uint32_t identifier, uint32_t ip, uint8_t mac_end) {
    std::lock_guard lock(m_mutex);
    m_devices[identifier].devices.push_back(DeviceRecord(ip, mac_end));
}

void ScriptedRouter::FallSilent() {
    std::lock_guard lock(m_mutex);
    m_silent = true;
}

void ScriptedRouter::AnswerHeartbeats(bool answer) {
    std::lock_guard lock(m_mutex);
    m_answers_heartbeats = answer;
}

void ScriptedRouter::ForgetRouters() {
    std::lock_guard lock(m_mutex);
    m_routers.routers.clear();
    m_devices.clear();
}

void ScriptedRouter::Send(const WireMessage& message) {
    std::lock_guard lock(m_mutex);
    m_peer.Reply(message);
}

std::vector<WireMessage> ScriptedRouter::Received() {
    std::lock_guard lock(m_mutex);
    return m_received;
}

std::vector<int> ScriptedRouter::ReceivedCommands() {
    std::vector<int> subs;
    for (const WireMessage& message : Received()) {
        if (message.type == 3) subs.push_back(message.sub);
    }
    return subs;
}

WireMessage ScriptedRouter::WaitFor(std::function<bool(const WireMessage&)> test) {
    std::unique_lock lock(m_mutex);
    auto found = m_received.end();
    bool in_time = m_arrived.wait_for(lock, kWait, [&] {
        found = std::find_if(m_received.begin(), m_received.end(), test);
        return found != m_received.end();
    });
    EXPECT_TRUE(in_time) << "the message did not come";
    return in_time ? *found : WireMessage();
}

WireRouter RouterRecord(uint32_t identifier, uint32_t serial, uint16_t udp_port) {
    return {.identifier = identifier, .serial = serial, .ip = Ip(127, 0, 0, 1), .port = udp_port};
}

WireDevice DeviceRecord(uint32_t ip, uint8_t mac_end) {
    return {.ip = ip, .mac = {2, 0, 0, 0, 0, mac_end}};
}
