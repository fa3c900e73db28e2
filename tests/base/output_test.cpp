#include "base/pvu_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/pvu_stdout.h"
#include "tests/support/captured_output.h"

namespace {

constexpr int kEndMs = 10000;

class Output : public testing::Test {
  protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        m_reader = ends[0];
        m_writer = ends[1];
        output = std::make_unique<CTOutput>(m_writer);
        ASSERT_TRUE(output->Start());
    }
    void TearDown() override {
        EXPECT_TRUE(output->End(0));
        close(m_writer);
        if (m_reader >= 0) close(m_reader);
    }
    void Write(const std::string& text) { output->Write(text.data(), text.size()); }
    // What comes up to that text and with it.
    std::string ReadUntil(const std::string& last) {
        size_t end;
        while ((end = m_rest.find(last)) == std::string::npos) {
            char buf[4096];
            ssize_t n = read(m_reader, buf, sizeof buf);
            if (n <= 0) return std::exchange(m_rest, "") + "<end>";
            m_rest.append(buf, static_cast<size_t>(n));
        }
        std::string text = m_rest.substr(0, end + last.size());
        m_rest.erase(0, text.size());
        return text;
    }
    void CloseReader() {
        close(m_reader);
        m_reader = -1;
    }
    // What is left in the pipe when no writer is left.
    std::string ReadRest() {
        close(m_writer);
        m_writer = -1;
        std::string text = ReadUntil("<nothing ends so>");
        return text.substr(0, text.size() - 5);
    }
    static uint64_t Lines(const std::string& text) {
        return static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
    }

    std::unique_ptr<CTOutput> output;

  private:
    std::string m_rest;  // read, but not asked for yet
    int m_reader = -1;
    int m_writer = -1;
};

TEST_F(Output, AReaderThatKeepsUpGetsEveryLineInOrder) {
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;
    std::vector<std::thread> writers;
    for (int id = 0; id < kThreads; ++id) {
        writers.emplace_back([&, id] {
            for (int i = 0; i < kLines; ++i)
                Write(std::to_string(id) + " " + std::to_string(i) + "\n");
        });
    }
    int next[kThreads] = {};
    for (int line = 0; line < kThreads * kLines; ++line) {
        std::string text = ReadUntil("\n");
        int id = text[0] - '0';
        ASSERT_TRUE(id >= 0 && id < kThreads) << text;
        EXPECT_EQ(text, std::to_string(id) + " " + std::to_string(next[id]++) + "\n");
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(output->GetLeftOut(), 0u);
}

TEST_F(Output, ALineAppearsWholeAndASignalsLineBetweenOthers) {
    Write("first\nhalf of");
    EXPECT_EQ(ReadUntil("\n"), "first\n");
    output->WriteSignal(SIGTERM);
    Write(" the second\n");
    output->WriteSignal(SIGINT);
    Write("third\n");
    EXPECT_EQ(ReadUntil("third\n"),
              "half of the second\n"
              "\n\nSignal 15 received, preparing to exit...\n"
              "\n\nSignal 2 received, preparing to exit...\n"
              "third\n");
    output->WriteSignal(SIGTERM);
    EXPECT_EQ(ReadUntil("exit...\n"), "\n\nSignal 15 received, preparing to exit...\n");
    Write("without an end");
    EXPECT_TRUE(output->End(kEndMs));
    EXPECT_EQ(ReadUntil("end"), "without an end");
}

// A reader that comes back finds what waited, where lines are missing how many, and what follows.
TEST_F(Output, AReaderThatStopsCostsLinesWhichAreCountedAndMentioned) {
    const std::string line(999, '-');
    constexpr uint64_t kWritten = 3000;  // three megabytes
    for (uint64_t i = 0; i < kWritten; ++i)
        Write(line + "\n");
    Write(std::string(2 * CTOutput::kMaxPending, '+'));
    Write("\nshort\n");
    const uint64_t left_out = output->GetLeftOut();
    uint64_t mentioned = 0;
    uint64_t complete = 0;
    while (mentioned < left_out) {
        std::string text = ReadUntil("\n");
        size_t note = text.find(" lines left out, standard output not read\n");
        if (note == std::string::npos) {
            EXPECT_TRUE(text == line + "\n" || text == "short\n") << text;
            ++complete;
        } else {
            mentioned += std::stoull(text);
        }
    }
    EXPECT_EQ(mentioned, left_out);
    EXPECT_EQ(complete, kWritten + 2 - left_out);
    EXPECT_GT(left_out, kWritten / 2);
    Write("after\n");
    EXPECT_EQ(ReadUntil("after\n"), "after\n");
    EXPECT_EQ(output->GetLeftOut(), left_out);
}

TEST_F(Output, AReaderThatIsGoneCostsLines) {
    signal(SIGPIPE, SIG_IGN);
    CloseReader();
    for (int i = 0; i < 100000; ++i)
        Write("a line for nobody\n");
    EXPECT_TRUE(output->End(kEndMs));
    EXPECT_EQ(output->GetLeftOut(), 100000u);
    signal(SIGPIPE, SIG_DFL);
}

TEST_F(Output, TheEndDoesNotWaitForAReaderThatStopped) {
    constexpr uint64_t kWritten = 20000;
    const std::string line(99, '-');
    for (uint64_t i = 0; i < kWritten; ++i)
        Write(line + "\n");
    EXPECT_TRUE(output->End(100));
    uint64_t left_out = output->GetLeftOut();
    EXPECT_EQ(Lines(ReadRest()) + left_out, kWritten);
}

// A disk that is full and a descriptor that is none refuse every line.
TEST(OutputTo, WhatRefusesTextCostsLinesAndNothingElse) {
    int full = open("/dev/full", O_WRONLY);
    int read_only = open("/dev/null", O_RDONLY);
    for (int fd : {full, read_only}) {
        CTOutput output(fd);
        ASSERT_TRUE(output.Start());
        for (int i = 0; i < 1000; ++i)
            output.Write("line\n", 5);
        EXPECT_TRUE(output.End(kEndMs));
        EXPECT_EQ(output.GetLeftOut(), 1000u);
        close(fd);
    }
}

TEST(OutputTo, WithoutAStartTheSignalsLineGoesStraightOut) {
    EXPECT_EQ(CapturedOutput([] { pvu_stdout_signal(SIGTERM); }),
              "\n\nSignal 15 received, preparing to exit...\n");
    EXPECT_EQ(pvu_stdout_left_out(), 0u);
    pvu_stdout_end();
}

}  // namespace
