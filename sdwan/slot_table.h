#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

// The slots that the model's containers are made of, and what stands in them. An element keeps its
// slot for life; removing one leaves a hole, which the next add may fill. The count is one past
// the highest slot in use, so slots below it may be empty.
//
// How a container grows, what its operations return and when it refuses is its own affair: it
// derives from this table and builds those rules from the protected operations. No lock.
template <typename T>
class CTSlotTable {
  public:
    bool IsFull() const { return m_count >= m_capacity; }
    // 0 <= i < count; the slot may be empty.
    bool IsValidIndex(int i) const { return i >= 0 && i < m_count; }
    int Count() const { return m_count; }
    int Capacity() const { return m_capacity; }
    // The first empty slot below the count, or -1.
    int FindIdle() const;
    // The element in slot i, still owned by the table; null for an empty slot and for an index
    // that is not valid.
    T* At(int i) const { return IsValidIndex(i) ? Slot(i).get() : nullptr; }
    // Exchanges slots and elements with another table; pointers to the elements stay good.
    void Swap(CTSlotTable& other);

  protected:
    CTSlotTable() = default;
    ~CTSlotTable() = default;

    bool HasSlots() const { return m_slots != nullptr; }
    // n empty slots in place of the present ones, whose elements go, and the given count, cut to
    // n. False, with nothing changed, for a negative n or without memory.
    bool Allocate(int n, int count);
    // n slots, the present elements kept. False, with nothing changed, for an n below the count
    // or without memory.
    bool Reallocate(int n);
    // No slots; count and capacity 0.
    void Free();
    // Destroys every element; the slots stay, count 0.
    void Clear();

    // Fills slot i and raises the count where i lies beyond it; returns the element. Precondition:
    // 0 <= i < capacity.
    T* Put(int i, std::unique_ptr<T> element);
    // Destroys the element in slot i and takes the empty slots at the end off the count; nothing
    // for an empty slot or an index that is not valid.
    void Erase(int i);
    // The lowest slot below the count whose element matches, or -1.
    template <typename Matches>
    int FindIf(Matches matches) const;

  private:
    using Slots = std::unique_ptr<std::unique_ptr<T>[]>;

    // Null for a negative n or without memory; for a Slots to own.
    static std::unique_ptr<T>* NewSlots(int n) {
        return n < 0 ? nullptr : new (std::nothrow) std::unique_ptr<T>[static_cast<size_t>(n)];
    }
    std::unique_ptr<T>& Slot(int i) const { return m_slots[static_cast<size_t>(i)]; }

    // Count never exceeds capacity, and capacity is the size of the array (0 without one).
    int m_count = 0;
    int m_capacity = 0;
    Slots m_slots;
};

template <typename T>
int CTSlotTable<T>::FindIdle() const {
    for (int i = 0; i < m_count; ++i) {
        if (!Slot(i)) return i;
    }
    return -1;
}

template <typename T>
void CTSlotTable<T>::Swap(CTSlotTable& other) {
    std::swap(m_count, other.m_count);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_slots, other.m_slots);
}

template <typename T>
bool CTSlotTable<T>::Allocate(int n, int count) {
    Slots slots(NewSlots(n));
    if (!slots) return false;
    m_slots = std::move(slots);
    m_capacity = n;
    m_count = std::min(count, n);
    return true;
}

template <typename T>
bool CTSlotTable<T>::Reallocate(int n) {
    if (n < m_count) return false;
    Slots slots(NewSlots(n));
    if (!slots) return false;
    for (int i = 0; i < m_count; ++i)
        slots[static_cast<size_t>(i)] = std::move(Slot(i));
    m_slots = std::move(slots);
    m_capacity = n;
    return true;
}

template <typename T>
void CTSlotTable<T>::Free() {
    m_slots = nullptr;
    m_capacity = 0;
    m_count = 0;
}

template <typename T>
void CTSlotTable<T>::Clear() {
    for (int i = 0; i < m_count; ++i)
        Slot(i) = nullptr;
    m_count = 0;
}

template <typename T>
T* CTSlotTable<T>::Put(int i, std::unique_ptr<T> element) {
    Slot(i) = std::move(element);
    m_count = std::max(m_count, i + 1);
    return Slot(i).get();
}

template <typename T>
void CTSlotTable<T>::Erase(int i) {
    if (!At(i)) return;
    Slot(i) = nullptr;
    while (m_count >= 1 && !Slot(m_count - 1))
        --m_count;
}

template <typename T>
template <typename Matches>
int CTSlotTable<T>::FindIf(Matches matches) const {
    for (int i = 0; i < m_count; ++i) {
        if (Slot(i) && matches(*Slot(i))) return i;
    }
    return -1;
}
