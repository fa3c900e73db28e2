#include "sdwan/sdwan_subnet_list.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "sdwan/sdwan_sys.h"
#include "sstp/sstp_error.h"
#include "tests/sdwan/printed.h"

namespace {

// Counts as full because its last slot is in use; filling all of them would take long.
class FullList : public CTSdwanSubnetList {
  public:
    explicit FullList(int capacity) : CTSdwanSubnetList(capacity) {
        Put(capacity - 1, std::make_unique<CTSdwanSubnet>());
    }
};

TEST(SubnetList, TheAppendThatFindsItFullGrowsItAndTheNextSucceeds) {
    CTSdwanSubnetList list;
    EXPECT_EQ(list.Capacity(), 64);
    // The result is the other way about than elsewhere.
    EXPECT_EQ(list.Create(-1), 1);
    EXPECT_EQ(list.Create(4), 0);
    EXPECT_EQ(list.Count(), 0);
    for (const char* name : {"a", "b", "c", "d"}) {
        EXPECT_EQ(list.Resize(), 1);
        EXPECT_NE(list.Append(name), nullptr);
        EXPECT_EQ(list.Capacity(), 4);
    }
    EXPECT_EQ(list.Append("e"), nullptr);
    EXPECT_EQ(list.Capacity(), 6);
    EXPECT_EQ(list.Append("e")->GetIndex(), 4);
    EXPECT_EQ(list.Append("b"), list.At(1));
    EXPECT_EQ(list.Append("B")->GetIndex(), 5);
    EXPECT_EQ(list.Append(nullptr), nullptr);
    // With every slot in use but a hole, the hole is filled at once.
    EXPECT_EQ(list.Remove("c") + list.Remove("nobody"), 0);
    EXPECT_EQ(list.Append("g")->GetIndex(), 2);
    EXPECT_EQ(list.Capacity(), 6);
}

TEST(SubnetList, GrowsByHalfByAtLeastOneSlotAndEndsAt65536) {
    struct {
        int capacity;
        int grown;  // 0 where it cannot grow
    } cases[] = {{1, 2}, {65, 97}, {50000, 65536}, {65534, 65536}, {65535, 0}, {65536, 0}};
    for (const auto& c : cases) {
        FullList list(c.capacity);
        EXPECT_EQ(list.Resize(), c.grown > 0 ? 1 : 0) << c.capacity;
        EXPECT_EQ(list.Capacity(), c.grown > 0 ? c.grown : c.capacity);
        EXPECT_NE(list.At(c.capacity - 1), nullptr) << c.capacity;
    }
}

TEST(SdwanSys, FindsAndDeletesByTheHalvesOfAnIdentifier) {
    CTSdwanSys sys;
    sys.AddSubnet("a");
    sys.AddSubnet("x");
    CTSdwanSubnet* c = sys.AddSubnet("c");
    CTSdwanRouter* router = c->AddRouter(0x77, "tap-1");
    sys.DeleteSubnet(0x155);
    EXPECT_EQ(
        Printed(sys, ""),
        "-----------------------------------------------------------------------------------\n"
        "|                             subnet list                                         |\n"
        "-----------------------------------------------------------------------------------\n"
        "1.a net: index=0, gw=192.168.15.5, mask=255.255.255.0, router count=0\n"
        "2. NULL\n"
        "3.c net: index=2, gw=192.168.15.5, mask=255.255.255.0, router count=1\n"
        "    1. tap-1: ident=0x00000200, index=0, sn=0x00000077, sstp: 0.0.0.0:0\n");
    EXPECT_EQ(sys.GetRouter(0x200), router);
    EXPECT_EQ(sys.GetSubnet(0x2AB), c);
    EXPECT_EQ(sys.FindSubnet(nullptr), nullptr);
    for (unsigned int nobody : {0U, 0x100U, 0x201U, 0xFFFFFFFFU})
        EXPECT_EQ(sys.GetRouter(nobody), nullptr);

    EXPECT_EQ(sys.DeleteRouter(0x100), 1);
    EXPECT_EQ(sys.DeleteRouter(0x200), 0);
    EXPECT_FALSE(c->HasRouter(0x77));
    EXPECT_EQ(sys.DeleteSubnet(0x200) + sys.DeleteSubnet(0xFFFFFFFF), 0);
    EXPECT_EQ(sys.GetSubnet(0x200), nullptr);
}

TEST(SdwanSys, AddSubnetChecksThePasswordAndEveryFailureIs1002) {
    CTSdwanSys sys;
    auto fails = [&sys](const char* name, const char* password) {
        CTSstpError::SetLastError(0);
        bool failed = sys.AddSubnet(name, password) == nullptr;
        EXPECT_EQ(CTSstpError::GetLastError(), failed ? 1002 : 0);
        return failed;
    };
    EXPECT_FALSE(fails("a", "secret"));
    EXPECT_EQ(sys.AddSubnet("a", "secret"), sys.FindSubnet("a"));
    for (const char* wrong : {"Secret", "secre", "secrets", "", static_cast<const char*>(nullptr)})
        EXPECT_TRUE(fails("a", wrong));
    EXPECT_TRUE(fails(nullptr, "secret"));
    // The list has 1024 slots at first, and the call that finds them taken only makes room.
    for (int i = 1; i < 1024; ++i)
        sys.AddSubnet(std::to_string(i).c_str());
    EXPECT_TRUE(fails("last", "secret"));
    EXPECT_FALSE(fails("last", "secret"));
}

}  // namespace
