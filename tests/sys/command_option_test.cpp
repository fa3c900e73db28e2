#include "sys/command_option.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/captured_output.h"

namespace {

void Parse(CTsdwCommandOption& option, std::vector<std::string> args) {
    args.insert(args.begin(), "tamvo");
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    testing::internal::CaptureStderr();  // getopt's own complaints
    EXPECT_EQ(option.Parse(static_cast<int>(args.size()), argv.data()), 0);
    testing::internal::GetCapturedStderr();
}

// "vhic" for the flags that are set.
std::string FlagsOf(const std::vector<std::string>& args) {
    CTsdwCommandOption option;
    Parse(option, args);
    return std::string(option.IsVersion() ? "v" : "") + (option.IsHelp() ? "h" : "") +
           (option.IsTerminal() ? "i" : "") + (option.IsConfig() ? "c" : "");
}

TEST(CommandOption, KnowsShortAndLongFormsAndGivesHelpForTheRest) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, ""},
        {{"-v"}, "v"},
        {{"--version"}, "v"},
        {{"-h"}, "h"},
        {{"--help"}, "h"},
        {{"-?"}, "h"},
        {{"-i"}, "i"},
        {{"--interactive"}, "i"},
        {{"-vhi", "-c", "f"}, "vhic"},
        {{"-x"}, "h"},
        {{"--nonsense"}, "h"},
        {{"-c"}, "h"},
        {{"-i", "--config"}, "hi"},
    };
    for (const auto& [args, flags] : cases)
        EXPECT_EQ(FlagsOf(args), flags) << testing::PrintToString(args);
}

TEST(CommandOption, TheLastConfigurationWins) {
    CTsdwCommandOption option;
    EXPECT_STREQ(option.GetConfigFile().c_str(), "");
    Parse(option, {"-c", "one", "--config", "two.json"});
    EXPECT_STREQ(option.GetConfigFile().c_str(), "two.json");
}

TEST(CommandOption, PrintsHelpAndVersion) {
    EXPECT_EQ(CapturedOutput(CTsdwCommandOption::PrintHelp),
              "Usage: Tamvo [OPTIONS] \n"
              "\n"
              "Tamvo version: 0.1.5\n"
              "Tamvo virtual local area network usage.\n"
              "\n"
              "Options:\n"
              "  -c, --config FILE     Specify config file (default: config.json)\n"
              "  -v, --version         Display Tamvo version information\n"
              "  -h, --help            Display this help message\n"
              "\n");
    CTVersion version(7, 8, 9);
    EXPECT_EQ(CapturedOutput([&] { CTsdwCommandOption::PrintVersion(version); }),
              "Tamvo Version: 7.8.9\n");
}

}  // namespace
