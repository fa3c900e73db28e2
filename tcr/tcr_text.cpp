#include "tcr/tcr_text.h"

#include "base/pvu_text_field.h"
#include "inet/tnet_ip.h"

namespace {

constexpr unsigned char kDelete = 0x7F;
constexpr unsigned char kC1Lead = 0xC2;
constexpr unsigned char kC1First = 0x80;
constexpr unsigned char kC1Last = 0x9F;

}  // namespace

std::string tcr_printable(const char* field) {
    std::string text = pvu_text_field_get(field);
    for (size_t i = 0; i < text.size(); ++i) {
        auto c = static_cast<unsigned char>(text[i]);
        auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        if (c < ' ' || c == kDelete) text[i] = '.';
        // U+0080 to U+009F, which terminals obey as well.
        if (c == kC1Lead && next >= kC1First && next <= kC1Last) text.replace(i, 2, "..");
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
