#include "base/pvu_watchdog.h"

#include <gtest/gtest.h>

#include "base/pvu_service.h"
#include "tests/support/event_capture.h"
#include "tests/support/notify_socket.h"

namespace {

TEST(Service, ToldNothingWithoutAManagerAndInOneLineWithOne) {
    EXPECT_FALSE(pvu_service_is_managed());
    EXPECT_EQ(pvu_service_watchdog_ms(), 0u);
    pvu_service_ready();
    NotifySocket manager(30000);
    EXPECT_TRUE(pvu_service_is_managed());
    EXPECT_EQ(pvu_service_watchdog_ms(), 30000u);
    pvu_service_status("joined\nMAINPID=1");
    EXPECT_EQ(manager.Next(), "STATUS=joined?MAINPID=1");
    pvu_service_ready();
    EXPECT_EQ(manager.Next(), "READY=1");
}

TEST(Watchdog, IsFedThreeTimesInItsIntervalForAsLongAsEveryThreadHasAPulse) {
    NotifySocket manager;
    EventCapture events;
    CTWatchdog watchdog;
    CTPulse first;
    CTPulse second;
    watchdog.Watch("first", first);
    watchdog.Watch("second", second);
    uint64_t now = 1000000;
    watchdog.Start(now, 3000);
    EXPECT_EQ(manager.Next(), "WATCHDOG=1");
    auto is_fed_after = [&](uint64_t ms) {
        watchdog.Look(now += ms);
        return manager.Next(0) == "WATCHDOG=1";
    };
    EXPECT_FALSE(is_fed_after(999));
    EXPECT_TRUE(is_fed_after(1)) << "threads that have not begun rest";
    first.Beat();
    second.Beat();
    EXPECT_TRUE(is_fed_after(1000));
    first.Beat();
    EXPECT_FALSE(is_fed_after(1000)) << "the second stands still";
    EXPECT_EQ(events.Lines(), std::vector<std::string>{"E thread stands still thread=second"});
    // Not so while the looking thread itself makes it wait, nor right after that.
    watchdog.LookAlone(now += 1000);
    EXPECT_EQ(manager.Next(0), "WATCHDOG=1");
    first.Rest();
    second.Beat();
    EXPECT_TRUE(is_fed_after(1000));
    second.Rest();
    EXPECT_TRUE(is_fed_after(1000)) << "both wait for something to come";

    CTWatchdog unasked;
    unasked.Start(now, 0);
    unasked.Look(now + 100000);
    EXPECT_EQ(manager.Next(0), "");
}

}  // namespace
