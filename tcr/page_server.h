#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "base/pvu_thread.h"
#include "tcr/tcr_desk.h"
#include "tcr/tcr_page.h"

struct MHD_Daemon;
struct MHD_Connection;

// Serves the page of the overlay over HTTP, to whoever reaches its port: a thread of its own, which
// serves all clients without waiting for any of them. Who has not sent a request and taken its
// reply within kClientMs is let go, and so is the oldest when there are too many.
//
// Owned by the program; its main thread starts and stops it.
class TcrPageServer {
  public:
    static constexpr size_t kMaxClients = 32;
    static constexpr int64_t kClientMs = 20'000;
    static constexpr size_t kMaxRequest = 16 << 10;  // its line and headers

    TcrPageServer() = default;
    ~TcrPageServer() { Stop(); }
    TcrPageServer(const TcrPageServer&) = delete;
    TcrPageServer& operator=(const TcrPageServer&) = delete;

    // Listens at the IPv4 address, in dotted decimal, and starts the thread, which takes no signal;
    // false with one line in fault. Port 0: any that is free. The desk must live until Stop.
    bool Start(const std::string& address, uint16_t port, TcrDesk& desk, std::string& fault);
    // Ends the thread, which waits for an answer of the desk at most, and all connections.
    void Stop();

    uint16_t Port() const { return m_port; }

  private:
    struct Client {
        int fd;
        int64_t deadline;
    };

    bool Listen(const std::string& address, uint16_t port, std::string& fault);
    bool Make(TcrDesk& desk, bool is_loopback);
    static void* ThreadEntry(void* self);
    void Loop();
    int WaitMs() const;
    void EndOverdue();
    void NoteClient(int fd);
    void ForgetClient(int fd);
    // Answers a request; false when the connection is to be closed at once.
    bool Answer(MHD_Connection* connection, const char* method, const char* path);

    // What the library calls.
    struct Callbacks;

    MHD_Daemon* m_daemon = nullptr;
    std::unique_ptr<TcrPage> m_page;
    CTThread m_thread;
    int m_listener = -1;    // until the daemon has it
    int m_stop_event = -1;  // readable once the thread is to end
    int m_events = -1;      // the daemon's; readable when it has something to do
    uint16_t m_port = 0;
    bool m_running = false;

    // The thread's.
    std::list<Client> m_clients;  // the oldest first
    // A client went: the library, which had no room for others maybe, is to look at its listener.
    bool m_runs_again = false;
};
