#pragma once

#include <array>
#include <cstdint>

#include "base/pvu_counter.h"
#include "base/pvu_mutex.h"
#include "base/pvu_thread_safety.h"
#include "ops/traffic.h"

// The network packets to and from each router of the subnet, by its slot. Whoever forwards a packet
// counts it, once for a run of packets of one peer, without a lock and without the bus's: that is
// what a packet can afford. For each direction that is one thread at a time, the forwarder's own
// or, while that one has nothing to do, the receive thread that passes a lone packet on. Whoever
// reads may see the packets of a run a moment before their bytes.
//
// A slot may come to another edge. Its counts then begin at 0, for which a base is kept, as nobody
// else may write what the forwarders count.
//
// Owned by the system object.
class CTPeerTraffic {
  public:
    static constexpr int kSlots = 16;
    static constexpr int kOther = kSlots;  // the central router's own, and what names no router

    struct Counts {
        CTTraffic sent;
        CTTraffic received;
    };

    // One direction. Aligned, so that the two forwarders do not share a line of the cache.
    class alignas(64) Direction {
      public:
        void Add(int slot, uint64_t packets, uint64_t bytes) {
            m_slots[static_cast<size_t>(slot)].packets.Add(packets);
            m_slots[static_cast<size_t>(slot)].bytes.Add(bytes);
        }
        CTTraffic Get(int slot) const {
            const Count& count = m_slots[static_cast<size_t>(slot)];
            return {count.packets.Get(), count.bytes.Get()};
        }

      private:
        struct Count {
            CTOwnCounter packets;
            CTOwnCounter bytes;
        };
        std::array<Count, kSlots + 1> m_slots;
    };

    // Adds up the packets of a burst, and counts them where the peer changes and at its end.
    class Run {
      public:
        explicit Run(Direction& direction) : m_direction(direction) {}
        ~Run() { Count(); }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

        // A packet to or from the router of that identifier.
        void Add(uint32_t identifier, int bytes) {
            int slot = SlotOf(identifier);
            if (slot != m_slot) {
                Count();
                m_slot = slot;
            }
            ++m_packets;
            m_bytes += static_cast<uint64_t>(bytes);
        }

      private:
        void Count() {
            if (m_packets > 0) m_direction.Add(m_slot, m_packets, m_bytes);
            m_packets = m_bytes = 0;
        }

        Direction& m_direction;
        int m_slot = kOther;
        uint64_t m_packets = 0;
        uint64_t m_bytes = 0;
    };

    static int SlotOf(uint32_t identifier) {
        uint32_t slot = identifier & kSlotMask;
        return slot < kSlots ? static_cast<int>(slot) : kOther;
    }

    Direction& Sent() { return m_sent; }
    Direction& Received() { return m_received; }

    // The router of that identifier is the edge with that serial number from now on. Any thread.
    void Assign(uint32_t identifier, uint32_t serial) PVU_EXCLUDES(m_mutex);
    // The counts of the slot's present edge, or of kOther. Any thread.
    Counts Get(int slot) const PVU_EXCLUDES(m_mutex);

  private:
    static constexpr uint32_t kSlotMask = 0xFF;

    struct Holder {
        bool is_known = false;
        uint32_t serial = 0;
        Counts base;
    };

    Direction m_sent;
    Direction m_received;
    mutable CTMutex m_mutex;
    std::array<Holder, kSlots + 1> m_holders PVU_GUARDED_BY(m_mutex);
};
