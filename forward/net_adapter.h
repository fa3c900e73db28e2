#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>

#include "base/pvu_mutex.h"
#include "base/pvu_text_field.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"
#include "offload/burst_reader.h"

constexpr int kAdapterTap = 1;  // Ethernet frames
constexpr int kAdapterTun = 2;  // IP packets

constexpr uint8_t kNetLayer2 = 2;
constexpr uint8_t kNetLayer3 = 3;

// The virtual network interface of the kernel's TUN/TAP driver: opened, addressed and brought up
// and down here, read and written a whole packet at a time.
//
//   closed -> open -> up (EnableAdapter) -> down (DisableAdapter) -> closed
//
// Owned by the system object. The main thread opens and closes; the network device's receive
// thread alone reads, and makes an interface again that was deleted; writes come in under the
// device's write mutex. Addresses are set on either thread.
class CTNetAdapter {
  public:
    CTNetAdapter() { m_mac.SetZero(); }
    ~CTNetAdapter() { Close(); }
    CTNetAdapter(const CTNetAdapter&) = delete;
    CTNetAdapter& operator=(const CTNetAdapter&) = delete;

    // ---- The owner's: main thread ----

    // Opens and attaches the interface and keeps the descriptor; returns it, or -1 for null and
    // on failure. What went wrong is printed; the caller judges by the descriptor. The kernel
    // chooses the name when the given one has 3 characters or fewer.
    int Open(const char* name, int type);
    // The same as a TUN interface, with the net layer that goes with it: 1, or 0, with the adapter
    // closed, when there is no interface. A line says why.
    int Open(const char* name);
    void Close();
    bool IsOpen() const { return m_fd != -1; }

    // errno of what kept the last Open from an interface, or 0.
    int GetOpenError() const { return m_open_error; }
    const char* GetName() const { return m_name; }
    uint8_t GetNetLayer() const { return m_net_layer; }
    // The interface's MTU, 1500 unless set; it takes effect with the next EnableAdapter.
    void SetMtu(int mtu) { m_mtu = mtu; }
    int GetMtu() const { return m_mtu; }
    // Six zero bytes: the interface's hardware address is never read from the kernel. 1, 0 for
    // null.
    int GetMAC(unsigned char* out) const;
    int GetMAC(CEtherAddr& out) const;
    // Always 1 and 1; 1.
    int GetVersion(unsigned int& major, unsigned int& minor) const;

    // ---- Address and state of the interface: the owner's, and the device's threads' ----

    // Stores address and mask (host byte order) for the next EnableAdapter; 1.
    int ConfigTun(unsigned int ip, unsigned int mask);
    // The address of the last ConfigTun.
    CIPv4Addr GetIP() const;
    // Address the interface and bring it up, or take it down, with the ifconfig tool; 1 whatever
    // came of it. A failure is printed. Nothing is done while the interface is gone.
    int EnableAdapter();
    int DisableAdapter();
    int SetMediaStatus(bool up) { return up ? EnableAdapter() : DisableAdapter(); }

    // ---- Packets: the device's receive thread reads, writes are under its mutex ----

    // One packet; the system call's result, -1 for a null buffer, a length below 1 or a closed
    // adapter. The form with a time-out returns 0 when it passed (see PollRead).
    int Read(void* buf, int len);
    int Read(void* buf, int len, int timeout_ms);
    int Write(const void* buf, int len);

    // Whole bursts, where the driver grants it: the interface then hands over, and takes, the
    // packets of a TCP flow as one (see offload/virtio_hdr.h). Without, each is one packet.
    bool HasBursts() const { return m_has_header; }
    // Waits until there is something to read: false on time-out.
    bool WaitReadable(int timeout_ms) const;
    // What the interface gives, for the thread that reads it.
    CTBurstReader& GetReader() { return m_reader; }
    // A packet or burst in pieces, of which the first is the virtio header: left out where the
    // interface has none, so that only a single packet may be written there. The system call's
    // result, -1 for a closed adapter.
    int WritePieces(const iovec* pieces, int count);

    // An interface that was deleted while the adapter is open, made anew with the same name and
    // type: its descriptor, to be handed to Replace, or -1 while there is none to be had, as when
    // another interface has the name. Prints nothing. Until Replace the interface counts as gone,
    // and no command is run on its name. Receive thread.
    int MakeAgain();
    // Takes the descriptor over in place of the adapter's, which is closed. The caller sees to it
    // that nobody writes meanwhile. Receive thread.
    void Replace(int fd);

    // ---- Waiting for any descriptor ----

    // poll, begun again with the full time-out as long as it fails; its result.
    static int PollWait(pollfd* fds, unsigned long n, int timeout_ms);
    // One read once the descriptor is readable: its result, 0 on time-out, -1 for a descriptor
    // that is ready with an error and no input. errno is ETIMEDOUT after a time-out, and ENODEV
    // where the interface has gone: with -1, or with 0 when there is an end instead of an error.
    static int PollRead(int fd, void* buf, int len, int timeout_ms);
    // 0 when the descriptor is readable, 1 on time-out or error.
    static int SelectWait(int fd, int timeout_ms);

    // ---- On nobody's road ----

    // Kept for callers that know other drivers: they do nothing.
    int GetInfo(char* buf, int size);
    int ConfigP2P(unsigned int local, unsigned int remote);
    void Terminate() {}

    // ---- The tests' ----

    // The next Open or MakeAgain takes this descriptor, which the adapter then owns, instead of
    // the driver's. Every read and write of it is one packet, or one burst where it is said to
    // carry the virtio header, and no interface is configured. Any thread.
    void Adopt(int fd, bool has_header = false) {
        m_adopted_has_header = has_header;
        m_adopted_fd = fd;
    }

  private:
    int OpenDriver(const char* name, int type);
    int ReadPacket(void* buf, int len, int timeout_ms);
    bool IsUsable(const void* buf, int len) const { return buf && len >= 1 && IsOpen(); }
    void SetGone(bool gone);
    void RunCommand(const char* command) PVU_REQUIRES(m_config_mutex);

    static constexpr int kDriverMtu = 1500;  // what a new interface has

    // The owner's, before Open.
    int m_mtu = kDriverMtu;

    // Set by Open.
    int m_fd = -1;
    int m_type = kAdapterTun;
    uint8_t m_net_layer = kNetLayer3;
    CEtherAddr m_mac;
    char m_name[kTextFieldSize] = {};
    int m_open_error = 0;
    bool m_is_adopted = false;
    std::atomic<bool> m_has_header{false};  // each packet has the virtio header in front
    bool m_next_has_header = false;         // of the interface of MakeAgain
    CTBurstReader m_reader;

    // Held while a command runs, so that the last one is that of the last address.
    mutable CTMutex m_config_mutex;
    CIPv4Addr m_ip PVU_GUARDED_BY(m_config_mutex){192, 168, 15, 10};
    CIPv4Addr m_mask PVU_GUARDED_BY(m_config_mutex){255, 255, 255, 0};
    bool m_is_gone PVU_GUARDED_BY(m_config_mutex) = false;

    std::atomic<bool> m_adopted_has_header{false};
    std::atomic<int> m_adopted_fd{-1};
};
