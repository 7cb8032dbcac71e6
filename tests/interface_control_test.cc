// SPDX-License-Identifier: MIT
//
// On a pair of virtual interfaces, the two ends of one wire. ip(8) shows what a request has
// changed.

#include <velutils++/interface_control.h>

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <poll.h>

#include <string>

#include "tests/support/descriptor_check.h"
#include "tests/support/files.h"
#include "tests/support/network.h"

namespace {

const char NEAR[] = "near_end_of_wir";  // 15 characters, the longest there can be
const char FAR[] = "far";

class InterfaceControl : public testing::Test {
  protected:
    InterfaceControl() {
        EXPECT_EQ("", ip("link add " + std::string(NEAR) + " type veth peer name " + FAR));
    }
    ~InterfaceControl() override { ip("link del " + std::string(FAR)); }

    static std::string ip(const std::string& command) { return outputOf("ip -o " + command); }
    static bool nearHas(const std::string& words) {
        const std::string state =
            ip("link show " + std::string(NEAR)) + ip("-4 addr show " + std::string(NEAR));
        return state.find(words) != std::string::npos;
    }

    // The kernel reports a change of the carrier a little later.
    bool becomesUp(bool up) {
        for (int tries = 0; tries < 500; ++tries, poll(nullptr, 0, 10))
            if (control_.isInterfaceUp(NEAR) == up) return true;
        return false;
    }

    DescriptorCheck descriptors_;
    IpInterfaceStatus control_;
};

TEST_F(InterfaceControl, AvailabilityMatchesPartsOfNames) {
    for (const char* name : {"lo", NEAR, "near", "wir", ""})
        EXPECT_TRUE(control_.isInterfaceAvailable(name)) << name;
    // Here a name that is too long is not cut.
    for (const char* name : {"near_end_of_wire", "NEAR", "wan0", " lo"})
        EXPECT_FALSE(control_.isInterfaceAvailable(name)) << name;
}

TEST_F(InterfaceControl, UpNeedsTheCarrierToo) {
    EXPECT_TRUE(control_.isInterfaceUp("lo"));
    EXPECT_FALSE(control_.isInterfaceUp(NEAR));
    EXPECT_TRUE(control_.setInterfaceUp(NEAR, 1));
    EXPECT_TRUE(nearHas(",UP"));
    EXPECT_FALSE(control_.isInterfaceUp(NEAR));
    EXPECT_TRUE(control_.setInterfaceUp(FAR, 1));
    EXPECT_TRUE(becomesUp(true));
    EXPECT_TRUE(control_.setInterfaceUp(FAR, 0));
    EXPECT_TRUE(becomesUp(false));
    EXPECT_TRUE(nearHas(",UP"));
}

TEST_F(InterfaceControl, OneBringsUpAndAnythingElseDownKeepingOtherFlags) {
    ip("link set " + std::string(NEAR) + " multicast off promisc on arp off");
    const std::string others = "<NO-CARRIER,BROADCAST,NOARP,PROMISC";
    for (const int down : {0, 2, -1}) {
        EXPECT_TRUE(control_.setInterfaceUp(NEAR, 1));
        EXPECT_TRUE(nearHas(others + ",UP"));
        EXPECT_TRUE(control_.setInterfaceUp(NEAR, down));
        EXPECT_FALSE(nearHas(",UP"));
        EXPECT_TRUE(nearHas("<BROADCAST,NOARP,PROMISC,M-DOWN>"));
    }
}

TEST_F(InterfaceControl, AddressAndMask) {
    EXPECT_EQ(0u, control_.getIpV4Address(NEAR));
    EXPECT_EQ(0u, control_.getIpV4Mask(NEAR));
    EXPECT_FALSE(control_.setIpV4Mask(NEAR, 0xFFFFFF00));  // needs an address
    EXPECT_TRUE(control_.setIpV4Address(NEAR, 0xC0A80101));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/24"));  // with the mask of its class
    EXPECT_TRUE(control_.setIpV4Mask(NEAR, 0xFFFFC000));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/18"));
    EXPECT_EQ(0xC0A80101, control_.getIpV4Address(NEAR));
    EXPECT_EQ(0xFFFFC000, control_.getIpV4Mask(NEAR));
    EXPECT_FALSE(control_.setIpV4Mask(NEAR, 0xFF00FF00));
    EXPECT_FALSE(control_.setIpV4Address(NEAR, 0xE0000001));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/18"));
    EXPECT_TRUE(control_.setIpV4Address(NEAR, 0));
    EXPECT_FALSE(nearHas("inet"));
}

TEST_F(InterfaceControl, AddressWithMask) {
    const unsigned long high = ~0xFFFFFFFFUL;  // 0 where long has 32 bits
    EXPECT_TRUE(setIpV4AddressAndMask(control_, NEAR, high | 0x0A010203, high | 0xFFFF0000));
    EXPECT_TRUE(nearHas("inet 10.1.2.3/16"));
    EXPECT_FALSE(setIpV4AddressAndMask(control_, NEAR, 0xE0000001, 0xFFFFFF00));
    EXPECT_FALSE(setIpV4AddressAndMask(control_, NEAR, 0x0A000001, 0xFF00FF00));
    EXPECT_FALSE(setIpV4AddressAndMask(control_, NEAR, 0, 0xFF000000));
    EXPECT_TRUE(nearHas("inet 10.1.2.3/16"));
}

// The kernel takes the address, but not the mask.
TEST_F(InterfaceControl, AddressWithMaskRestoresTheOldState) {
    struct : IpInterfaceStatus {
        bool setIpV4Mask(char const* name, unsigned int mask) override {
            return mask != 0xFFFFFF00 && IpInterfaceStatus::setIpV4Mask(name, mask);
        }
    } half;
    EXPECT_FALSE(setIpV4AddressAndMask(half, NEAR, 0xC0A80101, 0xFFFFFF00));
    EXPECT_FALSE(nearHas("inet"));
    EXPECT_TRUE(setIpV4AddressAndMask(half, NEAR, 0x0A010203, 0xFFFF0000));
    EXPECT_FALSE(setIpV4AddressAndMask(half, NEAR, 0xC0A80101, 0xFFFFFF00));
    EXPECT_TRUE(nearHas("inet 10.1.2.3/16"));
}

TEST_F(InterfaceControl, TransmitQueueLength) {
    if (contentOf("/proc/self/uid_map").find("4294967295") == std::string::npos)
        GTEST_SKIP() << "only root outside a user namespace may set it";
#ifdef VELUTILS_BIG_ENDIAN_QEMU
    GTEST_SKIP() << "qemu-user passes the length in the wrong byte order";
#endif
    EXPECT_TRUE(control_.setTxQueueLen(NEAR, 0x7FFFFFFF));
    EXPECT_TRUE(nearHas("qlen 2147483647"));
    EXPECT_FALSE(control_.setTxQueueLen(NEAR, 0xFFFFFFFF));
}

TEST_F(InterfaceControl, LongNamesAreCutAndUnknownOnesFail) {
    EXPECT_TRUE(control_.setIpV4Address((std::string(NEAR) + "e").c_str(), 0x0A000001));
    EXPECT_EQ(0x0A000001u, control_.getIpV4Address((NEAR + std::string(4096, 'x')).c_str()));
    for (const std::string& text : {std::string(), std::string("near"), std::string(4096, 'x')}) {
        const char* const name = text.c_str();
        EXPECT_FALSE(control_.isInterfaceUp(name));
        EXPECT_FALSE(control_.setInterfaceUp(name, 1));
        EXPECT_EQ(0u, control_.getIpV4Address(name));
        EXPECT_FALSE(control_.setIpV4Address(name, 0x0A000001));
        EXPECT_EQ(0u, control_.getIpV4Mask(name));
        EXPECT_FALSE(control_.setIpV4Mask(name, 0xFFFF0000));
        EXPECT_FALSE(control_.setTxQueueLen(name, 5));
    }
}

TEST_F(InterfaceControl, WithoutADescriptorRequestsFail) {
    const DescriptorsExhausted exhausted;
    EXPECT_FALSE(control_.isInterfaceUp("lo"));
    EXPECT_FALSE(control_.setIpV4Address(NEAR, 0xC0A80101));
}

TEST_F(InterfaceControl, WithoutPrivilegeOnlyReadingWorks) {
    const WithoutCapability lacking(CAP_NET_ADMIN);
    EXPECT_FALSE(control_.setInterfaceUp("lo", 0));
    EXPECT_TRUE(control_.isInterfaceUp("lo"));
}

TEST_F(InterfaceControl, ConnectivityIsAFileThatOpens) {
    const std::string directory = "/tmp/status/link-manager/hotlink";
    outputOf("mkdir -p " + directory);
    EXPECT_FALSE(control_.haveNetworkConnectivity());
    outputOf("mkfifo " + directory + "/interface");  // has no writer, and blocks nobody
    EXPECT_TRUE(control_.haveNetworkConnectivity());
    outputOf("rm -r /tmp/status");
}

}  // namespace
