// The control socket, from both of its ends: as a client that sends anything, and as a program that
// answers anything to tamvoctl.
//
// Input: what is sent; the same as a reply.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ctl/show_status.h"
#include "ops/control_address.h"
#include "ops/control_server.h"
#include "tcr/snapshot_json.h"

namespace {

void Require(bool held) {
    if (!held) abort();
}

// Answers as a central router does, without one.
struct Answers : CTControlHandler {
    std::string Reply(const CTControlRequest& request) override {
        if (request.GetCommand() == "status") return tcr_snapshot_json(TcrSnapshot());
        std::optional<uint32_t> serial = request.GetNumber("serial");
        return control_error(request.GetCommand() + std::to_string(serial.value_or(0)));
    }
};

// One server for all inputs, in a folder of its own.
class Server {
  public:
    Server() {
        setlocale(LC_CTYPE, "C.UTF-8");
        char dir[] = "/tmp/fuzz-control.XXXXXX";
        Require(mkdtemp(dir) != nullptr);
        std::string path = std::string(dir) + "/control";
        std::string fault;
        Require(m_server.Start(path, m_answers, fault));
        Require(control_address(path, m_address, fault));
        m_dir = dir;
    }
    ~Server() {
        m_server.Stop();
        rmdir(m_dir.c_str());
    }
    std::string Answer(const uint8_t* data, size_t size) {
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        Require(connect(fd, reinterpret_cast<sockaddr*>(&m_address), sizeof m_address) == 0);
        // The server may be done before it has read everything; the fuzzer's clock interrupts.
        while (send(fd, data, size, MSG_NOSIGNAL) < 0 && errno == EINTR) {
        }
        shutdown(fd, SHUT_WR);
        std::string reply;
        char buffer[4096];
        for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR);) {
            if (n > 0) reply.append(buffer, static_cast<size_t>(n));
        }
        close(fd);
        return reply;
    }

  private:
    Answers m_answers;
    CTControlServer m_server;
    sockaddr_un m_address = {};
    std::string m_dir;
};

// Every reply is one line, a JSON object; none comes only where no whole line was sent.
void CheckRequest(Server& server, const uint8_t* data, size_t size) {
    std::string reply = server.Answer(data, size);
    bool is_whole = size > 0 && (memchr(data, '\n', size) || size > kControlMaxRequest);
    Require(reply.empty() != is_whole);
    if (reply.empty()) return;
    Require(reply.back() == '\n' && reply.find('\n') == reply.size() - 1);
    CTJsonTree tree(cJSON_Parse(reply.c_str()));
    Require(cJSON_IsObject(tree.get()) != 0);
}

// Whatever the reply holds, nothing that a terminal obeys is shown.
void CheckReply(const uint8_t* data, size_t size) {
    CTJsonTree tree(cJSON_ParseWithLength(reinterpret_cast<const char*>(data), size));
    if (!tree) return;
    for (const std::string& text :
         {ctl_show_status(tree.get(), false), ctl_show_subnets(tree.get(), false),
          ctl_show_removed(tree.get())}) {
        for (char c : text)
            Require(c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7F'));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Server server;
    CheckRequest(server, data, size);
    CheckReply(data, size);
    return 0;
}
