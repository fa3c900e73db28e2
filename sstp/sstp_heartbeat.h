#pragma once

#include "inet/xmit_pkt.h"
#include "sstp/sstp_body.h"

// The body of every heartbeat: the sender's tick in milliseconds, which the answer carries back.
struct __attribute__((packed)) sstp_heartbeat {
    uint32_t tick;
};
static_assert(sizeof(sstp_heartbeat) == 4);

// What heartbeats with the central router and between edges have in common.
template <uint8_t kType, uint8_t kSubType>
class CTSstpTickMsg : public CTSstpBodyMsg<kType, kSubType, sstp_heartbeat> {
  public:
    void SetTick(uint32_t tick) { this->m_body.Store32(offsetof(sstp_heartbeat, tick), tick); }
    uint32_t GetTick() const { return this->m_body.Load32(offsetof(sstp_heartbeat, tick)); }

  protected:
    int ShowTick(const char* title) {
        CTString text;
        this->PrintHead(title, text);
        text.Append(" tick: %d\n", GetTick());
        return this->Show(text);
    }
};

// Keeps the session with the central router alive.
class CTSstpHeartBeatMsg : public CTSstpTickMsg<kSstpInterCommand, kSstpInterHeartBeat> {
  public:
    int Print();
};

class CTSstpHeartBeatAck : public CTSstpTickMsg<kSstpInterCommandAck, kSstpInterHeartBeat> {
  public:
    int Print();
};

// The tick that a received answer carries back; false when its body did not arrive.
inline bool sstp_answered_tick(CTXmitPkt& pkt, uint32_t& tick) {
    constexpr int kLength = kSstpHeaderSize + CTSstpHeartBeatAck::GetContextLength();
    CTSkBuffer* skb = pkt.GetSkb();
    CTSstpHeartBeatAck answer;
    if (!skb || skb->GetDataLength() < kLength || !answer.Attach(*skb)) return false;
    if (answer.GetMessageLength() < kLength) return false;
    tick = answer.GetTick();
    return true;
}
