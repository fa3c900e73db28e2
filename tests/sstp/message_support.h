#pragma once

#include <gtest/gtest.h>
#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <string>

#include "inet/tnet_npkt.h"
#include "sstp/sstp_message.h"
#include "tests/support/captured_output.h"
#include "tests/support/wire_bytes.h"

// A packet buffer of the given capacity that holds as much of the bytes as fits. Its back reserve,
// which is nobody's to read, is out of bounds for the address sanitizer.
class ReceivedBytes {
  public:
    ReceivedBytes(const WireBytes& bytes, int capacity) : m_skb(capacity) {
        m_skb.PutData(bytes.data(), std::min(capacity, static_cast<int>(bytes.size())));
        ASAN_POISON_MEMORY_REGION(Reserve(), CTSkBuffer::kReserve);
    }
    ~ReceivedBytes() { ASAN_UNPOISON_MEMORY_REGION(Reserve(), CTSkBuffer::kReserve); }
    CTSkBuffer& Skb() { return m_skb; }

  private:
    uint8_t* Reserve() { return m_skb.GetData() + m_skb.GetBufferSize(); }

    CTSkBuffer m_skb;
};

// The message's bytes, as many as its header says.
inline WireBytes BytesOf(CTSstpMessage& msg) {
    return {msg.GetBufferPtr(), msg.GetBufferPtr() + msg.GetMessageLength()};
}

// The message's print-out, whose result is always 0.
template <typename Msg>
std::string PrintOut(Msg& msg) {
    return CapturedOutput([&] { EXPECT_EQ(msg.Print(), 0); });
}

// The header as a print-out shows it, with its newline.
inline std::string HeadOf(const WireBytes& bytes) {
    CTSstpMsgHdr hdr;
    hdr = reinterpret_cast<const sstp_msg_hdr*>(bytes.data());
    CTString text;
    hdr.Print(text);
    text.Append("\n");
    return text.c_str();
}

// A fresh message's bytes and print-out: title, header and lines.
template <typename Msg>
void ExpectFresh(const std::string& wire, const std::string& title, const std::string& lines = "") {
    SCOPED_TRACE(title);
    Msg msg;
    ASSERT_TRUE(msg.Create());
    EXPECT_EQ(BytesOf(msg), Hex(wire));
    EXPECT_EQ(PrintOut(msg), title.empty() ? "" : title + HeadOf(Hex(wire)) + lines);
}

// One message class with a record against its bytes and print-out. copy(to, from) takes every
// field over, from the received bytes into a fresh message, which must then be the same bytes. Cut
// at any length, the received message yields either its whole record or nothing, and takes nothing
// in.
template <typename Msg, typename Copy>
void ExpectWire(const std::string& wire, Copy copy, const std::string& title,
                const std::string& lines) {
    SCOPED_TRACE(title);
    const WireBytes bytes = Hex(wire);
    const int size = static_cast<int>(bytes.size());
    Msg fresh;
    ASSERT_TRUE(fresh.Create());
    ASSERT_EQ(fresh.GetBufferSize(), size);
    ASSERT_EQ(fresh.GetMessageLength(), size);
    for (int capacity = kSstpHeaderSize - 1; capacity <= size + 1; ++capacity) {
        SCOPED_TRACE(capacity);
        ReceivedBytes received(bytes, capacity);
        Msg from;
        from.Attach(received.Skb());
        EXPECT_EQ(from.GetBufferPtr() != nullptr, capacity >= kSstpHeaderSize);
        EXPECT_TRUE(from.Verify());
        Msg to;
        ASSERT_TRUE(to.Create());
        copy(to, from);
        std::string printed = PrintOut(from);
        if (capacity < size) {
            EXPECT_EQ(BytesOf(to), BytesOf(fresh));
            copy(from, to);
            continue;
        }
        EXPECT_EQ(BytesOf(to), bytes);
        EXPECT_EQ(printed, title + HeadOf(bytes) + lines);
        to.Destroy();
        copy(fresh, to);
        EXPECT_EQ(WireBytes(fresh.GetDataPtr(), fresh.GetBufferPtr() + size),
                  WireBytes(bytes.size() - kSstpHeaderSize));
    }
}
