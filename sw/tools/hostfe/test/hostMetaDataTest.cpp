#include "hostMetaData.hpp"

#include <gtest/gtest.h>

#include "fakeHost.hpp"

namespace HostFe {
namespace {

const Kernel kernel{.hostName = "tower", .release = "6.1.0-13-amd64", .machine = "x86_64"};

TEST(HostMetaDataTest, TakesHardwareFromTheFirmware) {
    FakeHost host;
    host.file("etc/os-release", "NAME=Debian\nPRETTY_NAME=\"Debian GNU/Linux 12\"\n")
        .file("sys/class/dmi/id/product_name", "Board 5\n")
        .file("sys/class/dmi/id/product_version", "R2A\n")
        .file("sys/class/dmi/id/product_serial", "SN1234\n");
    const auto metaData = readHostMetaData(HostFiles(host.root()), kernel);
    EXPECT_EQ(metaData.swProductNumber, "Debian GNU/Linux 12");
    EXPECT_EQ(metaData.swProductRevision, "6.1.0-13-amd64");
    EXPECT_EQ(metaData.hwProductNumber, "Board 5");
    EXPECT_EQ(metaData.hwProductRevision, "R2A");
    EXPECT_EQ(metaData.hwSerialNumber, "SN1234");
    EXPECT_EQ(metaData.hwName, "tower");
}

TEST(HostMetaDataTest, TakesHardwareFromTheDeviceTreeWithoutFirmware) {
    FakeHost host;
    host.file("etc/os-release", "NAME=Debian\n")
        .file("proc/device-tree/model", std::string("Small Board\0", 12))
        .file("proc/device-tree/serial-number", std::string("0001\0", 5));
    const auto metaData = readHostMetaData(HostFiles(host.root()), kernel);
    EXPECT_EQ(metaData.swProductNumber, "Debian");
    EXPECT_EQ(metaData.hwProductNumber, "Small Board");
    EXPECT_EQ(metaData.hwSerialNumber, "0001");
}

TEST(HostMetaDataTest, AllFieldsArePresentOnAMachineThatTellsNothing) {
    FakeHost host;
    const auto [swNumber, swRevision, hwNumber, hwRevision, serialNumber, name] =
        readHostMetaData(HostFiles(host.root()), {});
    EXPECT_EQ(swNumber, "unknown");
    EXPECT_EQ(swRevision, "unknown");
    EXPECT_EQ(hwNumber, "unknown");
    EXPECT_EQ(hwRevision, "unknown");
    EXPECT_EQ(serialNumber, "unknown");
    EXPECT_EQ(name, "unknown");
}

TEST(HostMetaDataTest, ArchitectureStandsInForAnUnknownProduct) {
    FakeHost host;
    EXPECT_EQ(readHostMetaData(HostFiles(host.root()), kernel).hwProductNumber, "x86_64");
}

TEST(HostMetaDataTest, RunningKernelTellsItsNames) {
    const Kernel running = runningKernel();
    EXPECT_FALSE(running.hostName.empty());
    EXPECT_FALSE(running.release.empty());
    EXPECT_FALSE(running.machine.empty());
}

}  // namespace
}  // namespace HostFe
