#include "sys/rejoin_schedule.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Step = CTRejoinSchedule::Step;
constexpr int64_t kAnswered = CTRejoinSchedule::kAnswered;
constexpr int64_t kSince = 1000;  // a heartbeat was sent then, and no answer came
constexpr int64_t kDue = 61000;   // a minute later

class RejoinSchedule : public testing::Test {
  protected:
    RejoinSchedule() { schedule.SetAfter(60); }
    void Begin() { ASSERT_EQ(schedule.Look(kSince, kDue), Step::kJoin); }

    CTRejoinSchedule schedule;
};

TEST_F(RejoinSchedule, BeginsWhenASilenceLastsAsLongAsConfiguredUnlessThatIsNever) {
    EXPECT_EQ(schedule.Look(kAnswered, kDue), Step::kNone);
    EXPECT_EQ(schedule.Look(kSince, kDue - 1), Step::kNone);
    EXPECT_EQ(schedule.Look(kDue - 5, kDue), Step::kNone) << "another silence";
    EXPECT_EQ(schedule.Look(kSince, kDue), Step::kJoin);
    schedule.Joined();
    EXPECT_EQ(schedule.Look(kAnswered, kDue + 1), Step::kNone);
    EXPECT_EQ(schedule.Look(kDue + 2, kDue + 60001), Step::kNone);
    EXPECT_EQ(schedule.Look(kDue + 2, kDue + 60002), Step::kJoin);
    for (int never : {0, -1}) {
        CTRejoinSchedule idle;
        idle.SetAfter(never);
        EXPECT_EQ(idle.Look(kSince, INT64_MAX), Step::kNone);
    }
}

TEST_F(RejoinSchedule, TriesAgainAfterFiveSecondsDoublingToSixtyEachSpreadByAFifth) {
    std::set<int> shares;  // of the delay, in thousandths
    for (int round = 0; round < 50; ++round) {
        Begin();
        int64_t now = kDue;
        for (int delay : {5000, 10000, 20000, 40000, 60000, 60000}) {
            int spread = schedule.Failed(now);
            EXPECT_GE(spread, delay * 4 / 5);
            EXPECT_LE(spread, delay * 6 / 5);
            shares.insert(spread * 100 / delay);
            EXPECT_EQ(schedule.Look(kSince, now + spread - 1), Step::kNone);
            now += spread;
            EXPECT_EQ(schedule.Look(kSince, now), Step::kJoin);
        }
        schedule.Joined();
    }
    EXPECT_GT(shares.size(), 30u) << "of 41";
}

TEST_F(RejoinSchedule, AnAnswerEndsItBeforeTheLoginEvenIfNobodyLookedMeanwhile) {
    for (int64_t since : {kAnswered, kDue + 1}) {
        Begin();
        schedule.Failed(kDue);
        EXPECT_EQ(schedule.Look(since, kDue + 2), Step::kAnswered);
        EXPECT_EQ(schedule.Look(since, kDue + 20000), Step::kNone);
    }
    // And the next one begins with the short delay.
    Begin();
    EXPECT_LE(schedule.Failed(kDue), 6000);
}

TEST_F(RejoinSchedule, OnceTheLoginWasSentOnlyACompletedJoinEndsIt) {
    Begin();
    schedule.LoginSent();
    int64_t next = kDue + schedule.Failed(kDue);
    EXPECT_EQ(schedule.Look(kAnswered, next - 1), Step::kNone);
    EXPECT_EQ(schedule.Look(kAnswered, next), Step::kJoin);
    schedule.Failed(next);  // no echo this time
    EXPECT_EQ(schedule.Look(kAnswered, next + 12000), Step::kJoin);
    schedule.Joined();
    EXPECT_EQ(schedule.Look(kAnswered, next + 100000), Step::kNone);
}

}  // namespace
