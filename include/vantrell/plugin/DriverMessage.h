#pragma once

// vr_driver_msg: the head of a raw message as the kernel driver delivers it, as far as this library
// reads it. What follows the head belongs to the collector and metric plug-in that share the source.

#include <cstdint>

#include "vantrell/plugin/PluginEnvironmentTypes.h"

#pragma pack(push, 1)
struct vr_driver_msg {
    uint64_t timestamp;   // bytes 0 to 7: the TSC at the time of the sample
    uint8_t reserved[2];  // bytes 8 and 9: the driver's own
    id_config_t source;   // bytes 10 to 12: the identity of the message source
};
#pragma pack(pop)
static_assert(sizeof(vr_driver_msg) == 13, "the library reads the first 13 bytes of a driver message");
