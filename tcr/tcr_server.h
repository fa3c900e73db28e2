#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "base/pvu_watchdog.h"
#include "seal/seal_key.h"
#include "tcr/central_router.h"
#include "tcr/channels.h"
#include "tcr/state_file.h"
#include "tcr/state_writer.h"
#include "tcr/tcr_desk.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_option.h"
#include "tcr/tcr_socket.h"

// The process around the central router: its socket, its clock, its signals, its state file and
// its log on standard output. One thread, beside that of the state's writer.
//
//   Open   socket and signals
//   Keep   state file, if there is to be one
//   Started
//   Run    until SIGINT or SIGTERM
class TcrServer : public TcrLink {
  public:
    TcrServer() = default;
    ~TcrServer() override;

    // Binds the socket and takes the signals over; false with one line in fault.
    bool Open(const TcrOption& option, const TcrConfig& config, std::string& fault);
    // Takes up what the file has, makes it if need be, and keeps all changes there; before Run.
    // False with one line in fault.
    bool Keep(const std::string& path, std::string& fault);
    // Makes or takes up the key of sealed channels, where a subnet has them; before Started, and
    // when the configuration has changed. False with one line in fault.
    bool Seal(const TcrConfig& config, const std::string& key_file, std::string& fault);
    // Tells that it is about to serve.
    void Started(const TcrOption& option, const TcrConfig& config);
    // Serves until SIGINT or SIGTERM. False when the last changes could not be written in time:
    // the disk is still at it then, and this object must live until the process ends.
    bool Run(const TcrConfig& config);

    // For the threads that tell operators of the central router; they end before this object does.
    TcrDesk& GetDesk() { return m_desk; }

    bool Send(const TcrPath& to, const void* data, int length) override;
    bool Pass(const TcrPath& to, const uint8_t* data, int length) override;
    int Flush() override { return m_socket.Flush(); }
    const CTSealFingerprint* PeerOf(const TcrPath& path) const override;
    void Keep(const TcrPath& path) override;
    void Tell(const char* line) override;

  private:
    void WakeUp(CTCentralRouter& router, bool& serve);
    void Receive(CTCentralRouter& router, TcrTime now);
    bool Unseal(TcrPath& from, const uint8_t* data, int& length, TcrTime now);
    void TickChannels(CTCentralRouter& router, TcrTime now);
    bool HandleSignal(CTCentralRouter& router, TcrTime now);
    void Reload(CTCentralRouter& router, TcrTime now);
    void TakeOutcomes(CTCentralRouter& router, TcrTime now);
    bool Finish(CTCentralRouter& router);

    // Records that wait in the socket's queue; as many as it takes before it sends by itself.
    using Record = std::array<uint8_t, CTSealSession::kMaxRecord>;

    TcrSocket m_socket;
    CTSealKey m_key;
    std::string m_key_file;
    std::unique_ptr<TcrChannels> m_channels;  // where a subnet has them
    std::vector<Record> m_records;
    size_t m_next_record = 0;
    std::string m_config_file;
    int m_signals = -1;
    TcrTime m_last_tick = 0;
    TcrDesk m_desk;
    CTWatchdog m_watchdog;
    std::string m_serves;  // for a service manager

    std::string m_state_path;  // empty: nothing is kept
    TcrStateImage m_image;     // as it was found, until Run has taken it up
    TcrStateFile m_state;
    std::unique_ptr<TcrStateWriter> m_writer;
};
