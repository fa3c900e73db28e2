#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "bench/report/print.h"

namespace {

using testing::HasSubstr;

BenchSamples Samples(const std::string& lines) {
    BenchSamples samples;
    std::istringstream in(lines);
    std::string fault;
    EXPECT_TRUE(samples.Read(in, fault)) << fault;
    return samples;
}

const BenchVerdict* Find(const std::vector<BenchVerdict>& verdicts, const std::string& links,
                         const std::string& measure, const std::string& against) {
    for (const BenchVerdict& verdict : verdicts) {
        const BenchAim& aim = verdict.aim;
        if (aim.links == links && aim.measure == measure && aim.against == against) return &verdict;
    }
    ADD_FAILURE() << "no aim for " << links << " " << measure << " " << against;
    return nullptr;
}

TEST(BenchReport, NamesTheLineThatIsNoSample) {
    for (const char* line : {"on 1 tamvo tcp1", "on 1 tamvo tcp1 fast", "on 1 tamvo tcp1 1 2",
                             "on x tamvo tcp1 1", "on 1 tamvo tcp1 nan", ""}) {
        BenchSamples samples;
        std::istringstream in(std::string("on 1 floor tcp1 800\n") + line + "\n");
        std::string fault;
        EXPECT_FALSE(samples.Read(in, fault)) << line;
        EXPECT_THAT(fault, HasSubstr("line 2"));
    }
}

TEST(BenchReport, MediansAndSpreadDoNotDependOnTheOrder) {
    EXPECT_EQ(BenchMedian({3}), 3);
    EXPECT_EQ(BenchMedian({9, 1, 5}), 5);
    EXPECT_EQ(BenchMedian({8, 1, 2, 4}), 3);
    EXPECT_EQ(BenchSpread({8, 1, 2}), 3.5);
}

TEST(BenchReport, HoldsTheRatioOfMediansAgainstTheAim) {
    BenchSamples samples = Samples(
        "on 1 floor tcp1 100\non 2 floor tcp1 900\non 3 floor tcp1 200\n"
        "on 1 tamvo tcp1 800\non 2 tamvo tcp1 1\non 3 tamvo tcp1 850\n"
        "on 1 floor rtt.idle 100\non 1 tamvo rtt.idle 111\n"
        "off 1 floor tcp1 100\noff 1 tamvo tcp1 139\n"
        "on 1 tamvo memory 32\non 1 fastd tcp1 801\n");
    std::vector<BenchVerdict> verdicts = JudgeBench(samples);
    EXPECT_EQ(Find(verdicts, "on", "tcp1", "floor")->value, 4.0);
    EXPECT_TRUE(Find(verdicts, "on", "tcp1", "floor")->Holds());
    EXPECT_FALSE(Find(verdicts, "on", "rtt.idle", "floor")->Holds());
    EXPECT_FALSE(Find(verdicts, "off", "tcp1", "floor")->Holds());
    EXPECT_TRUE(Find(verdicts, "on", "memory", "")->Holds());
    EXPECT_FALSE(Find(verdicts, "on", "tcp1", "fastd")->Holds());
    EXPECT_EQ(Find(verdicts, "on", "both", "floor")->value, std::nullopt);
}

// An aim of the open mode is none of the sealed one's, whatever they are held against.
TEST(BenchReport, HoldsTheSealedModeAgainstTheOpenOneAndThePeersThatEncrypt) {
    BenchSamples samples = Samples(
        "on 1 tamvo tcp1 1000\non 1 sealed tcp1 390\non 1 openvpn-gcm tcp1 380\n"
        "on 1 tinc-aes tcp1 400\non 1 tamvo rtt.idle 100\non 1 sealed rtt.idle 124\n");
    std::vector<BenchVerdict> verdicts = JudgeBench(samples);
    EXPECT_EQ(Find(verdicts, "on", "tcp1", "tamvo")->value, 0.39);
    EXPECT_FALSE(Find(verdicts, "on", "tcp1", "tamvo")->Holds());
    EXPECT_TRUE(Find(verdicts, "on", "tcp1", "openvpn-gcm")->Holds());
    EXPECT_FALSE(Find(verdicts, "on", "tcp1", "tinc-aes")->Holds());
    EXPECT_TRUE(Find(verdicts, "on", "rtt.idle", "tamvo")->Holds());
    EXPECT_EQ(Find(verdicts, "on", "tcp1", "floor")->value, std::nullopt);
    EXPECT_EQ(BenchVerdictText(*Find(verdicts, "on", "tcp1", "tamvo")),
              "TCP, one stream, sealed: 0.39 of tamvo, aim is at least 0.4");
    std::ostringstream table;
    PrintBenchTable(table, samples, verdicts);
    EXPECT_THAT(table.str(), testing::Not(HasSubstr("Tamvo and its floor")));
    EXPECT_THAT(table.str(), testing::ContainsRegex(
                                 "TCP, one stream +Mbit/s +1000 +390 +0.39 +>= 0.4 MISSED\n"));
    EXPECT_THAT(table.str(), testing::ContainsRegex("openvpn-gcm +\\+- +tinc-aes +\\+-\n"));
    std::ostringstream chart;
    EXPECT_TRUE(PrintBenchChart(chart, samples, "on"));
    EXPECT_THAT(chart.str(), HasSubstr("measure sealed openvpn-gcm tinc-aes\n"
                                       "\"TCP, one stream\" 0.39 0.38 0.4\n"));
}

TEST(BenchReport, ShowsEveryFigureInTableJsonAndChart) {
    BenchSamples samples = Samples(
        "on 1 floor tcp1 800\non 2 floor tcp1 900\non 1 tamvo tcp1 612\non 1 tinc tcp1 425\n");
    std::vector<BenchVerdict> verdicts = JudgeBench(samples);
    std::ostringstream table;
    PrintBenchTable(table, samples, verdicts);
    EXPECT_THAT(table.str(), testing::ContainsRegex(
                                 "TCP, one stream +Mbit/s +850 +6 % +612 +0.72 +>= 4 MISSED\n"));
    EXPECT_THAT(table.str(), testing::ContainsRegex("TCP, one stream +Mbit/s +425\n"));
    EXPECT_THAT(table.str(), testing::Not(HasSubstr("without UDP segmentation")));
    std::ostringstream json;
    PrintBenchJson(json, samples, verdicts);
    EXPECT_THAT(json.str(), HasSubstr("\"median\": 850, \"spread\": 50, \"values\": [800, 900]"));
    std::ostringstream chart;
    EXPECT_TRUE(PrintBenchChart(chart, samples, "on"));
    EXPECT_THAT(chart.str(), HasSubstr("measure tamvo tinc\n\"TCP, one stream\" 0.72 0.5\n"));
    EXPECT_FALSE(PrintBenchChart(chart, samples, "off"));
}

}  // namespace
