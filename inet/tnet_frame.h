#pragma once

#include <cstdint>

#include "inet/tnet_npkt.h"

// Views of a frame or packet held in memory, which they do not own. Attach first; the operations
// read what the attached bytes announce, and answer 0 where they do not hold it.

// A frame that begins with an Ethernet header.
class CTEtherFrame {
  public:
    // 1, or 0 if p is null or the frame is not longer than its header.
    int Attach(void* p, int len);
    int Attach(CTSkBuffer& skb) { return Attach(skb.GetData(), skb.GetDataLength()); }

    // Host byte order; 0 when nothing is attached.
    int GetEtherType();
    int IsArp();
    int IsIPv4();
    int IsIPv6();
    // The IPv4 protocol, 0 unless the frame is IPv4 and reaches as far as that field.
    int GetIPv4Proto();
    int IsIcmp();
    int IsTcp();
    int IsUdp();

    // 1 if the frame is ARP, IPv4 or IPv6, reaches as far as the field with its length, and is no
    // shorter than that announces, be it less than a header; padding is accepted.
    int Verify();
    // The Ethernet header and the IPv4 or ARP header behind it, to standard output.
    void Print();
    static void Print(void* p, int len);

  private:
    uint8_t* Payload() const;
    bool Holds(int payload_length) const;

    uint8_t* m_ptr = nullptr;
    int m_len = 0;
};

// A packet that begins with an IPv4 header.
class CTIPv4Frame {
  public:
    // 1, or 0 if p is null or len below 20.
    int Attach(void* p, int len);
    int Attach(CTSkBuffer& skb) { return Attach(skb.GetData(), skb.GetDataLength()); }

    // The protocol field, whatever the version; 0 when nothing is attached.
    int GetIPv4Proto();
    int IsIcmp();
    int IsTcp();
    int IsUdp();
    // The header to standard output, if the version is 4.
    void Print();

  private:
    uint8_t* m_ptr = nullptr;
    int m_len = 0;
};
