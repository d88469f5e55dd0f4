#pragma once

// Records that the plug-in environment keys its books by: the identity of a message source and the
// description of a telemetry endpoint. Plain values, freely copied; no thread rules of their own.

#include <cstddef>
#include <cstdint>
#include <tuple>

// The identity of a message source: three bytes, compared in order, most significant first. In a raw
// driver message they stand at bytes 10, 11 and 12.
struct id_config_t {
    uint8_t byte0 = 0;
    uint8_t byte1 = 0;
    uint8_t byte2 = 0;
};
static_assert(sizeof(id_config_t) == 3, "a source identity is three bytes");

inline bool operator<(const id_config_t& left, const id_config_t& right) {
    return std::tie(left.byte0, left.byte1, left.byte2) < std::tie(right.byte0, right.byte1, right.byte2);
}
inline bool operator==(const id_config_t& left, const id_config_t& right) {
    return left.byte0 == right.byte0 && left.byte1 == right.byte1 && left.byte2 == right.byte2;
}
inline bool operator!=(const id_config_t& left, const id_config_t& right) {
    return !(left == right);
}

// One telemetry endpoint, exactly as the driver lays it out: 22 bytes, no padding. Read the fields by
// value; being packed, they can't be bound to references.
#pragma pack(push, 1)
struct _vr_aggregator_info {
    uint64_t baseAddress = 0;
    uint32_t guid = 0;
    uint32_t reserved0 = 0;
    uint16_t endpointId = 0;
    uint16_t reserved1 = 0;
    uint16_t collectionType = 0;
};
#pragma pack(pop)

static_assert(sizeof(_vr_aggregator_info) == 22, "the endpoint record is 22 bytes");
static_assert(offsetof(_vr_aggregator_info, baseAddress) == 0, "base address at byte 0");
static_assert(offsetof(_vr_aggregator_info, guid) == 8, "GUID at byte 8");
static_assert(offsetof(_vr_aggregator_info, reserved0) == 12, "4 further bytes at byte 12");
static_assert(offsetof(_vr_aggregator_info, endpointId) == 16, "endpoint id at byte 16");
static_assert(offsetof(_vr_aggregator_info, reserved1) == 18, "2 further bytes at byte 18");
static_assert(offsetof(_vr_aggregator_info, collectionType) == 20, "collection type at byte 20");
