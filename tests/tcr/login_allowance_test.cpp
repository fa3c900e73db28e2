#include "tcr/login_allowance.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kGuesser = 0x0A000001;
constexpr uint32_t kOther = 0x0A000002;
constexpr int64_t kStart = int64_t{1} << 40;

// Tries logins that fail, as fast as they are looked at; how many were.
int Guesses(TcrLoginAllowance& allowance, uint32_t ip, int64_t from, int64_t until) {
    int looked_at = 0;
    for (int64_t now = from; now < until; ++now) {
        if (!allowance.Allows(ip, now)) continue;
        allowance.Failed(ip, now);
        ++looked_at;
    }
    return looked_at;
}

TEST(TcrLoginAllowance, IsFiveAtOnceAndOneASecondForEachAddress) {
    TcrLoginAllowance allowance;
    EXPECT_EQ(Guesses(allowance, kGuesser, kStart, kStart + 10), 5);
    EXPECT_TRUE(allowance.Allows(kOther, kStart + 10));
    EXPECT_EQ(Guesses(allowance, kGuesser, kStart + 10, kStart + 60'000), 59);
    // Whole again after five quiet seconds, and no more than whole after an hour.
    EXPECT_EQ(Guesses(allowance, kGuesser, kStart + 3'600'000, kStart + 3'600'010), 5);
}

TEST(TcrLoginAllowance, FailuresInFlightDoNotShutAnAddressOutForLonger) {
    TcrLoginAllowance allowance;
    for (int i = 0; i < 1000; ++i)
        allowance.Failed(kGuesser, kStart);
    EXPECT_FALSE(allowance.Allows(kGuesser, kStart + TcrLoginAllowance::kRefillMs - 1));
    EXPECT_TRUE(allowance.Allows(kGuesser, kStart + TcrLoginAllowance::kRefillMs));
}

TEST(TcrLoginAllowance, AFullTableForgetsTheOldestAndAnIdleOneIsSmall) {
    TcrLoginAllowance allowance;
    for (int i = 0; i < TcrLoginAllowance::kBurst; ++i) {
        allowance.Failed(kGuesser, kStart);
        allowance.Failed(kOther, kStart);
    }
    allowance.Failed(kGuesser, kStart + 1);  // now the other's last failure is the oldest
    for (uint32_t i = 0; i < TcrLoginAllowance::kMaxAddresses - 1; ++i)
        allowance.Failed(0x0B000000 + i, kStart + 2);
    EXPECT_EQ(allowance.Count(), TcrLoginAllowance::kMaxAddresses);
    EXPECT_TRUE(allowance.Allows(kOther, kStart + 2));
    EXPECT_FALSE(allowance.Allows(kGuesser, kStart + 2));
    allowance.Failed(kOther, kStart + 3'600'000);
    EXPECT_EQ(allowance.Count(), 1u);
}

}  // namespace
