#pragma once

#include <cstdint>
#include <memory>

#include "inet/tnet_npkt.h"
#include "inet/xmit_pkt.h"
#include "sstp/sstp_pkt.h"

// One SSTP message: empty after construction, with a zeroed buffer of its own after Create, or on
// borrowed bytes after Attach (a packet buffer, caller memory), which it never frees. The concrete
// message classes derive from it; none has virtual functions. One thread at a time.
//
// Header fields are read and written in place. The bytes behind the header are as long as the
// header says, but never longer than the buffer: readers of a body use GetBodyLimit.
//
// Using an empty message is misuse and aborts with an assertion that names the operation, which is
// why operations here are not const; GetSrc alone does not check.
class CTSstpMessage {
  public:
    CTSstpMessage() = default;
    explicit CTSstpMessage(int body) { Create(body); }
    ~CTSstpMessage() { Destroy(); }
    CTSstpMessage(const CTSstpMessage&) = delete;
    CTSstpMessage& operator=(const CTSstpMessage&) = delete;

    // ---- The buffer: an own one or borrowed bytes ----

    // A zeroed buffer of 16 + body bytes with a reset header; false without memory. A message that
    // owns a buffer already keeps it as it is: true.
    bool Create(int body);
    // Frees the own buffer; a borrowed pointer stays attached.
    void Destroy();

    // Borrow the bytes; false for null or fewer than 16 bytes.
    bool Attach(void* ptr, int len);
    // The capacity is the buffer's whole size, not its data length; less where so much was pulled
    // off the front that the block ends sooner.
    bool Attach(CTSkBuffer& skb);
    bool Attach(CTSkBuffer* skb) { return skb && Attach(*skb); }
    bool Attach(CTXmitPkt& pkt) { return Attach(pkt.GetSkb()); }
    bool Attach(CTXmitPkt* pkt) { return pkt && Attach(*pkt); }

    CTSstpMsgHdr& GetHeader() { return m_hdr; }
    uint8_t* GetBufferPtr() const { return m_ptr; }
    int GetBufferSize() const { return m_bufsize; }
    // The body; null for an empty message.
    uint8_t* GetDataPtr() const { return m_ptr ? m_ptr + kSstpHeaderSize : nullptr; }

    // ---- The header and what it says of the body ----

    int GetMessageLength();
    // The body length that the header states; negative when it states less than a header.
    int GetDataLength();
    void SetDataLength(int n);
    // The body bytes that can be read: GetDataLength within 0 and what the buffer holds.
    int GetBodyLimit();
    void SetHeader(CTSstpMsgHdr& hdr);

    uint8_t GetType();
    void SetType(uint8_t type);
    uint8_t GetSubType();
    void SetSubType(uint8_t sub_type);
    uint16_t GetSeq();
    void SetSeq(uint16_t seq);
    uint16_t GetLength();
    void SetLength(uint16_t length);
    uint8_t GetFrameTotal();
    void SetFrameTotal(uint8_t total);
    uint8_t GetFrameIndex();
    void SetFrameIndex(uint8_t index);
    uint32_t GetSrc() { return m_hdr.GetSrcRouter(); }
    void SetSrc(uint32_t src);
    uint32_t GetDst();
    void SetDst(uint32_t dst);

    // ---- The whole message ----

    // Appends body bytes; returns len, or 0 when they do not fit. At least one byte of the buffer
    // stays free.
    int Write(const void* data, int len);
    // Copies the other message's bytes: 0 on success, 1 when they do not fit (the other way about
    // than the rest of the class).
    int Copy(CTSstpMessage& src);

    // Whether the type is a reply's: even, 0 included.
    bool IsAck();
    // Whether this is the reply to the request: type one above, dst its src, same seq. The sub
    // type is not compared.
    bool IsAck(CTSstpMessage& request);

    // Resets the header.
    void Reset();
    // The header's text.
    int Print(CTString& text);

  private:
    std::unique_ptr<uint8_t[]> m_buf;
    uint8_t* m_ptr = nullptr;  // the message in use: m_buf, or borrowed bytes
    int m_bufsize = 0;
    CTSstpMsgHdr m_hdr;
};
