#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <initializer_list>

#include "lab/wire/wire_bytes.h"

using WireMac = std::array<uint8_t, 6>;
// What a message has that the protocol does not allow, a line each.
using WireFaults = std::vector<std::string>;

constexpr uint32_t kWireCentral = 0xFFFFFFFF;
constexpr size_t kWireTextSize = 32;
constexpr uint32_t kWireSlots = 16;

// Walks over the fields of a record of the wire, which names them once, in their order, in its
// function Walk. It appends their bytes, or it takes them off again and notes every deviation, even
// one that a receiver must put up with.
class WireWalk {
  public:
    WireWalk() = default;
    WireWalk(const WireBytes& bytes, WireFaults& faults) : m_bytes(bytes), m_faults(&faults) {}

    // Numbers, texts and MAC addresses.
    WireWalk& operator()(auto&... fields) {
        (Field(fields), ...);
        return *this;
    }
    // A number that may have these values only.
    WireWalk& OneOf(std::integral auto& value, std::initializer_list<uint32_t> allowed) {
        Field(value);
        if (!m_short && std::find(allowed.begin(), allowed.end(), value) == allowed.end())
            Fault("no such value: " + std::to_string(value));
        return *this;
    }
    // The identifier of an edge.
    WireWalk& Edge(uint32_t& identifier) {
        Field(identifier);
        if (identifier % 256 >= kWireSlots) Fault("no such slot: " + std::to_string(identifier));
        return *this;
    }
    WireWalk& Reserved(size_t count) {
        for (; count > 0; --count) {
            if (Byte(0) != 0) Fault("a reserved byte is not 0");
        }
        return *this;
    }
    // Up to the end of the message.
    template <typename Record>
    void List(std::vector<Record>& records, size_t most) {
        for (size_t i = 0; m_faults ? m_at < m_bytes.size() : i < records.size(); ++i) {
            if (m_faults) records.emplace_back();
            records[i].Walk(*this);
            if (m_short) records.pop_back();
        }
        if (records.size() > most) Fault("too many records");
    }
    const WireBytes& End() {
        if (m_faults && m_at < m_bytes.size()) Fault("more bytes than the message has");
        return m_bytes;
    }

  private:
    void Field(std::integral auto& value) {
        uint64_t walked = 0;
        for (size_t i = sizeof value; i-- > 0;)
            walked = walked << 8 | Byte(static_cast<uint8_t>(value >> (8 * i)));
        value = static_cast<std::remove_reference_t<decltype(value)>>(walked);
    }
    void Field(std::string& text) {
        std::string walked;
        for (size_t i = 0; i < kWireTextSize; ++i) {
            uint8_t c = Byte(i < text.size() ? static_cast<uint8_t>(text[i]) : 0);
            if (c == 0) continue;
            if (walked.size() < i) Fault("a text goes on behind its end");
            walked += static_cast<char>(c);
        }
        text = walked;
    }
    void Field(WireMac& mac) {
        for (uint8_t& byte : mac)
            byte = Byte(byte);
    }

    // The next byte: the given one when writing, the one that is there when reading.
    uint8_t Byte(uint8_t given) {
        if (!m_faults) return m_bytes.emplace_back(given);
        if (m_at < m_bytes.size()) return m_bytes[m_at++];
        if (!m_short) Fault("too short");
        m_short = true;
        return 0;
    }
    void Fault(const std::string& text) {
        if (m_faults) m_faults->push_back(text + " (before offset " + std::to_string(m_at) + ")");
    }

    WireBytes m_bytes;
    WireFaults* m_faults = nullptr;  // none when writing
    size_t m_at = 0;
    bool m_short = false;
};

template <typename Record>
WireBytes EncodeWire(Record record) {
    WireWalk writer;
    record.Walk(writer);
    return writer.End();
}

template <typename Record>
Record DecodeWire(const WireBytes& bytes, WireFaults& faults) {
    Record record;
    WireWalk reader(bytes, faults);
    record.Walk(reader);
    reader.End();
    return record;
}

inline void PutText(WireBytes& bytes, std::string text) {
    WireWalk writer;
    const WireBytes& field = writer(text).End();
    bytes.insert(bytes.end(), field.begin(), field.end());
}
