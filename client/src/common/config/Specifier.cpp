#include "vantrell/config/Specifier.h"

#include <cstdio>
#include <sstream>

#include "config/ConfigParser.h"
#include "vantrell/config/TextHelpers.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

namespace {

constexpr int kNoMatch = 0;
constexpr int kPartialMatch = 1;
constexpr int kExactMatch = 2;

bool scanPCI(std::string const& text, uint32_t& vendor, uint32_t& device) {
    unsigned int scannedVendor = 0;
    unsigned int scannedDevice = 0;
    if (std::sscanf(text.c_str(), "VENDOR=0x%x,DEVICE=0x%x", &scannedVendor, &scannedDevice) != 2) {
        return false;
    }
    vendor = scannedVendor;
    device = scannedDevice;
    return true;
}

}  // namespace

Specifier::~Specifier() = default;

int Specifier::is_match(std::string const& name, std::string const& str) const {
    VR_LOG_CONFIG(4, "INFO: Specifier::is_match(): m_name:%s, name:%s\n", m_name.c_str(), name.c_str());
    return name == m_name ? is_match_i(str) : kNoMatch;
}

std::string Specifier::toString() const {
    return m_name;
}

std::string ValueSpecifier::toString() const {
    return m_name + "=" + m_valueStr;
}

int ValueSpecifier::is_match_i(std::string const& str) const {
    if (!isNumber(str)) {
        return str == m_valueStr ? kExactMatch : kNoMatch;
    }
    unsigned long long extracted = extract_number_i(str);
    unsigned long long own = extract_number_i(m_valueStr);
    VR_LOG(3, "DEBUG: Extracted value:%llu, m_valueUL:%llu\n", extracted, own);
    return extracted == own ? kExactMatch : kNoMatch;
}

PCISpecifier::PCISpecifier(std::string const& name, uint32_t vendor, uint32_t device)
    : Specifier(name), m_vendor(vendor), m_device(device) {
    if (vendor == 0 || device == 0) {
        throw "Invalid version and/or device passed to PCI specifier";
    }
}

std::string PCISpecifier::toString() const {
    return m_name + "=" + std::to_string(m_vendor) + "," + std::to_string(m_device);
}

int PCISpecifier::is_match_i(std::string const& str) const {
    uint32_t vendor = 0;
    uint32_t device = 0;
    return scanPCI(str, vendor, device) && vendor == m_vendor && device == m_device ? kExactMatch : kNoMatch;
}

PMTSpecifier::PMTSpecifier(std::string const& name, uint32_t guid) : Specifier(name), m_guid(guid) {
    if (guid == 0) {
        throw "Invalid version and/or device passed to PMT specifier";
    }
}

std::string PMTSpecifier::toString() const {
    std::ostringstream out;
    out << m_name << "=0x" << std::hex << m_guid;
    return out.str();
}

int PMTSpecifier::is_match_i(std::string const& str) const {
    unsigned int guid = 0;
    return std::sscanf(str.c_str(), "GUID=0x%x", &guid) == 1 && guid == m_guid ? kExactMatch : kNoMatch;
}

std::string RangeSpecifier::toString() const {
    return m_name + "=" + std::to_string(m_range.first) + "," + std::to_string(m_range.second);
}

int RangeSpecifier::is_match_i(std::string const& str) const {
    if (!isNumber(str)) {
        VR_LOG(1, "ERROR: range specifier MUST be a number!");
        return kNoMatch;
    }
    unsigned long value = extract_number_i(str);
    return value >= m_range.first && value <= m_range.second ? kExactMatch : kNoMatch;
}

FMSSpecifier::FMSSpecifier(std::string const& str) : Specifier("FMS") {
    if (!extract_fms_i(m_family, m_model, m_stepping, str)) {
        throw std::string("ERROR: ") + str + " is NOT a valid FMS specifier!";
    }
}

std::string FMSSpecifier::toString() const {
    std::string text = m_name + "=" + std::to_string(m_family) + "." + std::to_string(m_model);
    if (m_stepping != 0) {
        text += "." + std::to_string(m_stepping);
    }
    return text;
}

int FMSSpecifier::is_match_i(std::string const& str) const {
    uint8_t family = 0;
    uint8_t model = 0;
    uint8_t stepping = 0;
    if (!extract_fms_i(family, model, stepping, str) || family != m_family || model != m_model) {
        return kNoMatch;
    }
    if (stepping == m_stepping) {
        return kExactMatch;
    }
    return stepping == 0 || m_stepping == 0 ? kPartialMatch : kNoMatch;
}

bool FMSSpecifier::extract_fms_i(uint8_t& family, uint8_t& model, uint8_t& stepping, std::string const& str) {
    size_t firstDot = str.find('.');
    if (firstDot == std::string::npos) {
        return false;
    }
    std::string const familyText = str.substr(0, firstDot);
    std::string const rest = str.substr(firstDot + 1);
    size_t secondDot = rest.find('.');
    std::string const modelText = secondDot == std::string::npos ? rest : rest.substr(0, secondDot);
    std::string const steppingText =
        secondDot == std::string::npos ? std::string() : rest.substr(secondDot + 1);
    VR_LOG(3, "DEBUG: FMSSpecifier::extract_fms_i:family:%s, model:%s, stepping:%s\n", familyText.c_str(),
           modelText.c_str(), steppingText.c_str());
    if (!isNumber(familyText) || !isNumber(modelText) || (!steppingText.empty() && !isNumber(steppingText))) {
        return false;
    }
    family = static_cast<uint8_t>(extract_number_i(familyText));
    model = static_cast<uint8_t>(extract_number_i(modelText));
    stepping = steppingText.empty() ? 0 : static_cast<uint8_t>(extract_number_i(steppingText));
    return true;
}

}  // namespace pwr
