#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>

#include "tcr/central_router.h"
#include "tests/support/expect_wire.h"

// A central router without socket and clock: what it sends is kept by the port it goes to.
struct CentralRouterRig : TcrLink {
    explicit CentralRouterRig(const TcrConfig& served = TcrConfig(), TcrStateSink* state = nullptr)
        : config(served), sink(state) {
        router.emplace(config, *this, sink);
    }
    // Killed and started again with that state.
    void Restart(const TcrStateImage& image) {
        router.emplace(config, *this, sink);
        router->Restore(image, now, now / 1000 + kUnixAtZero);
    }

    bool Send(const TcrPath& to, const void* data, int length) override {
        const uint8_t* bytes = static_cast<const uint8_t*>(data);
        if (refusing) return false;
        sent[to.remote.GetPort()].push_back(ExpectMessage(WireBytes(bytes, bytes + length), true));
        sent_from[to.remote.GetPort()] = to.local;
        sent_through[to.remote.GetPort()] = to.channel;
        return true;
    }
    const CTSealFingerprint* PeerOf(const TcrPath& path) const override {
        auto key = keys.find(path.channel);
        return key == keys.end() ? nullptr : &key->second;
    }
    void Tell(const char* line) override { lines.push_back(line); }

    void Receive(uint16_t port, const WireBytes& bytes) {
        router->Receive({CTSockAddr("10.0.0.1", port), local, channels[port]}, bytes.data(),
                        static_cast<int>(bytes.size()), now);
        if (!more_come) WakeUpEnds();
    }
    void WakeUpEnds() {
        router->EndOfWakeUp(now);
        if (after_wake_up) after_wake_up();
    }
    void Receive(uint16_t port, const WireMessage& message) { Receive(port, message.Encode()); }
    // Lets time pass in steps, as the server's loop does.
    void Pass(uint32_t ms) {
        for (uint32_t i = 0; i < ms; i += 100) {
            router->Tick(now += 100);
            WakeUpEnds();
        }
    }
    // How many lines hold that text.
    long LinesWith(const std::string& text) const {
        return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(text) != std::string::npos;
        });
    }

    static constexpr int64_t kUnixAtZero = 1'700'000'000;

    TcrConfig config;
    TcrStateSink* const sink;
    std::optional<CTCentralRouter> router;
    bool more_come = false;                  // datagrams of the same wake-up
    std::function<void()> after_wake_up;     // what the state's writer does
    TcrTime now = 0xFFFFF000;                // passes 32 bits while the tests run
    uint32_t local = 0;                      // the address of ours that datagrams come to
    bool refusing = false;                   // the system takes no datagram
    std::map<uint16_t, uint32_t> sent_from;  // the last one to each port
    std::map<uint16_t, uint64_t> sent_through;
    std::map<uint16_t, uint64_t> channels;       // that what comes from a port comes through
    std::map<uint64_t, CTSealFingerprint> keys;  // that channels' other ends have
    std::map<uint16_t, std::deque<WireMessage>> sent;
    std::vector<std::string> lines;
};

// What an edge knows of others, by identifier: the port each is seen at, its devices' addresses.
using Topology = std::map<uint32_t, std::pair<uint32_t, std::set<uint32_t>>>;

// An edge as the central router sees it: requests, and a topology made of what is announced
// to it.
struct SimulatedEdge {
    CentralRouterRig& rig;
    uint16_t port;
    uint32_t serial;
    uint32_t wanted_ip = 0;
    uint32_t identifier = kWireCentral;
    uint32_t ip = 0;
    uint16_t seq = 1;
    bool joined = false;
    std::set<uint32_t> devices = {};  // its own
    Topology others = {};
    WireMessage last = {};  // request

    bool HasMail() { return !rig.sent[port].empty(); }
    // Takes the next message for it; type 0 when there is none.
    WireMessage Next() {
        if (!HasMail()) return {};
        WireMessage message = rig.sent[port].front();
        rig.sent[port].pop_front();
        return message;
    }
    // Sends a request without waiting; the next one takes the next number.
    void Ask(uint8_t sub, const WireBytes& body = {}, uint8_t type = 3) {
        last = {type, sub, seq++, 0, 0, identifier, kWireCentral, body};
        rig.Receive(port, last);
    }
    // A request and its reply, which must fit it.
    WireMessage Exchange(uint8_t sub, const WireBytes& body = {}) {
        Ask(sub, body);
        WireMessage reply = Next();
        EXPECT_EQ(reply.Encode(), last.Reply(reply.body).Encode()) << "no reply to " << int{sub};
        return reply;
    }
    template <typename Reply>
    Reply Exchange(uint8_t sub, const WireBytes& body = {}) {
        return ExpectBody<Reply>(Exchange(sub, body));
    }
    WireLoginReply AskLogin(const std::string& subnet = "qwop",
                            const std::string& password = "qwop", uint32_t version = 0x105) {
        return Exchange<WireLoginReply>(
            wire_sub::kLogin, EncodeWire(WireLogin{subnet, "user", password, serial, version}));
    }
    WireDhcpReply AskDhcp(uint32_t wanted) {
        return Exchange<WireDhcpReply>(wire_sub::kDhcp,
                                       EncodeWire(WireDhcp{wanted, Device(0).mac}));
    }
    WireDevice Device(uint32_t its_ip) const {
        return {.ip = its_ip, .mac = {2, 0, 0, 0, 0, static_cast<uint8_t>(serial)}};
    }
    // The steps of a join.
    void Login() {
        others.clear();
        WireLoginReply reply = AskLogin();
        ASSERT_EQ(reply.error, 0u);
        identifier = reply.identifier;
        WireDhcpReply address = AskDhcp(wanted_ip);
        ASSERT_EQ(address.error, 0u);
        ip = address.ip;
    }
    std::vector<WireRouter> GetRouters() {
        return Exchange<WireRouterList>(wire_sub::kGetRouter).routers;
    }
    std::vector<WireDevice> GetDevices(uint32_t router) {
        return Exchange<WireDeviceList>(wire_sub::kGetDevice, EncodeWire(WireIdentifier{router}))
            .devices;
    }
    void FetchOthers() {
        for (const WireRouter& router : GetRouters()) {
            others[router.identifier].first = router.port;
            for (const WireDevice& device : GetDevices(router.identifier))
                others[router.identifier].second.insert(device.ip);
        }
    }
    void AddRouter() {
        WireRouterAdd add{identifier, serial, "edge " + std::to_string(serial)};
        EXPECT_EQ(Exchange<WireRouterAddReply>(wire_sub::kAddRouter, EncodeWire(add)).error, 0u);
    }
    void AddDevice(uint32_t its_ip) {
        Exchange(wire_sub::kAddDevice, EncodeWire(WireDeviceAdd{identifier, {Device(its_ip)}}));
    }
    void Register() {
        AddRouter();
        AddDevice(ip);
        devices = {ip};
        joined = true;
    }
    void Join() {
        Login();
        FetchOthers();
        Register();
    }
    void DelDevices() {
        Exchange(wire_sub::kDelDevice, EncodeWire(WireDeviceDel{identifier, {{ip}}}));
        devices.clear();
    }
    void Leave() {
        DelDevices();
        Exchange(wire_sub::kLogout);
        joined = false;
    }
    void HeartBeat() { Ask(wire_sub::kHeartbeat, EncodeWire(WireTick{0x11223344}), 1); }

    // Carries out and acknowledges what is announced.
    void Obey() {
        while (HasMail()) {
            WireMessage message = Next();
            if (message.type != 3) continue;
            Apply(message);
            Acknowledge(message);
        }
    }
    void Acknowledge(const WireMessage& command, uint32_t error = 0) {
        WireMessage ack = command.Reply();
        if (command.sub == wire_sub::kAddRouter) ack.body = EncodeWire(WireRouterAddReply{error});
        rig.Receive(port, ack);
    }
    void Apply(const WireMessage& command) {
        EXPECT_EQ(command.dst, identifier);
        if (command.sub == wire_sub::kAddRouter) {
            WireRouterAdd add = ExpectBody<WireRouterAdd>(command);
            others[add.identifier] = {add.port, {}};
        } else if (command.sub == wire_sub::kDelRouter) {
            others.erase(ExpectBody<WireIdentifier>(command).identifier);
        } else if (command.sub == wire_sub::kAddDevice) {
            WireDeviceAdd add = ExpectBody<WireDeviceAdd>(command);
            // An edge puts devices behind routers only.
            if (auto router = others.find(add.identifier); router != others.end()) {
                for (const WireDevice& device : add.devices)
                    router->second.second.insert(device.ip);
            }
        } else {
            EXPECT_EQ(command.sub, wire_sub::kDelDevice);
            for (WireAddress gone : ExpectBody<WireDeviceDel>(command).addresses) {
                for (auto& [identifier_of_other, other] : others)
                    other.second.erase(gone.ip);
            }
        }
    }
};
