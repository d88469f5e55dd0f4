#pragma once

// Clocks. A VRClockSource is one time source with a stored identity (uuid, name, description), so
// that a record in a file says which clock its numbers came from. The three system clocks have fixed
// identities, since result files name them. A VRClockSync is one pair of readings, of a clock and of
// the default clock, from which timestamps of that clock are converted afterwards.
//
// Ownership: clocks belong to whoever made them; getVRSystemClockSources hands new ones to the caller.
// The default clock of a run is set in the PluginEnvironment and owned by the host.
// Threads: clocks are read-only once made and may be read from any thread. VRTSCClock's frequency is
// set by its owner before the clock is shared.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class SystemMetadata;

// Abstract time source. Copyable; a copy reads the same clock.
class VR_EXPORT VRClockSource {
  public:
    virtual ~VRClockSource();
    // Ticks per microsecond.
    virtual float getFrequencyMHz() const = 0;
    // The current reading.
    virtual uint64_t getTimestamp() const = 0;

    const std::string& getUUID() const { return uuid; }
    const std::string& getName() const { return name; }
    const std::string& getDescription() const { return description; }

  protected:
    VRClockSource(std::string uuid, std::string name, std::string description);
    VRClockSource(const VRClockSource&) = default;
    VRClockSource& operator=(const VRClockSource&) = default;

  private:
    std::string uuid;
    std::string name;
    std::string description;
};

// The processor's time stamp counter: "TSC". Nothing in the library measures its frequency: it is 0.0
// until the owner sets it.
class VR_EXPORT VRTSCClock : public VRClockSource {
  public:
    VRTSCClock();
    float getFrequencyMHz() const override { return frequencyMHz; }
    uint64_t getTimestamp() const override;
    void setFrequencyMHz(float mhz) { frequencyMHz = mhz; }

  private:
    float frequencyMHz = 0.0f;
};

// The system's monotonic performance counter: "QPC". Its frequency comes from the system.
class VR_EXPORT VRQPCClock : public VRClockSource {
  public:
    VRQPCClock();
    float getFrequencyMHz() const override;
    uint64_t getTimestamp() const override;
};

// Nanoseconds since the Unix epoch, read from the system's 100-nanosecond wall clock: "NANO".
// Frequency 1000.0 MHz.
class VR_EXPORT VRNanoClock : public VRClockSource {
  public:
    VRNanoClock();
    float getFrequencyMHz() const override { return 1000.0f; }
    uint64_t getTimestamp() const override;
};

// One synchronisation point: a reading of a clock and, taken with it, of the default clock.
struct VR_EXPORT VRClockSync {
    std::string clockUUID;
    std::string clockName;
    float clockFreqMHz = 0.0f;
    uint64_t clockValue = 0;
    std::string defaultClockUUID;
    std::string defaultClockName;
    float defaultClockFreqMHz = 0.0f;
    uint64_t defaultClockValue = 0;
};

// Appends a new VRQPCClock, VRNanoClock and VRTSCClock, in this order; the metadata isn't read.
// The caller owns them and frees them with freeVRSystemClockSources.
VR_EXPORT void getVRSystemClockSources(const SystemMetadata& metadata, std::vector<VRClockSource*>& out);

// Deletes each clock that isn't null; the vector is left as it is, its pointers stale.
VR_EXPORT void freeVRSystemClockSources(std::vector<VRClockSource*>& clocks);

// A reading of the default clock of g_pluginEnvironment; 0 when no environment or clock is set.
VR_EXPORT uint64_t getVRATimestamp();

// The uuid of that clock, by reference; an empty text when no clock is set.
VR_EXPORT const std::string& getVRAClockUUID();

// Looks for the sync of clock `uuid`, from the front. Each sync looked at is copied to `out` and logged
// as "DEBUG: Looking at sync clock %s\n"; the match is logged as "DEBUG: Found clock UUID %s with freq
// %.2f and val %llu (Default = %s, %.2f, %llu)\n" and gives true. Without a match: false, with `out`
// the last sync looked at, or untouched when `syncs` is empty.
VR_EXPORT bool wasClockSynchronized(const std::string& uuid, const std::deque<VRClockSync>& syncs,
                                    VRClockSync& out);

// Takes `timestamp` of the sync's clock to the default clock:
// (timestamp - clockValue) * defaultClockFreqMHz / clockFreqMHz + defaultClockValue, in unsigned 64-bit
// and double arithmetic; an earlier timestamp wraps. A scaled difference that is not a number gives 0,
// one beyond 64 bits gives 0xffffffffffffffff before the addition. Logs
// "INFO: input TSC = %llu, output TSC = %llu\n" at level 4.
VR_EXPORT uint64_t convertTimestamp(const VRClockSync& sync, unsigned long long timestamp);

}  // namespace pwr
