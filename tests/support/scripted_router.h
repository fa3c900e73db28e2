#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "lab/wire/wire_bodies.h"
#include "tests/support/udp_peer.h"

// A central router that does what the test says. By default it answers everything that a joining
// edge asks for; the verbs bend its next answer to a kind of request. It runs in a thread of its
// own and speaks through the tests' own codec.
class ScriptedRouter {
  public:
    uint16_t Port() const { return m_peer.Port(); }

    // What the default answers say: one identifier for every login, one address, and the routers
    // and devices that the test adds.
    static constexpr uint32_t kIdentifier = 2;
    static constexpr uint32_t kAssignedIp = Ip(192, 168, 15, 57);
    static constexpr uint32_t kGateway = Ip(192, 168, 15, 1);
    static constexpr uint32_t kMask = Ip(255, 255, 255, 0);
    void AddRouter(uint32_t identifier, uint32_t serial, uint16_t udp_port);
    void ForgetRouters();
    void AddDevice(uint32_t identifier, uint32_t ip, uint8_t mac_end);

    // Verbs, for the next request of that sub type (a command's, or with type 1 an interior one).
    void Drop(uint8_t sub, int times = 1) { Bend(sub, &Script::drop, times); }
    void AnswerTwice(uint8_t sub) { Bend(sub, &Script::twice, true); }
    // The answer goes out only when the edge asks again, and right before the answer to that.
    void AnswerLate(uint8_t sub) { Bend(sub, &Script::late, true); }
    // An answer to some other exchange goes first.
    void StrayFirst(uint8_t sub) { Bend(sub, &Script::stray, true); }
    void AnswerWith(uint8_t sub, const WireBytes& body, int length_field = -1) {
        Bend(sub, &Script::answer, {{.body = body, .length_field = length_field}});
    }
    // From now on nothing is answered, or no heartbeat.
    void FallSilent();
    void AnswerHeartbeats(bool answer);

    // To the edge, unasked.
    void Send(const WireMessage& message);

    // Every request so far, in the order of arrival; network packets and the edge's answers too.
    std::vector<WireMessage> Received();
    std::vector<int> ReceivedCommands();  // their sub types
    // The first message for which the test holds, now or within ten seconds.
    WireMessage WaitFor(std::function<bool(const WireMessage&)> test);

  private:
    struct Script {
        int drop = 0;
        bool twice = false;
        bool late = false;
        bool stray = false;
        std::optional<WireMessage> answer;  // its body and length
    };
    template <typename Value>
    void Bend(uint8_t sub, Value Script::*what, std::type_identity_t<Value> value) {
        std::lock_guard lock(m_mutex);
        m_scripts[sub].*what = value;
    }
    void Run(std::stop_token stop);
    void Handle(const WireMessage& request);
    WireBytes AnswerBody(const WireMessage& request);

    UdpPeer m_peer;
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::vector<WireMessage> m_received;
    std::map<uint8_t, Script> m_scripts;
    std::map<uint8_t, WireMessage> m_held;  // late answers
    WireRouterList m_routers;
    std::map<uint32_t, WireDeviceList> m_devices;  // by router
    bool m_silent = false;
    bool m_answers_heartbeats = true;
    std::jthread m_thread{[this](std::stop_token stop) { Run(stop); }};
};

// Records as they stand in lists: a router at a port of 127.0.0.1, a device.
WireRouter RouterRecord(uint32_t identifier, uint32_t serial, uint16_t udp_port);
WireDevice DeviceRecord(uint32_t ip, uint8_t mac_end);
