#include "sstp/sstp_message.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "base/pvu_assert.h"

#define SSTP_ASSERT_MESSAGE_IN(function) \
    PVU_ASSERT_IN(m_ptr, "((m_ptr != __null))", "sstp/sstp_pkt", __LINE__, function)
#define SSTP_ASSERT_MESSAGE() SSTP_ASSERT_MESSAGE_IN(__PRETTY_FUNCTION__)

bool CTSstpMessage::Create(int body) {
    if (m_buf) return true;
    if (body < 0 || body > INT_MAX - kSstpHeaderSize) return false;
    int size = kSstpHeaderSize + body;
    m_buf.reset(new (std::nothrow) uint8_t[static_cast<size_t>(size)]());
    if (!m_buf) return false;
    m_ptr = m_buf.get();
    m_bufsize = size;
    m_hdr.Attach(m_ptr);
    m_hdr.Reset();
    return true;
}

void CTSstpMessage::Destroy() {
    if (!m_buf) return;
    if (m_ptr == m_buf.get()) {
        m_ptr = nullptr;
        m_hdr.Detach();
    }
    m_buf.reset();
    m_bufsize = 0;
}

bool CTSstpMessage::Attach(void* ptr, int len) {
    if (!ptr || len < kSstpHeaderSize) return false;
    m_ptr = static_cast<uint8_t*>(ptr);
    m_bufsize = len;
    m_hdr.Attach(m_ptr);
    return true;
}

bool CTSstpMessage::Attach(CTSkBuffer& skb) {
    int size = skb.GetBufferSize();
    int64_t to_block_end = size + 2 * CTSkBuffer::kReserve - skb.HeadRoom();
    return Attach(skb.GetData(), static_cast<int>(std::min<int64_t>(size, to_block_end)));
}

int CTSstpMessage::GetMessageLength() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetLength();
}

int CTSstpMessage::GetDataLength() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetLength() - kSstpHeaderSize;
}

void CTSstpMessage::SetDataLength(int n) {
    SetLength(static_cast<uint16_t>(kSstpHeaderSize + n));
}

int CTSstpMessage::GetBodyLimit() {
    return std::clamp(GetDataLength(), 0, std::max(0, m_bufsize - kSstpHeaderSize));
}

void CTSstpMessage::SetHeader(CTSstpMsgHdr& hdr) {
    SSTP_ASSERT_MESSAGE();
    m_hdr = hdr;
}

uint8_t CTSstpMessage::GetType() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetType();
}

void CTSstpMessage::SetType(uint8_t type) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetType(type);
}

uint8_t CTSstpMessage::GetSubType() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetSubType();
}

void CTSstpMessage::SetSubType(uint8_t sub_type) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetSubType(sub_type);
}

uint16_t CTSstpMessage::GetSeq() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetSeq();
}

void CTSstpMessage::SetSeq(uint16_t seq) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetSeq(seq);
}

uint16_t CTSstpMessage::GetLength() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetLength();
}

void CTSstpMessage::SetLength(uint16_t length) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetLength(length);
}

uint8_t CTSstpMessage::GetFrameTotal() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetFrameTotal();
}

void CTSstpMessage::SetFrameTotal(uint8_t total) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetFrameTotal(total);
}

uint8_t CTSstpMessage::GetFrameIndex() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetFrameIndex();
}

void CTSstpMessage::SetFrameIndex(uint8_t index) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetFrameIndex(index);
}

void CTSstpMessage::SetSrc(uint32_t src) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetSrcRouter(src);
}

uint32_t CTSstpMessage::GetDst() {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.GetDstRouter();
}

void CTSstpMessage::SetDst(uint32_t dst) {
    SSTP_ASSERT_MESSAGE();
    m_hdr.SetDstRouter(dst);
}

// The signature is given as text: const bytes can be written too, but "const" does not stand in it.
int CTSstpMessage::Write(const void* data, int len) {
    SSTP_ASSERT_MESSAGE_IN("int CTSstpMessage::Write(void*, int)");
    int length = std::max<int>(m_hdr.GetLength(), kSstpHeaderSize);
    if (!data || len < 0 || m_bufsize - length <= len) return 0;
    memcpy(m_ptr + length, data, static_cast<size_t>(len));
    m_hdr.SetLength(static_cast<uint16_t>(length + len));
    return len;
}

int CTSstpMessage::Copy(CTSstpMessage& src) {
    SSTP_ASSERT_MESSAGE();
    int length = src.GetMessageLength();
    if (m_bufsize < length) return 1;
    // The source's length field may state more than its buffer holds.
    length = std::min(length, src.GetBufferSize());
    memmove(m_ptr, src.GetBufferPtr(), static_cast<size_t>(length));
    return 0;
}

bool CTSstpMessage::IsAck() {
    SSTP_ASSERT_MESSAGE();
    return (m_hdr.GetType() & 1) == 0;
}

bool CTSstpMessage::IsAck(CTSstpMessage& request) {
    return GetType() == request.GetType() + 1 && GetDst() == request.GetSrc() &&
           GetSeq() == request.GetSeq();
}

void CTSstpMessage::Reset() {
    SSTP_ASSERT_MESSAGE();
    m_hdr.Reset();
}

int CTSstpMessage::Print(CTString& text) {
    SSTP_ASSERT_MESSAGE();
    return m_hdr.Print(text);
}
