#include "base/pvu_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "base/pvu_fileop.h"
#include "base/pvu_txtoutfile.h"
#include "base/pvu_version.h"
#include "tests/support/captured_output.h"
#include "tests/support/scratch_dir.h"

namespace {

TEST(File, ClosedOneAnswersWithoutTouchingAnything) {
    CTTxtFile file;
    CTTxtOutFile out;
    char buf[4] = "abc";
    EXPECT_FALSE(file.Open("/nonexistent/file", "r") || file.Open(nullptr, "r") || file.IsOpen());
    file.Rewind();
    for (int zero : {file.Write(buf, 3), file.Read(buf, 3), file.Seek(1, SEEK_SET), file.Puts("x"),
                     out.Puts("x")})
        EXPECT_EQ(zero, 0);
    for (int minus : {file.Flush(), file.Getc(), file.Putc('x'), file.Printf("x"), out.Putc('x')})
        EXPECT_EQ(minus, -1);
    EXPECT_EQ(file.Gets(buf, 4), nullptr);
    EXPECT_STREQ(buf, "abc");
}

TEST(File, CountsElementsAndSeeks) {
    ScratchDir dir;
    std::string path = dir.File("f");
    std::string missing = dir.File("missing/f");
    char buf[16] = {};
    EXPECT_EQ(CTFile::WriteFile(missing.c_str(), "?", 1), 0);
    EXPECT_EQ(CTFile::ReadFile(missing.c_str(), buf, 1), 0);
    EXPECT_FALSE(CTFile::IsFileExist(path.c_str()) || CTFileOp::FileExist(nullptr));
    EXPECT_EQ(CTFile::WriteFile(path.c_str(), "overwritten by what follows", 27), 27);
    CTFile file;
    ASSERT_TRUE(file.Open(path.c_str(), "w+"));
    EXPECT_EQ(file.Write("aabbccd", 2, 3), 3);
    EXPECT_EQ(file.Write("1234", 4), 4);
    EXPECT_EQ(file.Write(nullptr, 4) + file.Read(nullptr, 4) + file.Flush(), 0);
    EXPECT_EQ(CTFile::ReadFile(path.c_str(), buf, 3), 3);
    EXPECT_STREQ(buf, "aab");
    file.Rewind();
    EXPECT_EQ(file.Read(buf, 5, 3), 2);
    EXPECT_STREQ(buf, "aabbcc1234");
    EXPECT_TRUE(file.Eof());
    EXPECT_EQ(file.SeekFromHead(2) + file.SeekFromCurrent(3), 0);
    EXPECT_EQ(file.Tell(), 5);
    EXPECT_EQ(file.SeekFromTail(-2), 0);
    EXPECT_EQ(file.Tell(), 8);
    EXPECT_TRUE(CTFile::IsFileExist(path.c_str()));
}

TEST(TxtFile, ReadsLinesAndPrintsATextAsItIs) {
    ScratchDir dir;
    std::string path = dir.File("t");
    CTTxtOutFile out;
    ASSERT_TRUE(out.Open(path.c_str(), "w"));
    EXPECT_GE(out.Puts("firs"), 0);
    EXPECT_EQ(out.Puts(nullptr), 0);
    EXPECT_EQ(out.Putc('t'), 't');
    EXPECT_EQ(out.Printf("%c", '\n'), 1);
    out.Close();

    CTTxtFile file;
    ASSERT_TRUE(file.Open(path.c_str(), "a+"));
    EXPECT_GE(file.Printf("%d is no format\n"), 0);
    EXPECT_EQ(file.Printf(nullptr) + file.Puts(nullptr), 0);
    EXPECT_EQ(file.Printf("%d,%s", 0, "x"), 3);
    EXPECT_EQ(file.Putc('y'), 'y');
    file.Rewind();
    EXPECT_EQ(file.Getc(), 'f');
    char line[32];
    EXPECT_EQ(file.Gets(nullptr, 4), nullptr);
    EXPECT_STREQ(file.Gets(line, 4), "irs");
    for (const char* expected : {"t\n", "%d is no format\n", "0,xy"})
        EXPECT_STREQ(file.Gets(line, 32), expected);
    EXPECT_EQ(file.Gets(line, 32), nullptr);
}

TEST(FileOp, LengthIsPrinted) {
    ScratchDir dir;
    std::string path = dir.File("f");
    WriteWholeFile(path, "12345");
    auto measure = [&] {
        int lowest_free = dup(STDIN_FILENO);
        close(lowest_free);
        EXPECT_EQ(CTFileOp::FileLength(path.c_str()), 5);
        EXPECT_EQ(CTFileOp::FileLength("/dev/null"), 0);
        EXPECT_EQ(CTFileOp::FileLength("/nonexistent/file"), 0);
        EXPECT_EQ(CTFileOp::FileLength(nullptr), 0);
        EXPECT_EQ(dup(STDIN_FILENO), lowest_free);
        close(lowest_free);
    };
    EXPECT_EQ(CapturedOutput(measure),
              "File size: 5 bytes\nFile size: 0 bytes\nError opening file\n");
}

TEST(FileOp, ExecutableAndWorkingDirectoryAreCutOrRefused) {
    std::string exe = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    char buf[4096] = "old";
    EXPECT_EQ(get_exe_file_dir(buf, 0), 1);
    EXPECT_STREQ(buf, "old");
    EXPECT_EQ(CTFileOp::GetExecFilePath(buf, sizeof buf), 0);
    EXPECT_EQ(buf, exe + "/");
    EXPECT_EQ(get_exe_file_dir(buf, 4), 0);
    EXPECT_EQ(std::string(buf, 5), exe.substr(0, 3) + '\0' + exe[4]) << "no byte more";

    std::string cwd = std::filesystem::current_path();
    int length = static_cast<int>(cwd.size());
    EXPECT_EQ(CTFileOp::GetCurrentDir(buf, length + 1), 0);
    EXPECT_EQ(buf, cwd);
    EXPECT_EQ(get_current_dir(buf, length) + get_current_dir(nullptr, 0), 2);
}

TEST(FileOp, CreateDirStopsAtTheLastSlash) {
    ScratchDir dir;
    mode_t old_mask = umask(0);
    std::string path = dir.File("a/b/c");
    EXPECT_EQ(create_dir(path.c_str()), 0);
    EXPECT_TRUE(std::filesystem::is_empty(dir.File("a/b")));
    EXPECT_EQ(CTFileOp::CreateDir((path + "/").c_str()), 0);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFDIR | 0755U);
    umask(old_mask);

    for (const char* nothing_to_make : {"", "/", "name"})
        EXPECT_EQ(create_dir(nothing_to_make), 0) << nothing_to_make;
    EXPECT_EQ(create_dir(nullptr) + create_dir(std::string(5000, '/').c_str()), 2);
    WriteWholeFile(dir.File("file"), "x");
    path = dir.File("file/d/e/");
    EXPECT_EQ(CapturedOutput([&] { EXPECT_EQ(create_dir(path.c_str()), 1); }), "mkdir   error\n");
}

TEST(Version, PacksAndComparesAsANumber) {
    CTVersion version(0, 1, 5);
    EXPECT_EQ(version.GetVersion(), 0x00000105U);
    version = 0xFFFE0304;
    EXPECT_TRUE(version.GetMajor() == 0xFFFE && version.GetMinor() == 3 && version.GetPatch() == 4);
    version.Set(1, 0, 0);
    EXPECT_GT(version, CTVersion(0, 255, 255));
}

}  // namespace
