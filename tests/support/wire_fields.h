#pragma once

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <vector>

#include "tests/support/wire_bytes.h"

using WireMac = std::array<uint8_t, 6>;
// What a message has that the protocol does not allow, a line each.
using WireFaults = std::vector<std::string>;

constexpr uint32_t kWireCentral = 0xFFFFFFFF;
constexpr size_t kWireTextSize = 32;
constexpr uint32_t kWireSlots = 16;

// A record of the wire tells its fields once, in their order, in a function template Walk. Either
// of these two walks over them: the writer appends their bytes, the reader takes them off again and
// notes every deviation, even one that a receiver must put up with.
class WireWriter {
  public:
    explicit WireWriter(WireBytes& bytes) : m_bytes(bytes) {}

    template <typename Int>
    void Number(Int value, std::initializer_list<uint32_t> = {}) {
        for (size_t i = sizeof value; i-- > 0;)
            m_bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    void Identifier(uint32_t value) { Number(value); }
    void Reserved(size_t count) { m_bytes.resize(m_bytes.size() + count); }
    void Text(const std::string& text) {
        for (size_t i = 0; i < kWireTextSize; ++i)
            m_bytes.push_back(i < text.size() ? static_cast<uint8_t>(text[i]) : 0);
    }
    void Mac(const WireMac& mac) { m_bytes.insert(m_bytes.end(), mac.begin(), mac.end()); }
    template <typename Record>
    void List(std::vector<Record>& records, size_t) {
        for (Record& record : records)
            record.Walk(*this);
    }

  private:
    WireBytes& m_bytes;
};

class WireReader {
  public:
    WireReader(const WireBytes& bytes, WireFaults& faults) : m_bytes(bytes), m_faults(faults) {}

    // With the values that the field may have; any when none are named.
    template <typename Int>
    void Number(Int& value, std::initializer_list<uint32_t> allowed = {}) {
        uint32_t number = 0;
        for (size_t i = 0; i < sizeof value; ++i)
            number = number << 8 | Take();
        value = static_cast<Int>(number);
        if (allowed.size() == 0 || m_short) return;
        if (std::find(allowed.begin(), allowed.end(), number) == allowed.end())
            Fault("no such value: " + std::to_string(number));
    }
    // Of an edge.
    void Identifier(uint32_t& value) {
        Number(value);
        if (value % 256 >= kWireSlots) Fault("no such slot: " + std::to_string(value));
    }
    void Reserved(size_t count) {
        for (; count > 0; --count) {
            if (Take() != 0) Fault("a reserved byte is not 0");
        }
    }
    void Text(std::string& text) {
        bool ended = false;
        text.clear();
        for (size_t i = 0; i < kWireTextSize; ++i) {
            uint8_t c = Take();
            if (ended && c != 0) Fault("a text goes on behind its end");
            ended = ended || c == 0;
            if (!ended) text += static_cast<char>(c);
        }
    }
    void Mac(WireMac& mac) {
        for (uint8_t& byte : mac)
            byte = Take();
    }
    // Up to the end of the message.
    template <typename Record>
    void List(std::vector<Record>& records, size_t most) {
        while (m_at < m_bytes.size()) {
            Record record;
            record.Walk(*this);
            if (!m_short) records.push_back(record);
        }
        if (records.size() > most) Fault("too many records: " + std::to_string(records.size()));
    }
    void End() {
        if (m_at < m_bytes.size()) Fault("more bytes than the message has");
    }

  private:
    uint8_t Take() {
        if (m_at < m_bytes.size()) return m_bytes[m_at++];
        if (!m_short) Fault("too short");
        m_short = true;
        return 0;
    }
    void Fault(const std::string& text) {
        m_faults.push_back(text + " (before offset " + std::to_string(m_at) + ")");
    }

    const WireBytes& m_bytes;
    WireFaults& m_faults;
    size_t m_at = 0;
    bool m_short = false;
};

template <typename Record>
WireBytes EncodeWire(Record record) {
    WireBytes bytes;
    WireWriter writer(bytes);
    record.Walk(writer);
    return bytes;
}

template <typename Record>
Record DecodeWire(const WireBytes& bytes, WireFaults& faults) {
    Record record;
    WireReader reader(bytes, faults);
    record.Walk(reader);
    reader.End();
    return record;
}
