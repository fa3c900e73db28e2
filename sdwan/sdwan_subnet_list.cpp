#include "sdwan/sdwan_subnet_list.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr int kPrintCapacity = 1024;
// Above this capacity the list does not grow.
constexpr int kLastGrowingCapacity = CTSdwanSubnetList::kMaxSubnets - 2;

constexpr char kBanner[] =
    "-----------------------------------------------------------------------------------\n"
    "|                             subnet list                                         |\n"
    "-----------------------------------------------------------------------------------\n";

}  // namespace

int CTSdwanSubnetList::Create(int n) {
    return Allocate(n, 0) ? 0 : 1;
}

int CTSdwanSubnetList::Resize() {
    if (!IsFull()) return 1;
    if (Capacity() > kLastGrowingCapacity) return 0;
    int grow = std::max(Capacity() / 2, 1);
    return Reallocate(std::min(Capacity() + grow, kMaxSubnets)) ? 1 : 0;
}

int CTSdwanSubnetList::Find(const char* name) const {
    return FindIf([name](const CTSdwanSubnet& subnet) { return subnet.IsSame(name); });
}

CTSdwanSubnet* CTSdwanSubnetList::Append(const char* name) {
    if (!name) return nullptr;
    if (CTSdwanSubnet* present = At(Find(name))) return present;

    int slot = FindIdle();
    if (slot < 0) {
        if (IsFull()) {
            Resize();
            return nullptr;
        }
        slot = Count();
    }
    std::unique_ptr<CTSdwanSubnet> subnet(new (std::nothrow) CTSdwanSubnet);
    if (!subnet) return nullptr;
    subnet->SetSubnetName(name);
    subnet->SetIndex(slot);
    return Put(slot, std::move(subnet));
}

int CTSdwanSubnetList::Remove(int index) {
    Erase(index);
    return 0;
}

CTSdwanSubnet* CTSdwanSubnetList::GetSubNet(unsigned int identifier) const {
    return At(CTSdwanSubnet::GetIndexFromIdentifier(identifier));
}

CTSdwanRouter* CTSdwanSubnetList::GetRouter(unsigned int identifier) const {
    const CTSdwanSubnet* subnet = GetSubNet(identifier);
    return subnet ? subnet->GetRouter(identifier) : nullptr;
}

int CTSdwanSubnetList::Print(CTString& text) const {
    text.Append("%s", kBanner);
    for (int i = 0; i < Count(); ++i) {
        const CTSdwanSubnet* subnet = At(i);
        if (!subnet) {
            text.Append("%d. NULL\n", i + 1);
            continue;
        }
        text.Append("%d.", i + 1);
        subnet->Print(text);
    }
    return text.GetLength();
}

int CTSdwanSubnetList::Print() const {
    CTString text(kPrintCapacity);
    Print(text);
    printf("%s", text.c_str());
    return text.GetLength();
}
