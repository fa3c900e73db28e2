#pragma once

#include <string>

#include "base/pvu_string.h"

// What the object's Print appends to a text.
template <typename T>
std::string Printed(const T& object) {
    CTString text;
    object.Print(text);
    return text.c_str();
}
