#pragma once

// A Specifier is one way of recognising a machine as a configured platform: its CPU's family, model
// and stepping, a PCI device, a telemetry GUID, a named value or a named value in a range. The MODEL
// lines of the collection configuration make them; a Platform owns its specifiers.
//
// A match result is 0 (no match), 1 (partial: only FMS knows it) or 2 (exact). Copyable values.
// One thread at a time.

#include <cstdint>
#include <string>
#include <utility>

#include "vantrell/Export.h"

namespace pwr {

struct VR_EXPORT Specifier {
    // "FMS", "PCI", "PMT", or the tag of the MODEL line: the kind of fact that this specifier tests.
    explicit Specifier(std::string const& name) : m_name(name) {}
    virtual ~Specifier();
    // 0 when `name` isn't this specifier's kind, else is_match_i(str). Logs under the area
    // "config-parser" "INFO: Specifier::is_match(): m_name:%s, name:%s\n".
    virtual int is_match(std::string const& name, std::string const& str) const;
    // The text form for the log.
    virtual std::string toString() const;
    virtual int is_match_i(std::string const& str) const = 0;

    std::string m_name;
};

// A named value; numbers are compared as numbers, other texts exactly.
struct VR_EXPORT ValueSpecifier : Specifier {
    ValueSpecifier(std::string const& name, std::string const& value) : Specifier(name), m_valueStr(value) {}
    std::string toString() const override;
    int is_match_i(std::string const& str) const override;

    std::string m_valueStr;
};

// A PCI device by vendor and device; the fact reads "VENDOR=0x<hex>,DEVICE=0x<hex>".
struct VR_EXPORT PCISpecifier : Specifier {
    // Throws the C string "Invalid version and/or device passed to PCI specifier" for a 0 in either.
    PCISpecifier(std::string const& name, uint32_t vendor, uint32_t device);
    std::string toString() const override;
    int is_match_i(std::string const& str) const override;

    uint32_t m_vendor;
    uint32_t m_device;
};

// A telemetry GUID; the fact reads "GUID=0x<hex>".
struct VR_EXPORT PMTSpecifier : Specifier {
    // Throws the C string "Invalid version and/or device passed to PMT specifier" for a GUID of 0.
    PMTSpecifier(std::string const& name, uint32_t guid);
    std::string toString() const override;
    int is_match_i(std::string const& str) const override;

    uint32_t m_guid;
};

// A named number within an inclusive range.
struct VR_EXPORT RangeSpecifier : Specifier {
    RangeSpecifier(std::string const& name, uint32_t first, uint32_t second)
        : Specifier(name), m_range(first, second) {}
    std::string toString() const override;
    int is_match_i(std::string const& str) const override;

    std::pair<uint32_t, uint32_t> m_range;
};

// A processor by family, model and stepping; a stepping of 0 on either side gives a partial match.
struct VR_EXPORT FMSSpecifier : Specifier {
    // Throws the std::string "ERROR: <str> is NOT a valid FMS specifier!" for a text that
    // extract_fms_i refuses.
    explicit FMSSpecifier(std::string const& str);
    std::string toString() const override;
    int is_match_i(std::string const& str) const override;

    // Reads "family.model[.stepping]": family and model must be numbers, the stepping a number or
    // absent (0). False when the text doesn't hold that form. Logs
    // "DEBUG: FMSSpecifier::extract_fms_i:family:%s, model:%s, stepping:%s\n".
    static bool extract_fms_i(uint8_t& family, uint8_t& model, uint8_t& stepping, std::string const& str);

    uint8_t m_family = 0;
    uint8_t m_model = 0;
    uint8_t m_stepping = 0;
};

}  // namespace pwr
