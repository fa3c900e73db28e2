#include "base/pvu_sockaddr.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

#include "base/pvu_assert.h"

namespace {

constexpr int kPrintCapacity = 64;
constexpr char kFile[] = "base/pvu_sockaddr";

}  // namespace

CTSockAddr::CTSockAddr() : m_own(), m_addr(&m_own) {
    m_own.sin_family = AF_INET;
}

CTSockAddr::CTSockAddr(uint32_t ip, uint16_t port) : CTSockAddr() {
    SetIPv4(ip);
    SetPort(port);
}

CTSockAddr::CTSockAddr(const char* ip, uint16_t port) : CTSockAddr() {
    SetIPv4(ip);
    SetPort(port);
}

CTSockAddr::CTSockAddr(const sockaddr_in* addr) : CTSockAddr() {
    PVU_ASSERT(addr, "addr != NULL", kFile, __LINE__);
    *this = addr;
}

CTSockAddr::CTSockAddr(const sockaddr* addr) : CTSockAddr() {
    PVU_ASSERT(addr, "addr != NULL", kFile, __LINE__);
    *this = addr;
}

CTSockAddr::CTSockAddr(const CTSockAddr& other) : m_own(*other.m_addr), m_addr(&m_own) {}

CTSockAddr& CTSockAddr::operator=(const sockaddr_in* addr) {
    if (addr && addr != m_addr) memcpy(m_addr, addr, sizeof *m_addr);
    return *this;
}

CTSockAddr& CTSockAddr::operator=(const sockaddr* addr) {
    return *this = reinterpret_cast<const sockaddr_in*>(addr);
}

CTSockAddr& CTSockAddr::operator=(const CTSockAddr& other) {
    if (this == &other) return *this;
    return *this = other.m_addr;
}

bool CTSockAddr::operator==(const sockaddr_in* addr) const {
    if (!addr) return false;
    return addr == m_addr ||
           (addr->sin_port == m_addr->sin_port && addr->sin_addr.s_addr == m_addr->sin_addr.s_addr);
}

bool CTSockAddr::Attach(sockaddr_in* addr) {
    if (!addr) return false;
    m_addr = addr;
    return true;
}

bool CTSockAddr::Attach(sockaddr* addr) {
    return Attach(reinterpret_cast<sockaddr_in*>(addr));
}

void CTSockAddr::SetIPv4(const char* ip) {
    if (ip) inet_pton(AF_INET, ip, &m_addr->sin_addr);
}

void CTSockAddr::Zero() {
    memset(m_addr, 0, sizeof *m_addr);
}

bool CTSockAddr::GetIPv4Str(CTString& text) const {
    char buf[INET_ADDRSTRLEN];
    if (!inet_ntop(AF_INET, &m_addr->sin_addr, buf, sizeof buf)) return false;
    text.Set(buf);
    return true;
}

int CTSockAddr::Print(CTString& text) const {
    CTString ip(kPrintCapacity);
    if (!GetIPv4Str(ip)) return 0;
    return text.Append("%s:%d", ip.c_str(), GetPort());
}

int CTSockAddr::Print() const {
    CTString text(kPrintCapacity);
    int result = Print(text);
    printf("%s", text.c_str());
    return result;
}

int CTSockAddr::Print(CTString& text, const sockaddr_in* addr) {
    return addr ? CTSockAddr(addr).Print(text) : 0;
}

int CTSockAddr::Print(CTString& text, const sockaddr* addr) {
    return addr ? CTSockAddr(addr).Print(text) : 0;
}

int CTSockAddr::PrintIPv4(CTString& text, const sockaddr_in* addr) {
    return addr && CTSockAddr(addr).GetIPv4Str(text) ? 1 : 0;
}

int CTSockAddr::PrintIPv4(CTString& text, const sockaddr* addr) {
    return PrintIPv4(text, reinterpret_cast<const sockaddr_in*>(addr));
}
