#include "tcr/next_announcement.h"

#include <gtest/gtest.h>

#include "sstp/sstp_message.h"

namespace {

constexpr int kEdge = 0;

TcrDevices Devices(uint32_t first, uint32_t count) {
    TcrDevices devices;
    for (uint32_t i = 0; i < count; ++i)
        devices.push_back({first + i, {}});
    return devices;
}

// What one edge is sent about others, each command acknowledged.
class NextAnnouncement : public testing::Test {
  protected:
    NextAnnouncement() { NoRefresh(); }
    // Refreshing is due in a while.
    void NoRefresh() {
        for (TcrPeerView& view : topology.views)
            view.refresh_at = now + TcrTopology::kRefreshMs;
    }
    // The router is seen with these devices, and the edge has it so.
    void Has(int slot, const TcrDevices& devices) {
        roster.entries[slot] = {true, 1, devices};
        TcrPeerView& view = topology.views[slot];
        view.may_know = true;
        view.sure_version = 1;
        view.may_devices = devices;
        view.sure_devices = devices;
    }
    // The sub type of the next one, and the slot that it is about.
    std::pair<int, int> Next() {
        last = tcr_next_announcement(roster, topology, kEdge, now);
        if (last.sub_type == 0) return {0, 0};
        last.seq = last_seq = topology.NextSeq();
        topology.pending = TcrPendingAnnouncement();
        topology.pending.what = last;
        topology.Sent(last, roster);
        topology.Acknowledged();
        return {last.sub_type, last.slot};
    }
    std::vector<std::pair<int, int>> All() {
        std::vector<std::pair<int, int>> all;
        for (auto next = Next(); next.first != 0 && all.size() < 20; next = Next())
            all.push_back(next);
        return all;
    }

    TcrRoster roster;
    TcrTopology topology;
    TcrAnnouncement last;
    uint16_t last_seq = 0;
    TcrTime now = 1'000'000;
};

using Steps = std::vector<std::pair<int, int>>;

// Slot 1 has something new, 2 is new, 3 lost a device, 4 is gone: the other way round than slots.
TEST_F(NextAnnouncement, TakesEverythingBackBeforeItAddsAnything) {
    for (int slot : {1, 3, 4})
        Has(slot, Devices(static_cast<uint32_t>(100 * slot), 2));
    roster.entries[1].devices = Devices(100, 3);
    roster.entries[2] = {true, 1, Devices(301, 1)};
    roster.entries[3].devices = Devices(300, 1);
    roster.entries[4] = {};
    EXPECT_EQ(All(), (Steps{{kSstpCmmDelRouter, 4},
                            {kSstpCmmDelDevice, 3},
                            {kSstpCmmAddRouter, 2},
                            {kSstpCmmAddDevice, 1},
                            {kSstpCmmAddDevice, 2}}));
}

TEST_F(NextAnnouncement, AnEndOfManyDevicesTakesSeveralMessages) {
    Has(1, Devices(1, 40));
    roster.entries[1].devices.clear();
    EXPECT_EQ(Next().first, kSstpCmmDelDevice);
    EXPECT_EQ(last.devices, Devices(1, 32));
    EXPECT_EQ(Next().first, kSstpCmmDelDevice);
    EXPECT_EQ(last.devices, Devices(33, 8));
    EXPECT_EQ(Next().first, 0);
}

// A device del would hit the router to which the address leads, whichever that is.
TEST_F(NextAnnouncement, AnAddressThatTwoMayHoldIsTakenBackWithItsRouterAndRestoredAtTheOther) {
    Has(1, Devices(7, 1));
    Has(2, Devices(7, 1));
    roster.entries[1].devices.clear();
    EXPECT_EQ(All(), (Steps{{kSstpCmmAddRouter, 1}, {kSstpCmmAddDevice, 2}}));
}

TEST_F(NextAnnouncement, AnEdgeOfWhichNothingIsSureHasAllTakenBackAndAddedInABoundedNumber) {
    Has(1, Devices(100, 2));
    Has(2, Devices(200, 2));
    topology.Forget();
    NoRefresh();
    Steps steps = All();
    ASSERT_EQ(steps.size(), 13u + 2u + 2u);
    for (size_t i = 0; i < 13; ++i)
        EXPECT_EQ(steps[i], std::pair(int{kSstpCmmDelRouter}, static_cast<int>(i) + 3));
    EXPECT_EQ(Steps(steps.begin() + 13, steps.end()), (Steps{{kSstpCmmAddRouter, 1},
                                                             {kSstpCmmAddRouter, 2},
                                                             {kSstpCmmAddDevice, 1},
                                                             {kSstpCmmAddDevice, 2}}));
}

TEST_F(NextAnnouncement, ASecondAcknowledgementOfAnyKindHasTheRouterAnnouncedAnew) {
    Has(1, Devices(100, 2));
    auto again = [&](uint8_t sub_type, uint8_t next) {
        ASSERT_EQ(Next().first, sub_type);
        EXPECT_EQ(Next().first, 0);
        EXPECT_TRUE(topology.AcknowledgedAgain(sub_type, last_seq, now));
        topology.Elapse(roster, kEdge, now);
        EXPECT_EQ(All().front(), std::pair(int{next}, 1));
        now += TcrTopology::kRefreshMs - 1;  // the next one is renewed at once, too
        NoRefresh();
        topology.views[1].confirm_at = 0;
    };
    roster.entries[1].devices = Devices(100, 1);
    again(kSstpCmmDelDevice, kSstpCmmAddRouter);
    roster.entries[1].devices = Devices(100, 2);
    again(kSstpCmmAddDevice, kSstpCmmAddRouter);
    roster.entries[1] = {};
    again(kSstpCmmDelRouter, kSstpCmmDelRouter);
    roster.entries[1] = {true, 2, {}};
    again(kSstpCmmAddRouter, kSstpCmmAddRouter);
    EXPECT_FALSE(topology.AcknowledgedAgain(kSstpCmmAddRouter, topology.NextSeq() + 1, now));
}

// The two acknowledgements may have overtaken each other.
TEST_F(NextAnnouncement, ADeviceAddIsNotSureWhenALateEndIsAcknowledgedWhileItIsUnderWay) {
    Has(1, Devices(100, 2));
    roster.entries[1].devices = Devices(100, 1);
    ASSERT_EQ(Next().first, kSstpCmmDelDevice);
    uint16_t end_seq = last_seq;
    roster.entries[1].devices = Devices(100, 2);
    TcrAnnouncement add = tcr_next_announcement(roster, topology, kEdge, now);
    add.seq = topology.NextSeq();
    topology.pending = TcrPendingAnnouncement();
    topology.pending.what = add;
    topology.Sent(add, roster);
    EXPECT_TRUE(topology.AcknowledgedAgain(kSstpCmmDelDevice, end_seq, now));
    topology.Acknowledged();
    EXPECT_EQ(Next().first, kSstpCmmAddDevice);
}

// The device add that follows a router add arrives behind the next router add, which took a device
// of it back, and the acknowledgements overtake each other, too.
TEST_F(NextAnnouncement, ADeviceThatALateCommandMayHaveAddedIsTakenBackOnceMore) {
    Has(1, Devices(100, 1));
    TcrAnnouncement ahead{.sub_type = kSstpCmmAddDevice, .slot = 1, .ahead = true};
    ahead.seq = topology.NextSeq();
    ahead.devices = Devices(100, 2);
    topology.Sent(ahead, roster);
    TcrAnnouncement router = tcr_next_announcement(roster, topology, kEdge, now);
    ASSERT_EQ(router.sub_type, kSstpCmmAddRouter);
    router.seq = topology.NextSeq();
    topology.pending.what = router;
    topology.Sent(router, roster);
    EXPECT_TRUE(topology.AcknowledgedAgain(kSstpCmmAddDevice, ahead.seq, now));
    topology.Acknowledged();
    EXPECT_EQ(All(), (Steps{{kSstpCmmAddRouter, 1}, {kSstpCmmAddDevice, 1}}));
}

// On a road that doubles everything each renewal is acknowledged twice and asks for the next.
TEST_F(NextAnnouncement, RenewalsComeAfterPausesThatGrow) {
    Has(1, Devices(100, 1));
    roster.entries[1].version = 2;
    int router_adds = 0;
    for (TcrTime end = now + 600'000; now < end; now += 100) {
        topology.Elapse(roster, kEdge, now);
        auto [sub_type, slot] = Next();
        if (sub_type == 0) continue;
        router_adds += sub_type == kSstpCmmAddRouter;
        topology.AcknowledgedAgain(last.sub_type, last.seq, now);
    }
    EXPECT_GT(router_adds, 5);
    EXPECT_LT(router_adds, 15);
}

}  // namespace
