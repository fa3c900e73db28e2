#include "base/pvu_string.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

namespace {

__attribute__((format(printf, 2, 3))) int AppendList(CTString& s, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int result = s.Append(format, args);
    va_end(args);
    return result;
}

__attribute__((format(printf, 2, 3))) int PrintfList(CTString& s, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int result = s.Printf(format, args);
    va_end(args);
    return result;
}

TEST(String, SetReplacesAndKeepsTheTextForAnEmptyOne) {
    CTString s;
    EXPECT_EQ(s.GetCapacity(), 256);
    EXPECT_EQ(s.Set("abc"), 3);
    EXPECT_EQ(s.Set(""), 0);
    EXPECT_EQ(s.Set(static_cast<const char*>(nullptr)), 0);
    EXPECT_STREQ(s.c_str(), "abc");
    EXPECT_EQ(s.Set(s), 3);
    s = s.c_str() + 1;
    EXPECT_STREQ(s.c_str(), "bc");
}

TEST(String, ATextAsLongAsTheCapacityFitsAndStaysReadable) {
    CTString s(8);
    EXPECT_EQ(s.Set("12345678"), 8);
    EXPECT_EQ(s.GetCapacity(), 8);
    EXPECT_STREQ(s.c_str(), "12345678");
    EXPECT_EQ(s.Set("123456789"), 9);
    EXPECT_EQ(s.GetCapacity(), 9 + 16);
}

TEST(String, PlainAppendGrowsEarly) {
    CTString s;
    EXPECT_EQ(s.Append("0123456789"), 10);
    EXPECT_EQ(s.GetCapacity(), 256);
    CTString t;
    std::string long_text(200, 'x');
    EXPECT_EQ(t.Append(long_text.c_str()), 200);
    EXPECT_EQ(t.GetCapacity(), 324);
    t.Append(t);
    EXPECT_EQ(t.GetLength(), 400);
    EXPECT_EQ(std::string(t.c_str()), std::string(400, 'x'));
}

TEST(String, OneTextIsPlainAndArgumentsFormat) {
    CTString s;
    s.Append("100%d ");
    s.Append("%d", 0);
    s.Append(" %s", "x");
    EXPECT_STREQ(s.c_str(), "100%d 0 x");
    s.Clear();
    s.Printf("%d%%");
    EXPECT_STREQ(s.c_str(), "%d%%");
    EXPECT_EQ(AppendList(s, "%d", 7), 1);
    EXPECT_STREQ(s.c_str(), "%d%%7");
}

TEST(String, FormattedAppendGrowsUntilTheTextFits) {
    CTString s(16);
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        std::string piece = std::to_string(i) + ",";
        EXPECT_EQ(s.Append("%d,", i), static_cast<int>(piece.size()));
        expected += piece;
    }
    EXPECT_EQ(s.c_str(), expected);
    EXPECT_EQ(s.GetLength(), static_cast<int>(expected.size()));
}

TEST(String, TheListFormsDoNotGrow) {
    CTString s(8);
    EXPECT_EQ(AppendList(s, "%s", "12345678901"), 11);
    EXPECT_EQ(s.GetCapacity(), 8);
    EXPECT_EQ(s.GetLength(), 0);
    EXPECT_STREQ(s.c_str(), "1234567");
    // The cut text is longer than the length says; a plain append still stays inside the block.
    EXPECT_EQ(s.Append("abcdefghijklmnop"), 16);
    EXPECT_STREQ(s.c_str(), "1234567abcdefghijklmnop");

    CTString t(8);
    EXPECT_EQ(PrintfList(t, "%s", "12345678901"), 11);
    EXPECT_EQ(t.GetLength(), 7);
}

TEST(String, PrintfAddsToTheLengthInsteadOfSettingIt) {
    CTString s;
    s.Set("abc");
    EXPECT_EQ(s.Printf("%d", 5), 4);
    EXPECT_STREQ(s.c_str(), "5");
    // The length runs past the block; formatting must still end up inside it.
    for (int i = 0; i < 100; ++i)
        s.Printf("%s", "0123456789");
    EXPECT_EQ(s.GetLength(), 1004);
    EXPECT_EQ(s.Append("%s", "tail"), 4);
    EXPECT_GT(s.GetCapacity(), 1008);
}

TEST(String, PlusAssignFormatsTextAndIgnoresCharacters) {
    CTString s;
    s += "ab%%c";
    EXPECT_STREQ(s.c_str(), "ab%c");
    s += 'x';
    s += static_cast<char>(-5);
    EXPECT_STREQ(s.c_str(), "ab%c");
    CTString plain;
    plain.Set("%d");
    s += plain;
    EXPECT_STREQ(s.c_str(), "ab%c%d");
}

TEST(StringDeath, IndexAtTheEndAndNullAppendAbort) {
    CTString s;
    s.Set("abc");
    EXPECT_EQ(s.at(2), 'c');
    EXPECT_DEATH(s.at(3), "base/pvu_string:.*char CTString::at\\(int\\).*`i < strlen\\(p\\)'");
    EXPECT_DEATH(s[-1], "char CTString::operator\\[\\]\\(int\\).*`i < strlen\\(p\\)'");
    const char* null_text = nullptr;
    EXPECT_DEATH(s += null_text,
                 "CTString& CTString::operator\\+=\\(const char\\*\\).*`s != NULL'");
}

}  // namespace
