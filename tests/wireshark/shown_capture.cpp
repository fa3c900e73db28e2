#include "tests/wireshark/shown_capture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace {

constexpr size_t kLinkHeader = 14;
constexpr int64_t kMillisecond = 1000;
constexpr int64_t kSecond = 1000 * kMillisecond;
constexpr uint32_t kCaptureMagic = 0xa1b2c3d4;
constexpr uint32_t kCaptureEthernet = 1;
constexpr uint32_t kMostKept = 262144;

std::string OutputOf(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return "";
    char part[4096];
    for (size_t size; (size = fread(part, 1, sizeof part, pipe)) > 0;)
        output.append(part, size);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

std::vector<std::string> Split(const std::string& text, char by) {
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == by)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

}  // namespace

WireBytes UdpPacket(WireEnd from, WireEnd to, const WireBytes& content) {
    WireBytes packet = Hex("4500 0000 0000 4000 40 11 0000");
    Put32(packet, from.ip);
    Put32(packet, to.ip);
    Put16(packet, from.port);
    Put16(packet, to.port);
    Put16(packet, static_cast<uint32_t>(8 + content.size()));
    Put16(packet, 0);
    packet.insert(packet.end(), content.begin(), content.end());
    packet[2] = static_cast<uint8_t>(packet.size() >> 8);
    packet[3] = static_cast<uint8_t>(packet.size());
    uint16_t sum = ChecksumOf(packet, 0, 20);
    packet[10] = static_cast<uint8_t>(sum >> 8);
    packet[11] = static_cast<uint8_t>(sum);
    return packet;
}

std::string HexOf(const WireBytes& bytes) {
    std::string text;
    for (uint8_t byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

void ShownCapture::SetUp() {
    if (system("tshark --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no tshark";
    std::string plugins = m_dir.File(".local/lib/wireshark/plugins");
    std::filesystem::create_directories(plugins);
    std::filesystem::copy_file(TAMVO_SOURCE "/packaging/wireshark/tamvo.lua",
                               plugins + "/tamvo.lua");
    WireBytes header;
    Put32(header, kCaptureMagic);
    for (uint32_t half : {2U, 4U, 0U, 0U, 0U, 0U})
        Put16(header, half);
    Put32(header, kMostKept);
    Put32(header, kCaptureEthernet);
    m_file.assign(header.begin(), header.end());
}

void ShownCapture::Add(const WireBytes& datagram, WireEnd from, WireEnd to, size_t kept) {
    WireBytes frame(kLinkHeader - 2);
    Put16(frame, 0x0800);
    WireBytes packet = UdpPacket(from, to, datagram);
    frame.insert(frame.end(), packet.begin(), packet.end());
    kept = std::min(kept, frame.size());
    m_now += kMillisecond;
    WireBytes header;
    Put32(header, static_cast<uint32_t>(m_now / kSecond));
    Put32(header, static_cast<uint32_t>(m_now % kSecond));
    Put32(header, static_cast<uint32_t>(kept));
    Put32(header, static_cast<uint32_t>(frame.size()));
    m_file.append(header.begin(), header.end());
    m_file.append(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(kept));
    ++m_frames;
}

std::string ShownCapture::Shown(const std::string& options) {
    WriteWholeFile(m_dir.File("capture"), m_file);
    std::string shown = OutputOf("HOME='" + m_dir.Path() + "' XDG_CONFIG_HOME='" +
                                 m_dir.File("config") + "' tshark -n -r '" + m_dir.File("capture") +
                                 "' " + options + " 2>'" + m_dir.File("complaints") + "'");
    std::string complaints = ReadWholeFile(m_dir.File("complaints"));
    EXPECT_EQ(complaints.find("Lua"), std::string::npos) << complaints;
    for (const std::string& text : {shown, complaints}) {
        EXPECT_EQ(text.find("Lua Error"), std::string::npos)
            << text.substr(text.find("Lua Error"), 400);
    }
    return shown;
}

ShownCapture::Rows ShownCapture::Fields(const std::vector<std::string>& fields,
                                        const std::string& options) {
    std::string all = options + " -T fields -E 'aggregator=;'";
    for (const std::string& field : fields)
        all += " -e " + field;
    Rows rows;
    std::istringstream shown(Shown(all));
    for (std::string line; std::getline(shown, line);)
        rows.push_back(Split(line, '\t'));
    EXPECT_EQ(rows.size(), m_frames);
    // What a test looks at is there, though empty.
    rows.resize(m_frames, {});
    for (auto& row : rows)
        row.resize(fields.size());
    return rows;
}
