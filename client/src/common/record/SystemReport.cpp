// The text blocks that open every report, made from a SystemMetadata's own fields.

#include <bitset>
#include <map>
#include <sstream>

#include "vantrell/config/Tokenizer.h"
#include "vantrell/record/Device.h"
#include "vantrell/record/SystemMetadata.h"

// The build's own identity; the build supplies the real values.
#ifndef VR_VERSION_TEXT
#define VR_VERSION_TEXT "0.0.0"
#endif
#ifndef VR_BUILD_DATE
#define VR_BUILD_DATE "N/A"
#endif
#ifndef VR_BUILD_REF
#define VR_BUILD_REF "N/A"
#endif
#ifndef VR_OWNERSHIP_NOTICE
#define VR_OWNERSHIP_NOTICE "Copyright (C) Dorvex Corporation. All rights reserved."
#endif
#ifndef VR_BRAND_NOTICE
#define VR_BRAND_NOTICE "Dorvex is a trademark of Dorvex Corporation."
#endif

namespace pwr {
namespace {

constexpr char kOsWord[] = "Windows";

// The Tokenizer's parts; none for a text made only of separators, which the Tokenizer refuses.
std::vector<std::string> split(std::string const& text, const char* separators) {
    if (text.find_first_not_of(separators) == std::string::npos) {
        return {};
    }
    return Tokenizer(text, separators).get_all_tokens();
}

// The values of the KEY=value items of `list` whose key is `key`, in order.
std::vector<std::string> itemValues(std::string const& list, std::string const& key) {
    std::vector<std::string> values;
    for (const std::string& item : split(list, ",")) {
        std::vector<std::string> parts = split(item, "=");
        if (parts.size() == 2 && parts[0] == key) {
            values.push_back(parts[1]);
        }
    }
    return values;
}

std::string versionText(uint32_t version) {
    return std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 0xff) + "." +
           std::to_string(version & 0xff);
}

std::string hex(unsigned long long number) {
    std::ostringstream text;
    text << std::hex << number;
    return text.str();
}

bool isHybridModel(unsigned model) {
    switch (model) {
        case 151:
        case 154:
        case 190:
        case 183:
        case 186:
        case 191:
        case 170:
        case 172:
            return true;
        default:
            return false;
    }
}

}  // namespace

// ---- Processor identity ---------------------------------------------------------------------------------

bool SystemMetadata::isPlatformTMR() const {
    if (fms.family != 6) {
        return false;
    }
    return (fms.model == 0x8E && fms.stepping == 10 && platformId == 6) ||
           (fms.model == 0x9E && fms.stepping >= 10 && fms.stepping <= 13);
}

bool SystemMetadata::isPlatformSPU() const {
    if (fms.family != 6 || fms.model != 0x8E) {
        return false;
    }
    return (fms.stepping == 10 && iGfxId == 16041) ||
           ((fms.stepping == 11 || fms.stepping == 12) && (iGfxId == 16032 || iGfxId == 16033));
}

bool SystemMetadata::isPlatformVBN() const {
    if (fms.family != 6 || fms.model != 0x8E) {
        return false;
    }
    return (fms.stepping == 9 && (iGfxId == 22812 || iGfxId == 34752)) ||
           ((fms.stepping == 11 || fms.stepping == 12) && iGfxId == 34762);
}

bool SystemMetadata::isPlatformYEW() const {
    if (fms.family != 6) {
        return false;
    }
    return (fms.model == 0x8E && fms.stepping == 12 && (iGfxId == 39713 || iGfxId == 39745)) ||
           (fms.model == 0x9E && fms.stepping == 13 && iGfxId == 39748);
}

std::string SystemMetadata::getFormattedCPUCodeName() const {
    // Models with one name whatever the stepping.
    static const std::map<unsigned, const char*> kPlainModels = {
        {0x3A, "Aspen"},  {0x3C, "Birch"},  {0x3F, "Birch"},        {0x45, "Birch"},       {0x46, "Birch"},
        {0x3D, "Cedar"},  {0x47, "Cedar"},  {0x4F, "Cedar"},        {0x37, "Elder"},       {0x4C, "Fir"},
        {0x5D, "Ginkgo"}, {0x65, "Ginkgo"}, {0x77, "Ginkgo"},       {0x7A, "Juniper"},     {0x66, "Willow"},
        {0x67, "Willow"}, {0x5F, "Kauri"},  {0x7E, "Larch"},        {0x9D, "Maple"},       {0x8A, "Nutmeg"},
        {0x6E, "Oak"},    {0xA5, "Yew"},    {0xA6, "Yew"},          {0x8C, "Zelkova"},     {0x8D, "Zelkova"},
        {0xA7, "Rowan"},  {0xA8, "Rowan"},  {0x6A, "Larch Server"}, {0x6C, "Larch Server"}};
    if (fms.family != 6) {
        return "Unknown";
    }
    const unsigned model = fms.model;
    const unsigned stepping = fms.stepping;
    auto plain = kPlainModels.find(model);
    if (plain != kPlainModels.end()) {
        return plain->second;
    }
    if (model == 0x5C) {
        return stepping >= 8 ? "Hazel" : "Ironwood";
    }
    if (model == 0x55) {
        return stepping < 5     ? "Dogwood Server"
               : stepping <= 9  ? "Poplar Server"
               : stepping <= 11 ? "Quince Server"
                                : "Unknown";
    }
    if ((model == 0x4E || model == 0x5E) && stepping < 8) {
        return "Dogwood";
    }
    if (model != 0x4E && model != 0x5E && model != 0x8E && model != 0x9E) {
        return "Unknown";
    }
    // The group that shares models and tells its members apart by stepping and graphics.
    return isPlatformSPU()   ? "Spruce"
           : isPlatformYEW() ? "Yew"
           : isPlatformTMR() ? "Tamarind"
           : isPlatformVBN() ? "Viburnum"
                             : "Ulmus";
}

std::string SystemMetadata::getCPUNativeModelName(unsigned int id) const {
    if (id == 0x20000000)
        return "QKA";
    if (id == 0x40000000)
        return "QKB";
    if (fms.family != 6)
        return "N/A";
    switch (fms.model) {
        case 151:
        case 154:
        case 190:
        case 183:
        case 186:
        case 191:
            return id == 0x20000001 ? "QKC" : id == 0x40000001 ? "QKD" : "N/A";
        case 170:
        case 172:
            return id == 0x20000001 ? "QKE" : id == 0x40000001 ? "QKF" : "N/A";
        default:
            return "N/A";
    }
}

// ---- Devices --------------------------------------------------------------------------------------------

void SystemMetadata::getFormattedPCIDeviceNames(std::string const& list, std::list<std::string>& out) const {
    for (const std::string& value : itemValues(list, "PCI")) {
        out.push_back(Device::deviceStringLookup(value));
    }
}

void SystemMetadata::getFormattedPMTDeviceNames(std::string const& list, std::list<std::string>& out) const {
    for (const std::string& value : itemValues(list, "PMT")) {
        out.push_back(Device::deviceStringLookup(value));
    }
}

std::string SystemMetadata::getFormattedPCHDeviceName(std::string const& list, std::string const& key) const {
    std::vector<std::string> values = itemValues(list, key);
    std::string name = values.empty() ? std::string() : Device::deviceStringLookup(values.front());
    if (name != "Unsupported") {
        return name;
    }
    for (const auto& specifier : platformSpecifiers) {
        if (specifier.first == key) {
            std::istringstream in(specifier.second);
            unsigned long long number = 0;
            in >> number;
            return name + " (0x" + hex(number) + ")";
        }
    }
    return name;
}

// ---- Text blocks ----------------------------------------------------------------------------------------

std::string SystemMetadata::getOSVersionString(bool postProcessed) const {
    std::string text = std::string("Dorvex(R) Vantrell for ") + kOsWord + "* OS" + " Version " +
                       (versionString.empty() ? versionText(appVersion) : versionString) + " [" +
                       (exeBuildDate.empty() ? "N/A" : exeBuildDate) + "]\n";
    if (!buildRef.empty()) {
        text += "Build Ref: " + buildRef + "\n";
    }
    text += "Driver Version " + versionText(driverVersion) + " [" + driverBuildDate + "]\n";
    if (postProcessed) {
        text += std::string("Post Processed using Vantrell for ") + kOsWord + "* OS Version " +
                VR_VERSION_TEXT + " [" + VR_BUILD_DATE + "]\n";
        text += std::string("Post Processed Build Ref: ") + VR_BUILD_REF + "\n";
    }
    return text;
}

std::string SystemMetadata::getVersionHeader(bool withBanner) const {
    std::string text;
    if (withBanner) {
        const std::string rule(74, '-');
        text += rule + "\n" + VR_OWNERSHIP_NOTICE + "\n" +
                "Platform power analysis tool for use with Dorvex processors/chipsets/platforms.\n" +
                VR_BRAND_NOTICE + "\n" + rule + "\n";
    }
    return text + getOSVersionString(false);
}

std::string SystemMetadata::getCollectionHeader() const {
    std::ostringstream text;
    text << "Command line options: ";
    for (const std::string& word : commandLine) {
        text << word << " ";
    }
    text << "\n\nProgram Started: " << getProgramStartTime()
         << "\nData Collection Started: " << getCollectionStartTime()
         << " \nTSC Frequency (MHz): " << vraClockFreqMHz
         << "\nCollection duration (sec):" << getCollectionDurationSec();
    return text.str();
}

std::string SystemMetadata::getSystemHWHeader() const {
    std::ostringstream text;
    text << "\nSystem Name: " << hostName << "\nOperating System: " << osName << " [" << osVersion << "]"
         << "\nCPU: " << getFormattedCPUCodeName() << "\nCPU ID (family.model.stepping): 0x"
         << hex(fms.family) << ".0x" << hex(fms.model) << ".0x" << hex(fms.stepping) << "\nPlatform ID: 0b"
         << std::bitset<3>(platformId & 7u).to_string();
    if (iGfxId != 0) {
        text << "\nIntegrated GPU Device ID: 0x" << hex(iGfxId);
    } else {
        text << "\nIntegrated GPU Device: NA";
    }
    std::list<std::string> names;
    getFormattedPMTDeviceNames(platformName, names);
    for (const std::string& name : names) {
        text << "\nPMT: " << name;
    }
    names.clear();
    getFormattedPCIDeviceNames(platformName, names);
    for (const std::string& name : names) {
        text << "\nPCI: " << name;
    }
    text << "\nPCH: " << getFormattedPCHDeviceName(platformName, "PCH");
    if (fms.family == 6 && (fms.model == 170 || fms.model == 172)) {
        text << "\nIOE: " << getFormattedPCHDeviceName(platformName, "IOE");
    }
    text << "\nEDRAM Present: " << (edramCap == 0 ? "Yes" : edramCap == 1 ? "No" : "Unsupported");
    const TopTree& topology = getCPUTopology();
    text << " \nTotal # of packages: " << topology.getNumPackages();
    if (topology.getNumModules() != 0) {
        text << " \nTotal # of modules: " << topology.getNumModules();
    }
    text << " \nTotal # of cores: " << topology.getNumCores()
         << " \nTotal # of logical processors: " << topology.getNumThreads() << "\n";
    if (!cpuNativeModelIds.empty() && fms.family == 6 && (fms.model == 138 || isHybridModel(fms.model))) {
        text << "\nCPU native model:";
        for (size_t core = 0; core < cpuNativeModelIds.size(); ++core) {
            text << "\nCore" << core << " = " << getCPUNativeModelName(cpuNativeModelIds[core]);
        }
    }
    return text.str();
}

}  // namespace pwr
