#include "seal/seal_session.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "seal/seal_cookies.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Step = CTSealSession::Step;

// Two ends, and the datagrams between them.
class SealSession : public testing::Test {
  protected:
    void SetUp() override {
        std::string fault;
        ASSERT_TRUE(m_edge_key.Make(fault)) << fault;
        ASSERT_TRUE(m_router_key.Make(fault)) << fault;
    }
    void Start(CTSealSession::Judge of_edge, CTSealSession::Judge of_router) {
        ASSERT_TRUE(m_edge.Start(CTSealSession::Role::kEdge, m_edge_key, of_edge));
        ASSERT_TRUE(m_router.Start(CTSealSession::Role::kCentralRouter, m_router_key, of_router));
    }
    static CTSealSession::Sender To(std::deque<Bytes>& queue) {
        return [&queue](const uint8_t* data, int length) {
            queue.emplace_back(data, data + length);
            EXPECT_LE(length, CTSealSession::kMaxRecord);
        };
    }
    // Both ends' last steps.
    std::pair<Step, Step> Shake() {
        Step edge = m_edge.Advance(nullptr, 0, To(m_to_router));
        Step router = Step::kGoesOn;
        for (int i = 0; i < 20 && (!m_to_router.empty() || !m_to_edge.empty()); ++i) {
            for (; !m_to_router.empty() && router == Step::kGoesOn; m_to_router.pop_front())
                router =
                    m_router.Advance(m_to_router.front().data(),
                                     static_cast<int>(m_to_router.front().size()), To(m_to_edge));
            for (; !m_to_edge.empty() && edge == Step::kGoesOn; m_to_edge.pop_front())
                edge = m_edge.Advance(m_to_edge.front().data(),
                                      static_cast<int>(m_to_edge.front().size()), To(m_to_router));
        }
        return {edge, router};
    }
    Bytes Sealed(CTSealSession& from, const std::string& text) {
        Bytes record(CTSealSession::kMaxRecord);
        int length = from.Seal(reinterpret_cast<const uint8_t*>(text.data()),
                               static_cast<int>(text.size()), record.data());
        record.resize(static_cast<size_t>(length));
        return record;
    }
    std::string Opened(CTSealSession& at, Bytes record) {
        int length = at.Open(record.data(), static_cast<int>(record.size()), nullptr);
        return std::string(reinterpret_cast<char*>(record.data()), static_cast<size_t>(length));
    }

    CTSealKey m_edge_key;
    CTSealKey m_router_key;
    CTSealSession m_edge;
    CTSealSession m_router;
    std::deque<Bytes> m_to_edge;
    std::deque<Bytes> m_to_router;
};

TEST_F(SealSession, CarriesWhatBothEndsSealAndKnowsTheOther) {
    Start(nullptr, nullptr);
    ASSERT_EQ(Shake(), std::pair(Step::kDone, Step::kDone))
        << m_edge.GetFault() << m_router.GetFault();
    EXPECT_EQ(*m_edge.GetPeer(), m_router_key.GetFingerprint());
    EXPECT_EQ(*m_router.GetPeer(), m_edge_key.GetFingerprint());
    EXPECT_EQ(Opened(m_router, Sealed(m_edge, "there")), "there");
    EXPECT_EQ(Opened(m_edge, Sealed(m_router, "and back")), "and back");
    std::string longest(CTSealSession::kMaxMessage, 'x');
    EXPECT_EQ(Opened(m_router, Sealed(m_edge, longest)), longest);
    EXPECT_EQ(Sealed(m_edge, longest + "x").size(), 0u);
}

TEST_F(SealSession, DropsWhatWasChangedRepeatedOrCut) {
    Start(nullptr, nullptr);
    ASSERT_EQ(Shake(), std::pair(Step::kDone, Step::kDone));
    Bytes record = Sealed(m_edge, "once");
    for (size_t i = 0; i < record.size(); ++i) {
        Bytes changed = record;
        changed[i] ^= 1;
        EXPECT_EQ(Opened(m_router, changed), "") << "byte " << i;
        EXPECT_EQ(Opened(m_router, Bytes(record.begin(), record.begin() + static_cast<long>(i))),
                  "");
    }
    EXPECT_EQ(Opened(m_router, record), "once");
    EXPECT_EQ(Opened(m_router, record), "") << "a second time";
    EXPECT_EQ(Opened(m_router, Sealed(m_edge, "next")), "next");
    EXPECT_EQ(Opened(m_edge, Sealed(m_edge, "mine")), "") << "back to its sender";
}

TEST_F(SealSession, EndsWhenTheOtherKeyIsNotWanted) {
    Start([](const CTSealFingerprint&) { return false; }, nullptr);
    auto [edge, router] = Shake();
    EXPECT_EQ(edge, Step::kFailed);
    EXPECT_NE(router, Step::kDone);
    EXPECT_NE(m_edge.GetFault().find(m_router_key.GetFingerprint().Text()), std::string::npos);
}

}  // namespace
