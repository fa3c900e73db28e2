#include "tcr/state_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <vector>

#include "tcr/state_check.h"
#include "tests/support/scratch_dir.h"
#include "tests/tcr/state_samples.h"

namespace {

namespace fs = std::filesystem;

// Version 1 and a later one, as a release to come might have it.
constexpr const char* kLaterStep =
    "ALTER TABLE edge ADD COLUMN nickname BLOB NOT NULL DEFAULT x'00'";
constexpr const char* kBrokenStep = "ALTER TABLE edge ADD COLUMN x; nonsense";

std::vector<const char*> WithStep(const char* step) {
    std::vector<const char*> steps(kTcrStateSteps.begin(), kTcrStateSteps.end());
    steps.push_back(step);
    return steps;
}

class StateFile : public testing::Test {
  protected:
    // The fault without the path before it; empty when the file was opened.
    std::string FaultOf(TcrStateFile& file, TcrStateSteps steps = kTcrStateSteps) {
        std::string fault;
        image = TcrStateImage();
        if (file.Open(path, image, fault, steps)) return "";
        EXPECT_EQ(fault.rfind(path + ": ", 0), 0u) << fault;
        EXPECT_EQ(fault.find('\n'), std::string::npos) << fault;
        return fault.substr(path.size() + 2);
    }
    std::string FaultOf(TcrStateSteps steps = kTcrStateSteps) {
        TcrStateFile file;
        return FaultOf(file, steps);
    }
    // Content of everything in the folder, by name.
    std::map<std::string, std::string> Folder() {
        std::map<std::string, std::string> files;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir.Path()))
            files[entry.path()] = entry.is_regular_file() ? ReadWholeFile(entry.path()) : "";
        return files;
    }
    void ExpectRefused(const std::string& reason, TcrStateSteps steps = kTcrStateSteps) {
        auto before = Folder();
        std::string fault = FaultOf(steps);
        EXPECT_NE(fault.find(reason), std::string::npos) << reason << " / " << fault;
        EXPECT_EQ(Folder(), before) << "the refused file or what lies beside it was changed";
        EXPECT_TRUE(image.subnets.empty() && image.edges.empty());
    }
    // A closed file with a few edges, whose content the model has.
    void Fill() {
        TcrStateFile file;
        ASSERT_EQ(FaultOf(file), "");
        TcrStateBatch batch;
        for (int subnet = 0; subnet < 3; ++subnet) {
            batch.subnets.push_back(SampleSubnet(subnet));
            for (int slot = 0; slot < kTcrSlots; slot += 3)
                batch.edges.push_back(SampleEdge(subnet, slot, static_cast<uint32_t>(slot + 4)));
        }
        Write(file, batch);
    }
    void Write(TcrStateFile& file, const TcrStateBatch& batch) {
        std::string fault;
        ASSERT_TRUE(file.Write(batch, fault)) << fault;
        model.Apply(batch);
    }
    // Changes a closed file as anybody can.
    void Sql(const std::string& sql) {
        TcrDatabase database;
        ASSERT_TRUE(database.Open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE));
        ASSERT_TRUE(database.Execute(sql.c_str())) << database.Reason();
    }
    mode_t ModeOf(const std::string& name) {
        struct stat status = {};
        EXPECT_EQ(stat(name.c_str(), &status), 0) << name;
        return status.st_mode & 07777;
    }

    ScratchDir dir;
    std::string path = dir.File("tcr.db");
    StateModel model;
    TcrStateImage image;
};

TEST_F(StateFile, HasWhatWasWrittenAfterEachEndAndAfterAKill) {
    auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 8; ++round) {
        TcrStateFile file;
        ASSERT_EQ(FaultOf(file), "");
        ASSERT_EQ(TextOf(image), TextOf(model.Image()));
        for (int i = 0; i < 12; ++i) {
            std::string fault;
            ASSERT_TRUE(file.Write(model.RandomBatch(random), fault)) << fault;
        }
        if (round % 2 == 0) continue;
        // What a kill at this moment leaves.
        std::string kept = ReadWholeFile(path);
        std::string log = ReadWholeFile(path + "-wal");
        file.Close();
        EXPECT_FALSE(fs::exists(path + "-wal")) << "closed, the file lies alone";
        WriteWholeFile(path, kept);
        WriteWholeFile(path + "-wal", log);
    }
}

TEST_F(StateFile, IsItsOwnersOnlyAndHeldByOne) {
    mode_t before = umask(0);
    Fill();
    EXPECT_EQ(ModeOf(path), 0600u);
    fs::permissions(path, fs::perms{0644});
    TcrStateFile file;
    EXPECT_EQ(FaultOf(file), "");
    Write(file, {.edges = {SampleEdge(1, 1, 77)}});
    EXPECT_EQ(ModeOf(path), 0600u);
    EXPECT_EQ(ModeOf(path + "-wal"), 0600u);
    umask(before);
    ExpectRefused("is held by another central router");
    // The log of the one that holds it was not taken away under it.
    Write(file, {.edges = {SampleEdge(1, 2, 78)}});
    file.Close();
    EXPECT_EQ(FaultOf(), "");
    EXPECT_EQ(TextOf(image), TextOf(model.Image()));
}

TEST_F(StateFile, ThatIsNotOneIsRefusedUntouched) {
    for (const auto& [content, reason] :
         std::map<std::string, std::string>{{"", "is empty"},
                                            {"{ \"subnets\": [] }", "is not a database"},
                                            {"SQLite format 3", "is not a database"},
                                            {std::string(8192, 'x'), "is not a database"}}) {
        WriteWholeFile(path, content);
        WriteWholeFile(path + "-wal", "somebody's");
        ExpectRefused(reason);
    }
    fs::remove(path);
    fs::create_directory(path);
    ExpectRefused("is no regular file");
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    ExpectRefused("is no regular file");
    fs::remove(path);
    fs::remove(path + "-wal");
    Sql("CREATE TABLE subnet (x)");
    ExpectRefused("is a database, but no state of a central router");
    fs::remove(path);
    path = dir.File("missing/tcr.db");
    ExpectRefused("No such file or directory");
}

TEST_F(StateFile, OfAnEarlierVersionIsMigratedAndOfALaterOneRefused) {
    const std::vector<const char*> later = WithStep(kLaterStep);
    const std::vector<const char*> broken = WithStep(kBrokenStep);
    Fill();
    ExpectRefused("cannot be migrated", broken);
    ASSERT_EQ(FaultOf(later), "");
    EXPECT_EQ(TextOf(image), TextOf(model.Image()));
    ExpectRefused("has the later version 3, known here is 2");
    // Again, and with changes on top.
    TcrStateFile file;
    ASSERT_EQ(FaultOf(file, later), "");
    Write(file, {.removed_subnets = {0}, .edges = {SampleEdge(1, 2, 20)}});
    file.Close();
    ASSERT_EQ(FaultOf(later), "");
    EXPECT_EQ(TextOf(image), TextOf(model.Image()));
    fs::remove(path);
    EXPECT_EQ(FaultOf(later), "") << "a new one has the latest version at once";
    ExpectRefused("later version");
}

// What was there before sealed channels were.
TEST_F(StateFile, OfTheFirstVersionHasOpenSessions) {
    Fill();
    Sql("ALTER TABLE edge DROP COLUMN sealed; PRAGMA user_version = 1");
    ASSERT_EQ(FaultOf(), "");
    EXPECT_FALSE(image.edges.empty());
    EXPECT_TRUE(std::ranges::none_of(image.edges, &TcrEdgeRecord::sealed));
}

// A copy that an operator made and put back is in another mode.
TEST_F(StateFile, CopiedByTheDatabaseIsTakenUp) {
    Fill();
    Sql("VACUUM INTO '" + dir.File("copy.db") + "'");
    fs::rename(dir.File("copy.db"), path);
    for (int i = 0; i < 2; ++i) {
        TcrStateFile file;
        ASSERT_EQ(FaultOf(file), "");
        EXPECT_EQ(TextOf(image), TextOf(model.Image()));
        Write(file, {.edges = {SampleEdge(2, 5, 50)}});
    }
    EXPECT_FALSE(fs::exists(path + "-journal"));
}

TEST_F(StateFile, WithAValueOutOfItsRangeIsRefusedUntouched) {
    std::map<std::string, std::string> changes = {
        {"UPDATE subnet SET name = x''", "wrong name"},
        {"UPDATE subnet SET name = x'6E'", "duplicate name"},
        {"UPDATE subnet SET name = zeroblob(33)", "out of range"},
        {"UPDATE subnet SET name = x'6100' WHERE number = 1", "wrong name"},
        {"UPDATE subnet SET number = 1024 WHERE number = 2", "no such index"},
        {"UPDATE subnet SET mask = 0xFFFF00FF", "has holes"},
        {"UPDATE subnet SET mask = -1", "out of range"},
        {"UPDATE subnet SET gateway = 0x0A00FFFF", "gateway"},
        {"DELETE FROM subnet WHERE number = 1", "no such subnet"},
        {"UPDATE edge SET identifier = 16 WHERE identifier = 0", "out of range"},
        {"UPDATE edge SET identifier = 1 << 40 WHERE identifier = 12", "out of range"},
        {"UPDATE edge SET serial = 5", "duplicate serial number"},
        {"UPDATE edge SET serial = 1 << 32 WHERE identifier = 0", "out of range"},
        {"UPDATE edge SET label = zeroblob(1000) WHERE identifier = 0", "out of range"},
        {"UPDATE edge SET label = zeroblob(2) WHERE identifier = 0", "wrong label"},
        {"UPDATE edge SET presence = 3 WHERE identifier = 0", "wrong presence"},
        {"UPDATE edge SET listed = 2 WHERE identifier = 0", "out of range"},
        {"UPDATE edge SET remote_port = 65536 WHERE identifier = 0", "out of range"},
        {"UPDATE edge SET heard = 1 << 41 WHERE identifier = 0", "wrong time"},
        {"UPDATE edge SET lease = 0x0A000001 WHERE identifier = 0", "lease outside the subnet"},
        {"UPDATE edge SET lease = 0x0A000130 WHERE identifier = 0", "duplicate"},
        {"UPDATE device SET address = 0x0B000101", "outside the subnet"},
        {"UPDATE device SET address = 0x0A000102 WHERE identifier = 0", "duplicate device"},
        {"UPDATE device SET status = 3", "wrong status"},
        {"UPDATE device SET mac = zeroblob(7)", "out of range"},
        {"DELETE FROM edge WHERE identifier = 0", "out of range"},
        {"INSERT INTO device SELECT identifier, place + 8, address + 8, mac, status FROM device",
         "out of range"},
        {"CREATE TABLE more (x)", "tables of its version"},
        {"CREATE TRIGGER t AFTER INSERT ON edge BEGIN DELETE FROM edge; END", "tables of its"},
        {"DROP TABLE device", "tables of its version"},
        {"PRAGMA user_version = 3", "later version 3"},
        {"PRAGMA user_version = -1", "tables of its version"},
        {"PRAGMA application_id = 1", "no state of a central router"},
    };
    Fill();
    std::string whole = ReadWholeFile(path);
    for (const auto& [sql, reason] : changes) {
        SCOPED_TRACE(sql);
        WriteWholeFile(path, whole);
        Sql(sql);
        ExpectRefused(reason);
        // The same with the change in the log alone.
        WriteWholeFile(path, whole);
        {
            TcrDatabase database;
            ASSERT_TRUE(database.Open(path, SQLITE_OPEN_READWRITE));
            sqlite3_db_config(database.Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
            ASSERT_TRUE(database.Execute(sql.c_str())) << database.Reason();
        }
        fs::remove(path + "-shm");
        if (fs::exists(path + "-wal"))
            ExpectRefused(reason == "no state of a central router" ? "" : reason);
        fs::remove(path + "-wal");
    }
    WriteWholeFile(path, whole);
    EXPECT_EQ(FaultOf(), "");
}

// Every file that was damaged anywhere is either refused as it is, or what is read of it is wholly
// in range and can be worked with.
TEST_F(StateFile, DamagedAnywhereIsRefusedUntouchedOrReadInRange) {
    auto seed = std::random_device{}();
    std::cout << "seed " << seed << '\n';
    std::mt19937 random(seed);
    auto below = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); };
    Fill();
    std::map<std::string, std::string> closed = Folder();
    TcrStateFile running;
    ASSERT_EQ(FaultOf(running), "");
    for (int i = 0; i < 10; ++i) {
        std::string fault;
        ASSERT_TRUE(running.Write(model.RandomBatch(random), fault));
    }
    std::map<std::string, std::string> killed = Folder();
    running.Close();
    constexpr int kRounds = 240;
    int refused = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
        std::map<std::string, std::string> files = round % 2 == 0 ? closed : killed;
        std::string& bytes = files.size() > 1 && below(2) == 0 ? files[path + "-wal"] : files[path];
        size_t at = below(bytes.size());
        if (below(8) == 0) {
            bytes.resize(at);
        } else if (below(4) == 0) {
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                        std::min<size_t>(bytes.size() - at, 512), static_cast<char>(below(256)));
        } else {
            for (size_t i = below(20) + 1; i > 0; --i)
                bytes[below(bytes.size())] = static_cast<char>(below(256));
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(dir.Path()))
            fs::remove(entry);
        for (const auto& [name, content] : files)
            WriteWholeFile(name, content);
        TcrStateFile file;
        std::string fault = FaultOf(file);
        if (!fault.empty()) {
            ++refused;
            ASSERT_EQ(Folder(), files) << fault;
            continue;
        }
        ASSERT_TRUE(tcr_state_check(image, fault)) << fault;
        if (round % 5 != 0) continue;  // each flush takes its time
        TcrStateBatch batch{.subnets = {SampleSubnet(900)}, .edges = {SampleEdge(900, 3, 8)}};
        ASSERT_TRUE(file.Write(batch, fault)) << fault;
    }
    std::cout << refused << " of " << kRounds << " refused\n";
    EXPECT_GT(refused, kRounds / 20);
    EXPECT_LT(refused, kRounds);
}

// Writes batch after batch and reports each number as soon as it is written; never returns.
[[noreturn]] void WriteUntilKilled(const std::string& path, int report) {
    TcrStateFile file;
    TcrStateImage image;
    std::string fault;
    if (!file.Open(path, image, fault)) _exit(1);
    int64_t number = image.edges.empty() ? 0 : image.edges[0].heard;
    for (;;) {
        ++number;
        TcrStateBatch batch;
        batch.subnets.push_back(SampleSubnet(0));
        for (int slot = 0; slot < kTcrSlots; ++slot) {
            batch.edges.push_back(SampleEdge(0, slot, static_cast<uint32_t>(number % 1000)));
            batch.edges.back().heard = number;
        }
        if (!file.Write(batch, fault)) _exit(1);
        if (write(report, &number, sizeof number) != sizeof number) _exit(1);
    }
}

TEST_F(StateFile, KilledAtAnyMomentHasAllThatWasReportedAsWritten) {
    auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    int64_t last = 0;
    for (int round = 0; round < 8; ++round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        pid_t writer = fork();
        if (writer == 0) WriteUntilKilled(path, ends[1]);
        close(ends[1]);
        // The kill meets the writer wherever it is after so many reports.
        int64_t number = 0;
        for (int reports = std::uniform_int_distribution<int>(1, 25)(random); reports > 0;
             --reports)
            ASSERT_EQ(read(ends[0], &number, sizeof number), ssize_t{sizeof number});
        kill(writer, SIGKILL);
        while (read(ends[0], &number, sizeof number) == sizeof number)
            last = number;
        last = std::max(last, number);
        close(ends[0]);
        ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
        ASSERT_EQ(FaultOf(), "");
        ASSERT_EQ(image.edges.size(), size_t{kTcrSlots});
        EXPECT_GE(image.edges[0].heard, last);
        EXPECT_LE(image.edges[0].heard, last + 1);
        for (const TcrEdgeRecord& edge : image.edges)
            EXPECT_EQ(edge.heard, image.edges[0].heard) << "half a batch was written";
    }
}

}  // namespace
