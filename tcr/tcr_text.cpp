#include "tcr/tcr_text.h"

#include "base/pvu_text_field.h"
#include "inet/tnet_ip.h"

std::string tcr_printable(const char* field) {
    std::string text = pvu_text_field_get(field);
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '.';
    }
    return text;
}

std::string tcr_ip_text(uint32_t ip) {
    CTString text;
    CIPv4Addr(ip).Print(text);
    return text.c_str();
}

std::string tcr_addr_text(const CTSockAddr& addr) {
    CTString text;
    addr.Print(text);
    return text.c_str();
}
