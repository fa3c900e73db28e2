#pragma once

#include <poll.h>

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "base/pvu_thread.h"
#include "ops/control_request.h"
#include "ops/control_socket.h"

// What a program answers. Both calls are on the server's thread, and everybody who asks waits for
// them.
class CTControlHandler {
  public:
    virtual ~CTControlHandler() = default;
    // The reply, one JSON object on one line, without newline.
    virtual std::string Reply(const CTControlRequest& request) = 0;
    // About once a second.
    virtual void EverySecond() {}
};

// Answers operators on a UNIX socket: a client connects, sends one line (control_request.h), gets
// one line and the end of the connection. One thread, which serves all clients without waiting for
// any: one that sends too much, or has not sent its line and taken its reply within five seconds,
// is let go. So is the oldest when there are too many, but for one that was only just taken in: the
// next one waits until it had the time for its request, so that a flood of clients that say nothing
// keeps nobody from being answered.
//
// Owned by the program; its main thread starts and stops it.
class CTControlServer {
  public:
    static constexpr size_t kMaxClients = 8;
    static constexpr int64_t kClientMs = 5000;
    static constexpr int64_t kGraceMs = 50;

    CTControlServer() = default;
    ~CTControlServer() { Stop(); }
    CTControlServer(const CTControlServer&) = delete;
    CTControlServer& operator=(const CTControlServer&) = delete;

    // Opens the socket and starts the thread, which takes no signal; false with one line in fault.
    // The handler must live until Stop.
    bool Start(const std::string& path, CTControlHandler& handler, std::string& fault);
    // Ends the thread, as soon as it has no reply at work, and removes the socket's file.
    void Stop();

  private:
    struct Client {
        int fd;
        int64_t since;  // tick
        std::string received = {};
        std::string reply = {};  // empty until the request is whole
        size_t sent = 0;         // of the reply
    };
    using Clients = std::list<Client>;  // the oldest first

    static void* ThreadEntry(void* self);
    void Loop();
    void WaitForEvents(std::vector<pollfd>& events);
    // Whether one more client is to be taken in now; if not, when to look again.
    bool HasRoom(int64_t& look_again) const;
    void AcceptAll();
    // What can be done for the client now; false when it is to be let go.
    bool Serve(Client& client);
    bool Receive(Client& client);
    bool Send(Client& client);
    void Answer(Client& client, size_t line_length);
    Clients::iterator LetGo(Clients::iterator client);

    CTControlHandler* m_handler = nullptr;
    CTControlSocket m_socket;
    CTThread m_thread;
    int m_stop_event = -1;  // readable once the thread is to end
    bool m_running = false;

    // The thread's.
    Clients m_clients;
    int64_t m_next_second = 0;
    bool m_accepts = true;  // not while the system has no descriptors left
};
