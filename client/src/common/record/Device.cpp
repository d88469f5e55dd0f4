// The device key and telemetry GUID tables of the system report.

#include "vantrell/record/Device.h"

#include <sstream>

namespace pwr {

size_t Fnv1aHash::operator()(std::string const& key) const noexcept {
    uint64_t hash = 0xcbf29ce484222325ULL;
    for (unsigned char byte : key) {
        hash ^= byte;
        hash *= 0x100000001b3ULL;
    }
    return static_cast<size_t>(hash);
}

const Device::NameTable& Device::getDeviceNames() {
    static const NameTable kNames = {
        {"ORC", "Orchard Point (ORC)"},
        {"DGWLP", "Dogwood PCH-LP (DGW-LP)"},
        {"DGWH", "Dogwood PCH-H (DGW-H)"},
        {"ULMH", "Ulmus PCH-H (ULM-H)"},
        {"WLWLP", "Willow PCH-LP (WLW-LP)"},
        {"WLWH", "Willow PCH-H (WLW-H)"},
        {"YEWLP", "Yew PCH-LP (YEW-LP)"},
        {"YEWH", "Yew PCH-H (YEWH)"},
        {"YEWV", "Yew PCH-V (YEWV)"},
        {"LRCLP", "Larch PCH-LP (LRC-LP)"},
        {"ZLKLP", "Zelkova PCH-LP (ZLK-LP)"},
        {"ZLKLP-ZLKH", "Zelkova PCH-H (ZLK-H)"},
        {"ZLKB", "Zelkova PMT (0x1601)"},
        {"ZLKC", "Zelkova PMT (0x1602)"},
        {"ZLKP", "Zelkova PMT (0x1700)"},
        {"ZLKR", "Zelkova PMT (0x1701)"},
        {"SRLB", "Discrete Graphics Sorrel (0x490e01)"},
    };
    return kNames;
}

const Device::PmtTable& Device::getPmtDevices() {
    static const PmtTable kDevices = {
        {0x1601, {"ZLK", PMT_DEVICE_CHIPSET}},
        {0x1700, {"ZLK", PMT_DEVICE_CHIPSET}},
        {0x1602, {"ZLK", PMT_DEVICE_CHIPSET}},
        {0x1701, {"ZLK", PMT_DEVICE_CHIPSET}},
        {0x490e01, {"SRL", PMT_DEVICE_DISCRETE_GRAPHICS}},
    };
    return kDevices;
}

std::string Device::deviceStringLookup(std::string key) {
    const NameTable& names = getDeviceNames();
    auto found = names.find(key);
    return found != names.end() ? found->second : "Unsupported";
}

std::string Device::pmtDeviceStringLookup(unsigned int guid) {
    const PmtTable& devices = getPmtDevices();
    auto found = devices.find(guid);
    if (found != devices.end()) {
        return found->second.first;
    }
    std::ostringstream text;
    text << "0x" << std::hex << guid;
    return text.str();
}

PMT_DEVICE_TYPE Device::pmtDeviceTypeLookup(unsigned int guid) {
    const PmtTable& devices = getPmtDevices();
    auto found = devices.find(guid);
    return found != devices.end() ? found->second.second : PMT_DEVICE_UNKNOWN;
}

}  // namespace pwr
