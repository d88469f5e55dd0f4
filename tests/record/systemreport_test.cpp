#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>
#include <tuple>

#include "support/LogCapture.h"
#include "support/RecordBytes.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/record/Device.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

using pwr::Device;
using pwr::FMS;
using pwr::SystemMetadata;

// A machine as a collection records it, read back from its stored form.
std::unique_ptr<SystemMetadata> recorded(const SystemMetadata& machine) {
    std::unique_ptr<pwr::Metadata> read = vrtest::readRecord(vrtest::bytesOf(machine));
    EXPECT_NE(dynamic_cast<SystemMetadata*>(read.get()), nullptr);
    return std::unique_ptr<SystemMetadata>(dynamic_cast<SystemMetadata*>(read.release()));
}

SystemMetadata laptop() {
    SystemMetadata m;
    m.fms = FMS(6, 0x8e, 0xc);
    m.iGfxId = 39713;
    m.platformId = 6;
    m.edramCap = 1;
    m.appVersion = 0x07E40300;
    m.driverVersion = 0x00030201;
    m.driverBuildDate = "2024-01-02";
    m.buildRef = "abc123";
    m.exeBuildDate = "Jan 5 2024";
    m.versionString = "2024.1 beta";
    m.packageType = "zip";
    m.platformName = "PCH=DGWLP,PCI=ZLKB,PMT=SRLB,PCI,PMT=A=B";
    m.hostName = "bench host";
    m.osName = "Linux";
    m.osType = "x86_64";
    m.osVersion = "6.1";
    m.cpuTopology.buildTopology("0 0 0 0 1 0 0 0 2 0 1 0 3 0 1 0", 0);
    m.vraClockFreqMHz = 2400.0f;
    m.cpuFreqMHz = 2400.0f;
    m.startTimeval = 1700000000ULL * 1000000000ULL;
    m.stopTimeval = m.startTimeval + 2500000000ULL;
    m.commandLine = {"-t", "5"};
    m.pluginUuids = {{1, "uuid"}};
    return m;
}

TEST(SystemReport, RecordedMachineGivesTheExpectedBlocks) {
    vrtest::ScopedLogCapture log(2);
    std::unique_ptr<SystemMetadata> m = recorded(laptop());
    EXPECT_EQ(log.text(), "") << "every field reads back";
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->getSystemHWHeader(),
              "\nSystem Name: bench host"
              "\nOperating System: Linux [6.1]"
              "\nCPU: Yew"
              "\nCPU ID (family.model.stepping): 0x6.0x8e.0xc"
              "\nPlatform ID: 0b110"
              "\nIntegrated GPU Device ID: 0x9b21"
              "\nPMT: Discrete Graphics Sorrel (0x490e01)"
              "\nPCI: Zelkova PMT (0x1601)"
              "\nPCH: Dogwood PCH-LP (DGW-LP)"
              "\nEDRAM Present: No"
              " \nTotal # of packages: 1"
              " \nTotal # of cores: 2"
              " \nTotal # of logical processors: 4\n");
    EXPECT_EQ(m->getCollectionHeader(),
              "Command line options: -t 5 "
              "\n\nProgram Started: N/A"
              "\nData Collection Started: 2023-11-14 22:13:20 GMT"
              " \nTSC Frequency (MHz): 2400"
              "\nCollection duration (sec):2.5");
    const std::string own =
        "Dorvex(R) Vantrell for Windows* OS Version 2024.1 beta [Jan 5 2024]\n"
        "Build Ref: abc123\nDriver Version 3.2.1 [2024-01-02]\n";
    EXPECT_EQ(m->getOSVersionString(false), own);
    const std::string post = m->getOSVersionString(true);
    EXPECT_EQ(post.rfind(own + "Post Processed using Vantrell for Windows* OS Version ", 0), 0u) << post;
    EXPECT_NE(post.find("]\nPost Processed Build Ref: "), std::string::npos) << post;

    m->versionString.clear();
    m->exeBuildDate.clear();
    m->buildRef.clear();
    const std::string header = m->getVersionHeader(true);
    const std::string rule(74, '-');
    EXPECT_EQ(header.rfind(rule + "\n", 0), 0u);
    EXPECT_NE(
        header.find("\nPlatform power analysis tool for use with Dorvex processors/chipsets/platforms.\n"),
        std::string::npos);
    const std::string versions =
        "Dorvex(R) Vantrell for Windows* OS Version 2020.3.0 [N/A]\nDriver Version 3.2.1 [2024-01-02]\n";
    EXPECT_EQ(header.substr(header.size() - versions.size() - rule.size() - 1), rule + "\n" + versions);
    EXPECT_EQ(m->getVersionHeader(false), versions);
}

TEST(SystemReport, HybridMachineWithUnknownChipsetAndModules) {
    vrtest::ScopedLogCapture log(1);
    SystemMetadata m;
    m.fms = FMS(6, 170, 1);
    m.platformName = "PCH=NOPE,IOE=ZLKLP";
    m.platformSpecifiers = {{"IOE", "1"}, {"PCH", "40324"}};
    m.cpuNativeModelIds = {0x20000001, 0x40000001, 0x20000000, 7};
    m.cpuTopology.buildTopology("0 0 0 0xffffffff 1 0 1 0xffffffff 2 0 2 0xffffffff 3 0 3 0xffffffff", 2);
    EXPECT_EQ(m.getSystemHWHeader(),
              "\nSystem Name: "
              "\nOperating System:  []"
              "\nCPU: Unknown"
              "\nCPU ID (family.model.stepping): 0x6.0xaa.0x1"
              "\nPlatform ID: 0b000"
              "\nIntegrated GPU Device: NA"
              "\nPCH: Unsupported (0x9d84)"
              "\nIOE: Zelkova PCH-LP (ZLK-LP)"
              "\nEDRAM Present: Yes"
              " \nTotal # of packages: 1"
              " \nTotal # of modules: 2"
              " \nTotal # of cores: 4"
              " \nTotal # of logical processors: 4\n"
              "\nCPU native model:\nCore0 = QKE\nCore1 = QKF\nCore2 = QKA\nCore3 = N/A");
    m.edramCap = 2;
    m.fms.model = 0x8c;
    const std::string text = m.getSystemHWHeader();
    EXPECT_NE(text.find("\nEDRAM Present: Unsupported "), std::string::npos) << text;
    EXPECT_EQ(text.find("CPU native model"), std::string::npos) << "not a hybrid model";
}

TEST(SystemReport, DeviceListsSkipMalformedItems) {
    SystemMetadata m;
    std::list<std::string> pci, pmt;
    m.getFormattedPCIDeviceNames("PCH=DGWLP,PCI=ZLKB", pci);
    m.getFormattedPMTDeviceNames("PCH=DGWLP,PCI=ZLKB", pmt);
    EXPECT_EQ(pci, std::list<std::string>{"Zelkova PMT (0x1601)"});
    EXPECT_TRUE(pmt.empty());
    pci.clear();
    m.getFormattedPCIDeviceNames("PCI,PCI=A=B,,PCI=ORC,PCI=what", pci);
    EXPECT_EQ(pci, (std::list<std::string>{"Orchard Point (ORC)", "Unsupported"}));
    m.getFormattedPCIDeviceNames("", pci);
    m.getFormattedPCIDeviceNames(",,,", pci);
    EXPECT_EQ(pci.size(), 2u);
    EXPECT_EQ(m.getFormattedPCHDeviceName("PCI=ORC", "PCH"), "") << "no such item";
    EXPECT_EQ(m.getFormattedPCHDeviceName("PCH=XX", "PCH"), "Unsupported");
    m.platformSpecifiers = {{"PCH", "40324"}};
    EXPECT_EQ(m.getFormattedPCHDeviceName("PCH=XX,PCH=ORC", "PCH"), "Unsupported (0x9d84)")
        << "the first item counts";
}

TEST(SystemReport, CodeNamesByModelSteppingAndGraphics) {
    // family, model, stepping, iGfxId, platformId, name
    const std::tuple<int, int, int, unsigned, unsigned, const char*> cases[] = {
        {5, 0x3A, 0, 0, 0, "Unknown"},        {6, 0x3A, 1, 0, 0, "Aspen"},

        {6, 0x4E, 3, 0, 0, "Dogwood"},        {6, 0x5E, 8, 0, 0, "Ulmus"},
        {6, 0x5C, 8, 0, 0, "Hazel"},          {6, 0x5C, 7, 0, 0, "Ironwood"},
        {6, 0x55, 4, 0, 0, "Dogwood Server"}, {6, 0x55, 5, 0, 0, "Poplar Server"},
        {6, 0x55, 11, 0, 0, "Quince Server"}, {6, 0x55, 12, 0, 0, "Unknown"},
        {6, 0x8e, 0xc, 39713, 0, "Yew"},      {6, 0x8e, 9, 1, 0, "Ulmus"},
        {6, 0x8e, 10, 16041, 6, "Spruce"},    {6, 0x8e, 10, 0, 6, "Tamarind"},
        {6, 0x9e, 11, 0, 0, "Tamarind"},      {6, 0x9e, 13, 39748, 0, "Yew"},
        {6, 0x8e, 9, 22812, 0, "Viburnum"},   {6, 0x8e, 11, 16033, 0, "Spruce"},

        {6, 0xA8, 1, 0, 0, "Rowan"},          {6, 0x99, 1, 0, 0, "Unknown"}};
    for (const auto& [family, model, stepping, gfx, platform, name] : cases) {
        SystemMetadata m;
        m.fms =
            FMS(static_cast<uint8_t>(family), static_cast<uint8_t>(model), static_cast<uint8_t>(stepping));
        m.iGfxId = gfx;
        m.platformId = platform;
        EXPECT_EQ(m.getFormattedCPUCodeName(), name)
            << family << "." << model << "." << stepping << " " << gfx;
    }
}

TEST(SystemReport, NativeCoreNames) {
    // model, id, name
    const std::tuple<int, unsigned, const char*> cases[] = {
        {151, 0x20000001, "QKC"}, {191, 0x40000001, "QKD"}, {172, 0x20000001, "QKE"},
        {170, 0x40000001, "QKF"}, {151, 0x20000000, "QKA"}, {1, 0x40000000, "QKB"},
        {138, 0x20000001, "N/A"}, {151, 0x30000001, "N/A"}};
    for (const auto& [model, id, name] : cases) {
        SystemMetadata m;
        m.fms = FMS(6, static_cast<uint8_t>(model), 1);
        EXPECT_EQ(m.getCPUNativeModelName(id), name) << model << " " << id;
    }
    SystemMetadata other;
    other.fms = FMS(7, 151, 1);
    EXPECT_EQ(other.getCPUNativeModelName(0x20000001), "N/A");
    EXPECT_EQ(other.getCPUNativeModelName(0x40000000), "QKB") << "on any family";
}

TEST(Device, TablesAndTheirHash) {
    EXPECT_EQ(pwr::Fnv1aHash()(""), 0xcbf29ce484222325ULL);
    EXPECT_EQ(pwr::Fnv1aHash()("a"), 0xaf63dc4c8601ec8cULL);
    EXPECT_EQ(Device::deviceStringLookup("orc"), "Unsupported");
    EXPECT_EQ(Device::pmtDeviceStringLookup(0x490e01), "SRL");
    EXPECT_EQ(Device::pmtDeviceStringLookup(0xabc), "0xabc");
    EXPECT_EQ(Device::pmtDeviceTypeLookup(0x490e01), 1u);
    EXPECT_EQ(Device::pmtDeviceTypeLookup(0), 5u);
}

}  // namespace
