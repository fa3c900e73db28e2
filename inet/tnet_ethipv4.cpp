#include "inet/tnet_ethipv4.h"

#include <cstdio>
#include <cstring>

#include "inet/tnet_byteorder.h"
#include "inet/tnet_ip.h"

namespace {

constexpr size_t kBehindAddress = sizeof(tnet_ethipv4_addr) - sizeof(uint32_t);
constexpr int kPrintCapacity = 64;

bool SameBehindAddress(const tnet_ethipv4_addr* a, const tnet_ethipv4_addr* b) {
    return memcmp(&a->mac, &b->mac, kBehindAddress) == 0;
}

}  // namespace

int CEthIPv4Addr::Attach(tnet_ethipv4_addr* record) {
    if (!record) return 0;
    m_ptr = record;
    return 1;
}

uint32_t CEthIPv4Addr::GetIPv4Addr() const {
    return m_ptr ? ntohl(m_ptr->ip) : 0;
}

void CEthIPv4Addr::SetIPv4Addr(uint32_t ip) {
    if (m_ptr) m_ptr->ip = htonl(ip);
}

void CEthIPv4Addr::SetEtherAddr(const tnet_ether_addr* addr) {
    CEtherAddr::Copy(GetEtherAddr(), addr);
}

void CEthIPv4Addr::SetEtherAddr(const unsigned char* bytes) {
    if (m_ptr && bytes) memcpy(m_ptr->mac.bytes, bytes, kEtherAddrSize);
}

void CEthIPv4Addr::Zero() {
    if (m_ptr) memset(m_ptr, 0, sizeof *m_ptr);
}

void CEthIPv4Addr::Copy(const tnet_ethipv4_addr* record) {
    if (m_ptr && record) *m_ptr = *record;
}

bool CEthIPv4Addr::IsSame(const tnet_ethipv4_addr* a, const tnet_ethipv4_addr* b) {
    return a && b && a->ip == b->ip && SameBehindAddress(a, b);
}

int CEthIPv4Addr::IsSame(const tnet_ethipv4_addr* record) const {
    return m_ptr && record && m_ptr->ip != record->ip && SameBehindAddress(m_ptr, record) ? 1 : 0;
}

int CEthIPv4Addr::IsSame(const CEthIPv4Addr* other) const {
    if (other == this) return 1;
    return other ? IsSame(other->m_ptr) : 0;
}

int CEthIPv4Addr::Print(CTString& text) const {
    if (!m_ptr) return 0;
    CTString ip(kPrintCapacity);
    CTString mac(kPrintCapacity);
    CIPv4Addr(GetIPv4Addr()).Print(ip);
    CEtherAddr::Print(&m_ptr->mac, mac);
    return text.Append("ip=%s,mac=%s", ip.c_str(), mac.c_str());
}

int CEthIPv4Addr::Print() const {
    CTString text(kPrintCapacity);
    int length = Print(text);
    printf("%s", text.c_str());
    return length;
}
