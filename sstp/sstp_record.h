#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/pvu_sockaddr.h"
#include "base/pvu_text_field.h"
#include "inet/tnet_byteorder.h"
#include "inet/tnet_ether.h"

// A packed wire record in somebody else's bytes, read and written field by field at any alignment,
// or no record at all. Offsets come from offsetof; values are in host byte order.
//
// Without a record (the message is empty, its buffer is too short, the list is at its end) loads
// answer 0 or null and stores do nothing: what the network sent decides, so that is no misuse.
class CTSstpRecord {
  public:
    CTSstpRecord() = default;
    // The whole record lies at ptr, or ptr is null.
    explicit CTSstpRecord(uint8_t* ptr) : m_ptr(ptr) {}
    uint8_t* GetPtr() const { return m_ptr; }

    uint8_t Load8(size_t offset) const { return m_ptr ? m_ptr[offset] : uint8_t{0}; }
    uint16_t Load16(size_t offset) const {
        return m_ptr ? tnet_load16(m_ptr + offset) : uint16_t{0};
    }
    uint32_t Load32(size_t offset) const { return m_ptr ? tnet_load32(m_ptr + offset) : 0; }
    void Store8(size_t offset, uint8_t value) {
        if (m_ptr) m_ptr[offset] = value;
    }
    void Store16(size_t offset, uint16_t value) {
        if (m_ptr) tnet_store16(m_ptr + offset, value);
    }
    void Store32(size_t offset, uint32_t value) {
        if (m_ptr) tnet_store32(m_ptr + offset, value);
    }

    // The 32 bytes of a text field, which may lack a terminator; 32 zero bytes without a record.
    const char* LoadText(size_t offset) const {
        static constexpr char kNoText[kTextFieldSize] = {};
        return m_ptr ? reinterpret_cast<const char*>(m_ptr + offset) : kNoText;
    }
    // A null text changes nothing.
    void StoreText(size_t offset, const char* text) {
        if (m_ptr) pvu_text_field_set(reinterpret_cast<char*>(m_ptr + offset), text);
    }

    // The 6 bytes of a MAC address in wire order.
    const uint8_t* LoadEther(size_t offset) const { return m_ptr ? m_ptr + offset : nullptr; }
    // Null changes nothing.
    void StoreEther(size_t offset, const uint8_t* mac) {
        if (m_ptr && mac) memcpy(m_ptr + offset, mac, kEtherAddrSize);
    }

    // An endpoint, whose port and address are fields of their own. False without a record, which
    // leaves addr as it was.
    bool LoadSockAddr(size_t port_offset, size_t ip_offset, CTSockAddr& addr) const {
        if (!m_ptr) return false;
        addr.SetPort(Load16(port_offset));
        addr.SetIPv4(Load32(ip_offset));
        return true;
    }
    void StoreSockAddr(size_t port_offset, size_t ip_offset, const CTSockAddr& addr) {
        Store16(port_offset, addr.GetPort());
        Store32(ip_offset, addr.GetIPv4());
    }

  private:
    uint8_t* m_ptr = nullptr;
};
