#include "ctl/table.h"

#include <gtest/gtest.h>

#include <clocale>

#include "ctl/figures.h"
#include "ctl/terminal_text.h"

namespace {

class Terminal : public testing::Test {
  protected:
    Terminal() { EXPECT_TRUE(setlocale(LC_CTYPE, "C.UTF-8")); }
    ~Terminal() override { setlocale(LC_CTYPE, "C"); }
};

TEST_F(Terminal, ShowsVisibleCharactersAndTheBytesOfAllOthers) {
    EXPECT_EQ(ctl_terminal_text("plain <b> \\ \"\xC3\xA9\xE6\x97\xA5\""),
              "plain <b> \\ \"\xC3\xA9\xE6\x97\xA5\"");
    EXPECT_EQ(ctl_terminal_text("\x1b[2J\r\n\t\x7f"), "\\x1b[2J\\x0d\\x0a\\x09\\x7f");
    EXPECT_EQ(ctl_terminal_text("\xC2\x9B"
                                "2J"),
              "\\xc2\\x9b2J")
        << "a control character of two bytes";
    EXPECT_EQ(ctl_terminal_text("a\xE2\x80\xAE"
                                "b"),
              "a\\xe2\\x80\\xaeb")
        << "turns the direction of writing";
    EXPECT_EQ(ctl_terminal_text("e\xCC\x81"), "e\\xcc\\x81") << "stands on another character";
    EXPECT_EQ(ctl_terminal_text("\xFF\xC3"), "\\xff\\xc3");
    EXPECT_EQ(ctl_terminal_text(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(ctl_terminal_text("a\nb\r", true), "a\nb\\x0d");
    setlocale(LC_CTYPE, "C");
    EXPECT_EQ(ctl_terminal_text("\xC3\xA9"), "\\xc3\\xa9") << "a terminal of another encoding";
}

TEST_F(Terminal, KnowsHowManyColumnsATextTakes) {
    EXPECT_EQ(ctl_width("abc"), 3u);
    EXPECT_EQ(ctl_width("\xC3\xA9"), 1u);
    EXPECT_EQ(ctl_width("\xE6\x97\xA5"), 2u);
    EXPECT_EQ(ctl_width(""), 0u);
}

TEST_F(Terminal, ATableIsAlignedWhateverItHolds) {
    CtlTable table(false);
    table.Column("Name");
    table.Column("Count", CtlTable::Align::kRight);
    table.Column("End");
    for (auto [name, count, end] : {std::tuple("a", "1", "x"),
                                    {"\xE6\x97\xA5\xC3\xA9", "12345678", ""},
                                    {"\x1b[0m", "", ""},
                                    {"", "2", "y"}}) {
        table.Row();
        table.Cell(name);
        table.Cell(count);
        table.Cell(end);
    }
    EXPECT_EQ(table.Text(),
              "  Name        Count  End\n"
              "  a               1  x\n"
              "  \xE6\x97\xA5\xC3\xA9      12345678\n"
              "  \\x1b[0m\n"
              "                  2  y\n");
}

TEST_F(Terminal, ColoursStandAroundACellAndNotInItsWidth) {
    CtlTable table(true);
    table.Column("A");
    table.Column("B");
    table.Row();
    table.Cell("good", CtlStyle::kGood);
    table.Cell("plain");
    table.Row();
    table.Cell("no", CtlStyle::kBad);
    table.Cell("x");
    EXPECT_EQ(table.Text(),
              "  \x1b[1mA\x1b[0m     \x1b[1mB\x1b[0m\n"
              "  \x1b[32mgood\x1b[0m  plain\n"
              "  \x1b[31mno\x1b[0m    x\n");
    EXPECT_EQ(ctl_styled("x", CtlStyle::kGood, false), "x");
}

TEST(Figures, HaveThreePlacesAndAUnit) {
    for (auto [bytes, text] : {std::pair(0.0, "0 B"),
                               {1023.0, "1023 B"},
                               {1024.0, "1.00 KiB"},
                               {1500.0, "1.46 KiB"},
                               {123456.0, "121 KiB"},
                               {1e7, "9.54 MiB"},
                               {5e13, "45.5 TiB"},
                               {-1.0, "0 B"}}) {
        EXPECT_EQ(ctl_bytes(bytes), text);
    }
    EXPECT_EQ(ctl_rate(840.04), "840 B/s");
    for (auto [seconds, text] : {std::pair(0.04, "0.0 s"),
                                 {9.94, "9.9 s"},
                                 {59.9, "59 s"},
                                 {60.0, "1m 00s"},
                                 {725.0, "12m 05s"},
                                 {3600.0, "1h 00m"},
                                 {86399.0, "23h 59m"},
                                 {460000.0, "5d 07h"},
                                 {-3.0, "0.0 s"},
                                 {1e300, "11574074074d 01h"}}) {
        EXPECT_EQ(ctl_duration(seconds), text);
    }
    EXPECT_EQ(ctl_millis(0.412), "0.41 ms");
    EXPECT_EQ(ctl_millis(1234.5), "1234 ms");
    EXPECT_EQ(ctl_hex(0xFFFFFFFF), "0xffffffff");
}

}  // namespace
