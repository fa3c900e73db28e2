#include "ops/json_reply.h"

#include <gtest/gtest.h>

#include <limits>

#include "ops/traffic.h"

namespace {

TEST(CleanText, KeepsUtf8AndReplacesEveryOtherByte) {
    const std::string fffd = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> kCases[] = {
        {"plain \"text\"\n\x1b[0m\x7f", "plain \"text\"\n\x1b[0m\x7f"},
        {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"\xFF", fffd},
        {"a\xC3", "a" + fffd},                            // cut
        {"\xE2\x82z", fffd + fffd + "z"},                 // cut by another character
        {"\xC0\xAF", fffd + fffd},                        // a short character in two bytes
        {"\xE0\x80\xAF", fffd + fffd + fffd},             // in three
        {"\xED\xA0\x80", fffd + fffd + fffd},             // half of a pair of UTF-16
        {"\xF4\x90\x80\x80", fffd + fffd + fffd + fffd},  // beyond the last character
        {"\x80\xBF", fffd + fffd},
        {"", ""},
    };
    for (const auto& [text, clean] : kCases)
        EXPECT_EQ(control_clean_text(text), clean);
}

TEST(JsonReply, WritesNumbersExactlyAndTextsThatAnyReaderTakes) {
    CTJsonTree root(cJSON_CreateObject());
    control_add_count(root.get(), "count", std::numeric_limits<uint64_t>::max());
    control_add_number(root.get(), "number", std::numeric_limits<int64_t>::min());
    control_add_decimal(root.get(), "decimal", 1.0 / 3, 3);
    control_add_decimal(root.get(), "nothing", std::numeric_limits<double>::quiet_NaN(), 1);
    control_add_decimal(root.get(), "huge", std::numeric_limits<double>::max(), 1);
    control_add_seconds(root.get(), "seconds", -1500);
    control_add_text(root.get(), "text", std::string_view("a\"\\\n\x01\xFF\0b", 8));
    control_add_known_text(root.get(), "none", "");
    control_add_flag(root.get(), "flag", true);
    control_append_object(control_add_array(root.get(), "list"));
    std::string json = control_print(root.get());
    json.erase(json.find("1797693134"), 309);
    EXPECT_EQ(json,
              R"({"count":18446744073709551615,"number":-9223372036854775808,"decimal":0.333,)"
              R"("nothing":null,"huge":.0,"seconds":-1.500,"text":"a\"\\\n\u0001)"
              "\xEF\xBF\xBD"
              R"(","none":null,"flag":true,"list":[{}]})");
}

TEST(JsonReply, WithoutAParentNothingHappens) {
    control_add_count(nullptr, "count", 1);
    control_add_text(control_add_object(nullptr, "object"), "text", "text");
    control_add_text(control_append_object(control_add_array(nullptr, "array")), "text", "text");
    EXPECT_EQ(control_print(nullptr), "");
}

TEST(TrafficWindow, IsTheMeanOfTheLastFiveSeconds) {
    CTTrafficWindow window;
    EXPECT_EQ(window.Rate(1000, {5, 500}).bytes_per_second, 0) << "not watched yet";
    window.Sample(1000, {5, 500});
    EXPECT_EQ(window.Rate(1000, {9, 900}).bytes_per_second, 0) << "no time has passed";
    EXPECT_EQ(window.Rate(1500, {9, 900}).bytes_per_second, 800);
    EXPECT_EQ(window.Rate(1500, {9, 900}).packets_per_second, 8);
    for (int64_t second = 2; second <= 10; ++second)
        window.Sample(second * 1000, {5, 500});
    EXPECT_EQ(window.Rate(11000, {55, 1000}).packets_per_second, 10)
        << "5 seconds since the oldest";
    EXPECT_EQ(window.Rate(11000, {4, 400}).bytes_per_second, 0) << "something else began anew";
}

}  // namespace
