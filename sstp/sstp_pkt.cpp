#include "sstp/sstp_pkt.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char kUndef[] = "undef";
constexpr int kPrintCapacity = 128;

}  // namespace

CTSstpMsgHdr::CTSstpMsgHdr() {
    SetLength(kSstpHeaderSize);
}

CTSstpMsgHdr::CTSstpMsgHdr(const CTSstpMsgHdr& other) : m_own(*other.m_ptr) {}

CTSstpMsgHdr& CTSstpMsgHdr::operator=(const CTSstpMsgHdr& other) {
    if (this == &other) return *this;
    return *this = other.m_ptr;
}

CTSstpMsgHdr& CTSstpMsgHdr::operator=(const sstp_msg_hdr* hdr) {
    if (hdr && hdr != m_ptr) memcpy(m_ptr, hdr, sizeof *m_ptr);
    return *this;
}

bool CTSstpMsgHdr::Attach(sstp_msg_hdr* hdr) {
    if (!hdr) return false;
    m_ptr = hdr;
    return true;
}

uint8_t CTSstpMsgHdr::GetType() const {
    return m_ptr->type;
}

void CTSstpMsgHdr::SetType(uint8_t type) {
    m_ptr->type = type;
}

uint8_t CTSstpMsgHdr::GetSubType() const {
    return m_ptr->sub_type;
}

void CTSstpMsgHdr::SetSubType(uint8_t sub_type) {
    m_ptr->sub_type = sub_type;
}

uint16_t CTSstpMsgHdr::GetSeq() const {
    return ntohs(m_ptr->seq);
}

void CTSstpMsgHdr::SetSeq(uint16_t seq) {
    m_ptr->seq = htons(seq);
}

uint16_t CTSstpMsgHdr::GetLength() const {
    return ntohs(m_ptr->length);
}

void CTSstpMsgHdr::SetLength(uint16_t length) {
    m_ptr->length = htons(length);
}

uint8_t CTSstpMsgHdr::GetFrameTotal() const {
    return m_ptr->frame_total;
}

void CTSstpMsgHdr::SetFrameTotal(uint8_t total) {
    m_ptr->frame_total = total;
}

uint8_t CTSstpMsgHdr::GetFrameIndex() const {
    return m_ptr->frame_index;
}

void CTSstpMsgHdr::SetFrameIndex(uint8_t index) {
    m_ptr->frame_index = index;
}

uint32_t CTSstpMsgHdr::GetSrcRouter() const {
    return ntohl(m_ptr->src);
}

void CTSstpMsgHdr::SetSrcRouter(uint32_t src) {
    m_ptr->src = htonl(src);
}

uint32_t CTSstpMsgHdr::GetDstRouter() const {
    return ntohl(m_ptr->dst);
}

void CTSstpMsgHdr::SetDstRouter(uint32_t dst) {
    m_ptr->dst = htonl(dst);
}

void CTSstpMsgHdr::Fill(uint8_t type, uint8_t sub_type, uint16_t seq, uint16_t length,
                        uint8_t frame_total, uint8_t frame_index, uint32_t src, uint32_t dst) {
    SetType(type);
    SetSubType(sub_type);
    SetSeq(seq);
    SetLength(length);
    SetFrameTotal(frame_total);
    SetFrameIndex(frame_index);
    SetSrcRouter(src);
    SetDstRouter(dst);
}

void CTSstpMsgHdr::Reset() {
    Fill(0, 0, 0, kSstpHeaderSize, 0, 0, 0, 0);
}

const char* CTSstpMsgHdr::GetTypeName() const {
    switch (GetType()) {
        case kSstpInterCommand:
            return "inter cmm";
        case kSstpInterCommandAck:
            return "inter ack";
        case kSstpCommand:
            return "cmm";
        case kSstpCommandAck:
            return "cmm ack";
        case kSstpNetPacket:
            return "npkt";
        case kSstpNetPacketAck:
            return "npkt ack";
        default:
            return kUndef;
    }
}

const char* CTSstpMsgHdr::GetSubTypeName() const {
    switch (GetType()) {
        case kSstpInterCommand:
        case kSstpInterCommandAck:
            return GetInterSubTypeName();
        case kSstpCommand:
        case kSstpCommandAck:
            return GetCmmSubTypeName();
        case kSstpNetPacket:
        case kSstpNetPacketAck:
            return "npkt type";
        default:
            return kUndef;
    }
}

const char* CTSstpMsgHdr::GetInterSubTypeName() const {
    switch (GetSubType()) {
        case kSstpInterHeartBeat:
            return "heart beat";
        case kSstpInterP2PEcho:
            return "p2p echo";
        default:
            return kUndef;
    }
}

const char* CTSstpMsgHdr::GetCmmSubTypeName() const {
    switch (GetSubType()) {
        case kSstpCmmEcho:
            return "echo";
        case kSstpCmmLogin:
            return "login";
        case kSstpCmmLogout:
            return "logout";
        case kSstpCmmDhcp:
            return "dhcp";
        case kSstpCmmSubnet:
            return "subnet";
        case kSstpCmmP2PHeartbeat:
            return "p2p heartbeat";
        case kSstpCmmAddRouter:
            return "router add";
        case kSstpCmmDelRouter:
            return "router del";
        case kSstpCmmGetRouter:
            return "router get";
        case kSstpCmmAddDevice:
            return "add device";
        case kSstpCmmDelDevice:
            return "del device";
        case kSstpCmmGetDevice:
            return "get device";
        default:
            return kUndef;
    }
}

int CTSstpMsgHdr::Print(CTString& text) const {
    return text.Append("mt=%s(%d), st=%s(%d), seq=%d, len=%d(%d,%d), src=%u, dst=%u", GetTypeName(),
                       GetType(), GetSubTypeName(), GetSubType(), GetSeq(), GetLength(),
                       GetFrameTotal(), GetFrameIndex(), GetSrcRouter(), GetDstRouter());
}

void CTSstpMsgHdr::Print() const {
    CTString text(kPrintCapacity);
    Print(text);
    printf("%s\n", text.c_str());
}

int CTSstpMsgHdr::Print(CTString& text, sstp_msg_hdr* hdr) {
    CTSstpMsgHdr view;
    return view.Attach(hdr) ? view.Print(text) : 0;
}
