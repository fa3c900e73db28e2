#include "base/pvu_string.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

namespace {

__attribute__((format(printf, 3, 4))) int WithList(CTString& s, bool append, const char* format,
                                                   ...) {
    va_list args;
    va_start(args, format);
    int result = append ? s.Append(format, args) : s.Printf(format, args);
    va_end(args);
    return result;
}

const char* const kNoText = nullptr;
const CTString* const kNoString = nullptr;

TEST(String, NothingComesFromEmptyAndMissingTexts) {
    CTString s;
    EXPECT_EQ(s.GetCapacity(), 256);
    EXPECT_EQ(s.Set("abc"), 3);
    EXPECT_EQ(s.Set("") + s.Set(kNoText) + s.Set(kNoString) + s.Append("") + s.Append(kNoText) +
                  s.Append(kNoString),
              0);
    s = kNoText;
    s = kNoString;
    EXPECT_STREQ(s.c_str(), "abc");
    EXPECT_EQ(s.GetLength(), 3);
}

TEST(String, MayBeSetAndAppendedFromItsOwnText) {
    CTString s;
    s.Set("abc");
    EXPECT_EQ(s.Set(s), 3);
    s = s.c_str() + 1;
    EXPECT_STREQ(s.c_str(), "bc");
    s.Set(std::string(200, 'x').c_str());
    EXPECT_EQ(s.Append(s), 200);
    EXPECT_EQ(s.GetLength(), 400);
    EXPECT_EQ(s.c_str(), std::string(400, 'x'));
}

TEST(String, EachWayOfWritingGrowsByARuleOfItsOwn) {
    enum { kSet, kPlain, kFormatted, kPrintf };
    int (*const ways[])(CTString&, const char*) = {
        [](CTString& s, const char* text) { return s.Set(text); },
        [](CTString& s, const char* text) { return s.Append(text); },
        [](CTString& s, const char* text) { return s.Append("%s", text); },
        [](CTString& s, const char* text) { return s.Printf("%s", text); }};
    // A text that fills the block is still terminated; the last plain ones want 256 and 258.
    const int cases[][4] = {
        {kSet, 8, 8, 8},          {kSet, 8, 9, 9 + 16},       {kSet, 0, 1, 1 + 16},
        {kPlain, 256, 155, 256},  {kPlain, 256, 156, 258},    {kFormatted, 16, 15, 16},
        {kFormatted, 16, 16, 48}, {kFormatted, 16, 100, 174}, {kFormatted, 0, 3, 4},
        {kFormatted, 0, 0, 0},    {kPrintf, 16, 15, 16},      {kPrintf, 16, 16, 48},
        {kPrintf, 1, 0, 1}};
    for (auto [way, capacity, length, grown] : cases) {
        SCOPED_TRACE(testing::Message() << way << ", " << capacity << ", " << length);
        CTString s(capacity);
        std::string text(static_cast<size_t>(length), 't');
        EXPECT_EQ(ways[way](s, text.c_str()), length);
        EXPECT_EQ(s.GetCapacity(), grown);
        EXPECT_EQ(s.GetLength(), length);
        EXPECT_EQ(s.c_str() ? s.c_str() : "", text);
    }
    // Half as much again as one byte is one byte: no room can be made, and none is waited for.
    CTString full(1);
    full.Set("f");
    EXPECT_EQ(full.Append("%s", ""), 0);
    EXPECT_STREQ(full.c_str(), "f");
}

TEST(String, OneTextIsPlainAndArgumentsFormat) {
    CTString s;
    s.Append("100%d ");
    s.Append("%d", 0);
    s.Append(" %s", "x");
    EXPECT_STREQ(s.c_str(), "100%d 0 x");
    s.Clear();
    s.Printf("%d%%");
    EXPECT_EQ(WithList(s, true, "%d", 7), 1);
    s += "<%%>";  // alone a format all the same
    CTString plain;
    plain.Set("%d");
    s += plain;
    s += 'x';
    s += static_cast<char>(-5);
    EXPECT_STREQ(s.c_str(), "%d%%7<%>%d");
}

TEST(String, TheListFormsDoNotGrow) {
    CTString s(64);
    std::string text(70, 't');
    EXPECT_EQ(WithList(s, true, "%s", text.c_str()), 70);
    EXPECT_EQ(s.GetCapacity(), 64);
    EXPECT_EQ(s.GetLength(), 0);
    EXPECT_EQ(s.c_str(), text.substr(0, 63));
    // The cut text is longer than the length says; a plain append still stays inside the block.
    EXPECT_EQ(s.Append("abcdef"), 6);
    EXPECT_EQ(s.c_str(), text.substr(0, 63) + "abcdef");

    CTString t(8);
    EXPECT_EQ(WithList(t, false, "%s", "12345678901"), 11);
    EXPECT_EQ(t.GetLength(), 7);
    t.Set("12345678");
    EXPECT_EQ(WithList(t, true, "%d", 9), 0);
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

TEST(StringDeath, IndexAtTheEndAndNullAppendAbort) {
    CTString s;
    s.Set("abc");
    EXPECT_EQ(s.at(2), 'c');
    EXPECT_DEATH(s.at(3), "base/pvu_string:.*char CTString::at\\(int\\).*`i < strlen\\(p\\)'");
    EXPECT_DEATH(s[-1], "char CTString::operator\\[\\]\\(int\\).*`i < strlen\\(p\\)'");
    EXPECT_DEATH(s += kNoText, "CTString& CTString::operator\\+=\\(const char\\*\\).*`s != NULL'");
}

}  // namespace
