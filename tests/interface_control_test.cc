// SPDX-License-Identifier: MIT
//
// On a pair of virtual interfaces, the two ends of one wire. What the kernel made of a request is
// read with ip(8).

#include <velutils++/interface_control.h>

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <poll.h>

#include <string>

#include "tests/support/files.h"
#include "tests/support/network.h"

namespace {

const char NEAR[] = "near_end_of_wir";  // 15 characters, the longest there can be
const char FAR[] = "far";

class InterfaceControl : public testing::Test {
  protected:
    InterfaceControl() {
        EXPECT_EQ("", ip("link add " + std::string(NEAR) + " type veth peer name " + FAR));
        descriptors_ = openDescriptors();
    }
    ~InterfaceControl() override {
        EXPECT_EQ(descriptors_, openDescriptors());
        ip("link del " + std::string(FAR));
    }

    static std::string ip(const std::string& command) { return outputOf("ip -o " + command); }
    static bool nearHas(const std::string& words) {
        const std::string state =
            ip("link show " + std::string(NEAR)) + ip("-4 addr show " + std::string(NEAR));
        return state.find(words) != std::string::npos;
    }

    // The kernel tells a change of the carrier a little later.
    bool becomesUp(bool up) {
        for (int tries = 0; tries < 500; ++tries, poll(nullptr, 0, 10))
            if (control_.isInterfaceUp(NEAR) == up) return true;
        return false;
    }

    IpInterfaceStatus control_;

  private:
    int descriptors_;
};

TEST_F(InterfaceControl, AvailabilityMatchesPartsOfNames) {
    for (const char* name : {"lo", NEAR, "near", "wir", ""})
        EXPECT_TRUE(control_.isInterfaceAvailable(name)) << name;
    // No cutting here: a longer name is part of none.
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
    EXPECT_FALSE(control_.setIpV4Mask(NEAR, 0xFFFFFF00));  // no address to have one
    EXPECT_TRUE(control_.setIpV4Address(NEAR, 0xC0A80101));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/24"));
    EXPECT_TRUE(control_.setIpV4Mask(NEAR, 0xFFFFC000));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/18"));
    EXPECT_EQ(0xC0A80101, control_.getIpV4Address(NEAR));
    EXPECT_EQ(0xFFFFC000, control_.getIpV4Mask(NEAR));
    EXPECT_FALSE(control_.setIpV4Mask(NEAR, 0xFF00FF00));
    EXPECT_FALSE(control_.setIpV4Address(NEAR, 0xE0000001));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/18"));
    // A new address brings the mask of its class.
    EXPECT_TRUE(control_.setIpV4Address(NEAR, 0x0A000001));
    EXPECT_EQ(0xFF000000, control_.getIpV4Mask(NEAR));
    EXPECT_TRUE(control_.setIpV4Address(NEAR, 0));
    EXPECT_FALSE(nearHas("inet"));
}

TEST_F(InterfaceControl, AddressWithMask) {
    EXPECT_TRUE(setIpV4AddressAndMask(control_, NEAR, 0xC0A80101, 0xFFFFC000));
    EXPECT_TRUE(nearHas("inet 192.168.1.1/18"));
    EXPECT_TRUE(setIpV4AddressAndMask(control_, NEAR, 0xC0A80101, 0xFFFFFFFC));  // the mask alone
    EXPECT_TRUE(nearHas("inet 192.168.1.1/30"));
    EXPECT_TRUE(setIpV4AddressAndMask(control_, NEAR, ~0xFFFFFFFFUL | 0x0A010203,
                                      ~0xFFFFFFFFUL | 0xFFFF0000));
    EXPECT_TRUE(nearHas("inet 10.1.2.3/16"));
    const struct {
        unsigned long address, mask;
    } refused[] = {{0xE0000001, 0xFFFFFF00}, {0x0A000001, 0xFF00FF00}, {0, 0xFF000000}};
    for (const auto& row : refused) {
        EXPECT_FALSE(setIpV4AddressAndMask(control_, NEAR, row.address, row.mask)) << row.address;
        EXPECT_TRUE(nearHas("inet 10.1.2.3/16")) << row.address;
    }
    EXPECT_FALSE(setIpV4AddressAndMask(control_, "nowhere", 0x0A000001, 0xFF000000));

    // A kernel that takes the address and not the mask
    struct : IpInterfaceStatus {
        bool setIpV4Mask(char const* name, unsigned int mask) override {
            return mask != 0xFFFFFF00 && IpInterfaceStatus::setIpV4Mask(name, mask);
        }
    } half;
    EXPECT_FALSE(setIpV4AddressAndMask(half, NEAR, 0xC0A80101, 0xFFFFFF00));
    EXPECT_TRUE(nearHas("inet 10.1.2.3/16"));
    EXPECT_TRUE(half.setIpV4Address(NEAR, 0));
    EXPECT_FALSE(setIpV4AddressAndMask(half, NEAR, 0xC0A80101, 0xFFFFFF00));
    EXPECT_FALSE(nearHas("inet"));
}

TEST_F(InterfaceControl, TransmitQueueLength) {
    if (contentOf("/proc/self/uid_map").find("4294967295") == std::string::npos)
        GTEST_SKIP() << "only root outside a user namespace may set it";
#ifdef VELUTILS_BIG_ENDIAN_QEMU
    GTEST_SKIP() << "qemu-user hands the length on in the wrong order of bytes";
#endif
    for (const unsigned length : {1234u, 0u, 0x7FFFFFFFu}) {
        EXPECT_TRUE(control_.setTxQueueLen(NEAR, length));
        EXPECT_EQ(length != 0, nearHas("qlen " + std::to_string(length)));  // ip leaves out a 0
    }
    EXPECT_FALSE(control_.setTxQueueLen(NEAR, 0xFFFFFFFF));
    EXPECT_TRUE(nearHas("qlen 2147483647"));
}

TEST_F(InterfaceControl, NamesAreCutAndStrangeOnesFail) {
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

TEST_F(InterfaceControl, WithoutPrivilegeOnlyReadingWorks) {
    EXPECT_TRUE(control_.setIpV4Address(NEAR, 0xC0A80101));
    const WithoutCapability lacking(CAP_NET_ADMIN);
    EXPECT_FALSE(control_.setInterfaceUp("lo", 0));
    EXPECT_FALSE(control_.setIpV4Address(NEAR, 1));
    EXPECT_FALSE(control_.setIpV4Mask(NEAR, 0xFFFF0000));
    EXPECT_FALSE(control_.setTxQueueLen(NEAR, 5));
    EXPECT_TRUE(control_.isInterfaceUp("lo"));
    EXPECT_EQ(0xC0A80101, control_.getIpV4Address(NEAR));
    EXPECT_EQ(0xFFFFFF00, control_.getIpV4Mask(NEAR));
}

TEST_F(InterfaceControl, ConnectivityIsAFileThatOpens) {
    const std::string directory = "/tmp/status/link-manager/hotlink";
    const std::string file = directory + "/interface";
    outputOf("mkdir -p " + directory);
    EXPECT_FALSE(control_.haveNetworkConnectivity());
    writeFile(file, "");
    EXPECT_TRUE(control_.haveNetworkConnectivity());
    outputOf("ln -sf nowhere " + file);
    EXPECT_FALSE(control_.haveNetworkConnectivity());
    // A FIFO without a writer keeps nobody waiting.
    outputOf("rm -f " + file + "; mkfifo " + file);
    EXPECT_TRUE(control_.haveNetworkConnectivity());
    outputOf("rm -r /tmp/status");
}

}  // namespace
