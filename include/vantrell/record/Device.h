#pragma once

// Display names of the short device keys that a SystemMetadata record holds ("PCH=DGWLP") and of the
// telemetry GUIDs: two process-wide tables filled at start-up and only read afterwards, so any thread
// may look up. Static operations only.

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>

#include "vantrell/Export.h"

namespace pwr {

// The kind of device behind a telemetry GUID.
enum PMT_DEVICE_TYPE : uint32_t {
    PMT_DEVICE_CHIPSET = 0,
    PMT_DEVICE_DISCRETE_GRAPHICS = 1,
    PMT_DEVICE_UNKNOWN = 5,
};

// FNV-1a over 64 bits (offset basis 0xcbf29ce484222325, prime 0x100000001b3) over the key's bytes.
struct VR_EXPORT Fnv1aHash {
    size_t operator()(std::string const& key) const noexcept;
};

class VR_EXPORT Device {
  public:
    using NameTable = std::unordered_map<std::string, std::string, Fnv1aHash>;
    using PmtTable = std::unordered_map<uint32_t, std::pair<std::string, PMT_DEVICE_TYPE>>;

    // The display name of `key` ("ORC" gives "Orchard Point (ORC)"), or "Unsupported".
    static std::string deviceStringLookup(std::string key);
    // The short text of `guid` ("ZLK"); for an unknown GUID "0x" and the GUID in hexadecimal.
    static std::string pmtDeviceStringLookup(unsigned int guid);
    // The device type of `guid`; PMT_DEVICE_UNKNOWN (5) for an unknown GUID.
    static PMT_DEVICE_TYPE pmtDeviceTypeLookup(unsigned int guid);

    static const NameTable& getDeviceNames();
    static const PmtTable& getPmtDevices();

  private:
    Device();
};

}  // namespace pwr
