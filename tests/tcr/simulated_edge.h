#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "tcr/central_router.h"
#include "tests/support/wire_message.h"

// A central router without socket and clock: what it sends is kept by the port it goes to.
class CentralRouterRig : public TcrLink {
  public:
    explicit CentralRouterRig(const TcrConfig& config = TcrConfig()) : router(config, *this) {}

    void Send(const CTSockAddr& to, const void* data, int length) override {
        const uint8_t* bytes = static_cast<const uint8_t*>(data);
        sent[to.GetPort()].push_back(WireMessage::Decode(WireBytes(bytes, bytes + length)));
    }
    void Tell(const char* line) override { lines.push_back(line); }

    void Receive(uint16_t port, const WireMessage& message) {
        ReceiveBytes(port, message.Encode());
    }
    void ReceiveBytes(uint16_t port, const WireBytes& bytes) {
        router.Receive(CTSockAddr("10.0.0.1", port), bytes.data(), static_cast<int>(bytes.size()),
                       now);
    }
    // Lets time pass in steps, as the server's loop does.
    void Pass(uint32_t ms) {
        for (uint32_t i = 0; i < ms; i += 100) {
            now += 100;
            router.Tick(now);
        }
    }
    bool HasLine(const std::string& text) const {
        for (const std::string& line : lines) {
            if (line.find(text) != std::string::npos) return true;
        }
        return false;
    }

    CTCentralRouter router;
    uint32_t now = 0xFFFFF000;  // wraps while the tests run
    std::map<uint16_t, std::deque<WireMessage>> sent;
    std::vector<std::string> lines;
};

// An edge as the central router sees it: requests, and a picture of the others made of what it is
// told.
class SimulatedEdge {
  public:
    SimulatedEdge(CentralRouterRig& rig, uint16_t udp_port, uint32_t serial, uint32_t wanted_ip = 0)
        : m_rig(rig), port(udp_port), m_serial(serial), m_wanted_ip(wanted_ip) {}

    // Takes the next message for it; type 0 when there is none.
    WireMessage Next() {
        std::deque<WireMessage>& queue = m_rig.sent[port];
        if (queue.empty()) return {};
        WireMessage message = queue.front();
        queue.pop_front();
        return message;
    }
    bool HasMail() { return !m_rig.sent[port].empty(); }

    // Sends a request without waiting; the next one takes the next number.
    WireMessage Ask(uint8_t sub, const WireBytes& body = {}) {
        WireMessage request;
        request.type = 3;
        request.sub = sub;
        request.seq = m_seq++;
        request.src = identifier;
        request.dst = kWireCentral;
        request.body = body;
        last = request;
        m_rig.Receive(port, request);
        return request;
    }
    // A request and its reply, which must fit it.
    WireMessage Exchange(uint8_t sub, const WireBytes& body = {}) {
        WireMessage request = Ask(sub, body);
        WireMessage reply = Next();
        EXPECT_EQ(reply.type, 4) << "no reply to " << int{sub};
        EXPECT_EQ(reply.sub, sub);
        EXPECT_EQ(reply.seq, request.seq);
        EXPECT_EQ(reply.src, kWireCentral);
        EXPECT_EQ(reply.dst, request.src);
        return reply;
    }
    WireMessage AskLogin(const std::string& subnet = "qwop", const std::string& password = "qwop",
                         uint32_t version = 0x105) {
        WireBytes body;
        PutText(body, subnet);
        PutText(body, "user");
        PutText(body, password);
        Put32(body, m_serial);
        Put32(body, version);
        return Exchange(3, body);
    }
    void Login() {
        WireMessage reply = AskLogin();
        ASSERT_EQ(At32(reply.body, 0), 0u);
        identifier = At32(reply.body, 4);
    }
    WireMessage AskDhcp(uint32_t wanted) {
        WireBytes body;
        Put32(body, wanted);
        WireBytes mac = Mac();
        body.insert(body.end(), mac.begin(), mac.end());
        Put16(body, 0);
        return Exchange(5, body);
    }
    void Dhcp() {
        WireMessage reply = AskDhcp(m_wanted_ip);
        ASSERT_EQ(At32(reply.body, 0), 0u);
        ip = At32(reply.body, 12);
    }
    // Fetches the lists as a joining edge does.
    void FetchOthers() {
        WireMessage routers = Exchange(14);
        for (size_t at = 0; at + 20 <= routers.body.size(); at += 20) {
            uint32_t id = At32(routers.body, at + 12);
            others[id].clear();
            endpoints[id] = At16(routers.body, at + 6);
            WireBytes body;
            Put32(body, id);
            WireMessage devices = Exchange(18, body);
            for (size_t d = 0; d + 14 <= devices.body.size(); d += 14)
                others[id].push_back(At32(devices.body, d + 4));
        }
    }
    WireBytes RegistrationBody() const {
        WireBytes body = Hex("0002 03 00");
        Put32(body, identifier);
        Put32(body, m_serial);
        Put32(body, 0);
        Put32(body, 0);
        PutText(body, "edge " + std::to_string(m_serial));
        return body;
    }
    WireBytes DeviceBody() const {
        WireBytes body;
        Put32(body, identifier);
        Put16(body, 1);
        Put16(body, 1);
        Put32(body, ip);
        WireBytes mac = Mac();
        body.insert(body.end(), mac.begin(), mac.end());
        return body;
    }
    void Register() {
        EXPECT_EQ(At32(Exchange(10, RegistrationBody()).body, 0), 0u);
        Exchange(16, DeviceBody());
    }
    void Join() {
        Login();
        Dhcp();
        FetchOthers();
        Register();
    }
    void HeartBeat() {
        WireMessage heartbeat;
        heartbeat.type = 1;
        heartbeat.sub = 2;
        heartbeat.seq = m_seq++;
        heartbeat.src = identifier;
        heartbeat.dst = kWireCentral;
        heartbeat.body = Hex("11223344");
        m_rig.Receive(port, heartbeat);
    }
    void Leave() {
        WireBytes body;
        Put32(body, identifier);
        Put32(body, ip);
        Exchange(17, body);
        Exchange(4);
    }
    // Carries out and acknowledges one announcement; false when there is none.
    bool ObeyOne() {
        WireMessage command = Next();
        if (command.type != 3) return false;
        Apply(command);
        Acknowledge(command);
        return true;
    }
    void Obey() {
        while (ObeyOne()) {
        }
    }
    void Acknowledge(const WireMessage& command, uint32_t error = 0) {
        WireMessage ack;
        ack.type = 4;
        ack.sub = command.sub;
        ack.seq = command.seq;
        ack.src = identifier;
        ack.dst = command.src;
        if (command.sub == 10) Put32(ack.body, error);
        m_rig.Receive(port, ack);
    }
    void Apply(const WireMessage& command) {
        EXPECT_EQ(command.dst, identifier);
        uint32_t about = At32(command.body, command.sub == 10 ? 4 : 0);
        switch (command.sub) {
            case 10:
                others[about].clear();
                endpoints[about] = At16(command.body, 14);
                break;
            case 12:
                others.erase(about);
                break;
            case 16:
                if (others.count(about) == 0) return;  // an edge puts devices behind routers only
                for (size_t d = 4; d + 14 <= command.body.size(); d += 14) {
                    std::vector<uint32_t>& known = others[about];
                    uint32_t addr = At32(command.body, d + 4);
                    if (std::find(known.begin(), known.end(), addr) == known.end())
                        known.push_back(addr);
                }
                break;
            case 17:
                for (size_t d = 4; d + 4 <= command.body.size(); d += 4) {
                    for (auto& [id, devices] : others)
                        std::erase(devices, At32(command.body, d));
                }
                break;
            default:
                ADD_FAILURE() << "unexpected command " << int{command.sub};
        }
    }
    // Whether its picture of that edge is true.
    bool Sees(const SimulatedEdge& other) const {
        auto it = others.find(other.identifier);
        return it != others.end() && it->second == std::vector<uint32_t>{other.ip} &&
               endpoints.at(other.identifier) == other.port;
    }
    bool SeesNothingOf(const SimulatedEdge& other) const {
        return others.count(other.identifier) == 0;
    }
    WireBytes Mac() const {
        WireBytes mac = Hex("0200");
        Put32(mac, m_serial);
        return mac;
    }

  private:
    CentralRouterRig& m_rig;

  public:
    uint16_t port;
    uint32_t identifier = kWireCentral;
    uint32_t ip = 0;
    WireMessage last;                                  // request
    std::map<uint32_t, std::vector<uint32_t>> others;  // devices by router
    std::map<uint32_t, uint32_t> endpoints;

  private:
    uint32_t m_serial;
    uint32_t m_wanted_ip;
    uint16_t m_seq = 1;
};
