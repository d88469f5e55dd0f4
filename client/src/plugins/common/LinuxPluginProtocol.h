#pragma once

// What the reference host and its Linux plug-ins agree on beyond the library's own contract:
//
// 1. The body of their raw driver messages. A message is the library's 13-byte `vr_driver_msg` head
//    (TSC timestamp, source identity = plug-in sid, metric id, message id of the InputMsg it answers),
//    then, little-endian:
//        uint32 bodySize     bytes that follow this field
//        uint8  trigger      the vr_when_type that made the read (BEGIN, POLL, TRACEPOINT, END)
//        uint16 count        entries
//        count x { uint16 cpu (kSystemCpu: the whole machine), uint16 keySize, key bytes, uint64 value }
//    A message carries its size, because MetricPlugin::processDriverMessage gets no length, and a
//    reader checks every size against the bytes it holds (stored files may be damaged).
//
// 2. `pwr::VRBuffer`, the bytes a collector hands over in getContinuousResult: whole messages, one
//    after the other.
//
// 3. The text the host hands every plug-in through setCommandlineParams: lines "key=value". Keys:
//        output    file prefix of the results; empty: standard output
//        results   the -r list, comma-separated ("sum,int")
//        interval  sampling interval in milliseconds
//
// 4. The features. Feature name (-f, ConfigCap COMMAND-LINE), configuration prefix and metric
//    capability name are the same word; the message names and entry keys are these:
//        cstate      residency  BEGIN,POLL,END  cpu N, key = cpuidle state name, value = cumulative us
//        cpu         times      BEGIN,POLL,END  cpu N, keys user nice system idle iowait irq softirq
//                                               steal, value = cumulative USER_HZ ticks of /proc/stat
//        frequency   current    POLL            cpu N, key "cur" (cpufreq, kHz) or "nominal"
//                                               (/proc/cpuinfo "cpu MHz" x 1000, kHz)
//        thermal     zones      POLL            kSystemCpu, key = sensor name, value = millidegrees
//                                               Celsius as a signed 64-bit number
//        power       energy     BEGIN,POLL,END  kSystemCpu, key = RAPL domain name ("package-0",
//                                               "core", "dram" ...), value = cumulative uJ; BEGIN
//                                               also sends "max:<domain>" = max_energy_range_uj
//        interrupts  counts     BEGIN,POLL,END  cpu N, key = /proc/interrupts label ("0", "LOC"),
//                                               value = cumulative count
//        trace       events     TRACEPOINT      one message per kernel event: cpu N and one entry,
//                                               "cstate" = new idle state (kIdleExit: back to C0),
//                                               "freq" = new frequency in kHz, or
//                                               "wakeup:<comm>" = pid of the task switched in
//    The default features are the group "default".

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace pwr {

class VRBuffer {
  public:
    std::vector<char> bytes;
};

}  // namespace pwr

namespace vantrell::plugins {

constexpr uint16_t kSystemCpu = 0xffff;
constexpr uint64_t kIdleExit = 0xffffffffULL;
constexpr size_t kHeadSize = sizeof(vr_driver_msg);
constexpr size_t kBodyFixedSize = 4 + 1 + 2;  // bodySize, trigger, count

// Appends one message to `out`: begin, any number of add, then finish.
class SampleWriter {
  public:
    SampleWriter(std::vector<char>& out, uint64_t timestamp, id_config_t source, uint8_t trigger)
        : out(out), start(out.size()) {
        vr_driver_msg head{};
        head.timestamp = timestamp;
        head.source = source;
        append(&head, sizeof(head));
        const uint32_t size = 0;
        append(&size, sizeof(size));
        append(&trigger, sizeof(trigger));
        const uint16_t zero = 0;
        append(&zero, sizeof(zero));
    }

    void add(uint16_t cpu, std::string_view key, uint64_t value) {
        const auto keySize = static_cast<uint16_t>(key.size() > 0xffff ? 0xffff : key.size());
        append(&cpu, sizeof(cpu));
        append(&keySize, sizeof(keySize));
        append(key.data(), keySize);
        append(&value, sizeof(value));
        ++count;
    }

    // Patches size and count; returns the number of entries.
    uint16_t finish() {
        const auto bodySize = static_cast<uint32_t>(out.size() - start - kHeadSize - 4);
        std::memcpy(out.data() + start + kHeadSize, &bodySize, sizeof(bodySize));
        std::memcpy(out.data() + start + kHeadSize + 5, &count, sizeof(count));
        return count;
    }

  private:
    void append(const void* data, size_t size) {
        const auto* bytes = static_cast<const char*>(data);
        out.insert(out.end(), bytes, bytes + size);
    }
    std::vector<char>& out;
    size_t start;
    uint16_t count = 0;
};

// The whole size of the message at `data`, or 0 when `available` bytes can't hold it.
inline size_t messageSize(const char* data, size_t available) {
    if (available < kHeadSize + kBodyFixedSize) {
        return 0;
    }
    uint32_t bodySize = 0;
    std::memcpy(&bodySize, data + kHeadSize, sizeof(bodySize));
    const size_t total = kHeadSize + 4 + static_cast<size_t>(bodySize);
    return bodySize < kBodyFixedSize - 4 || total > available ? 0 : total;
}

inline uint8_t messageTrigger(const vr_driver_msg* message) {
    return static_cast<uint8_t>(reinterpret_cast<const char*>(message)[kHeadSize + 4]);
}

// Calls f(cpu, key, value) for each entry of a message whose size was checked with messageSize.
// False when an entry runs past the body (nothing after it is visited).
template <class F>
bool forEachEntry(const vr_driver_msg* message, F&& f) {
    const char* base = reinterpret_cast<const char*>(message);
    uint32_t bodySize = 0;
    uint16_t count = 0;
    std::memcpy(&bodySize, base + kHeadSize, sizeof(bodySize));
    std::memcpy(&count, base + kHeadSize + 5, sizeof(count));
    const char* at = base + kHeadSize + kBodyFixedSize;
    const char* end = base + kHeadSize + 4 + bodySize;
    for (uint16_t i = 0; i < count; ++i) {
        uint16_t cpu = 0;
        uint16_t keySize = 0;
        uint64_t value = 0;
        if (end - at < 4) {
            return false;
        }
        std::memcpy(&cpu, at, 2);
        std::memcpy(&keySize, at + 2, 2);
        if (end - at < 4 + static_cast<ptrdiff_t>(keySize) + 8) {
            return false;
        }
        std::memcpy(&value, at + 4 + keySize, 8);
        f(cpu, std::string_view(at + 4, keySize), value);
        at += 4 + keySize + 8;
    }
    return true;
}

// Calls f(const vr_driver_msg*, size) for each whole message of `bytes`; false when a message is cut.
template <class F>
bool forEachMessage(const char* bytes, size_t size, F&& f) {
    size_t offset = 0;
    while (offset < size) {
        const size_t length = messageSize(bytes + offset, size - offset);
        if (length == 0) {
            return false;
        }
        f(reinterpret_cast<const vr_driver_msg*>(bytes + offset), length);
        offset += length;
    }
    return true;
}

inline id_config_t makeSource(int sid, int metricId, int msgId) {
    id_config_t id;
    id.byte0 = static_cast<uint8_t>(sid);
    id.byte1 = static_cast<uint8_t>(metricId);
    id.byte2 = static_cast<uint8_t>(msgId);
    return id;
}

// "key=value" lines into a map; lines without "=" are skipped.
inline std::map<std::string, std::string> parseParams(const std::string& text) {
    std::map<std::string, std::string> params;
    size_t begin = 0;
    while (begin <= text.size()) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string line = text.substr(begin, end - begin);
        const size_t equals = line.find('=');
        if (equals != std::string::npos) {
            params[line.substr(0, equals)] = line.substr(equals + 1);
        }
        begin = end + 1;
    }
    return params;
}

}  // namespace vantrell::plugins

// Every reference plug-in module exports these two.
#define VR_DECLARE_PLUGIN(Type)                                                              \
    extern "C" __attribute__((visibility("default"))) Plugin* vrCreatePlugin() {             \
        return new Type();                                                                   \
    }                                                                                        \
    extern "C" __attribute__((visibility("default"))) void vrDestroyPlugin(Plugin* plugin) { \
        delete plugin;                                                                       \
    }
