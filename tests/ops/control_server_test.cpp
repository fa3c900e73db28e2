#include "ops/control_server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <filesystem>
#include <thread>

#include "ops/control_client.h"
#include "tests/support/scratch_dir.h"

namespace {

constexpr int kWaitMs = 10000;

// Says what it was asked; "large" makes it say much.
struct Echo : CTControlHandler {
    std::string Reply(const CTControlRequest& request) override {
        ++replies;
        if (request.GetCommand() == "large") return std::string(4 << 20, 'x');
        return request.GetCommand() + ":" +
               std::to_string(static_cast<int64_t>(request.GetNumber("serial").value_or(7)));
    }
    void EverySecond() override { ++seconds; }

    std::atomic<int> replies{0};
    std::atomic<int> seconds{0};
};

class ControlServer : public testing::Test {
  protected:
    void Start(const std::string& at) {
        std::string fault;
        ASSERT_TRUE(server.Start(at, handler, fault)) << fault;
    }
    std::string Refused(const std::string& at) {
        CTControlServer other;
        std::string fault;
        EXPECT_FALSE(other.Start(at, handler, fault));
        return fault;
    }
    std::string Ask(const std::string& line) {
        std::string reply;
        std::string fault;
        return control_ask(path, line, kWaitMs, reply, fault) ? reply : "fault " + fault;
    }
    // A client that connects and does nothing.
    int Connect() {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return fd;
    }
    static void Say(int fd, std::string_view text) {
        EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Whether the connection ends; what came before is read.
    static bool Ends(int fd) {
        char buffer[65536];
        ssize_t n;
        while ((n = read(fd, buffer, sizeof buffer)) > 0) {
        }
        return n == 0 || errno == ECONNRESET;
    }
    static mode_t ModeOf(const std::string& file) {
        struct stat found = {};
        EXPECT_EQ(lstat(file.c_str(), &found), 0);
        return found.st_mode;
    }

    ScratchDir dir;
    std::string path = dir.File("control");
    Echo handler;
    CTControlServer server;
};

TEST_F(ControlServer, AnswersOneLineToEachClientAndLeavesNothingBehind) {
    mode_t before = umask(0);
    Start(path);
    umask(before);
    EXPECT_EQ(ModeOf(path), static_cast<mode_t>(S_IFSOCK | 0600));
    EXPECT_EQ(Ask(R"({"command": "status"})"), "status:7");
    EXPECT_EQ(Ask(R"( {"command":"edge remove","serial":4294967295,"more":[1]} )"
                  "\r"),
              "edge remove:4294967295");
    EXPECT_EQ(Ask(R"({"command":"","serial":-1})"), ":4294967295");
    EXPECT_EQ(Ask(R"({"command":"large"})").size(), 4u << 20);
    server.Stop();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(Ask("{}"), "fault " + path + ": No such file or directory");
    Start(path);
    EXPECT_EQ(Ask(R"({"command":"again","serial":1.5})"), "again:7");
}

TEST_F(ControlServer, RefusesWhatIsNoRequest) {
    Start(path);
    std::string deep(kControlMaxRequest, '[');
    for (const std::string& line :
         {std::string(), std::string("status"), std::string("[]"), std::string("{} {}"),
          std::string(R"({"command":"status"}x)"), std::string("{\"command\":\"st\0atus\"}", 22),
          std::string("\xff\xfe"), deep}) {
        EXPECT_EQ(Ask(line), R"({"error":"the request is not a JSON object on one line"})") << line;
    }
    for (const char* line : {"{}", R"({"command":1})", R"({"Command":"status"})"})
        EXPECT_EQ(Ask(line), R"({"error":"the request has no text \"command\""})") << line;
    EXPECT_EQ(Ask(std::string(kControlMaxRequest + 1, ' ')),
              R"({"error":"the request is too long"})");
    EXPECT_EQ(Ask(R"({"command":")" + std::string(kControlMaxRequest - 15, 'x') + "\"} "),
              std::string(kControlMaxRequest - 15, 'x') + ":7");
    EXPECT_EQ(handler.replies, 1);
}

TEST_F(ControlServer, NoClientHoldsAnotherUp) {
    Start(path);
    std::vector<int> stalled;
    for (size_t i = 0; i < 3 * CTControlServer::kMaxClients; ++i) {
        int fd = Connect();
        // Nothing, half a request, or a reply that is not taken.
        if (i % 3 == 1) Say(fd, "{\"command\":");
        if (i % 3 == 2) Say(fd, "{\"command\":\"large\"}\n");
        stalled.push_back(fd);
        EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
    }
    // The oldest were let go for the others, long before their time was up.
    EXPECT_TRUE(Ends(stalled.front()));
    // And the last ones once it is.
    for (int fd : stalled) {
        EXPECT_TRUE(Ends(fd));
        close(fd);
    }
    EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
}

// Whoever connects again and again, and says nothing or nonsense, keeps nobody from an answer.
TEST_F(ControlServer, AFloodOfClientsKeepsNobodyFromAnAnswer) {
    Start(path);
    constexpr size_t kHeld = 50;
    std::atomic<bool> ends{false};
    std::atomic<int> connections{0};
    auto flood = [&](unsigned number) {
        std::deque<int> held;
        for (unsigned i = number; !ends; ++i) {
            int fd = Connect();
            ++connections;
            constexpr std::string_view kTexts[] = {"", "{\"command\":", "\xff\n",
                                                   "{\"command\":\"large\"}\n"};
            std::string_view text = kTexts[i % std::size(kTexts)];
            send(fd, text.data(), text.size(), MSG_NOSIGNAL);
            held.push_back(fd);
            if (held.size() <= kHeld) continue;
            close(held.front());
            held.pop_front();
        }
        for (int fd : held)
            close(fd);
    };
    std::vector<std::thread> floods;
    for (unsigned i = 0; i < 4; ++i)
        floods.emplace_back(flood, i);
    while (connections < 200)
        std::this_thread::yield();
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
    ends = true;
    for (std::thread& thread : floods)
        thread.join();
    EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
}

TEST_F(ControlServer, ClientsThatLeaveEarlyDoNoHarm) {
    Start(path);
    for (int i = 0; i < 200; ++i) {
        int fd = Connect();
        if (i % 2 == 0) Say(fd, "{\"command\":\"large\"}\n");
        close(fd);
    }
    EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
}

TEST_F(ControlServer, ReplacesWhatAKilledProgramLeftAndNothingElse) {
    pid_t killed = fork();
    if (killed == 0) {
        CTControlSocket socket;
        std::string fault;
        _exit(socket.Open(path, fault) ? 0 : 1);  // without closing it
    }
    int status = 1;
    waitpid(killed, &status, 0);
    ASSERT_EQ(status, 0);
    ASSERT_TRUE(S_ISSOCK(ModeOf(path)));
    Start(path);
    EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
    EXPECT_EQ(Refused(path), path + ": in use by another program");
    EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7") << "the refused one took it away";

    std::string file = dir.File("file");
    WriteWholeFile(file, "kept");
    EXPECT_EQ(Refused(file), file + ": exists and is no socket");
    EXPECT_EQ(ReadWholeFile(file), "kept");
    std::string link = dir.File("link");
    std::filesystem::create_symlink(path, link);
    EXPECT_EQ(Refused(link), link + ": exists and is no socket");
    std::string nowhere = dir.File("no/folder");
    EXPECT_EQ(Refused(nowhere), nowhere + ": No such file or directory");
    std::string too_long = dir.File(std::string(108, 'x'));
    EXPECT_EQ(Refused(too_long),
              too_long + ": is longer than the 107 bytes that the name of a socket may have");
}

TEST_F(ControlServer, RemovesNoFileThatIsAnothersByNow) {
    Start(path);
    std::filesystem::remove(path);
    CTControlServer other;
    std::string fault;
    ASSERT_TRUE(other.Start(path, handler, fault)) << fault;
    server.Stop();
    EXPECT_EQ(Ask(R"({"command":"status"})"), "status:7");
}

TEST_F(ControlServer, CountsTheSecondsAndGoesOnWithoutDescriptors) {
    Start(path);
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    int client = Connect();
    Say(client, "{\"command\":\"status\"}\n");
    char reply[16];
    EXPECT_EQ(read(client, reply, sizeof reply), 9);
    close(client);
    // The next client is taken in as soon as there is a descriptor again.
    int next = Connect();
    rlimit none = {3, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    int seconds = handler.seconds;
    while (handler.seconds == seconds)
        std::this_thread::yield();
    setrlimit(RLIMIT_NOFILE, &before);
    Say(next, "{\"command\":\"status\"}\n");
    EXPECT_EQ(read(next, reply, sizeof reply), 9);
    close(next);
}

TEST(ControlSocketPath, IsConfiguredOrTheServiceManagersOrInTheWorkingDirectory) {
    unsetenv("RUNTIME_DIRECTORY");
    EXPECT_EQ(control_socket_path({}), "control");
    EXPECT_EQ(control_socket_path("/a/b"), "/a/b");
    EXPECT_EQ(control_socket_path(""), "");
    setenv("RUNTIME_DIRECTORY", "/run/tamvo:/run/more", 1);
    EXPECT_EQ(control_socket_path({}), "/run/tamvo/control");
    EXPECT_EQ(control_socket_path("c"), "c");
    setenv("RUNTIME_DIRECTORY", "", 1);
    EXPECT_EQ(control_socket_path({}), "control");
    unsetenv("RUNTIME_DIRECTORY");
}

TEST(ControlClient, TakesNoReplyThatIsEndlessOrCutOrLate) {
    ScratchDir dir;
    std::string path = dir.File("control");
    CTControlSocket socket;
    std::string fault;
    ASSERT_TRUE(socket.Open(path, fault)) << fault;
    auto ask = [&](int wait_ms, std::function<void(int)> serve) {
        std::thread server([&] {
            int fd = -1;
            while ((fd = socket.Accept()) < 0)
                std::this_thread::yield();
            serve(fd);
            close(fd);
        });
        std::string reply;
        std::string reason;
        EXPECT_FALSE(control_ask(path, "{}", wait_ms, reply, reason));
        server.join();
        return reason;
    };
    EXPECT_EQ(ask(kWaitMs, [](int fd) { EXPECT_EQ(write(fd, "half", 4), 4); }),
              path + ": ended without a reply");
    EXPECT_EQ(ask(50,
                  [&](int fd) {
                      char end;
                      while (read(fd, &end, 1) != 0) {  // the client went away
                      }
                  }),
              path + ": timed out");
    EXPECT_EQ(
        ask(kWaitMs,
            [](int fd) {
                std::string much(1 << 20, 'x');
                while (send(fd, much.data(), much.size(), MSG_NOSIGNAL) > 0 || errno == EAGAIN) {
                }
            }),
        path + ": the reply is too long");
}

}  // namespace
