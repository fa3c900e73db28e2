#include "base/pvu_string.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/pvu_assert.h"

namespace {

constexpr int kSetSlack = 16;     // added to a text's length when Set has to resize
constexpr int kAppendSlack = 16;  // added to the need before the half more of a plain append
constexpr char kFile[] = "base/pvu_string";

// n and half as much again, or 0 where that leaves the range of a size.
int AndHalfMore(int64_t n) {
    int64_t wanted = n + n / 2;
    return wanted > INT_MAX ? 0 : static_cast<int>(wanted);
}

// Where text lies inside the block, so that it can be found again after a resize; -1 outside.
std::ptrdiff_t OffsetInside(const char* block, int size, const char* text) {
    uintptr_t begin = reinterpret_cast<uintptr_t>(block);
    uintptr_t p = reinterpret_cast<uintptr_t>(text);
    bool inside = block && p >= begin && p <= begin + static_cast<uintptr_t>(size);
    return inside ? text - block : -1;
}

}  // namespace

void CTString::Clear() {
    if (c_str()) c_str()[0] = '\0';
    m_length = 0;
}

// The signature is given as text: it stays as it is when the compiler or the const-ness changes.
char CTString::operator[](int i) {
    const char* p = c_str();
    PVU_ASSERT_IN(p && static_cast<size_t>(i) < strlen(p), "i < strlen(p)", kFile, __LINE__,
                  "char CTString::operator[](int)");
    return p[i];
}

char CTString::at(int i) {
    const char* p = c_str();
    PVU_ASSERT_IN(p && static_cast<size_t>(i) < strlen(p), "i < strlen(p)", kFile, __LINE__,
                  "char CTString::at(int)");
    return p[i];
}

int CTString::Set(const char* text) {
    if (!text || *text == '\0') return 0;
    size_t length = strlen(text);
    if (length > INT_MAX - kSetSlack) return 0;
    std::ptrdiff_t own = OffsetInside(c_str(), GetCapacity(), text);
    int n = static_cast<int>(length);
    if (n > GetCapacity() && ReSize(n + kSetSlack) == 0) return 0;
    if (own >= 0) text = c_str() + own;
    memmove(c_str(), text, length);
    memset(c_str() + n, 0, static_cast<size_t>(GetCapacity() - n));
    m_length = n;
    return n;
}

int CTString::Set(const CTString& other) {
    return &other == this ? m_length : Set(other.c_str());
}

CTString& CTString::operator=(const char* text) {
    if (text) Set(text);
    return *this;
}

CTString& CTString::operator=(const CTString& other) {
    if (&other != this) Set(other);
    return *this;
}

CTString& CTString::operator=(const CTString* other) {
    if (other) *this = *other;
    return *this;
}

int CTString::Append(const char* text) {
    if (!c_str() || !text || *text == '\0') return 0;
    size_t length = strlen(text);
    size_t end = strlen(c_str());
    if (length > INT_MAX / 2) return 0;
    std::ptrdiff_t own = OffsetInside(c_str(), GetCapacity(), text);
    // A cut formatted append leaves more text than the length says; what is there counts.
    int64_t current = std::max<int64_t>(m_length, static_cast<int64_t>(end));
    int wanted = AndHalfMore(static_cast<int64_t>(length) + current + kAppendSlack);
    if (wanted == 0) return 0;
    if (wanted > GetCapacity() && ReSize(wanted) == 0) return 0;
    if (own >= 0) text = c_str() + own;
    memmove(c_str() + end, text, length);
    c_str()[end + length] = '\0';
    AddToLength(static_cast<int>(length));
    return static_cast<int>(length);
}

int CTString::AppendGrowing(const char* format, va_list args) {
    int result = FormatGrowing(m_length, format, args);
    if (result >= 0 && result < GetCapacity() - m_length) AddToLength(result);
    return result;
}

int CTString::AppendBounded(const char* format, va_list args) {
    int room = GetCapacity() - m_length;
    if (room < 1) return 0;
    int result = vsnprintf(c_str() + m_length, static_cast<size_t>(room), format, args);
    if (result >= 0 && result < room) AddToLength(result);
    return result;
}

int CTString::PrintfGrowing(const char* format, va_list args) {
    int result = FormatGrowing(0, format, args);
    if (result >= 0 && result < GetCapacity()) AddToLength(result);
    return m_length;
}

int CTString::PrintfBounded(const char* format, va_list args) {
    if (GetCapacity() < 1) return 0;
    int result = vsnprintf(c_str(), static_cast<size_t>(GetCapacity()), format, args);
    if (result >= 0) AddToLength(std::min(result, GetCapacity() - 1));
    return result;
}

// Formats at the offset, growing until the text fits; returns the formatter's result. On a failed
// resize the text stays cut.
int CTString::FormatGrowing(int offset, const char* format, va_list args) {
    for (;;) {
        int room = GetCapacity() - offset;
        // The length field can stand past the block (see Printf): nothing is written then.
        char* at = room > 0 ? c_str() + offset : nullptr;
        va_list again;
        va_copy(again, args);
        int result = vsnprintf(at, room > 0 ? static_cast<size_t>(room) : 0, format, again);
        va_end(again);
        if (result < 0 || result < room || !GrowBy(result)) return result;
    }
}

bool CTString::GrowBy(int result) {
    int wanted = AndHalfMore(static_cast<int64_t>(GetCapacity()) + result);
    // A block of one byte grows by nothing for an empty text: a retry would never end.
    return wanted > GetCapacity() && ReSize(wanted) != 0;
}

void CTString::AddToLength(int n) {
    m_length = n > INT_MAX - m_length ? INT_MAX : m_length + n;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
CTString& CTString::operator+=(const char* text) {
    PVU_ASSERT_IN(text != nullptr, "s != NULL", kFile, __LINE__,
                  "CTString& CTString::operator+=(const char*)");
    Append(text, text);
    return *this;
}
#pragma GCC diagnostic pop

CTString& CTString::operator+=(const CTString& other) {
    Append(other);
    return *this;
}

CTString& CTString::operator+=(const CTString* other) {
    Append(other);
    return *this;
}

CTString& CTString::operator+=(char c) {
    CTString empty(static_cast<int>(static_cast<signed char>(c)));
    Append(empty);
    return *this;
}
