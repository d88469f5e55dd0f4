// Bit ranges, data formats and names of hardware counters as the collection configuration writes them.

#include "vantrell/support/CounterFields.h"

#include <cmath>
#include <sstream>

#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

// The Tokenizer's parts of `text`; a text made only of separators has none (the Tokenizer itself
// refuses such a text).
std::vector<std::string> split(std::string const& text, std::string const& separators) {
    if (text.find_first_not_of(separators) == std::string::npos) {
        return {};
    }
    return Tokenizer(text, separators.c_str()).get_all_tokens();
}

unsigned int extractNumber(std::string const& text) {
    std::istringstream in(text);
    unsigned int value = 0;
    if (!(in >> value)) {
        VR_LOG(2, "WARNING: Failed to extract numeric value of %s", text.c_str());
        return 0;
    }
    return value;
}

unsigned char maskPart(std::string const& mask, size_t index) {
    std::vector<std::string> parts = split(mask, ":");
    return parts.size() == 2 ? static_cast<unsigned char>(extractNumber(parts[index])) : 0;
}

}  // namespace

bool isMaskValid(std::string const& mask, std::string separator) {
    std::vector<std::string> parts = split(mask, separator);
    return parts.size() == 2 && isNumber(parts[0]) && isNumber(parts[1]);
}

unsigned char retrieveLsbFromMask(std::string const& mask) {
    return maskPart(mask, 1);
}

unsigned char retrieveMsbFromMask(std::string const& mask) {
    return maskPart(mask, 0);
}

unsigned long long extractBitRangeValue(unsigned long long value, unsigned char msb, unsigned char lsb) {
    // Shifts of 64 or more are undefined: they leave nothing.
    unsigned long long shifted = lsb < 64 ? value >> lsb : 0;
    if (msb == 63) {
        return shifted;
    }
    unsigned width = static_cast<unsigned>(msb - lsb + 1) & 0xffu;
    return width >= 64 ? shifted : shifted & ((1ULL << width) - 1);
}

vr_qformat retrieveQFormat(std::string const& text) {
    vr_qformat format;
    std::vector<std::string> parts = split(text, ".");
    if (parts.size() == 2 && (parts[0][0] == 'U' || parts[0][0] == 'S')) {
        format.sign = parts[0][0];
        format.integerBits = static_cast<uint8_t>(extractNumber(parts[0].substr(1)));
        format.fractionBits = static_cast<uint8_t>(extractNumber(parts[1]));
        return format;
    }
    VR_LOG(1, "ERROR: Invalid DATA-FORMAT entry. %s is invalid. Format expected as UX.Y or SX.Y",
           text.c_str());
    return format;
}

double convertToFloatPoint(unsigned long long value, vr_qformat const& format) {
    double number = static_cast<double>(value);
    if (format.sign == 'U') {
        return format.fractionBits == 0 ? number : number / std::ldexp(1.0, format.fractionBits);
    }
    if (format.sign == 'S') {
        VR_LOG(1, "ERROR: Signed Qformat is currently not supported");
    } else {
        VR_LOG(1, "ERROR: Invalid DATA-FORMAT entry. %c%d.%d is invalid. Format expected as UX.Y or SX.Y",
               format.sign, format.integerBits, format.fractionBits);
    }
    return number;
}

std::string getCounterNameFromMsgTag(std::string const& tag) {
    std::vector<std::string> parts = split(tag, "_");
    return parts.size() >= 2 ? parts[1] : std::string();
}

std::string getCounterNameFromInitValue(std::string const& text, std::string endMark, std::string startMark) {
    size_t start = text.find(startMark);
    if (start == std::string::npos) {
        return std::string();
    }
    size_t end = text.find(endMark, start + 1);
    if (end == std::string::npos) {
        return std::string();
    }
    return text.substr(start, end - start);
}

std::string getIPNameFromInitValue(std::string const& text, std::string separator, std::string suffix) {
    std::vector<std::string> parts = split(text, separator);
    if (parts.size() != 3) {
        return std::string();
    }
    size_t at = parts[1].find("-" + suffix);
    return at == std::string::npos ? std::string() : parts[1].substr(0, at);
}

bool checkAttributeIpName(std::string const& name,
                          std::unordered_map<std::string, std::vector<IP>> const& ips) {
    VR_LOG_AREA(3, "CheckAttribute", "DEBUG: Checking for IP: %s\n", name.c_str());
    for (const auto& entry : ips) {
        for (const IP& ip : entry.second) {
            VR_LOG_AREA(3, "CheckAttribute", "DEBUG: Testing against IP: %s\n", ip.name.c_str());
            if (ip.name == name) {
                VR_LOG_AREA(3, "CheckAttribute", "DEBUG: Match found for IP: %s\n", name.c_str());
                return true;
            }
        }
    }
    return false;
}

std::string getFormatedPCIBDF(_vr_pmt_pci_location location) {
    unsigned value = location.value;
    return std::to_string(value & 0xffu) + ":" + std::to_string((value >> 8) & 0x1fu) + ":" +
           std::to_string((value >> 13) & 0x7u);
}

}  // namespace pwr
