#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "lab/wire/wire_bodies.h"
#include "lab/wire/wire_message.h"

using Clock = std::chrono::steady_clock;

// One simulated edge with a socket of its own: joins step by step as an edge does, carries out and
// acknowledges what is announced, sends heartbeats and packets. It never waits: the fleet calls it
// when a datagram is there and when time has passed.
class Edge {
  public:
    // Of that subnet, with that number among all edges.
    Edge(int subnet, uint32_t number, const sockaddr_in& central);
    ~Edge();
    Edge(const Edge&) = delete;
    Edge& operator=(const Edge&) = delete;

    // Whether the system gave it a socket; errno tells why not.
    bool HasSocket() const { return m_socket >= 0; }
    int Socket() const { return m_socket; }

    void StartJoin(Clock::time_point now);
    // Everything that waits at the socket.
    void Read(Clock::time_point now);
    // Repeats a request that stayed unanswered.
    void Elapse(Clock::time_point now);

    void SendHeartbeat();
    // A packet of that many bytes; an IPv4 header at least.
    void SendPacket(uint32_t to, uint32_t dst_ip, size_t size = kHeaderSize);
    // Goes, without waiting for the answer.
    void LogOut();

    bool IsJoined() const { return m_step == kJoined; }
    bool IsJoining() const { return m_step != kIdle && m_step != kJoined; }

    static constexpr size_t kHeaderSize = 20;

    const int subnet;
    std::string label = "simulated";  // to join with
    uint32_t identifier = kWireCentral;
    uint32_t ip = 0;
    Clock::time_point join_began;
    Clock::time_point joined_at;
    // The others as fetched or announced, with their addresses; for each address when it was
    // announced for the first time and for the last.
    std::map<uint32_t, std::set<uint32_t>> others;
    std::map<uint32_t, Clock::time_point> learned_at;
    std::map<uint32_t, Clock::time_point> announced_at;

    uint64_t heartbeats_answered = 0;
    uint64_t packets_sent = 0;
    uint64_t packets_received = 0;
    uint64_t announcements = 0;
    uint64_t repeats = 0;  // of requests
    uint64_t logins = 0;
    uint64_t faults = 0;  // replies with an error, messages that cannot be read

  private:
    enum Step {
        kIdle,
        kEcho,
        kLogin,
        kDhcp,
        kSubnet,
        kGetRouter,
        kGetDevice,
        kAddRouter,
        kAddDevice,
        kJoined
    };

    void Ask(Step step, uint8_t sub, const WireBytes& body, Clock::time_point now);
    void AskStep(Step step, Clock::time_point now);
    void AskNextDevices(Clock::time_point now);
    void Take(const WireBytes& datagram, Clock::time_point now);
    void TakeReply(const WireMessage& reply, Clock::time_point now);
    void CarryOut(const WireMessage& command, Clock::time_point now);
    void AddDevices(uint32_t router, const std::vector<WireDevice>& devices);
    void Send(const WireMessage& message);
    template <typename Body>
    Body BodyOf(const WireMessage& message);

    const uint32_t m_number;
    int m_socket = -1;
    Step m_step = kIdle;
    uint16_t m_seq = 1;
    uint16_t m_asked_seq = 0;
    uint8_t m_asked_sub = 0;
    WireBytes m_request;
    Clock::time_point m_asked_at;
    std::set<uint32_t> m_to_fetch;  // routers whose devices were not asked for yet
};

// What every edge and the central router's configuration agree on.
std::string SubnetName(int subnet);
uint32_t SubnetAddr(int subnet);  // 10.x.y.0, mask /24; the gateway is .1
