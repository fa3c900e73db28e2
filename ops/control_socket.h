#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

// The file name of a program's control socket: what is configured, else "control" in the folder
// that a service manager made for the program (the first of $RUNTIME_DIRECTORY), else in the
// working directory. Empty, for no socket, where that is configured.
std::string control_socket_path(const std::optional<std::string>& configured);

// The listening UNIX socket of a program. Its file is the owner's alone (mode 0600) from the moment
// it exists, as whoever may write to it commands the program. A file that a killed program left is
// replaced, one that another program listens on is not, nor is anything but a socket.
//
// Owned by the server; one thread at a time.
class CTControlSocket {
  public:
    CTControlSocket() = default;
    ~CTControlSocket() { Close(); }
    CTControlSocket(const CTControlSocket&) = delete;
    CTControlSocket& operator=(const CTControlSocket&) = delete;

    // Listens there, without blocking; false with one line in fault, which names the file.
    bool Open(const std::string& path, std::string& fault);
    // Ends listening, and removes the file if it is still this socket's.
    void Close();

    // For poll; -1 while closed.
    int Handle() const { return m_fd; }
    // The next client's descriptor, non-blocking, which is the caller's; -1, with the reason in
    // errno, when there is none.
    int Accept() const;

  private:
    bool Bind(std::string& fault);

    int m_fd = -1;
    std::string m_path;
    // The file, as it was made.
    dev_t m_device = 0;
    ino_t m_inode = 0;
};
