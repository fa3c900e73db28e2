#pragma once

#include <cstdarg>
#include <type_traits>

#include "base/pvu_memblock.h"

// Tells a real va_list from everything that merely converts to one (a literal 0, a null pointer).
std::true_type pvu_is_va_list(void (*)(va_list));
std::false_type pvu_is_va_list(...);
template <typename V>
concept PvuVaList = decltype(pvu_is_va_list(static_cast<void (*)(V)>(nullptr)))::value;

// Growable, zero-terminated text, used mainly to build print-outs with printf-style formatting.
//
// The length field is what the string itself counts: formatted appends continue at it, plain ones
// at the terminating zero, and Printf adds to it instead of setting it, so Clear() first where
// the length matters. A string belongs to one thread.
//
// Append and Printf with one text are plain: the text is copied as it is. With a format and at
// least one argument (a literal 0 too) they format. The va_list forms take a va_list only.
class CTString : public CTMemBlock {
  public:
    static constexpr int kDefaultCapacity = 256;

    CTString() : CTString(kDefaultCapacity) {}
    explicit CTString(int capacity) : CTMemBlock(capacity) { Clear(); }

    char* c_str() { return static_cast<char*>(GetPtr()); }
    const char* c_str() const { return static_cast<const char*>(GetPtr()); }
    int GetLength() const { return m_length; }
    int GetCapacity() const { return GetSize(); }
    // First byte 0, length 0; the capacity is kept.
    void Clear();

    // The byte at the index; the index must be below strlen, otherwise the process is aborted.
    char operator[](int i);
    char at(int i);

    // Replace the text; return the new length. Null or empty text returns 0 and leaves the string
    // as it was. A text exactly as long as the capacity fits.
    int Set(const char* text);
    int Set(const CTString& other);
    int Set(const CTString* other) { return other ? Set(*other) : 0; }
    CTString& operator=(const char* text);
    CTString& operator=(const CTString& other);
    CTString& operator=(const CTString* other);

    // Append plain text; return the length appended, 0 for null, empty text or no memory. The
    // string grows early, well before it is full.
    int Append(const char* text);
    int Append(const CTString& other) { return Append(other.c_str()); }
    int Append(const CTString* other) { return other ? Append(*other) : 0; }
    // Appends formatted text and grows as needed; returns the formatter's result. (A template, so
    // that a call with one text prefers the plain form.)
    template <typename = void>
    __attribute__((format(printf, 2, 3))) int Append(const char* format, ...) {
        va_list args;
        va_start(args, format);
        int result = AppendGrowing(format, args);
        va_end(args);
        return result;
    }
    // The same without growth: a result that does not fit is returned without advancing the
    // length, and the buffer holds the cut text. 0 when no room is left.
    template <PvuVaList V>
    __attribute__((format(printf, 2, 0))) int Append(const char* format, V args) {
        return AppendBounded(format, args);
    }

    int Printf(const char* text) { return Set(text); }
    int Printf(const CTString& other) { return Set(other); }
    int Printf(const CTString* other) { return Set(other); }
    // Writes formatted text from the start and grows as needed; adds the formatter's result to
    // the length field and returns that field.
    template <typename = void>
    __attribute__((format(printf, 2, 3))) int Printf(const char* format, ...) {
        va_list args;
        va_start(args, format);
        int result = PrintfGrowing(format, args);
        va_end(args);
        return result;
    }
    // The same without growth; returns the formatter's result.
    template <PvuVaList V>
    __attribute__((format(printf, 2, 0))) int Printf(const char* format, V args) {
        return PrintfBounded(format, args);
    }

    // The text is the format and its own first argument: a percent sign in it is a conversion, so
    // never hand it foreign text. A null text aborts the process.
    CTString& operator+=(const char* text);
    CTString& operator+=(const CTString& other);
    CTString& operator+=(const CTString* other);
    // Appends nothing: it appends an empty temporary whose capacity is the character's value.
    // Established behaviour; for one character use Append with a one-character text.
    CTString& operator+=(char c);

  private:
    __attribute__((format(printf, 2, 0))) int AppendGrowing(const char* format, va_list args);
    __attribute__((format(printf, 2, 0))) int AppendBounded(const char* format, va_list args);
    __attribute__((format(printf, 2, 0))) int PrintfGrowing(const char* format, va_list args);
    __attribute__((format(printf, 2, 0))) int PrintfBounded(const char* format, va_list args);
    __attribute__((format(printf, 3, 0))) int FormatGrowing(int offset, const char* format,
                                                            va_list args);
    bool GrowBy(int result);
    void AddToLength(int n);

    int m_length = 0;
};
