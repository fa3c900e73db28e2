#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/wire/wire_bytes.h"
#include "lab/wire/wire_message.h"
#include "tests/support/scratch_dir.h"

struct WireEnd {
    uint32_t ip;
    uint16_t port;
};

constexpr WireEnd kCentral{Ip(10, 77, 0, 254), 1922};
constexpr WireEnd kEdgeA{Ip(10, 77, 0, 1), 40001};
constexpr WireEnd kEdgeB{Ip(10, 77, 0, 2), 40002};

// An IPv4 packet of UDP with that content.
WireBytes UdpPacket(WireEnd from, WireEnd to, const WireBytes& content);
std::string HexOf(const WireBytes& bytes);

// A capture that the test makes, and what tshark makes of it with the dissector where a user would
// have copied it. Tests are skipped where there is no tshark.
class ShownCapture : public testing::Test {
  protected:
    // One row for each frame, with the values of the fields; several of one field in one frame are
    // joined by semicolons.
    using Rows = std::vector<std::vector<std::string>>;

    void SetUp() override;

    // A datagram, a millisecond after the one before; of its frame, "kept" bytes if those are fewer
    // are in the capture.
    void Add(const WireBytes& datagram, WireEnd from, WireEnd to, size_t kept = SIZE_MAX);
    void Up(const WireMessage& message) { Add(message.Encode(), kEdgeA, kCentral); }
    void Down(const WireMessage& message) { Add(message.Encode(), kCentral, kEdgeA); }
    void Wait(int64_t microseconds) { m_now += microseconds; }
    size_t Frames() const { return m_frames; }

    Rows Fields(const std::vector<std::string>& fields, const std::string& options = "-2");
    // What it prints with these options.
    std::string Shown(const std::string& options);

  private:
    ScratchDir m_dir;
    std::string m_file;
    size_t m_frames = 0;
    int64_t m_now = 0;
};
