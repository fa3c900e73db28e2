#pragma once

#include "base/pvu_string.h"
#include "sdwan/sdwan_subnet_list.h"

// The root of the model for a node that manages many subnets: a subnet list with room for 1024 at
// first. Identifiers are router identifiers; where a subnet is meant, their upper half names it.
// No lock, see CTSdwanSubnet.
class CTSdwanSys {
  public:
    static constexpr int kSubnetSlots = 1024;

    CTSdwanSys() : m_subnets(kSubnetSlots) {}

    // Null when there is none.
    CTSdwanSubnet* GetSubnet(unsigned int identifier) const {
        return m_subnets.GetSubNet(identifier);
    }
    CTSdwanRouter* GetRouter(unsigned int identifier) const {
        return m_subnets.GetRouter(identifier);
    }
    CTSdwanSubnet* FindSubnet(const char* name) const { return m_subnets.At(m_subnets.Find(name)); }

    // As the list's Append.
    CTSdwanSubnet* AddSubnet(const char* name) { return m_subnets.Append(name); }
    // The subnet of that name if the password is its own, otherwise a new one with that password.
    // Null for a null argument, another password, and where Append gives null; each sets the last
    // error to 1002.
    CTSdwanSubnet* AddSubnet(const char* name, const char* password);
    // 0 in every case.
    int DeleteSubnet(unsigned int identifier);
    // 0, also when the subnet has no such router; 1 when there is no such subnet.
    int DeleteRouter(unsigned int identifier);

    // As the list's.
    int Print(CTString& text) const { return m_subnets.Print(text); }
    int Print() const { return m_subnets.Print(); }

  private:
    CTSdwanSubnet* LogIntoSubnet(const char* name, const char* password);

    CTSdwanSubnetList m_subnets;
};
