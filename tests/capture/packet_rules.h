#pragma once

#include <map>
#include <set>
#include <tuple>

#include "tests/capture/datagram.h"
#include "tests/support/wire_message.h"

// What holds for network packets alone: sizes and order of fragments, what they carry, and that the
// central router changes nothing.
class PacketRules {
  public:
    // The IPv4 packet that has arrived whole with this message; empty while its other half is
    // missing. Adds what is wrong to the faults.
    WireBytes Join(const Datagram& datagram, const WireMessage& message, WireFaults& faults);

    // Towards the central router, and on from there.
    void Hand(const Datagram& datagram) { m_on_the_way.insert(datagram.bytes); }
    bool IsHandedOn(const Datagram& datagram);

    size_t Unpaired() const { return m_second.size(); }

  private:
    using Key = std::tuple<Endpoint, Endpoint, uint32_t, uint16_t>;
    std::map<Key, WireMessage> m_second;  // second fragments, which come first
    std::multiset<WireBytes> m_on_the_way;
};

// Faults of an IPv4 packet's header, and of an ICMP message's checksum.
void CheckIPv4(const WireBytes& packet, WireFaults& faults);
