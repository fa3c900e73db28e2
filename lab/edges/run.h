#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "lab/edges/fleet.h"
#include "lab/edges/router_process.h"

// One run of simulated edges, step by step, with its figures on standard output. When something
// does not hold, a line says so and the next step follows.
class Run {
  public:
    Run(int edges, RouterProcess& router, const sockaddr_in& central)
        : m_count(edges), m_router(router), m_central(central) {}

    // Whether there are sockets enough; errno tells why not. Before Steps.
    bool Prepare() { return m_fleet.Make(m_count, m_central); }
    // Whether everything held.
    bool Steps();

  private:
    int Subnets() const { return (m_count + Fleet::kEdgesPerSubnet - 1) / Fleet::kEdgesPerSubnet; }
    void Miss(const std::string& what);

    bool Join();
    void Announcements();
    void Traffic();
    void KillAndRestart();
    void AskTheSilent(Clock::time_point& asked_at);
    void Packets();
    void Settled();

    void SendWhatIsDue(Clock::duration since);
    void SendHeartbeatsDue(Clock::duration since);
    size_t Due(Clock::duration since, std::chrono::milliseconds interval, double& done) const;
    void WaitForPackets();
    void ExpectDelivered(const char* when);
    void PrintUse(double cpu_seconds, uint64_t packets);

    const int m_count;
    RouterProcess& m_router;
    const sockaddr_in m_central;
    Fleet m_fleet;
    bool m_failed = false;

    long m_idle_kb = 0;  // of the central router without edges
    double m_join_cpu = 0;
    // Of the traffic: what was due so far, whose turn it is, what was counted before.
    double m_packets_due = 0;
    double m_heartbeats_due = 0;
    size_t m_next_packet = 0;
    size_t m_next_heartbeat = 0;
    uint64_t m_sent_before = 0;
    uint64_t m_received_before = 0;
    Clock::time_point m_restarted_at;
    uint64_t m_announced_before_restart = 0;
};
