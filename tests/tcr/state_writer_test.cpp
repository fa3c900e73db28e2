#include "tcr/state_writer.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>

#include "tests/support/scratch_dir.h"
#include "tests/support/slow_disk.h"
#include "tests/tcr/state_samples.h"

namespace {

constexpr int kWaitMs = 10000;

class StateWriter : public testing::Test {
  protected:
    void SetUp() override {
        TcrStateImage image;
        ASSERT_TRUE(file.Open(path, image, fault)) << fault;
        ASSERT_TRUE(writer.Start(fault)) << fault;
        Save({{}, {}, {SampleSubnet(0)}, {}});
        ASSERT_EQ(Outcome(), "saved 1");
    }
    void Save(TcrStateBatch batch) {
        model.Apply(batch);
        writer.Save(std::move(batch), ++ticket);
    }
    void SaveEdge(int slot, uint32_t variant) {
        Save({{}, {}, {}, {SampleEdge(0, slot, variant)}});
    }
    // Waits for outcomes, as the server does; "saved 3", or "failed 3", or several.
    std::string Outcome() {
        pollfd wait = {writer.EventHandle(), POLLIN, 0};
        EXPECT_EQ(poll(&wait, 1, kWaitMs), 1) << "no outcome";
        std::string text;
        for (const TcrStateWriter::Outcome& outcome : writer.TakeOutcomes()) {
            text += std::string(text.empty() ? "" : ", ") + (outcome.saved ? "saved " : "failed ") +
                    std::to_string(outcome.ticket);
            EXPECT_EQ(outcome.reason.empty(), outcome.saved);
            reason = outcome.reason;
        }
        return text;
    }
    bool HasOutcome() {
        pollfd wait = {writer.EventHandle(), POLLIN, 0};
        return poll(&wait, 1, 0) == 1;
    }
    // A kill now leaves what was saved, or all that was given since as well.
    void ExpectAllOrNothing(const std::string& saved) {
        for (const char* suffix : {"", "-wal"})
            std::filesystem::copy(path + suffix, dir.File("copy") + suffix);
        TcrStateFile copy;
        TcrStateImage image;
        ASSERT_TRUE(copy.Open(dir.File("copy"), image, fault)) << fault;
        EXPECT_TRUE(TextOf(image) == saved || TextOf(image) == TextOf(model.Image()));
    }
    void ExpectWritten() {
        EXPECT_TRUE(writer.Stop(kWaitMs));
        file.Close();
        TcrStateImage image;
        ASSERT_TRUE(file.Open(path, image, fault)) << fault;
        EXPECT_EQ(TextOf(image), TextOf(model.Image()));
    }

    SlowDisk disk;
    ScratchDir dir;
    std::string path = dir.File("tcr.db");
    std::string fault;
    std::string reason;
    StateModel model;
    uint64_t ticket = 0;
    TcrStateFile file;
    TcrStateWriter writer{file};
};

TEST_F(StateWriter, HoldsNobodyUpAndJoinsWhatWaits) {
    disk.HoldFlushes();
    SaveEdge(1, 1);
    ASSERT_TRUE(disk.WaitForFlush());
    auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int i = 0; i < 500; ++i)
        Save(model.RandomBatch(random));
    EXPECT_FALSE(HasOutcome()) << "nothing is saved before it is flushed";
    int before = disk.Flushes();
    disk.LetGo();
    std::string outcome = Outcome();
    if (outcome == "saved 2") outcome += ", " + Outcome();  // taken in between
    EXPECT_EQ(outcome, "saved 2, saved 502");
    EXPECT_LE(disk.Flushes() - before, 3) << "each batch was flushed by itself";
    ExpectWritten();
}

// A full disk, an error while writing, an error while flushing: afterwards everything is there,
// also what was given to the writes that failed.
TEST_F(StateWriter, GoesOnAfterFailuresAndLosesNothing) {
    SaveEdge(9, 9);
    EXPECT_EQ(Outcome(), "saved 2");
    std::string saved = TextOf(model.Image());
    disk.FailWrites(SQLITE_FULL);
    SaveEdge(1, 1);
    EXPECT_EQ(Outcome(), "failed 3");
    EXPECT_NE(reason.find(path + ": database or disk is full"), std::string::npos) << reason;
    disk.FailWrites(SQLITE_IOERR_WRITE);
    Save({{0}, {}, {SampleSubnet(0), SampleSubnet(1)}, {SampleEdge(1, 1, 5)}});
    EXPECT_EQ(Outcome(), "failed 4");
    EXPECT_NE(reason.find("disk I/O error"), std::string::npos) << reason;
    disk.FailWrites(SQLITE_OK);
    disk.FailFlushes(SQLITE_IOERR_FSYNC);
    Save({{}, {{1, 1}}, {}, {SampleEdge(0, 2, 6)}});
    EXPECT_EQ(Outcome(), "failed 5");
    ExpectAllOrNothing(saved);
    disk.FailFlushes(SQLITE_OK);
    SaveEdge(3, 7);
    EXPECT_EQ(Outcome(), "saved 6");
    ExpectWritten();
}

TEST_F(StateWriter, WritesAtTheEndWhatCouldNotBeWrittenBefore) {
    disk.FailWrites(SQLITE_FULL);
    SaveEdge(1, 1);
    EXPECT_EQ(Outcome(), "failed 2");
    disk.FailWrites(SQLITE_OK);
    disk.HoldFlushes();
    EXPECT_FALSE(writer.Stop(0)) << "a disk that does not answer is not waited for";
    ASSERT_TRUE(disk.WaitForFlush());
    disk.LetGo();
    EXPECT_EQ(Outcome(), "saved 2");
    ExpectWritten();
}

}  // namespace
