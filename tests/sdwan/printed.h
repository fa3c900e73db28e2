#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/pvu_string.h"
#include "tests/support/captured_output.h"

// What the object's Print appends to a text; it must return the length of all of it.
template <typename T>
std::string Printed(const T& object) {
    CTString text;
    text.Append("#");
    int length = object.Print(text);
    EXPECT_EQ(length, text.GetLength());
    return text.c_str() + 1;
}

// The same text where Print must write it, and then the end, to standard output, and return its
// length.
template <typename T>
std::string Printed(const T& object, const std::string& end) {
    std::string text = Printed(object);
    std::string out = CapturedOutput([&] { EXPECT_EQ(object.Print(), text.size()); });
    EXPECT_EQ(out, text + end);
    return text;
}
