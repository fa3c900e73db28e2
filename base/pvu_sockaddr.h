#pragma once

#include <netinet/in.h>

#include <cstdint>

#include "base/pvu_string.h"

// An IPv4 socket address. It can view and edit a sockaddr_in of somebody else in place (Attach);
// until then it uses its own storage. Values go in and out in host byte order and are stored in
// network byte order.
class CTSockAddr {
  public:
    // Address and port 0, family AF_INET.
    CTSockAddr();
    CTSockAddr(uint32_t ip, uint16_t port);
    // Dotted text; a null or malformed one leaves the address 0.
    CTSockAddr(const char* ip, uint16_t port);
    // Copy 16 bytes into the own storage. Null is a programming error and aborts the process.
    explicit CTSockAddr(const sockaddr_in* addr);
    explicit CTSockAddr(const sockaddr* addr);
    // Copies the other's 16 bytes into the own storage, wherever the other's bytes are.
    CTSockAddr(const CTSockAddr& other);

    // Copy 16 bytes into the bytes in use; null and self-assignment do nothing.
    CTSockAddr& operator=(const sockaddr_in* addr);
    CTSockAddr& operator=(const sockaddr* addr);
    CTSockAddr& operator=(const CTSockAddr& other);

    // Equal when port and address are; the family is not compared. Null is unequal.
    bool operator==(const CTSockAddr& other) const { return *this == other.m_addr; }
    bool operator==(const sockaddr_in* addr) const;

    // Redirect the view; false for null. The bytes must outlive it.
    bool Attach(sockaddr_in* addr);
    bool Attach(sockaddr* addr);

    uint16_t GetFamily() const { return m_addr->sin_family; }
    void SetFamily(uint16_t family) { m_addr->sin_family = family; }
    uint32_t GetIPv4() const { return ntohl(m_addr->sin_addr.s_addr); }
    void SetIPv4(uint32_t ip) { m_addr->sin_addr.s_addr = htonl(ip); }
    // Dotted text; null and malformed text are ignored.
    void SetIPv4(const char* ip);
    uint16_t GetPort() const { return ntohs(m_addr->sin_port); }
    void SetPort(uint16_t port) { m_addr->sin_port = htons(port); }
    // All 16 bytes, the family too.
    void Zero();
    sockaddr_in* GetSockAddrin() { return m_addr; }
    const sockaddr_in* GetSockAddrin() const { return m_addr; }

    // Sets the text to the dotted address; false when conversion fails.
    bool GetIPv4Str(CTString& text) const;
    // Appends "ADDRESS:PORT"; the append's result, 0 when conversion fails.
    int Print(CTString& text) const;
    // The same to standard output, without a newline.
    int Print() const;

    // A raw address; 0 for null.
    static int Print(CTString& text, const sockaddr_in* addr);
    static int Print(CTString& text, const sockaddr* addr);
    // The dotted address alone; 0 for null.
    static int PrintIPv4(CTString& text, const sockaddr_in* addr);
    static int PrintIPv4(CTString& text, const sockaddr* addr);

  private:
    sockaddr_in m_own;
    sockaddr_in* m_addr;  // the bytes in use: m_own, or attached ones
};
