#pragma once

#include <cstddef>
#include <cstdint>

#include "base/pvu_string.h"

// The header that starts every SSTP message; multi-byte fields are big-endian.
//
//   0               1               2               3
// +---------------+---------------+---------------+---------------+
// | type          | sub type      | seq                           |  0
// +---------------+---------------+---------------+---------------+
// | length                        | frame total   | frame index   |  4
// +---------------+---------------+---------------+---------------+
// | src                                                           |  8
// +---------------+---------------+---------------+---------------+
// | dst                                                           | 12
// +---------------+---------------+---------------+---------------+
//
// length counts the whole message, header included. frame total and frame index are 0 in every
// message that is not a fragment. src and dst are router identifiers.
struct __attribute__((packed)) sstp_msg_hdr {
    uint8_t type;
    uint8_t sub_type;
    uint16_t seq;
    uint16_t length;
    uint8_t frame_total;
    uint8_t frame_index;
    uint32_t src;
    uint32_t dst;
};
static_assert(sizeof(sstp_msg_hdr) == 16);
static_assert(offsetof(sstp_msg_hdr, seq) == 2 && offsetof(sstp_msg_hdr, length) == 4 &&
              offsetof(sstp_msg_hdr, frame_total) == 6 && offsetof(sstp_msg_hdr, src) == 8 &&
              offsetof(sstp_msg_hdr, dst) == 12);

constexpr int kSstpHeaderSize = sizeof(sstp_msg_hdr);

// Message types: odd ones are requests, the next even value is the reply.
constexpr uint8_t kSstpInterCommand = 1;
constexpr uint8_t kSstpInterCommandAck = 2;
constexpr uint8_t kSstpCommand = 3;
constexpr uint8_t kSstpCommandAck = 4;
constexpr uint8_t kSstpNetPacket = 5;
constexpr uint8_t kSstpNetPacketAck = 6;

// Sub types of interior commands and their replies.
constexpr uint8_t kSstpInterHeartBeat = 2;
constexpr uint8_t kSstpInterP2PEcho = 12;

// Sub types of commands and their replies. Router commands step by two, device commands by one.
constexpr uint8_t kSstpCmmEcho = 2;
constexpr uint8_t kSstpCmmLogin = 3;
constexpr uint8_t kSstpCmmLogout = 4;
constexpr uint8_t kSstpCmmDhcp = 5;
constexpr uint8_t kSstpCmmSubnet = 6;
constexpr uint8_t kSstpCmmP2PHeartbeat = 8;
constexpr uint8_t kSstpCmmAddRouter = 10;
constexpr uint8_t kSstpCmmDelRouter = 12;
constexpr uint8_t kSstpCmmGetRouter = 14;
constexpr uint8_t kSstpCmmAddDevice = 16;
constexpr uint8_t kSstpCmmDelDevice = 17;
constexpr uint8_t kSstpCmmGetDevice = 18;

// The identifier of the central router, and of a router that has none yet.
constexpr uint32_t kSstpCentralRouter = 0xFFFFFFFF;

// A view over one header: its own 16 bytes after construction, any others after Attach. It never
// owns external bytes. Accessors take and give host byte order.
class CTSstpMsgHdr {
  public:
    // A header of the view's own: length 16, everything else 0.
    CTSstpMsgHdr();
    // A copy has its own bytes, wherever the other's are.
    CTSstpMsgHdr(const CTSstpMsgHdr& other);

    // Copies 16 bytes into this view's bytes; null and self-assignment do nothing.
    CTSstpMsgHdr& operator=(const CTSstpMsgHdr& other);
    CTSstpMsgHdr& operator=(const sstp_msg_hdr* hdr);

    // Points the view at the bytes, which must outlive it; false for null, which changes nothing.
    bool Attach(sstp_msg_hdr* hdr);
    bool Attach(void* ptr) { return Attach(static_cast<sstp_msg_hdr*>(ptr)); }
    bool Attach(std::nullptr_t) { return false; }
    // Back to the view's own bytes.
    void Detach() { m_ptr = &m_own; }
    sstp_msg_hdr* GetPtr() const { return m_ptr; }
    static int GetSstpHeaderSize() { return kSstpHeaderSize; }

    uint8_t GetType() const;
    void SetType(uint8_t type);
    uint8_t GetSubType() const;
    void SetSubType(uint8_t sub_type);
    uint16_t GetSeq() const;
    void SetSeq(uint16_t seq);
    uint16_t GetLength() const;
    void SetLength(uint16_t length);
    uint8_t GetFrameTotal() const;
    void SetFrameTotal(uint8_t total);
    uint8_t GetFrameIndex() const;
    void SetFrameIndex(uint8_t index);
    uint32_t GetSrcRouter() const;
    void SetSrcRouter(uint32_t src);
    uint32_t GetDstRouter() const;
    void SetDstRouter(uint32_t dst);

    void Fill(uint8_t type, uint8_t sub_type, uint16_t seq, uint16_t length, uint8_t frame_total,
              uint8_t frame_index, uint32_t src, uint32_t dst);
    // Length 16, everything else 0.
    void Reset();

    // The printed names; "undef" for what has none. GetSubTypeName chooses the family by type.
    const char* GetTypeName() const;
    const char* GetSubTypeName() const;
    const char* GetInterSubTypeName() const;
    const char* GetCmmSubTypeName() const;

    // Appends the header as one text; the append's result.
    int Print(CTString& text) const;
    // The same to standard output, with a newline.
    void Print() const;
    // A raw header; prints nothing and returns 0 for null.
    static int Print(CTString& text, sstp_msg_hdr* hdr);

  private:
    sstp_msg_hdr m_own = {};
    sstp_msg_hdr* m_ptr = &m_own;
};
