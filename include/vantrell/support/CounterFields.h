#pragma once

// Taking apart the texts with which the collection configuration describes hardware counters: bit
// ranges "MSB:LSB", data formats "UX.Y", initial values that pack several names, message tags; and
// turning raw register values into numbers.
//
// Every function gives a neutral value on bad input (0, "", false or the unconverted number) with the
// messages told below. Text is split as the Tokenizer splits it: a run of separators counts as one.
// No state; any thread.

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

// A fixed-point data format: sign letter 'U' or 'S', integer bits, fraction bits.
struct vr_qformat {
    char sign = 'U';
    uint8_t integerBits = 0;
    uint8_t fractionBits = 0;
};

// A PCI location in 16 bits: bus (bits 0-7), device (8-12), function (13-15).
union _vr_pmt_pci_location {
    uint16_t value;
    struct {
        uint16_t bus : 8;
        uint16_t device : 5;
        uint16_t function : 3;
    } fields;
};

// A named block of the processor or chipset.
struct IP {
    std::string name;
};

// True when `mask` splits at `separator` into exactly two parts that are both numbers.
VR_EXPORT bool isMaskValid(std::string const& mask, std::string separator);

// The second (LSB) or first (MSB) number of "MSB:LSB"; 0 unless there are exactly two parts. A part
// that isn't a decimal number logs "WARNING: Failed to extract numeric value of <part>" at level 2
// and counts as 0.
VR_EXPORT unsigned char retrieveLsbFromMask(std::string const& mask);
VR_EXPORT unsigned char retrieveMsbFromMask(std::string const& mask);

// Bits `msb` down to `lsb` of `value`, shifted down to bit 0. With `msb` 63 only the shift is made.
VR_EXPORT unsigned long long extractBitRangeValue(unsigned long long value, unsigned char msb,
                                                  unsigned char lsb);

// "U24.8" gives 'U', 24, 8. Any text not of the form UX.Y or SX.Y logs at level 1
// "ERROR: Invalid DATA-FORMAT entry. %s is invalid. Format expected as UX.Y or SX.Y" and gives 'U', 0, 0.
VR_EXPORT vr_qformat retrieveQFormat(std::string const& text);

// `value` as an unsigned number divided by 2^fractionBits for 'U'. For 'S' logs
// "ERROR: Signed Qformat is currently not supported", for any other letter
// "ERROR: Invalid DATA-FORMAT entry. %c%d.%d is invalid. Format expected as UX.Y or SX.Y", and gives
// the value unconverted.
VR_EXPORT double convertToFloatPoint(unsigned long long value, vr_qformat const& format);

// The second "_"-separated part of `tag`; "" when there is none.
VR_EXPORT std::string getCounterNameFromMsgTag(std::string const& tag);

// From the first `startMark` up to (without) the next `endMark` after it; "" when either is missing.
VR_EXPORT std::string getCounterNameFromInitValue(std::string const& text, std::string endMark,
                                                  std::string startMark);

// With `text` splitting at `separator` into exactly three parts: the second part up to "-" + `suffix`
// when that occurs in it; "" otherwise.
VR_EXPORT std::string getIPNameFromInitValue(std::string const& text, std::string separator,
                                             std::string suffix);

// True when any IP of any vector of `ips` has exactly `name`. At level 3 or with the debug area
// "CheckAttribute" open, logs "DEBUG: Checking for IP: %s\n", "DEBUG: Testing against IP: %s\n" per
// comparison and "DEBUG: Match found for IP: %s\n".
VR_EXPORT bool checkAttributeIpName(std::string const& name,
                                    std::unordered_map<std::string, std::vector<IP>> const& ips);

// "bus:device:function" in decimal. The name is spelled so.
VR_EXPORT std::string getFormatedPCIBDF(_vr_pmt_pci_location location);

}  // namespace pwr
