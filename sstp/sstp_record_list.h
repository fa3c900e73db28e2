#pragma once

#include <cstdint>
#include <memory>

#include "sstp/sstp_record.h"

// A packed array of wire records of one size with a cursor, as router and device lists travel. It
// is built in an array of its own (Create, then Append and the setters for each record), or views
// records that arrived, in place (Attach):
//
//   CTSstpGetDeviceAckParamList list;
//   list.Attach(ack.GetParamListPtr(), ack.GetParamListLength());
//   for (list.First(); !list.IsEnd(); list.Next()) ... list.GetIPvAddr() ...
//
// Accessors of the concrete lists work on the record at the cursor; with the cursor at or beyond
// the count they answer 0 or null and set nothing. One thread at a time.
class CTSstpRecordList {
  public:
    CTSstpRecordList(const CTSstpRecordList&) = delete;
    CTSstpRecordList& operator=(const CTSstpRecordList&) = delete;

    // An empty list with a zeroed array for min(n, maximum) records: 0, or 1 without memory, which
    // changes nothing. Precondition: n is not negative (aborts).
    int Create(int n);
    // Frees the array and empties the list. Borrowed bytes and the maximum stay as they are.
    void Destroy();

    // Views len / record size records, which must outlive the list's use; capacity and maximum
    // become their number, also for a later Create. False, and nothing changed, for null or a len
    // below 1.
    bool Attach(void* ptr, int len);

    // 0 when a new array for min(capacity + add, maximum) records took the place of borrowed
    // bytes that Destroy left behind. 1 in every other case: a list never grows past what Create
    // gave it. Precondition: capacity + add is not negative (aborts).
    int Expand(int add);
    // One more record, zeroed and current. False when the capacity that Create gave is used up,
    // and for borrowed records.
    bool Append();

    void First() { m_cursor = 0; }
    void Next() { ++m_cursor; }
    bool IsEnd() const { return m_cursor >= m_count; }

    void* GetDataPtr() const { return m_data; }
    int GetDataLength() const { return m_count * m_record_size; }
    int GetCount() const { return m_count; }

  protected:
    CTSstpRecordList(int record_size, int maximum)
        : m_record_size(record_size), m_maximum(maximum) {}
    ~CTSstpRecordList() = default;

    // The record at the cursor, or none.
    CTSstpRecord Current() const;

  private:
    bool Allocate(int capacity);

    const int m_record_size;
    std::unique_ptr<uint8_t[]> m_own;  // the array that Create or Expand made, or null
    uint8_t* m_data = nullptr;         // the records in use: m_own, or borrowed bytes
    int m_cursor = 0;
    int m_count = 0;
    int m_capacity = 0;  // in records, as the other figures
    int m_maximum;
};
