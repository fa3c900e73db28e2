#pragma once

#include <string>

#include "sys/tsdw_sys.h"
#include "tests/support/packet_end.h"
#include "tests/support/scratch_dir.h"

// A whole edge in this process, without root: its interface ends in the test, its configuration
// lies in a folder of its own.
class WholeEdge {
  public:
    // For the central router at that port on 127.0.0.1.
    explicit WholeEdge(uint16_t central_port, uint32_t serial = 0x1001,
                       const std::string& ip = "0.0.0.0");
    // Stops what a test that failed half-way has left running, as its threads would never end.
    ~WholeEdge() { Stop(); }

    bool Start();
    void Stop() {
        if (std::exchange(m_runs, false)) sys.Stop();
    }
    std::string ConfigPath() const { return dir.File("config.json"); }
    // Adds keys to the configuration's section "sstp", as "\"rejoin after\": 3". Before Start.
    void AddSstpKeys(const std::string& keys);
    // Whether the model has a device with that address behind a router, now or within ten seconds.
    bool Knows(uint32_t ip) { return Becomes(ip, true); }
    bool Forgets(uint32_t ip) { return Becomes(ip, false); }

    ScratchDir dir;
    PacketEnd host;
    CTsdwSys sys;

  private:
    bool Becomes(uint32_t ip, bool known);

    bool m_runs = false;
};

// How many threads and open descriptors this process has.
int CountThreads();
int CountDescriptors();
