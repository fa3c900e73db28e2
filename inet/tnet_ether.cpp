#include "inet/tnet_ether.h"

#include <cstdio>
#include <cstring>

#include "base/pvu_random.h"

namespace {

constexpr uint8_t kMulticastBit = 0x01;
constexpr uint8_t kLocallyAdministeredBit = 0x02;
constexpr int kTextSize = 18;  // six groups, five colons, terminator

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Parses the whole text as groups of bytes_per_group bytes, two digits each, between colons.
bool ParseGroups(const char* text, int bytes_per_group, tnet_ether_addr* addr) {
    for (int i = 0; i < kEtherAddrSize; ++i) {
        if (i > 0 && i % bytes_per_group == 0 && *text++ != ':') return false;
        int high = HexValue(text[0]);
        if (high < 0) return false;
        int low = HexValue(text[1]);
        if (low < 0) return false;
        addr->bytes[i] = static_cast<uint8_t>(high << 4 | low);
        text += 2;
    }
    return *text == '\0';
}

// The address as three 16-bit words.
struct EtherWords {
    uint16_t word[3];
};

EtherWords Words(const tnet_ether_addr* addr) {
    EtherWords words;
    memcpy(&words, addr, sizeof words);
    return words;
}

}  // namespace

int tnet_is_zero_ether_addr(const tnet_ether_addr* addr) {
    EtherWords w = Words(addr);
    return (w.word[0] | w.word[1] | w.word[2]) == 0 ? 1 : 0;
}

int tnet_is_same_ether_addr(const tnet_ether_addr* a, const tnet_ether_addr* b) {
    EtherWords x = Words(a);
    EtherWords y = Words(b);
    return x.word[0] == y.word[0] && x.word[1] == y.word[1] && x.word[2] == y.word[2] ? 1 : 0;
}

int tnet_is_broadcast_ether_addr(const tnet_ether_addr* addr) {
    EtherWords w = Words(addr);
    return (w.word[0] & w.word[1] & w.word[2]) == 0xFFFF ? 1 : 0;
}

void tnet_ether_addr_copy(const tnet_ether_addr* src, tnet_ether_addr* dst) {
    *dst = *src;
}

int tnet_ether_unformat_addr(const char* text, tnet_ether_addr* addr) {
    return ParseGroups(text, 1, addr) || ParseGroups(text, 2, addr) ? 0 : -1;
}

int CEtherAddr::Set(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3, uint8_t b4, uint8_t b5) {
    m_addr = {{b0, b1, b2, b3, b4, b5}};
    return 0;
}

int CEtherAddr::Set(const tnet_ether_addr* addr) {
    if (!addr) return 1;
    m_addr = *addr;
    return 0;
}

int CEtherAddr::Set(const unsigned char* bytes) {
    if (!bytes) return 1;
    memcpy(m_addr.bytes, bytes, kEtherAddrSize);
    return 0;
}

int CEtherAddr::SetRandom() {
    uint64_t random = pvu_rand64();
    memcpy(m_addr.bytes, &random, kEtherAddrSize);
    uint8_t first = static_cast<uint8_t>(m_addr.bytes[0] & ~kMulticastBit);
    m_addr.bytes[0] = first | kLocallyAdministeredBit;
    return 0;
}

void CEtherAddr::SetZero(tnet_ether_addr* addr) {
    if (addr) memset(addr, 0, sizeof *addr);
}

void CEtherAddr::SetBroadcast(tnet_ether_addr* addr) {
    if (addr) memset(addr, 0xFF, sizeof *addr);
}

int CEtherAddr::Format(const tnet_ether_addr* addr, char* buf, int size) {
    if (!addr || !buf || size < 1) return 1;
    const uint8_t* b = addr->bytes;
    snprintf(buf, static_cast<size_t>(size), "%02X:%02X:%02X:%02X:%02X:%02X", b[0], b[1], b[2],
             b[3], b[4], b[5]);
    return 0;
}

int CEtherAddr::Print(const tnet_ether_addr* addr, CTString& text) {
    char buf[kTextSize];
    if (Format(addr, buf, sizeof buf) != 0) return 1;
    text.Append(buf);
    return 0;
}

int CEtherAddr::Print() const {
    char buf[kTextSize];
    Format(buf, sizeof buf);
    printf("%s", buf);
    return 0;
}

int CEtherAddr::UnFormat(tnet_ether_addr* addr, const char* text) {
    if (!addr || !text) return 1;
    return tnet_ether_unformat_addr(text, addr);
}

bool CEtherAddr::operator==(const tnet_ether_addr* addr) const {
    if (!addr) return false;
    return addr == &m_addr || tnet_is_same_ether_addr(&m_addr, addr) != 0;
}

bool CEtherAddr::IsSame(const tnet_ether_addr* a, const tnet_ether_addr* b) {
    return a && b && tnet_is_same_ether_addr(a, b) != 0;
}

bool CEtherAddr::IsZero(const tnet_ether_addr* addr) {
    return addr && tnet_is_zero_ether_addr(addr) != 0;
}

bool CEtherAddr::IsBroadcast(const tnet_ether_addr* addr) {
    return addr && tnet_is_broadcast_ether_addr(addr) != 0;
}

void CEtherAddr::Copy(tnet_ether_addr* dst, const tnet_ether_addr* src) {
    if (dst && src) tnet_ether_addr_copy(src, dst);
}
