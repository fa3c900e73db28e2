#include "base/pvu_event.h"

#include <gtest/gtest.h>

#include <mutex>
#include <semaphore>

#include "tests/support/event_capture.h"

namespace {

TEST(Event, IsOneLineWhateverItsValuesHold) {
    EventCapture events;
    CTEvent(CTEventLevel::kWarning, "joined")
        .Add("address", "192.168.15.10:1922")
        .Add("label", "a \"b\"\n\x1b[31m\\<script>")
        .Add("utf8", "\xc3\xa4")
        .Add("none", "")
        .Add("forged", "x password=y")
        .Add("count", -7)
        .AddHex("identifier", 0xAB)
        .Log();
    EXPECT_EQ(events.Lines(),
              std::vector<std::string>{
                  R"(W joined address=192.168.15.10:1922 label="a \"b\"\x0a\x1b[31m\\<script>" )"
                  R"(utf8="\xc3\xa4" none="" forged="x password=y" count=-7 )"
                  R"(identifier=0x000000ab)"});
    std::string text(5000, 'x');
    EXPECT_EQ(CTEvent(CTEventLevel::kInfo, "e").Add("f", text).GetLine(),
              "e f=" + text.substr(0, CTEvent::kMaxValue));
}

// A writer that is let through line by line.
std::mutex g_mutex;
std::vector<std::string> g_written;
std::counting_semaphore<> g_allowed{0};
void WriteWhenAllowed(CTEventLevel, const char* line) {
    g_allowed.acquire();
    std::lock_guard lock(g_mutex);
    g_written.emplace_back(line);
}

TEST(EventLog, NobodyWaitsForAWriterThatIsStuckAndWhatIsLeftOutIsSaidInItsPlace) {
    CTEventLog log(WriteWhenAllowed);
    ASSERT_TRUE(log.Start());
    // One may be with the writer, out of the queue.
    constexpr size_t kLines = CTEventLog::kMaxPending + 11;
    for (size_t i = 0; i < kLines; ++i)
        log.Add(CTEventLevel::kInfo, std::to_string(i));
    uint64_t left_out = log.GetLeftOut();
    EXPECT_TRUE(left_out == 10 || left_out == 11) << left_out;
    EXPECT_FALSE(log.End(1)) << "the writer is stuck";
    g_allowed.release(kLines + 1);
    EXPECT_TRUE(log.End(10000));
    std::lock_guard lock(g_mutex);
    ASSERT_EQ(g_written.size(), kLines - left_out + 1);
    EXPECT_EQ(g_written.front(), "0");
    EXPECT_EQ(g_written.back(),
              "lines left out, the log was not read count=" + std::to_string(left_out));
}

}  // namespace
