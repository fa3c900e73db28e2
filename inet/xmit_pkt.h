#pragma once

#include <cstdint>

#include "base/pvu_list.h"
#include "base/pvu_sockaddr.h"
#include "inet/tnet_npkt.h"

// What the stage that looked at a packet last tells the next one to do with it.
constexpr int kXmitFinished = 0;      // released by the stage that looked at it last
constexpr int kXmitHeld = 1;          // parked in the fragment store; nobody releases it
constexpr int kXmitSecondFilled = 2;  // a second fragment was made in it
constexpr int kXmitDeliver = 4;       // passed on to the next stage's queue

// Where a packet came from.
constexpr uint8_t kXmitFromTap = 0;
constexpr uint8_t kXmitFromTunnel = 1;

// The packet descriptor that every pipeline passes on: a buffer with the bytes, the addresses it
// came from and goes to, a status for the next stage, and the owner to which it returns.
//
// A descriptor of a pool and its buffer belong to that pool. One made with Create or a capacity
// owns its buffer; one built on a caller's buffer borrows it. No lock: the stage that holds the
// pointer is its only user, and handing it on through a queue transfers it.
class CTXmitPkt : public CTLinkedNode {
  public:
    CTXmitPkt() = default;
    explicit CTXmitPkt(int n) { Create(n); }
    explicit CTXmitPkt(CTSkBuffer* skb) : m_skb(skb) {}
    explicit CTXmitPkt(CTSkBuffer& skb) : m_skb(&skb) {}
    ~CTXmitPkt() { Destroy(); }
    CTXmitPkt(const CTXmitPkt&) = delete;
    CTXmitPkt& operator=(const CTXmitPkt&) = delete;

    // ---- The maker's: pools, and stages with a descriptor of their own ----

    // An own buffer of capacity n, in place of a former own one; 1, or 0 without memory.
    int Create(int n);
    // Destroys the own buffer; a borrowed or pool buffer is untouched.
    void Destroy();
    // Clears everything but the addresses, type and net layer; an own buffer must be gone.
    void Init();
    // Empties the descriptor for its next use: addresses, tick, length and source cleared, buffer
    // reset. Status, type, net layer, buffer and owner survive.
    void Reset();

    void SetSkb(CTSkBuffer* skb) { m_skb = skb; }
    void SetOwner(void* owner) { m_owner = owner; }

    // ---- Every stage's ----

    // Hands the descriptor back to its pool, or destroys its own buffer when it has no owner.
    // Never for a descriptor taken through a pipe: that one goes back through the pipe.
    void Release();
    CTSkBuffer* GetSkb() const { return m_skb; }
    void* GetOwner() const { return m_owner; }

    // Copy the address; null is ignored.
    void SetRecvAddr(const CTSockAddr* addr);
    void SetSendAddr(const CTSockAddr* addr);
    void SetRecvAddr(const CTSockAddr& addr) { m_recv_addr = addr; }
    void SetSendAddr(const CTSockAddr& addr) { m_send_addr = addr; }
    CTSockAddr* GetRecvAddr() { return &m_recv_addr; }
    CTSockAddr* GetSendAddr() { return &m_send_addr; }

    void SetRecvLength(int length) { m_recv_length = length; }
    int GetRecvLength() const { return m_recv_length; }
    void SetRecvTick(unsigned tick) { m_recv_tick = tick; }
    unsigned GetRecvTick() const { return m_recv_tick; }
    // Packets of one burst of the host's stack carry its number; those that came alone carry 0.
    void SetBurst(uint32_t burst) { m_burst = burst; }
    uint32_t GetBurst() const { return m_burst; }
    void SetSource(uint8_t source) { m_source = source; }
    uint8_t GetSource() const { return m_source; }
    void SetStatus(int status) { m_status = status; }
    int GetStatus() const { return m_status; }
    void SetType(int type) { m_type = type; }
    int GetType() const { return m_type; }
    void SetNetLayer(uint8_t layer) { m_net_layer = layer; }
    uint8_t GetNetLayer() const { return m_net_layer; }

    // ---- The bytes: of the buffer in use ----

    // Copy another buffer's bytes: 0, -12 without a buffer here, -22 for a null descriptor.
    int CopySkb(const CTSkBuffer* other);
    int CopySkb(const CTSkBuffer& other) { return CopySkb(&other); }
    int CopySkb(const CTXmitPkt* other);
    int CopySkb(const CTXmitPkt& other) { return CopySkb(&other); }
    // Put(n) on the buffer, its result ignored.
    void SkbPut(int n);
    void SkbReset();
    // Appends bytes: 0 for success, anything else is a failure. 0 too, with nothing written, if p
    // is null, n below 1 or there is no buffer.
    int Write(const void* p, int n);

    // ---- The fragment store's ----

    // Its own mark and the next one in a bucket, while it holds the descriptor.
    void SetStoreMark(uint32_t mark) { m_store_mark = mark; }
    uint32_t GetStoreMark() const { return m_store_mark; }
    void SetStoreNext(CTXmitPkt* next) { m_store_next = next; }
    CTXmitPkt* GetStoreNext() const { return m_store_next; }

  private:
    int m_status = kXmitFinished;
    int m_type = 0;
    uint8_t m_net_layer = 0;
    CTSockAddr m_recv_addr;
    CTSockAddr m_send_addr;
    uint32_t m_recv_tick = 0;
    int m_recv_length = 0;
    uint32_t m_burst = 0;
    uint32_t m_store_mark = 0;
    CTXmitPkt* m_store_next = nullptr;
    uint8_t m_source = kXmitFromTap;
    CTSkBuffer* m_own_skb = nullptr;  // the buffer that this descriptor created, or null
    CTSkBuffer* m_skb = nullptr;      // the buffer in use
    void* m_owner = nullptr;
};
