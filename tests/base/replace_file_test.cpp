#include "base/pvu_replace_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/scratch_dir.h"

namespace {

class ReplaceFile : public testing::Test {
  protected:
    ~ReplaceFile() override { umask(old_mask); }

    void TearDown() override {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.Path()))
            EXPECT_EQ(entry.path().string().rfind("config.json."), std::string::npos) << "left";
    }
    static int Replace(const std::string& path, const std::string& content) {
        return pvu_replace_file(path.c_str(), content.data(), content.size());
    }
    static struct stat StatusOf(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status;
    }
    // Puts the content there, for the owner alone.
    static void ExpectReplaced(const std::string& path, const std::string& content) {
        EXPECT_EQ(Replace(path, content), 1);
        EXPECT_EQ(ReadWholeFile(path), content);
        EXPECT_EQ(StatusOf(path).st_mode, S_IFREG | 0600U);
    }

    mode_t old_mask = umask(0);
    ScratchDir dir;
    std::string path = dir.File("config.json");
};

TEST_F(ReplaceFile, AnOldFileIsReplacedAsAWholeAndKeepsItsOwner) {
    WriteWholeFile(path, "the old content, longer");
    // Only root may give a file away; to others it stays their own.
    EXPECT_EQ(chown(path.c_str(), 12345, 23456), geteuid() == 0 ? 0 : -1);
    struct stat old = StatusOf(path);
    std::ifstream reader(path);
    ExpectReplaced(path, "new");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "the old content, longer");
    EXPECT_NE(StatusOf(path).st_ino, old.st_ino);
    EXPECT_EQ(StatusOf(path).st_uid, old.st_uid);
    EXPECT_EQ(StatusOf(path).st_gid, old.st_gid);
}

TEST_F(ReplaceFile, FollowsLinksAlsoToWhatIsNotThereYet) {
    std::filesystem::create_directory(dir.File("real"));
    std::filesystem::create_symlink("real/config.json", dir.File("relative"));
    std::filesystem::create_symlink(dir.File("relative"), path);
    for (const char* content : {"first", "second"}) {
        ExpectReplaced(path, content);
        EXPECT_EQ(ReadWholeFile(dir.File("real/config.json")), content);
        EXPECT_TRUE(std::filesystem::is_symlink(path));
        EXPECT_TRUE(std::filesystem::is_symlink(dir.File("relative")));
    }
}

TEST_F(ReplaceFile, WhateverTheMaskAlsoInPlaceWhereNoFileFitsBesideIt) {
    // The longest name that a folder takes leaves no room for a suffix.
    for (const std::string& name : {std::string("config.json"), std::string(255, 'n')}) {
        for (mode_t mask : {0U, 0777U}) {
            umask(mask);
            ExpectReplaced(dir.File(name), "the first content");
            ExpectReplaced(dir.File(name), "second");
            unlink(dir.File(name).c_str());
        }
    }
}

TEST_F(ReplaceFile, APipeIsWrittenToAndNotReplaced) {
    ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(Replace(path, "through"), 1);
    char buf[16] = {};
    EXPECT_EQ(read(reader, buf, sizeof buf), 7);
    EXPECT_STREQ(buf, "through");
    close(reader);
    EXPECT_EQ(StatusOf(path).st_mode, S_IFIFO | 0644U);
}

TEST_F(ReplaceFile, AFullDiskLeavesTheOldContent) {
    WriteWholeFile(path, "old");
    rlimit old_limit;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
    auto old_action = signal(SIGXFSZ, SIG_IGN);
    rlimit four_bytes = {4, old_limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &four_bytes);
    int result = Replace(path, "no room for this");
    setrlimit(RLIMIT_FSIZE, &old_limit);
    signal(SIGXFSZ, old_action);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ReadWholeFile(path), "old");
}

TEST_F(ReplaceFile, AFailureLeavesNothingBehind) {
    EXPECT_EQ(Replace(dir.File("missing/config.json"), "x"), 0);
    EXPECT_EQ(pvu_replace_file(nullptr, "x", 1), 0);
    EXPECT_EQ(pvu_replace_file(path.c_str(), nullptr, 1), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
    std::filesystem::create_directory(path);
    EXPECT_EQ(Replace(path, "x"), 0);
    EXPECT_TRUE(std::filesystem::is_empty(path));
}

}  // namespace
