#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

#include "base/pvu_sockaddr.h"
#include "base/pvu_udp.h"
#include "offload/grouped_receiver.h"
#include "offload/grouped_sender.h"
#include "sstp/sealed_link.h"
#include "sstp/sstp_message.h"

class CTSstpGetDeviceAckParamList;

// The edge's UDP endpoint towards the central router: it owns the socket, knows the central
// router's address and the identifier given at login, numbers what it sends, and runs the
// stop-and-wait exchanges of joining and leaving.
//
// Owned by the system object. The main thread runs exchanges while the tunnel port is closed or
// paused; otherwise the port's receive thread alone calls Read and its transmit thread alone calls
// Write. No locks: no other two calls overlap.
class CTSstpConnect {
  public:
    static constexpr int kDefaultMtu = 1400;
    static constexpr int kDefaultRecvTimeoutMs = 200;
    static constexpr int kAttempts = 3;

    CTSstpConnect();
    ~CTSstpConnect() { Close(); }
    CTSstpConnect(const CTSstpConnect&) = delete;
    CTSstpConnect& operator=(const CTSstpConnect&) = delete;

    // ---- The owner's: main thread ----

    // Opens the socket, unbound, with a receive time-out of 200 ms; true on success. A socket
    // left open by a join that failed is closed first.
    bool Open(CTSockAddr& central);
    void Close() { m_udp.Close(); }
    void SetRecvTimeout(int ms) { m_udp.SetRecvTimeout(ms); }

    void SetCentralRouterAddr(CTSockAddr& addr) { m_central = addr; }
    // Whether a reply must come from the central router's address and port. Before the exchanges.
    void SetStrictSource(bool strict) { m_strict_source = strict; }
    // Speaks through sealed channels only, from the next Open on.
    CTSealedLink& GetSealedLink() { return m_sealed; }
    const CTSealedLink& GetSealedLink() const { return m_sealed; }
    // kSstpCentralRouter until the login; never reset by a logout.
    void SetIdentify(uint32_t identifier) { m_identifier = identifier; }

    // ---- The port's: its receive thread reads, its transmit thread writes ----

    CTSockAddr& GetCentralRouterAddr() { return m_central; }
    uint32_t GetIdentifier() const { return m_identifier; }
    int GetMtu() const { return m_mtu; }

    // With sealed channels: whether something was sent a second ago and nothing has come since.
    // Never in the open, where that tells nothing.
    bool IsSilent() const;
    // A new channel, as the central router may have lost the one in use.
    void RenewChannel() { m_sealed.Renew(); }

    // One datagram into the message's buffer, cut to it; the byte count, or -1 when none arrived
    // within the receive time-out.
    int Read(CTSockAddr& from, CTSstpMessage& msg);

    // Bursts: the next of all datagrams that the socket has, waiting up to the receive time-out
    // for the first; and the next of those that were taken in with it, without any system call.
    // False when there is none. The bytes last until the next Receive or Read.
    bool Receive(CTReceivedDatagram& datagram);
    bool NextReceived(CTReceivedDatagram& datagram);

    // Numbers a message whose seq is 0 (network packets and everything else have a counter each),
    // stamps the identifier as its src and sends it; the bytes sent, or -1. The first message on
    // a counter carries seq 0, so it is numbered anew when it is sent again.
    int Write(CTSockAddr& to, CTSstpMessage& msg);
    // Numbers both alike and sends the second one first; the sum of both results.
    int Write(CTSockAddr& to, CTSstpMessage& first, CTSstpMessage& second);

    // The same in two steps, for bursts: numbers and stamps one message as Write does, and sends
    // datagrams, as they are and in their order, in as few calls as the system allows; how many it
    // took.
    void Number(CTSstpMessage& msg);
    // Datagrams may be changed: sealed ones are sent in their place.
    int WriteBurst(CTDatagram* datagrams, int count);
    // Whether the system refused to send several datagrams as one, on this socket or an earlier
    // one; once for each. Any thread.
    uint64_t GetSegmentsRefused() const { return m_sender.GetSegmentsRefused(); }

    // ---- Exchanges: main thread, while the port does not run or is paused ----

    // Sends the request and waits for its reply, at most count times; 0 on success, 1 on failure.
    // Silence and a stray datagram cost an attempt, a send error ends the exchange. The sender of
    // the reply is not compared with the address, but for a strict source. What the reply's buffer
    // holds behind the bytes that arrived (received, if wanted) is zero.
    //
    // Between BeginRejoin and EndRejoin a stray datagram costs nothing: an attempt is as long as
    // the receive time-out, whatever else arrives. A reply that did not come leaves zeroes.
    // With sealed channels a stray datagram never costs anything.
    int WriteAndWaitReply(CTSockAddr& to, CTSstpMessage& request, CTSstpMessage& reply, int count,
                          int* received = nullptr);
    // The same with the central router and three attempts.
    int WriteAndWaitReply(CTSstpMessage& request, CTSstpMessage& reply);
    // How the last exchange ended: with a reply, whatever that says; with the errno of a request
    // that the system refused to send, or 0.
    bool IsAnswered() const { return m_answered; }
    int GetSendError() const { return m_send_error; }

    // The exchanges of an edge that joins again: on a socket on which others' messages still
    // arrive, and given up within 50 ms once the flag, which must stay until EndRejoin, is not 0.
    // The function is called as often while a reply is waited for.
    void BeginRejoin(const std::atomic<uint8_t>& quit, std::function<void()> on_wait = {}) {
        m_quit = &quit;
        m_on_wait = std::move(on_wait);
    }
    void EndRejoin() {
        m_quit = nullptr;
        m_on_wait = {};
    }

    // One exchange with the central router each: 0 on success, nonzero on failure. A null text,
    // MAC or array gives 1 and sends nothing.
    static int SstpEcho(CTSstpConnect& conn);
    // Succeeds when the reply's error is 0, and takes the identifier from it; otherwise that error
    // becomes the last error. Prints the reply.
    static int SstpLogin(CTSstpConnect& conn, const char* subnet, const char* user,
                         const char* password, uint32_t serial, uint32_t version);
    static int SstpLogout(CTSstpConnect& conn);
    static int SstpDhcp(CTSstpConnect& conn, uint32_t ip, const uint8_t* mac);
    static int SstpSubnet(CTSstpConnect& conn, const char* subnet);
    // Succeeds when the reply's error is 0.
    static int SstpAddRouter(CTSstpConnect& conn, const char* label, uint32_t serial,
                             uint16_t router_type, uint8_t net_layer);
    static int SstpAddDevice(CTSstpConnect& conn, CTSstpGetDeviceAckParamList& devices);
    // Addresses in network byte order.
    static int SstpDelDevice(CTSstpConnect& conn, const uint32_t* addrs, int count);

  private:
    uint16_t NextSeq(uint8_t type);
    int SendNumbered(CTSockAddr& to, CTSstpMessage& msg, uint16_t seq);
    // Until a first channel is there, or it is given up.
    bool OpenChannel();
    bool IsGivenUp() const { return m_quit && *m_quit != 0; }
    bool Receive(CTReceivedDatagram& datagram, int ms);
    int ReadWithin(CTSockAddr& from, CTSstpMessage& msg, int ms);
    int ReadReply(CTSstpMessage& request, CTSstpMessage& reply, int ms);
    int AwaitReply(CTSstpMessage& request, CTSstpMessage& reply);

    uint16_t m_command_seq = 0;
    uint16_t m_packet_seq = 0;
    uint32_t m_identifier = kSstpCentralRouter;
    int m_mtu = kDefaultMtu;
    CTSockAddr m_central;
    bool m_strict_source = false;
    CTUdp m_udp;
    CTGroupedSender m_sender;
    CTGroupedReceiver m_receiver;
    CTSealedLink m_sealed;
    bool m_answered = false;
    int m_send_error = 0;
    const std::atomic<uint8_t>* m_quit = nullptr;  // while the edge joins again
    std::function<void()> m_on_wait;
};
