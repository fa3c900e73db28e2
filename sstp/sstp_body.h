#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "sstp/sstp_message.h"
#include "sstp/sstp_record.h"

// What the concrete message classes share.
//
// A class is one type and sub type; what follows the header is a fixed record, a fixed record and
// a list behind it, a list alone, or nothing:
//
//   0                16                          16 + record
//   +----------------+---------------------------+------------------------- - -
//   | header         | record                    | list items, back to back
//   +----------------+---------------------------+------------------------- - -
//
// A request is made with Create, filled with the setters and sent. A reply is made with Create,
// which sizes its buffer, received into it and read with the getters. A message that has arrived
// is read where it lies, through Attach. Getters give and setters take host byte order.
//
// Nothing here judges the content of what was received. A record that the buffer does not hold as
// a whole is not read at all: its getters answer 0, null or an empty text. Text getters give
// pointers to 32 bytes in the message, which may lack a terminator.
//
// One thread at a time. The classes have no virtual functions: release and re-attach a message
// through its own class, not through CTSstpMessage.

// The record of a body that has none.
struct sstp_no_record {};

// Whether the header of a fresh message names no sender and goes to the central router, as every
// request's does; the others come from the central router. Two replies start like requests.
constexpr bool sstp_starts_as_request(uint8_t type, uint8_t sub_type) {
    bool request = (type & 1) != 0;
    bool exception =
        type == kSstpCommandAck && (sub_type == kSstpCmmEcho || sub_type == kSstpCmmP2PHeartbeat);
    return request || exception;
}

template <uint8_t kType, uint8_t kSubType, typename Fixed = sstp_no_record, int kListSize = 0>
class CTSstpBodyMsg : public CTSstpMessage {
  public:
    using Record = Fixed;
    static constexpr int kRecordSize = std::is_empty_v<Record> ? 0 : int{sizeof(Record)};

    // The length of the record.
    static constexpr int GetContextLength() { return kRecordSize; }

    // A zeroed buffer for the record and the longest list, and the class's header; false without
    // memory. The length covers the record; in a message with a list it is that of an empty body
    // until the list is filled.
    bool Create() {
        if (!CTSstpMessage::Create(kRecordSize + kListSize)) return false;
        FindBody();
        constexpr bool request = sstp_starts_as_request(kType, kSubType);
        GetHeader().Fill(kType, kSubType, 0, kSstpHeaderSize + (kListSize == 0 ? kRecordSize : 0),
                         0, 0, request ? 0 : kSstpCentralRouter, request ? kSstpCentralRouter : 0);
        return true;
    }
    void Destroy() {
        CTSstpMessage::Destroy();
        m_body = CTSstpRecord();
    }
    // Borrows the bytes of a message that has arrived; false for a buffer of fewer than 16.
    bool Attach(CTSkBuffer& skb) {
        if (!CTSstpMessage::Attach(skb)) return false;
        FindBody();
        return true;
    }
    // Always true.
    bool Verify() const { return true; }

  protected:
    // The title and the header line.
    void PrintHead(const char* title, CTString& text) {
        text.Append(title);
        GetHeader().Print(text);
        text.Append("\n");
    }
    // To standard output; 0, the result of every message's Print.
    static int Show(const CTString& text) {
        printf("%s", text.c_str());
        return 0;
    }
    // The whole print-out of a message that shows its header only.
    int ShowHead(const char* title) {
        CTString text;
        PrintHead(title, text);
        return Show(text);
    }

    CTSstpRecord m_body;

  private:
    void FindBody() {
        bool held = GetBufferSize() >= kSstpHeaderSize + kRecordSize;
        m_body = CTSstpRecord(held ? GetDataPtr() : nullptr);
    }
};

// A message whose record, if any, is followed by at most kMaxItems items of kItemSize bytes.
template <uint8_t kType, uint8_t kSubType, typename Fixed, int kItemSize, int kMaxItems>
class CTSstpListMsg : public CTSstpBodyMsg<kType, kSubType, Fixed, kItemSize * kMaxItems> {
  public:
    // Where the list starts; null if the buffer does not even hold the record.
    void* GetParamListPtr() const {
        uint8_t* body = this->m_body.GetPtr();
        return body ? body + this->kRecordSize : nullptr;
    }
    // The list's bytes: what the message's length leaves behind header and record, but never more
    // than the buffer holds. Below 0 while the length does not count the record, as in a fresh
    // message; 0 if the buffer does not even hold the record.
    int GetParamListLength() {
        if (!this->m_body.GetPtr()) return 0;
        int held = this->GetBufferSize() - kSstpHeaderSize;
        return std::min(this->GetDataLength(), held) - this->kRecordSize;
    }

  protected:
    // Copies the items behind the record, as many whole ones as there is room for, and sets the
    // message's length; returns the bytes copied.
    int FillList(const void* items, int count) {
        if (!this->m_body.GetPtr()) return 0;
        int room = this->GetBufferSize() - kSstpHeaderSize - this->kRecordSize;
        int copied = std::clamp(count, 0, std::min(kMaxItems, room / kItemSize)) * kItemSize;
        if (!items) copied = 0;
        // The items may lie in this very message.
        if (copied > 0) memmove(GetParamListPtr(), items, static_cast<size_t>(copied));
        this->SetDataLength(this->kRecordSize + copied);
        return copied;
    }
};
