#include "sdwan/sdwan_router.h"

#include <cstdio>

namespace {

constexpr uint8_t kDefaultNetLayer = 2;
constexpr uint32_t kUnassignedIdentifier = 0xFFFF;
constexpr int kPrintCapacity = 1024;

}  // namespace

int CTSdwanRouter::Init() {
    m_status = kRouterStatusIdle;
    m_type = 0;
    m_net_layer = kDefaultNetLayer;
    m_index = 0;
    m_identifier = kUnassignedIdentifier;
    SetUserName("");
    SetUserPwd("");
    m_serial = 0;
    SetLabel("");
    m_sstp_addr.Zero();
    return 0;
}

int CTSdwanRouter::Print(CTString& text) const {
    CTString addr;
    m_sstp_addr.Print(addr);
    text.Append("%s: ident=0x%08x, index=%d, sn=0x%08x, sstp: %s\n", m_label, m_identifier,
                GetIndexFromIdentifier(m_identifier), m_serial, addr.c_str());
    return m_devices.Print(text);
}

int CTSdwanRouter::Print() const {
    CTString text(kPrintCapacity);
    Print(text);
    printf("%s\n", text.c_str());
    return text.GetLength();
}
