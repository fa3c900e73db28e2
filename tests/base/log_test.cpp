#include "base/pvu_log.h"

#include <gtest/gtest.h>

#include <string>

#include "base/pvu_debug.h"
#include "base/pvu_filelog.h"
#include "tests/support/scratch_dir.h"

namespace {

TEST(Log, WritesMessagesAsTheyAreAndOnlyWhileOpen) {
    ScratchDir dir;
    std::string path = dir.File("tamvo.log");
    EXPECT_EQ(flog_open(nullptr), 0);
    EXPECT_EQ(flog_printf("lost %d\n", 1), 0);
    // A log that cannot be opened takes messages and writes nothing.
    EXPECT_EQ(flog_open(dir.File("missing/tamvo.log").c_str()), 0);
    EXPECT_EQ(flog_printf("lost %d\n", 2), 0);

    EXPECT_NE(flog_open(path.c_str()), 0);
    std::string fits(65535, 'a');
    EXPECT_GE(flog_printf("%sb\n", fits.c_str()), 0);
    flog_close();
    EXPECT_EQ(ReadWholeFile(path), fits);

    // Opening again, closed or not, starts an empty file.
    EXPECT_NE(flog_open(path.c_str()), 0);
    EXPECT_GE(flog_printf("gone\n"), 0);
    EXPECT_NE(flog_open(path.c_str()), 0);
    EXPECT_GE(flog_printf("start %s 100%%\n", "now"), 0);
    EXPECT_EQ(ReadWholeFile(path), "") << "flushed line by line";
    flog_close();
    EXPECT_EQ(flog_printf("lost %d\n", 3), 0);
    flog_close();
    EXPECT_EQ(ReadWholeFile(path), "start now 100%\n");
}

TEST(Filelog, CutsAt2047CharactersAndSkipsEmptyTexts) {
    ScratchDir dir;
    std::string path = dir.File("second.log");
    std::string fits(2047, 'c');
    EXPECT_EQ(pvu_flog_print("lost %d", 1), 0);
    ASSERT_TRUE(pvu_flog_Open(path.c_str()));
    EXPECT_EQ(pvu_flog_print("%s", ""), 0);
    EXPECT_GE(pvu_flog_print("%d%%\n", 5), 0);
    // Null changes nothing: the log stays open.
    EXPECT_FALSE(pvu_flog_Open(nullptr));
    EXPECT_GE(pvu_flog_print("%sd", fits.c_str()), 0);
    pvu_flog_close();
    EXPECT_EQ(pvu_flog_print("lost %d", 2), 0);
    EXPECT_EQ(ReadWholeFile(path), "5%\n" + fits);
}

TEST(Debug, ATitleHas256CharactersAtMost) {
    EXPECT_EQ(pvu_get_debug_level(), 2);
    std::string first = pvu_get_debug_title();
    pvu_set_debug_title(nullptr);
    pvu_set_debug_title("");
    pvu_set_debug_title(std::string(257, 't').c_str());
    EXPECT_EQ(pvu_get_debug_title(), first);
    pvu_set_debug_title(std::string(256, 't').c_str());
    EXPECT_EQ(pvu_get_debug_title(), std::string(256, 't'));
    pvu_set_debug_title(first.c_str());
}

}  // namespace
