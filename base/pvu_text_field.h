#pragma once

#include <cstddef>
#include <cstring>
#include <string>

// Names, passwords and labels are fixed fields of 32 bytes, in records and on the wire: a shorter
// text is padded with zero bytes, a text of 32 bytes or more fills the field and has no
// terminator. Print a field with "%.32s", or read it through pvu_text_field_get.

constexpr size_t kTextFieldSize = 32;

// A field in memory, with a hidden zero byte behind it so that a full one can be read as text.
// Precondition of its users: it started as all zero.
using CTTextField = char[kTextFieldSize + 1];

// Copies at most 32 bytes of text into the field at dst; a null text changes nothing.
inline void pvu_text_field_set(char* dst, const char* text) {
    if (!text) return;
    size_t length = strnlen(text, kTextFieldSize);
    memcpy(dst, text, length);
    memset(dst + length, 0, kTextFieldSize - length);
}

// The text of a field of 32 bytes, terminated or not.
inline std::string pvu_text_field_get(const char* field) {
    return std::string(field, strnlen(field, kTextFieldSize));
}
