#include "ops/metrics_text.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(VisibleText, ShowsWhatATerminalWouldObey) {
    EXPECT_EQ(control_visible_text("edge-\xC3\xA9 <b>\"x\"</b>"), "edge-\xC3\xA9 <b>\"x\"</b>");
    EXPECT_EQ(control_visible_text("\x1b[2J\n\x7f\\x"), "\\x1b[2J\\x0a\\x7f\\x5cx");
    EXPECT_EQ(control_visible_text("\xC2\x9B"
                                   "31m\xC2\xA0\xFF"),
              "\\x9b"
              "31m\xC2\xA0\xEF\xBF\xBD");
    EXPECT_EQ(control_visible_text("\xC2"), "\xEF\xBF\xBD");
}

TEST(MetricsText, IsOfTheFormatWhateverTheLabelsHold) {
    CTMetricsText text({{"interface", "Tamvo"}});
    text.Family("tamvo_x_total", "counter", "What x is.");
    text.Count(18446744073709551615u);
    text.Count(3, {{"label", "a\"b\\c\n\x1b"}, {"serial", "7"}});
    text.Family("tamvo_y", "gauge", "What y is.");
    text.Value(0.000123);
    text.Value(std::nan(""));
    text.Value(INFINITY, {{"a", "b"}});
    EXPECT_EQ(
        text.Text(),
        "# HELP tamvo_x_total What x is.\n"
        "# TYPE tamvo_x_total counter\n"
        "tamvo_x_total{interface=\"Tamvo\"} 18446744073709551615\n"
        "tamvo_x_total{interface=\"Tamvo\",label=\"a\\\"b\\\\x5cc\\\\x0a\\\\x1b\",serial=\"7\"}"
        " 3\n"
        "# HELP tamvo_y What y is.\n"
        "# TYPE tamvo_y gauge\n"
        "tamvo_y{interface=\"Tamvo\"} 0.000123\n");
    CTMetricsText plain;
    plain.Family("z", "gauge", "Z.");
    plain.Count(1);
    plain.Count(1, {{"l", ""}});
    EXPECT_EQ(plain.Text(), "# HELP z Z.\n# TYPE z gauge\nz 1\nz{l=\"\"} 1\n");
}

}  // namespace
