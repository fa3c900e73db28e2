#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

// A central router as a process of its own: tamvo-tcr on 127.0.0.1, with its configuration, state
// and output in a folder.
class RouterProcess {
  public:
    RouterProcess(std::string program, std::string folder, uint16_t port)
        : m_program(std::move(program)), m_folder(std::move(folder)), m_port(port) {}
    ~RouterProcess() { Kill(); }
    RouterProcess(const RouterProcess&) = delete;
    RouterProcess& operator=(const RouterProcess&) = delete;

    // Writes the configuration of that many subnets.
    bool Configure(int subnets) const;
    // True when it answers within that time.
    bool Start(std::chrono::milliseconds most);
    // SIGKILL, and waits for the end. Nothing when it does not run.
    void Kill();

    // From the system's accounting of the running process; 0 when there is none.
    long MemoryKb() const;
    double CpuSeconds() const;

  private:
    bool Make();
    bool Answers(std::chrono::milliseconds most) const;
    std::string Path(const char* name) const { return m_folder + "/" + name; }

    const std::string m_program;
    const std::string m_folder;
    const uint16_t m_port;
    pid_t m_pid = 0;
};
