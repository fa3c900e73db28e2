#pragma once

#include <cstdio>
#include <string>

#include "base/pvu_string.h"
#include "base/pvu_text_field.h"
#include "cfg/json_object.h"

// How the value of a key gets into a field and back, alike for every section. Reading, an absent
// key and a value that the field cannot take leave the field as it was.

// Owned by the tree; null when the key is absent or its value is not a string.
inline const char* cfg_get_text(const CTJsonObject& section, const char* key) {
    char* text = nullptr;
    section.GetItemValue(key, &text);
    return text;
}

inline void cfg_read_text(const CTJsonObject& section, const char* key, CTTextField& field) {
    pvu_text_field_set(field, cfg_get_text(section, key));
}

// The value is taken as a 32-bit integer, whatever its type (see CTJsonObject::GetInt), and then
// cut to the width of the field.
template <typename Number>
void cfg_read_number(const CTJsonObject& section, const char* key, Number& field) {
    int value = 0;
    if (section.GetItemValue(key, value)) field = static_cast<Number>(value);
}

// The text form of a CIPv4Addr or a CEtherAddr.
template <typename Address>
std::string cfg_address_text(const Address& address) {
    char text[sizeof "00:00:00:00:00:00"];
    address.Format(text, sizeof text);
    return text;
}

// A section's print-out to standard output.
template <typename Section>
void cfg_print(const Section& section) {
    CTString text;
    section.Print(text);
    printf("%s", text.c_str());
}
