#pragma once

#include <sys/socket.h>

// An IPv4 socket descriptor, -1 when closed. System-call failures are passed through as the
// calls' results (-1 and errno). The destructor does not close: the owner calls Close.
class CTSocket {
  public:
    CTSocket();
    ~CTSocket();
    CTSocket(const CTSocket&) = delete;
    CTSocket& operator=(const CTSocket&) = delete;

    // Creates an AF_INET socket. Returns 0 in every case, also when the creation failed: the
    // descriptor is then -1 and later calls fail with their own errors.
    int Open(int type, int protocol);
    // Adopts a descriptor; true.
    bool Attach(int fd);
    void Close();
    // Both directions; -1 when closed.
    int Shutdown();
    int GetHandle() const { return m_fd; }

    // -1 for a null address, otherwise the call's result.
    int Bind(const sockaddr* addr, int len);
    int Connect(const sockaddr* addr, int len);
    int Listen(int backlog);
    int Accept(sockaddr* addr, int* len);

    // -1 for a null buffer (or address to send to) or a negative length, otherwise the call's
    // result; Send of length 0 gives 0.
    int Send(const void* buf, int len);
    int Recv(void* buf, int len);
    int Sendto(const void* buf, int len, const sockaddr* to, int addrlen);
    int Recvfrom(void* buf, int len, sockaddr* from, int* addrlen);

    // Sizes in kilobytes, times in milliseconds; true on success.
    bool SetRecvBufSize(int kb);
    bool SetSendBufSize(int kb);
    bool SetRecvTimeout(int ms);
    bool SetSendTimeout(int ms);
    bool SetBroadcast(bool on);
    // Binds the socket to an interface. False for null; a failure is reported on standard error
    // and still gives true.
    bool SetNetInterface(const char* ifname);
    // Bytes waiting to be read.
    int HowDataArrive();

  private:
    bool SetOption(int option, const void* value, socklen_t size);
    bool SetTimeout(int option, int ms);
    static void Count();
    // Hooks for platforms whose socket library needs start-up and clean-up; nothing on Linux.
    static void StartUpSocket() {}
    static void StopSocket() {}

    static int m_count;  // live sockets, changed by the thread that creates and destroys them

    int m_fd = -1;
};
