#pragma once

// The record of the machine and run of a collection: on what machine, with what software, when and how
// it ran. Every plug-in gets it as a constant argument, requirements test it, and the report is made
// from it. Stored with the result file as a Metadata record of type 2.
//
// The stored form grew by appending fields and has no version of its own: fields 1 to 23 (pluginUuids
// to commandLine) must be present, and a reader that runs out of bytes after them stops with a warning
// ending in "-- older file?!", keeping what it read and defaults for the rest. The field comments below
// give the order; it never changes.
//
// A plain structure with public fields; a new one has all numbers 0, all strings and lists empty.
// Copied and moved memberwise (the topology deep-copies as TopTree does). One thread at a time.
// Reading a record has process-wide effects: see deserialize_i.

#include <cstdint>
#include <deque>
#include <iosfwd>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/record/Clock.h"
#include "vantrell/record/FMS.h"
#include "vantrell/record/Metadata.h"
#include "vantrell/record/TopTree.h"

namespace pwr {

class VR_EXPORT SystemMetadata : public Metadata {
  public:
    SystemMetadata();
    SystemMetadata(const SystemMetadata&) = default;
    SystemMetadata(SystemMetadata&&) = default;
    SystemMetadata& operator=(const SystemMetadata&) = default;
    SystemMetadata& operator=(SystemMetadata&&) = default;
    ~SystemMetadata() override;

    // ---- Mandatory part, in stored order -------------------------------------------------------------
    std::map<int, std::string> pluginUuids;  //  1: sid to uuid of the plug-ins of this collection
    FMS fms;                                 //  2: family, model, stepping of the processor
    uint32_t appVersion = 0;                 //  3: host version, bits 16-31 major, 8-15 minor, 0-7 patch
    uint32_t driverVersion = 0;              //  4: kernel driver version, same layout
    uint32_t scuVersion = 0;                 //  5: SCU firmware version
    std::string platformName;                //  6: comma-separated KEY=value items ("PCH=...,PCI=...")
    std::string hostName;                    //  7
    std::string osName;                      //  8
    std::string osType;                      //  9
    std::string osVersion;                   // 10
    TopTree cpuTopology;                     // 11: the processor's topology
    float busFreqMHz = 0.0f;                 // 12
    float vraClockFreqMHz = 0.0f;            // 13: frequency of the collection's clock
    float lfmFreqMHz = 0.0f;                 // 14: lowest frequency mode
    float hfmFreqMHz = 0.0f;                 // 15: highest frequency mode
    float cpuFreqMHz = 0.0f;                 // 16: base operating frequency
    uint64_t startTSC = 0;                   // 17
    uint64_t stopTSC = 0;                    // 18
    uint64_t startTimeval = 0;               // 19: nanoseconds since 1970
    uint64_t stopTimeval = 0;                // 20: same
    uint16_t pollingIntervalMsecs = 0;       // 21
    uint8_t maxDetail = 0;                   // 22
    std::vector<std::string> commandLine;    // 23: the arguments of the collection's command line

    // ---- Appended part: absent in older files --------------------------------------------------------
    uint64_t samplesProduced = 0;                                         // 24
    uint64_t samplesDropped = 0;                                          // 25
    bool lowOverheadMode = false;                                         // 26
    std::vector<std::pair<std::string, std::string>> platformSpecifiers;  // 27: key, decimal number
    std::vector<TopologyChange> topologyChanges;                          // 28: CPUs going off/on line
    uint8_t hyperVEnable = 0;                                             // 29
    uint8_t vsmEnable = 0;                                                // 30
    std::vector<uint32_t> cpuNativeModelIds;                              // 31: per core, hybrid parts
    uint32_t platformId = 0;                                              // 32
    uint8_t edramCap = 0;                                                 // 33
    uint32_t iGfxId = 0;                                                  // 34: 0: no integrated graphics
    std::string driverBuildDate;                                          // 35
    uint64_t programStartTimeval = 0;                                     // 36: nanoseconds since 1970
    uint64_t programStopTimeval = 0;                                      // 37
    std::string exeBuildDate;                                             // 38
    uint32_t continuousQuantumMsecs = 0;                                  // 39: not 0: continuous run
    std::deque<VRClockSync> clockSyncs;                                   // 40
    uint8_t hvciEnable = 0;                                               // 41
    std::string versionString;                                            // 42: non-numeric version
    std::string buildRef;                                                 // 43
    std::string packageType;                                              // 44

    // The topology of field 11.
    const TopTree& getCPUTopology() const { return cpuTopology; }
    TopTree& getCPUTopology() { return cpuTopology; }

    // Builds cpuTopology from the collector's text (groups of logical CPU, package, core and die ids);
    // see TopTree::buildTopology, which logs the tree.
    void buildTopology(const std::string& text, unsigned long long coresPerModule);

    // `timeval` (nanoseconds since 1970) as "%Y-%m-%d %H:%M:%S GMT" in UTC; 0 gives "N/A".
    static std::string formatTimevalAsString(uint64_t timeval);
    // startTimeval, and programStartTimeval, in that form.
    std::string getCollectionStartTime() const;
    std::string getProgramStartTime() const;
    // (stopTimeval - startTimeval) in seconds, the difference taken unsigned.
    double getCollectionDurationSec() const;

    // ---- Report text: the blocks that open every report -----------------------------------------------

    // The processor's code name from fms (and, for some models, iGfxId and platformId); "Unknown" for
    // anything not in the table, family other than 6 included.
    std::string getFormattedCPUCodeName() const;
    // The name of a hybrid core type `id` ("QKA", ...), or "N/A".
    std::string getCPUNativeModelName(unsigned int id) const;
    // Platform tests by fms, platformId and iGfxId; all false for a family other than 6.
    bool isPlatformTMR() const;
    bool isPlatformSPU() const;
    bool isPlatformVBN() const;
    bool isPlatformYEW() const;
    // Appends the display name of each "PCI=" (or "PMT=") item of the comma-separated `list`. Items
    // that aren't exactly KEY=value are skipped.
    void getFormattedPCIDeviceNames(std::string const& list, std::list<std::string>& out) const;
    void getFormattedPMTDeviceNames(std::string const& list, std::list<std::string>& out) const;
    // The display name of the first `key` item of `list`; "" when there is none. An unknown device with
    // a platform specifier of the same key shows the specifier in hexadecimal: "Unsupported (0x9d84)".
    std::string getFormattedPCHDeviceName(std::string const& list, std::string const& key) const;
    // The product and driver version lines; with `postProcessed` also the lines of the running library.
    std::string getOSVersionString(bool postProcessed) const;
    // With `withBanner` the banner, then getOSVersionString(false).
    std::string getVersionHeader(bool withBanner) const;
    // Command line, start times, clock frequency and duration.
    std::string getCollectionHeader() const;
    // Machine, operating system, processor, devices and topology counts.
    std::string getSystemHWHeader() const;

  protected:
    // All 44 fields in stored order; counts are the containers' sizes cut to 16 bits.
    void serialize_i(Serializer& out) const override;

    // Reads the body. Returns -1, without a message, at a shortage or an empty string in fields 1 to
    // 23, and 0 otherwise. Further outcomes:
    //   - INFO lines at level 4 for the versions, frequencies, TSCs, timevals, polling interval, max
    //     detail and command line ("INFO: OK, read app version = %u (%u.%u.%u)\n", ...).
    //   - After field 16, g_pluginEnvironment (when set) takes vraClockFreqMHz as its default clock
    //     frequency and vraClockFreqMHz / cpuFreqMHz as its ratio: reading changes the process's clock
    //     conversion, also when the read fails later.
    //   - From field 24 on, a missing field or one stored empty ends the read with its level-2 warning
    //     ("WARNING: couldn't extract # produced samples -- older file?!\n", ...) and status 0. Some of
    //     these warnings also go out when the debug area "SystemMeta::deserialize" is open.
    //   - A list whose count is there but whose elements are cut short fails with -1; a cut clock sync
    //     logs "WARNING: Couldn't extract clock sync data\n", a cut topology change
    //     "WARNING: error extracting topology changes!\n" after the change's own warning.
    //   - The quantum (field 39) is read as 16-bit seconds when appVersion is below 2020.3.0
    //     (0x07E40300), else as 32-bit milliseconds.
    //   - On status 0 the entities' CPU part is rebuilt from this record's topology
    //     (DataHandleProvider::resetTopology).
    int deserialize_i(Serializer& in, unsigned int version) override;
};

// The dump form: one item per line, "FMS: ", "App version: ", ..., "Package Type: ".
VR_EXPORT std::ostream& operator<<(std::ostream& out, const SystemMetadata& record);

}  // namespace pwr
