#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>

// How many failed logins an address may make: kBurst at once, and one more a second. While that is
// used up no login from the address is answered, so that passwords cannot be tried out at the speed
// of the network; a right one is not answered either, or the silence would tell which is right.
//
// The table is bounded: when it is full, the address whose last failure lies longest back is
// forgotten, which gives it its allowance back. Owned by the central router; one thread.
class TcrLoginAllowance {
  public:
    static constexpr int kBurst = 5;
    static constexpr int64_t kRefillMs = 1000;
    static constexpr size_t kMaxAddresses = 4096;

    // Whether a login from the address (host byte order) is to be looked at. Time in milliseconds
    // of a clock that never goes back.
    bool Allows(uint32_t ip, int64_t now) const;
    // Counts a login from the address as failed.
    void Failed(uint32_t ip, int64_t now);

    // Addresses that are remembered.
    size_t Count() const { return m_entries.size(); }

  private:
    // The allowance as one time: it is whole at that time, and used up as long as that lies
    // more than kBurst - 1 refills ahead.
    struct Entry {
        uint32_t ip;
        int64_t whole_at;
    };
    using Order = std::list<Entry>;

    void ForgetOld(int64_t now);

    Order m_entries;  // by last failure, the longest ago first
    std::map<uint32_t, Order::iterator> m_by_ip;
};
