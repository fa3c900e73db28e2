#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "tcr/central_router.h"
#include "tests/support/expect_wire.h"

// A central router without socket and clock: what it sends is kept by the port it goes to.
class CentralRouterRig : public TcrLink {
  public:
    explicit CentralRouterRig(const TcrConfig& config = TcrConfig()) : router(config, *this) {}

    void Send(const CTSockAddr& to, const void* data, int length) override {
        const uint8_t* bytes = static_cast<const uint8_t*>(data);
        sent[to.GetPort()].push_back(ExpectMessage(WireBytes(bytes, bytes + length), true));
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
        last = {.type = 3,
                .sub = sub,
                .seq = m_seq++,
                .src = identifier,
                .dst = kWireCentral,
                .body = body};
        m_rig.Receive(port, last);
        return last;
    }
    // A request and its reply, which must fit it.
    WireMessage Exchange(uint8_t sub, const WireBytes& body = {}) {
        WireMessage want = Ask(sub, body).Reply();
        WireMessage reply = Next();
        want.body = reply.body;
        EXPECT_EQ(reply.Encode(), want.Encode()) << "no reply to " << int{sub};
        return reply;
    }
    template <typename Reply>
    Reply Exchange(uint8_t sub, const WireBytes& body = {}) {
        return ExpectBody<Reply>(Exchange(sub, body));
    }
    WireLoginReply AskLogin(const std::string& subnet = "qwop",
                            const std::string& password = "qwop", uint32_t version = 0x105) {
        return Exchange<WireLoginReply>(
            wire_sub::kLogin, EncodeWire(WireLogin{subnet, "user", password, m_serial, version}));
    }
    void Login() {
        WireLoginReply reply = AskLogin();
        ASSERT_EQ(reply.error, 0u);
        identifier = reply.identifier;
    }
    WireDhcpReply AskDhcp(uint32_t wanted) {
        return Exchange<WireDhcpReply>(wire_sub::kDhcp, EncodeWire(WireDhcp{wanted, Device().mac}));
    }
    void Dhcp() {
        WireDhcpReply reply = AskDhcp(m_wanted_ip);
        ASSERT_EQ(reply.error, 0u);
        ip = reply.ip;
    }
    std::vector<WireRouter> GetRouters() {
        return Exchange<WireRouterList>(wire_sub::kGetRouter).routers;
    }
    std::vector<WireDevice> GetDevices(uint32_t router) {
        return Exchange<WireDeviceList>(wire_sub::kGetDevice, EncodeWire(WireIdentifier{router}))
            .devices;
    }
    // Fetches the lists as a joining edge does.
    void FetchOthers() {
        for (const WireRouter& router : GetRouters()) {
            Meet(router.identifier, router.port);
            for (const WireDevice& device : GetDevices(router.identifier))
                others[router.identifier].push_back(device.ip);
        }
    }
    // A router of which no device is known yet.
    void Meet(uint32_t router, uint16_t its_port) {
        others[router].clear();
        endpoints[router] = its_port;
    }
    WireDevice Device() const {
        WireDevice device{.ip = ip, .mac = {2, 0}};
        for (size_t i = 0; i < 4; ++i)
            device.mac[2 + i] = static_cast<uint8_t>(m_serial >> (24 - 8 * i));
        return device;
    }
    WireBytes RegistrationBody() const {
        return EncodeWire(WireRouterAdd{.identifier = identifier,
                                        .serial = m_serial,
                                        .label = "edge " + std::to_string(m_serial)});
    }
    WireBytes DeviceBody() const { return EncodeWire(WireDeviceAdd{identifier, {Device()}}); }
    void Register() {
        EXPECT_EQ(Exchange<WireRouterAddReply>(wire_sub::kAddRouter, RegistrationBody()).error, 0u);
        Exchange(wire_sub::kAddDevice, DeviceBody());
    }
    void Join() {
        Login();
        Dhcp();
        FetchOthers();
        Register();
    }
    void HeartBeat() {
        m_rig.Receive(port, {.type = 1,
                             .sub = wire_sub::kHeartbeat,
                             .seq = m_seq++,
                             .src = identifier,
                             .dst = kWireCentral,
                             .body = EncodeWire(WireTick{0x11223344})});
    }
    void Leave() {
        Exchange(wire_sub::kDelDevice, EncodeWire(WireDeviceDel{identifier, {{ip}}}));
        Exchange(wire_sub::kLogout);
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
        bool tells_error = command.sub == wire_sub::kAddRouter;
        WireMessage ack = command.Reply();
        if (tells_error) ack.body = EncodeWire(WireRouterAddReply{error});
        m_rig.Receive(port, ack);
    }
    void Apply(const WireMessage& command) {
        EXPECT_EQ(command.dst, identifier);
        switch (command.sub) {
            case wire_sub::kAddRouter: {
                WireRouterAdd add = ExpectBody<WireRouterAdd>(command);
                Meet(add.identifier, add.port);
                break;
            }
            case wire_sub::kDelRouter:
                others.erase(ExpectBody<WireIdentifier>(command).identifier);
                break;
            case wire_sub::kAddDevice: {
                WireDeviceAdd add = ExpectBody<WireDeviceAdd>(command);
                auto router = others.find(add.identifier);
                if (router == others.end()) return;  // an edge puts devices behind routers only
                std::vector<uint32_t>& known = router->second;
                for (const WireDevice& device : add.devices) {
                    if (std::find(known.begin(), known.end(), device.ip) == known.end())
                        known.push_back(device.ip);
                }
                break;
            }
            case wire_sub::kDelDevice:
                for (WireAddress gone : ExpectBody<WireDeviceDel>(command).addresses) {
                    for (auto& [id, devices] : others)
                        std::erase(devices, gone.ip);
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
