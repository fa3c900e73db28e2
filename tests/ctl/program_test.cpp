// tamvoctl as its users meet it, with programs that answer as the test says.

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <mutex>

#include "ops/control_server.h"
#include "tests/support/scratch_dir.h"

namespace {

const std::string kProgram = TAMVO_CTL_PROGRAM;

// Both channels, and the exit status.
using Outcome = std::pair<std::string, int>;

std::string ReadAll(int fd) {
    std::string text;
    char buffer[4096];
    // A terminal whose last user has gone ends with an error.
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(n));
    return text;
}

struct Answers : CTControlHandler {
    std::string Reply(const CTControlRequest& request) override { return answer(request); }
    std::function<std::string(const CTControlRequest&)> answer;
};

class TamvoCtl : public testing::Test {
  protected:
    Outcome Run(const std::string& arguments) {
        FILE* pipe = popen(("cd " + dir.Path() + " && LC_ALL=C.UTF-8 " + kProgram + " " +
                            arguments + " 2>&1 </dev/null")
                               .c_str(),
                           "r");
        std::string text = ReadAll(fileno(pipe));
        int status = pclose(pipe);
        return {text, WEXITSTATUS(status)};
    }
    // What it shows on a terminal of that many rows.
    Outcome RunOnTerminal(std::vector<std::string> arguments, unsigned short rows) {
        winsize size = {rows, 200, 0, 0};
        int terminal = -1;
        pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            arguments.insert(arguments.begin(), kProgram);
            std::vector<char*> words;
            for (std::string& word : arguments)
                words.push_back(word.data());
            words.push_back(nullptr);
            setenv("TERM", "xterm", 1);
            setenv("LC_ALL", "C.UTF-8", 1);
            unsetenv("NO_COLOR");
            execv(kProgram.c_str(), words.data());
            _exit(127);
        }
        std::string text = ReadAll(terminal);
        close(terminal);
        int status = 0;
        waitpid(child, &status, 0);
        return {text, WEXITSTATUS(status)};
    }
    void Serve(std::function<std::string(const CTControlRequest&)> answer) {
        handler.answer = std::move(answer);
        std::string fault;
        ASSERT_TRUE(server.Start(dir.File("control"), handler, fault)) << fault;
    }

    ScratchDir dir;
    Answers handler;
    CTControlServer server;
};

TEST_F(TamvoCtl, TellsWhatIsWrongWithTheCommandLine) {
    EXPECT_EQ(Run("-v"), Outcome("tamvoctl 0.1.5\n", 0));
    EXPECT_EQ(Run("--help status").second, 0);
    EXPECT_EQ(Run(""), Outcome("tamvoctl: no command, see tamvoctl -h\n", 2));
    for (const char* words : {"statsu", "status now", "edge", "edge remove", "edge remove 1 2",
                              "subnet", "subnet remove", "check", "check a b"}) {
        EXPECT_EQ(Run(words),
                  Outcome("tamvoctl: " + std::string(words) +
                              ": no such command, or not with so many words; see tamvoctl -h\n",
                          2));
    }
    for (const char* serial : {"x", "1.5", "0x", "4294967296", "-- -2147483649", "''"}) {
        EXPECT_EQ(Run(std::string("edge remove ") + serial).second, 2) << serial;
    }
    EXPECT_EQ(Run("-n 0 watch").second, 2);
    EXPECT_EQ(Run("--nothing status").second, 2);
    EXPECT_EQ(Run("-s '' status").second, 2);
}

TEST_F(TamvoCtl, SpeaksToTheSocketThatIsNamedOrFound) {
    Outcome none = Run("status");
    EXPECT_EQ(none.second, 1);
    EXPECT_EQ(none.first.rfind("tamvoctl: no control socket: control /run/tamvo/control", 0), 0u)
        << none.first;
    EXPECT_EQ(Run("-s nowhere status"),
              Outcome("tamvoctl: nowhere: No such file or directory\n", 1));
    Serve([](const CTControlRequest& request) {
        return R"({"program":"tamvo","seen":")" + request.GetCommand() + "\"}";
    });
    EXPECT_EQ(Run("status --json"), Outcome("{\"program\":\"tamvo\",\"seen\":\"status\"}\n", 0));
    EXPECT_EQ(Run("-s ./control subnet list -j"),
              Outcome("{\"program\":\"tamvo\",\"seen\":\"subnet list\"}\n", 0));
    EXPECT_EQ(Run("status").first.substr(0, 16), "-: tamvo -, up -");
}

TEST_F(TamvoCtl, AsksForTheRemovalOfAnyWritingOfANumber) {
    Serve([](const CTControlRequest& request) {
        return R"({"removed":[{"identifier":)" +
               std::to_string(request.GetNumber("serial").value_or(1)) +
               R"(,"subnet":"q","label":"l"}]})";
    });
    for (auto [serial, identifier] : {std::pair("1001", "0x000003e9"),
                                      {"-- -5", "0xfffffffb"},
                                      {"4294967291", "0xfffffffb"},
                                      {"0xABCDEF01", "0xabcdef01"}}) {
        EXPECT_EQ(Run(std::string("edge remove ") + serial),
                  Outcome("removed " + std::string(identifier) + " \"l\" of subnet \"q\"\n", 0));
    }
}

TEST_F(TamvoCtl, ShowsNothingThatATerminalObeys) {
    std::mutex mutex;
    std::string answer;
    Serve([&](const CTControlRequest&) {
        std::lock_guard guard(mutex);
        return answer;
    });
    auto say = [&](std::string text) {
        std::lock_guard guard(mutex);
        answer = std::move(text);
    };
    say("{\"program\":\"tamvo\",\"label\":\"\\u001b[2J\xC2\x9B"
        "1m\xE2\x80\xAE\xF0\x9F\x98\x80\xFF\"}");
    EXPECT_TRUE(Run("status").first.starts_with(
        "\\x1b[2J\\xc2\\x9b1m\\xe2\\x80\\xae\xF0\x9F\x98\x80\\xff: tamvo -"))
        << Run("status").first;
    EXPECT_EQ(Run("status -j").first,
              R"({"program":"tamvo","label":"\u001b[2J\u009b1m\u202e\ud83d\ude00\ufffd"})"
              "\n");
    say(R"({"error":"\u001b[31mno"})");
    EXPECT_EQ(Run("status"), Outcome("tamvoctl: \\x1b[31mno\n", 1));
    for (const char* bad : {"\x1b[2J", "{\"a\":\"\x1b\"}", "[]", "", "{", "7 8", "{\"a\":1}\t"}) {
        say(bad);
        EXPECT_EQ(Run("status -j"), Outcome("tamvoctl: control: the reply is no JSON object\n", 1))
            << bad;
    }
    say(R"({"error":7})");
    EXPECT_EQ(Run("status"), Outcome("tamvoctl: refused\n", 1));
    // Metrics are for a file, whatever the locale; an edge leaves no control character in them.
    say("{\"metrics\":\"a{l=\\\"\xC3\xA9\\\"} 1\\n\"}");
    EXPECT_EQ(Run("metrics"), Outcome("a{l=\"\xC3\xA9\"} 1\n", 0));
    say(R"({"metrics":7})");
    EXPECT_EQ(Run("metrics"), Outcome("", 0));
    server.Stop();
}

TEST_F(TamvoCtl, WatchesFrameByFrame) {
    int frames = 0;
    Serve([&](const CTControlRequest&) {
        return R"({"program":"tamvo","label":"frame)" + std::to_string(++frames) +
               R"(","drops":{"a":1,"b":1,"c":1,"d":1}})";
    });
    Outcome piped = Run("watch -n 2");
    EXPECT_EQ(piped.second, 0);
    EXPECT_EQ(piped.first.find("\x1b"), std::string::npos) << "no terminal, no colours";
    EXPECT_NE(piped.first.find("frame1: tamvo"), std::string::npos);
    EXPECT_NE(piped.first.find("\n\nframe2: tamvo"), std::string::npos);

    Outcome shown = RunOnTerminal({"-s", dir.File("control"), "watch", "-n", "2"}, 50);
    EXPECT_EQ(shown.second, 0);
    EXPECT_NE(shown.first.find("\x1b[H\x1b[1mframe4: tamvo -, up -\x1b[0m\x1b[K\r\n"),
              std::string::npos)
        << shown.first;
    EXPECT_NE(shown.first.find("\x1b[33m1\x1b[0m  d\x1b[K\r\n\x1b[J"), std::string::npos);
    EXPECT_TRUE(shown.first.ends_with("\x1b[?7h"));

    Outcome small = RunOnTerminal({"-s", dir.File("control"), "watch", "-n", "1"}, 5);
    EXPECT_NE(small.first.find("... "), std::string::npos) << small.first;
    EXPECT_NE(small.first.find(" more lines"), std::string::npos) << small.first;
    EXPECT_EQ(std::count(small.first.begin(), small.first.end(), '\n'), 4) << small.first;

    server.Stop();
    EXPECT_EQ(Run("-s control watch -n 1"),
              Outcome("tamvoctl: control: No such file or directory\n", 1));
}

TEST_F(TamvoCtl, ChecksFilesWithoutAnyProgram) {
    WriteWholeFile(dir.File("good.json"), R"({"subnet":{"net name":"n"}})");
    WriteWholeFile(dir.File("bad.json"), "{\"subnet\":{\n\"name\":1}}");
    EXPECT_EQ(Run("check good.json"), Outcome("good.json: in order (edge)\n", 0));
    EXPECT_EQ(Run("check bad.json"),
              Outcome("bad.json:2: unknown key \"name\" in section \"subnet\"\n", 1));
    EXPECT_EQ(Run("check none.json"), Outcome("none.json: cannot be opened\n", 1));
    EXPECT_EQ(Run("check -j bad.json").second, 1);
    // A pipe can be read once only.
    EXPECT_EQ(Run("-v >/dev/null; mkfifo pipe; cat good.json >pipe & " + kProgram + " check pipe"),
              Outcome("pipe: in order (edge)\n", 0));
    EXPECT_EQ(Run("check good.json >/dev/full").second, 1) << "nobody saw it";
}

}  // namespace
