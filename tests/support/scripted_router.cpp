#include "tests/support/scripted_router.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>

#include "tests/support/expect_wire.h"

namespace {

constexpr int kWaitSeconds = 10;

}  // namespace

ScriptedRouter::ScriptedRouter() {
    EXPECT_EQ(pipe(m_wake), 0);
    m_thread = std::thread([this] { Run(); });
}

ScriptedRouter::~ScriptedRouter() {
    close(m_wake[1]);
    m_thread.join();
    close(m_wake[0]);
}

void ScriptedRouter::Run() {
    for (;;) {
        pollfd wait[] = {{m_peer.Fd(), POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        poll(wait, 2, -1);
        if (wait[1].revents != 0) return;
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
    WireMessage answer = request.Reply(AnswerBody(request));
    Script& script = m_scripts[request.sub];
    if (script.drop > 0) {
        --script.drop;
        return;
    }
    if (script.has_body) {
        answer.body = script.body;
        answer.length_field = script.length_field;
    }
    if (script.late) {
        m_held[request.sub] = answer;
        script = Script();
        return;
    }
    if (auto held = m_held.find(request.sub); held != m_held.end()) {
        m_peer.Reply(held->second);
        m_held.erase(held);
    }
    if (script.stray) {
        WireMessage stray = answer;
        stray.seq = static_cast<uint16_t>(stray.seq + 100);
        m_peer.Reply(stray);
    }
    m_peer.Reply(answer);
    if (script.twice) m_peer.Reply(answer);
    script = Script();
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

void ScriptedRouter::Drop(uint8_t sub, int times) {
    std::lock_guard lock(m_mutex);
    m_scripts[sub].drop = times;
}

void ScriptedRouter::AnswerTwice(uint8_t sub) {
    std::lock_guard lock(m_mutex);
    m_scripts[sub].twice = true;
}

void ScriptedRouter::AnswerLate(uint8_t sub) {
    std::lock_guard lock(m_mutex);
    m_scripts[sub].late = true;
}

void ScriptedRouter::StrayFirst(uint8_t sub) {
    std::lock_guard lock(m_mutex);
    m_scripts[sub].stray = true;
}

void ScriptedRouter::AnswerWith(uint8_t sub, const WireBytes& body, int length_field) {
    std::lock_guard lock(m_mutex);
    m_scripts[sub].has_body = true;
    m_scripts[sub].body = body;
    m_scripts[sub].length_field = length_field;
}

void ScriptedRouter::FallSilent() {
    std::lock_guard lock(m_mutex);
    m_silent = true;
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
    size_t looked_at = 0;
    WireMessage found;
    bool in_time = m_arrived.wait_for(lock, std::chrono::seconds(kWaitSeconds), [&] {
        for (; looked_at < m_received.size(); ++looked_at) {
            if (!test(m_received[looked_at])) continue;
            found = m_received[looked_at];
            return true;
        }
        return false;
    });
    EXPECT_TRUE(in_time) << "the message did not come";
    return found;
}

WireRouter RouterRecord(uint32_t identifier, uint32_t serial, uint16_t udp_port) {
    return {.identifier = identifier, .serial = serial, .ip = Ip(127, 0, 0, 1), .port = udp_port};
}

WireDevice DeviceRecord(uint32_t ip, uint8_t mac_end) {
    return {.ip = ip, .mac = {2, 0, 0, 0, 0, mac_end}};
}
