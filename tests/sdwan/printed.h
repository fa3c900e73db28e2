#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/pvu_string.h"

// What the object's Print appends to a text; it must return the length of all of it.
template <typename T>
std::string Printed(const T& object) {
    CTString text;
    text.Append("#");
    int length = object.Print(text);
    EXPECT_EQ(length, text.GetLength());
    return text.c_str() + 1;
}
