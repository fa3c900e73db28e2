#include <gmock/gmock.h>
#include <netinet/udp.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <future>

#include "offload/grouped_receiver.h"
#include "offload/grouped_sender.h"
#include "tests/support/expect_wire.h"

namespace {

using testing::ElementsAre;

// A system that keeps the lengths of what it is handed, call by call, as "64x1400+900": segments of
// one size, and what the last call has left. It answers by the script, then takes everything.
struct ScriptedSystem {
    struct Answer {
        int groups;  // that the call takes; -1: none
        int error;
    };
    std::deque<Answer> script;
    std::vector<std::string> calls;
    std::vector<int> sent;  // datagrams by their first byte

    static ScriptedSystem* current;

    static uint16_t SegmentSize(const msghdr& msg) {
        uint16_t size = 0;
        msghdr parts = msg;
        for (cmsghdr* part = CMSG_FIRSTHDR(&parts); part; part = CMSG_NXTHDR(&parts, part)) {
            if (part->cmsg_level == SOL_UDP) memcpy(&size, CMSG_DATA(part), sizeof size);
        }
        return size;
    }
    static std::string Describe(const msghdr& msg) {
        std::string text = SegmentSize(msg) ? std::to_string(SegmentSize(msg)) + ":" : "";
        for (size_t i = 0; i < msg.msg_iovlen; ++i)
            text += (i ? "+" : "") + std::to_string(msg.msg_iov[i].iov_len);
        return text;
    }
    void Take(const msghdr& msg) {
        for (size_t i = 0; i < msg.msg_iovlen; ++i)
            sent.push_back(*static_cast<uint8_t*>(msg.msg_iov[i].iov_base));
    }
    int Answered(int offered) {
        if (script.empty()) return offered;
        Answer answer = script.front();
        script.pop_front();
        errno = answer.error;
        return std::min(answer.groups, offered);
    }
    static ssize_t SendMsg(int, const msghdr* msg, int) {
        current->calls.push_back(Describe(*msg));
        if (current->Answered(1) < 1) return -1;
        current->Take(*msg);
        return 1;
    }
    static int SendMany(int, mmsghdr* msgs, unsigned count, int) {
        std::string text;
        for (unsigned i = 0; i < count; ++i)
            text += (i ? " " : "") + Describe(msgs[i].msg_hdr);
        current->calls.push_back(text);
        int taken = current->Answered(static_cast<int>(count));
        for (int i = 0; i < taken; ++i)
            current->Take(msgs[i].msg_hdr);
        return taken;
    }
};
ScriptedSystem* ScriptedSystem::current = nullptr;

class GroupedSender : public testing::Test {
  protected:
    GroupedSender() {
        ScriptedSystem::current = &system;
        sender.Attach(1);
    }
    // Datagrams of these lengths; those of negative length go to another address.
    int Send(const std::vector<int>& lengths) {
        std::vector<WireBytes> bytes;
        std::vector<CTDatagram> datagrams;
        for (int length : lengths) {
            WireBytes content(static_cast<size_t>(std::abs(length)), 0);
            if (!content.empty()) content[0] = static_cast<uint8_t>(bytes.size());
            bytes.push_back(content);
        }
        for (size_t i = 0; i < bytes.size(); ++i) {
            datagrams.push_back({bytes[i].data(), static_cast<int>(bytes[i].size()),
                                 lengths[i] < 0 ? &other : &central});
        }
        return sender.Send(datagrams.data(), static_cast<int>(datagrams.size()));
    }
    static sockaddr_in Address(uint16_t port) {
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(port);
        return addr;
    }
    ScriptedSystem system;
    CTGroupedSender sender{{ScriptedSystem::SendMsg, ScriptedSystem::SendMany}};
    sockaddr_in central = Address(1);
    sockaddr_in other = Address(2);
};

TEST_F(GroupedSender, PutsEqualLengthsInOneCallAndEndsAGroupWithAShorterOne) {
    EXPECT_EQ(Send({132, 1400, 132, 1400, 132, 1400}), 6);
    EXPECT_EQ(Send({132, 132, 132, 1400, 1400, 900, 900}), 7);
    EXPECT_EQ(Send({100, 100, -100, -100}), 4);
    EXPECT_EQ(Send({100}), 1);
    EXPECT_THAT(system.calls, ElementsAre("132 1400:1400+132 1400:1400+132 1400",
                                          "132:132+132+132 1400:1400+1400+900 900",
                                          "100:100+100 100:100+100", "100"));
    EXPECT_THAT(system.sent,
                testing::ElementsAre(0, 1, 2, 3, 4, 5, 0, 1, 2, 3, 4, 5, 6, 0, 1, 2, 3, 0));
}

TEST_F(GroupedSender, KeepsToTheLimitsOfTheSystem) {
    EXPECT_EQ(Send(std::vector<int>(100, 64)), 100);
    EXPECT_EQ(Send(std::vector<int>(60, 1400)), 60);
    ASSERT_EQ(system.calls.size(), 2u);
    EXPECT_EQ(std::count(system.calls[0].begin(), system.calls[0].end(), '+'), 63 + 35);
    EXPECT_EQ(std::count(system.calls[1].begin(), system.calls[1].end(), '+'), 45 + 13);
}

TEST_F(GroupedSender, GoesOnBehindWhatWasSent) {
    system.script = {{1, 0}, {-1, EINTR}, {1, 0}};
    EXPECT_EQ(Send({50, 60, 70, 80}), 4);
    EXPECT_THAT(system.calls, ElementsAre("50 60 70 80", "60 70 80", "60 70 80", "70 80"));
}

TEST_F(GroupedSender, ARefusedDatagramCostsNobodyElse) {
    system.script = {{2, 0}, {-1, EPERM}};
    EXPECT_EQ(Send({50, 60, 70, 80}), 3);
    EXPECT_THAT(system.sent, ElementsAre(0, 1, 3));
    system.script = {{-1, ENOBUFS}, {1, 0}, {-1, ENOBUFS}};  // of a group, the second alone
    EXPECT_EQ(Send({50, 50, 50}), 2);
    EXPECT_EQ(sender.GetSegmentsRefused(), 0u) << "no buffers is no refusal";
}

TEST_F(GroupedSender, WhatTheSystemRefusesIsNotAskedAgain) {
    system.script = {{-1, EIO}};
    EXPECT_EQ(Send({100, 100, 100}), 3);
    EXPECT_EQ(Send({100, 100}), 2);
    system.script = {{-1, ENOSYS}};
    EXPECT_EQ(Send({100, 100}), 2);
    EXPECT_EQ(Send({100, 100}), 2);
    EXPECT_THAT(system.calls, ElementsAre("100:100+100+100", "100", "100", "100", "100 100",
                                          "100 100", "100", "100", "100", "100"));
    EXPECT_EQ(sender.GetSegmentsRefused(), 1u);
}

TEST_F(GroupedSender, AnAddressThatIsRefusedIsNotTheSystem) {
    system.script = {{-1, EINVAL}, {-1, EINVAL}, {-1, EINVAL}};
    EXPECT_EQ(Send({100, 100}), 0);
    EXPECT_EQ(Send({100, 100}), 2);
    EXPECT_EQ(system.calls.back(), "100:100+100");
}

TEST(GroupedReceiver, TakesWhatWasSentInGroupsDatagramByDatagram) {
    constexpr uint32_t kFrom = 0x7F000009;  // another address of this host
    int in = socket(AF_INET, SOCK_DGRAM, 0);
    int out = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof addr;
    ASSERT_EQ(bind(in, reinterpret_cast<sockaddr*>(&addr), size), 0);
    ASSERT_EQ(getsockname(in, reinterpret_cast<sockaddr*>(&addr), &size), 0);
    CTGroupedReceiver receiver;
    CTGroupedSender sender;
    receiver.Attach(in);
    sender.Attach(out);
    EXPECT_EQ(receiver.Receive(), 0);
    EXPECT_EQ(receiver.Receive(1), 0) << "a wait that ends";
    EXPECT_EQ(receiver.Receive(0), 0);
    EXPECT_TRUE(receiver.IsDrained());

    std::vector<WireBytes> datagrams;
    std::vector<CTDatagram> burst;
    for (size_t length : {132u, 132u, 132u, 1400u, 1400u, 900u, 1u, 0u, 60000u})
        datagrams.push_back(WireBytes(length, static_cast<uint8_t>(length)));
    for (WireBytes& bytes : datagrams)
        burst.push_back({bytes.data(), static_cast<int>(bytes.size()), &addr, kFrom});
    EXPECT_EQ(sender.Send(burst.data(), static_cast<int>(burst.size())), 9);

    std::vector<WireBytes> received;
    CTReceivedDatagram datagram;
    while (receiver.Receive() > 0) {
        while (receiver.Next(datagram)) {
            received.emplace_back(datagram.data, datagram.data + datagram.length);
            EXPECT_EQ(ntohl(datagram.from->sin_addr.s_addr), kFrom);
            EXPECT_EQ(datagram.to, INADDR_LOOPBACK);
            EXPECT_FALSE(datagram.was_cut);
        }
    }
    EXPECT_EQ(received, datagrams);
    EXPECT_LT(sender.GetCalls(), 3u);

    // More than a call takes in, of different sizes; the first wait ends with the first of them.
    constexpr int kMore = CTGroupedReceiver::kMessages + 1;
    auto sending = std::async(std::launch::async, [&] {
        for (int i = 0; i < kMore; ++i) {
            CTDatagram one = {datagrams[0].data(), i + 1, &addr, 0};
            EXPECT_EQ(sender.Send(&one, 1), 1);
        }
    });
    EXPECT_GT(receiver.Receive(10000), 0);
    int count = 0;
    while (receiver.Next(datagram))
        ++count;
    sending.get();
    EXPECT_EQ(receiver.Receive(10000), kMore - count);
    EXPECT_EQ(receiver.IsDrained(), count > 1);
    close(in);
    close(out);
    EXPECT_EQ(receiver.Receive(), -1);
}

}  // namespace
