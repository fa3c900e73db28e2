// Texts that should be addresses. One that is taken must come back the same when it is printed and
// read again.
//
// Input: the text.

#include <cstdlib>
#include <cstring>
#include <string>

#include "base/pvu_sockaddr.h"
#include "base/pvu_string.h"
#include "fuzz/fuzz_input.h"
#include "inet/tnet_ether.h"
#include "inet/tnet_ip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    CTString printed;
    CIPv4Addr ip;
    if (ip.Set(text.c_str()) == 0) {
        CIPv4Addr again;
        ip.Print(printed);
        if (again.Set(printed.c_str()) != 0 || again.GetIP() != ip.GetIP()) abort();
    }
    printed.Clear();
    CEtherAddr mac;
    if (mac.Set(text.c_str()) == 0) {
        CEtherAddr again;
        mac.Print(printed);
        if (again.Set(printed.c_str()) != 0 ||
            memcmp(again.GetBytes(), mac.GetBytes(), kEtherAddrSize) != 0)
            abort();
    }
    CTSockAddr addr(text.c_str(), 1);
    addr.SetIPv4(text.c_str());
    return 0;
}
