#include "sdwan/sdwan_sys.h"

#include <cstring>

#include "sstp/sstp_error.h"

CTSdwanSubnet* CTSdwanSys::AddSubnet(const char* name, const char* password) {
    CTSdwanSubnet* subnet = name && password ? LogIntoSubnet(name, password) : nullptr;
    if (!subnet) CTSstpError::SetLastError(kSstpErrSubnetPassword);
    return subnet;
}

CTSdwanSubnet* CTSdwanSys::LogIntoSubnet(const char* name, const char* password) {
    if (CTSdwanSubnet* present = FindSubnet(name)) {
        return strcmp(password, present->GetSubnetPassword()) == 0 ? present : nullptr;
    }
    CTSdwanSubnet* added = AddSubnet(name);
    if (added) added->SetSubnetPassword(password);
    return added;
}

int CTSdwanSys::DeleteSubnet(unsigned int identifier) {
    return m_subnets.Remove(CTSdwanSubnet::GetIndexFromIdentifier(identifier));
}

int CTSdwanSys::DeleteRouter(unsigned int identifier) {
    CTSdwanSubnet* subnet = GetSubnet(identifier);
    if (!subnet) return 1;
    subnet->DelRouter(identifier);
    return 0;
}
