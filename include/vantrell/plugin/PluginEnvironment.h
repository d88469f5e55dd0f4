#pragma once

// The one object that the host, the library and all plug-ins share, reached through the exported
// pointer g_pluginEnvironment, which the host sets to an object it constructs at start-up.
//
// A passive store with a little logic: loggers and verbosity, debug areas, clock, writer stream,
// driver handles and version, directories, the timeline of system states with the reset bookkeeping
// built on it, the registry of telemetry endpoints, and a queue of messages for the host.
//
// Ownership: the environment owns only the output stream handed to adoptOutputStream. Loggers, clock,
// writer stream, topology, driver and library handles and endpoint parsers belong to whoever set them.
// Copyable: copies take every field, containers by value; a copy shares the adopted output stream,
// which the last of them deletes.
// No locks: configured on the host's main thread before the collection; the timeline and the reset
// books are written and read by the thread that processes messages.

#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginEnvironmentTypes.h"

namespace pwr {
class Logger;
class VRClockSource;
class XMLParser;
}  // namespace pwr

class VR_EXPORT PluginEnvironment {
  public:
    PluginEnvironment();
    PluginEnvironment(const PluginEnvironment&) = default;
    PluginEnvironment& operator=(const PluginEnvironment&) = default;
    ~PluginEnvironment();

    // ---- Logging ------------------------------------------------------------------------------------

    // Verbosity: levels up to this number get out (0: only level 0). 1 after construction.
    uint16_t getVerbosity() const { return verbosity; }
    void setVerbosity(uint16_t value) { verbosity = value; }

    pwr::Logger* getErrorLogger() const { return errorLogger; }
    void setErrorLogger(pwr::Logger* logger) { errorLogger = logger; }
    pwr::Logger* getDebugLogger() const { return debugLogger; }
    void setDebugLogger(pwr::Logger* logger) { debugLogger = logger; }
    pwr::Logger* getNullLogger() const { return nullLogger; }
    void setNullLogger(pwr::Logger* logger) { nullLogger = logger; }
    pwr::Logger* getDataOutputHandle() const { return dataOutputHandle; }
    void setDataOutputHandle(pwr::Logger* logger) { dataOutputHandle = logger; }
    void setFileOutputHandle(pwr::Logger* logger) { fileOutputHandle = logger; }

    // Null for a null `name`. Otherwise the handle set with setFileOutputHandle, whatever `name` says;
    // failing that a new FileLogger on `name` that is not stored: the caller owns it.
    pwr::Logger* getFileOutputHandle(const char* name);

    // True when `area` was added, by exact comparison of whole strings.
    bool isDebugLoggingEnabledFor(const char* area) const;
    bool isDebugLoggingEnabledFor(const std::string& area) const;
    // Adds `area` to the set of open debug areas. No prefix matching takes place anywhere.
    void addPrefixForDebugLogging(const std::string& area);
    // True when any debug area is open, so that a shut area site costs a load and a test.
    bool hasDebugAreas() const { return !debugPrefixes.empty(); }

    // Copies `text` to the back of the host's message queue; a null `text` is ignored.
    void queueMessage(const char* text);
    // The queue, by reference, for the host to print and drain.
    std::deque<std::string>& getQueuedMessages() { return messageQueue; }

    // ---- Run-wide objects (not owned unless said) ---------------------------------------------------

    // Takes ownership of `stream`, deleting the one held before (once no copy shares it).
    void adoptOutputStream(std::unique_ptr<std::ostream> stream);
    std::ostream* getOwnedOutputStream() const { return ownedOutputStream.get(); }

    // The clock of this collection; getVRATimestamp reads it.
    pwr::VRClockSource* getDefaultClock() const { return defaultClock; }
    void setDefaultClock(pwr::VRClockSource* clock) { defaultClock = clock; }

    // The WriterStream of this run; users cast it back.
    void* getWriterStream() const { return writerStream; }
    void setWriterStream(void* stream) { writerStream = stream; }

    // Metric switches: exact membership.
    void insertMetricSwitch(const std::string& name) { metricSwitches.insert(name); }
    bool hasMetricSwitch(const std::string& name) const { return metricSwitches.count(name) != 0; }

    // ---- Directories --------------------------------------------------------------------------------

    // The directory of the host executable in stored form, ending in a backslash; "" until found.
    const std::string& getVantrellDirectory() const { return vantrellDirectory; }

    // Finds the directory of the running executable, stores it, makes it the library directory of the
    // search path and adds its "plugins" directory to that path. Called once by the host.
    // If the executable's path can't be had: at any verbosity but 0 logs
    // "ERROR: Cannot get full pathname for vantrell executable. Error: %s\n" with the system's text and
    // leaves everything unchanged. Failures of the search path itself are not looked at.
    void setVantrellDirectory();

    // ---- Drivers and the counter library ------------------------------------------------------------

    // The operating system's invalid-handle value, all bits 1: what driver handles start as.
    static void* invalidHandle() { return reinterpret_cast<void*>(~uintptr_t{0}); }
    void* getVantrellDrvHandle() const { return vantrellDrvHandle; }
    void setVantrellDrvHandle(void* handle) { vantrellDrvHandle = handle; }
    void* getCstraceDrvHandle() const { return cstraceDrvHandle; }
    void setCstraceDrvHandle(void* handle) { cstraceDrvHandle = handle; }
    uint32_t getVantrellDrvVersion() const { return vantrellDrvVersion; }
    void setVantrellDrvVersion(uint32_t version) { vantrellDrvVersion = version; }

    // The counter library once the host loaded it; null before.
    void* getKestrelDllHandle() const { return kestrelDllHandle; }
    void setKestrelDllHandle(void* handle) { kestrelDllHandle = handle; }
    // Empty means that the counter library isn't configured.
    const std::string& getKestrelConfigFileName() const { return kestrelConfigFileName; }
    void setKestrelConfigFileName(const std::string& name) { kestrelConfigFileName = name; }

    // The counter library's five entry points, resolved by name at each use. None of these fails for
    // good: a false result means the collection goes on without these counters.
    //
    // Configures the counters with the configuration file. False without a word when there is no handle,
    // no file name or no "KESTREL_Config_Event". True after "DEBUG: Reconfigured KESTREL interface
    // (%s)!\n". A failing status logs "ERROR: System not configured to allow access to bandwidth
    // data.\n" (verbosity not 0) and, at verbosity 2 or with the area "kestrel", "WARNING: KESTREL
    // configuration error: %s.\n" with the library's text; the file name is then cleared, which turns
    // the three operations below into refusals.
    bool configureKestrel();
    // The library's version numbers; false unless configured and the call gives status 0.
    bool getKestrelVersion(unsigned int* major, unsigned int* minor, unsigned int* patch);
    // Starts counting. False without a word when not configured; a missing handle or entry point logs
    // "WARNING: Error due to NULL kestrelDllHandle or invalid address for KESTREL_Start_Collection
    // function !\n !\n". Logs the call's status at level 4 and "INFO: OK, starting KESTREL collection!\n"
    // or "WARNING: ERROR starting a KESTREL collection!\n".
    bool startKestrel();
    // Stops counting and unloads the library whatever the status; the stored handle stays as it was, so
    // the host stops exactly once. Texts as startKestrel's, for "KESTREL_Stop_Collection", without the
    // doubled ending, "INFO: OK, stopped KESTREL collection!\n" and "WARNING: ERROR stopping a KESTREL
    // collection!\n".
    bool stopKestrel();

    // C-state tracing flags. The setters only set; nothing clears a flag.
    void setCsTraceEnable() { csFlags |= kCsTraceRegistered; }
    bool isCstraceRegister() const { return (csFlags & kCsTraceRegistered) != 0; }
    void setCsFeatureEnabled() { csFlags |= kCsFeatureEnabled; }
    bool isCsFeatureEnabled() const { return (csFlags & kCsFeatureEnabled) != 0; }

    const std::string& getResultFilePrefix() const { return resultFilePrefix; }
    void setResultFilePrefix(const std::string& prefix) { resultFilePrefix = prefix; }

    // Set once a hibernation was seen; nothing clears it.
    void setHybernationEventDetected() { hybernationEventDetected = true; }
    bool getHybernationEventDetected() const { return hybernationEventDetected; }

    // ---- Clock conversion ---------------------------------------------------------------------------

    // Stores `clockMHz` as the default clock frequency and clockMHz / tscMHz as the ratio.
    void setDefaultClockToTSCRatio(float clockMHz, float tscMHz);
    float getDefaultClockToTSCRatio() const { return defaultClockToTSCRatio; }
    float getDefaultClockMHz() const { return defaultClockMHz; }
    // `ts` in seconds of the default clock, in 32-bit float arithmetic. Before a frequency is set this
    // divides by zero: infinity, or not-a-number for 0.
    float getSecFromTimestamp(uint64_t ts) const;

    // ---- Timeline of system states and resets -------------------------------------------------------

    // Sets the state at `ts`, replacing the state of an existing entry.
    void addSystemStateEvent(uint64_t ts, uint32_t state);
    // Erases the latest entry; an empty timeline is left alone.
    void removeLastSystemStateEvent();
    const std::map<uint64_t, uint32_t>& getSystemStateEvents() const { return systemStateEvents; }

    // True once any reset was recorded.
    bool checkResetOccurred() const { return !resetEvents.empty(); }
    // Called by the host for each raw message in order of arrival. True when this message is the first
    // of its source after a system state event, or arrives in state 4 or 5; the reset is then recorded
    // with the state. A source's first message is never a reset. Logs nothing.
    bool checkAndRecordReset(id_config_t id, uint64_t ts);
    // The state recorded for a reset of source (a, b, c) at exactly `ts`; 0 when there is none.
    uint64_t isSystemReset(uint8_t a, uint8_t b, uint8_t c, uint64_t ts) const;
    // The interval that the last return to running (state 1) covers, looking from the first event
    // after `ts`: (timestamp of the event before it, timestamp of that state-1 event); (0, 0) if none.
    std::pair<uint64_t, uint64_t> getLastResetEvent(uint64_t ts) const;

    // ---- Telemetry endpoints ------------------------------------------------------------------------
    // Look-ups of unknown GUIDs, ids and names give 0, an empty container or a zero record.

    // Appends `info` to the endpoints of its GUID and indexes it by its endpoint id.
    void addLoadedPMT(const _vr_aggregator_info& info);
    std::vector<_vr_aggregator_info> getLoadedPMTEndpoints(uint32_t guid) const;
    std::vector<_vr_aggregator_info> getLoadedPMTEndpoints(const std::string& platformName) const;
    _vr_aggregator_info getLoadedPMTEndpoint(uint16_t endpointId) const;
    // Saturates at 0xffff.
    uint16_t getLoadedPMTNumberEndpoints(uint32_t guid) const;
    uint16_t getLoadedPMTNumberEndpoints(const std::string& platformName) const;
    // The collection type of the first endpoint of `guid`.
    uint16_t getLoadedPMTCollectionType(uint32_t guid) const;
    std::set<uint32_t> getLoadedPMTGUIDs() const { return loadedPMTGUIDs; }

    // Names a platform's GUID, both ways.
    void addPMTPlatformGUID(const std::string& platformName, uint32_t guid);
    // Never adds an entry.
    uint32_t getPMTPlatformGUID(const std::string& platformName) const;
    uint32_t getPMTPlatformGUID(uint16_t endpointId) const;
    // The record's GUID field; 0 for null.
    uint32_t getPMTPlatformGUID(const _vr_aggregator_info* info) const;
    // The platform name of `guid`. An unknown GUID gets an empty name entry, which is returned.
    std::string getPMTPlatformName(uint32_t guid);

    // Remembers the parser of an endpoint's description, not owned; a null `parser` is ignored.
    void setPMTXMLParser(uint32_t guid, pwr::XMLParser* parser);
    pwr::XMLParser* getPMTXMLParser(uint32_t guid) const;

    // ---- Topology (a TopTree, cast back by its users) -----------------------------------------------

    void* getTopologyManager() const { return topologyManager; }
    void setTopologyManager(void* topology) { topologyManager = topology; }
    void* getPreCollectionTopology() const { return preCollectionTopology; }
    void setPreCollectionTopology(void* topology) { preCollectionTopology = topology; }

    // The entity provider's record, published by DataHandleProvider; opaque to everybody else.
    void* getDataHandleProvider() const { return dataHandleProvider; }
    void setDataHandleProvider(void* provider) { dataHandleProvider = provider; }

  private:
    static constexpr uint16_t kCsTraceRegistered = 1u << 0;
    static constexpr uint16_t kCsFeatureEnabled = 1u << 1;

    uint32_t getCurrentSystemState(uint64_t ts) const;
    bool checkPendingSystemStateEvent(uint64_t first, uint64_t last) const;

    // Kept for the host's own use; nothing in the library reads them.
    [[maybe_unused]] uint64_t reservedWords[3] = {0, 0, 0};
    std::map<std::string, std::string> reservedMap;

    uint16_t verbosity = 1;
    pwr::Logger* errorLogger = nullptr;
    pwr::Logger* debugLogger = nullptr;
    pwr::Logger* nullLogger = nullptr;
    pwr::Logger* dataOutputHandle = nullptr;
    pwr::Logger* fileOutputHandle = nullptr;
    std::shared_ptr<std::ostream> ownedOutputStream;
    pwr::VRClockSource* defaultClock = nullptr;
    void* writerStream = nullptr;
    std::set<std::string, std::less<>> metricSwitches;
    std::string vantrellDirectory;
    void* vantrellDrvHandle = invalidHandle();
    void* cstraceDrvHandle = invalidHandle();
    void* kestrelDllHandle = nullptr;
    uint32_t vantrellDrvVersion = 0;
    std::string reservedText;
    uint16_t csFlags = 0;
    std::string resultFilePrefix;
    std::string kestrelConfigFileName;
    bool hybernationEventDetected = false;
    float defaultClockToTSCRatio = 1.0f;
    float defaultClockMHz = 0.0f;
    std::map<uint64_t, uint32_t> systemStateEvents;
    std::map<std::pair<id_config_t, uint64_t>, uint32_t> resetEvents;
    std::map<id_config_t, uint64_t> lastMsgTimestamps;
    void* topologyManager = nullptr;
    void* preCollectionTopology = nullptr;
    // Transparent comparison: an area test compares in place, without building a string.
    std::set<std::string, std::less<>> debugPrefixes;
    std::deque<std::string> messageQueue;
    std::set<uint32_t> loadedPMTGUIDs;
    std::map<uint32_t, std::vector<_vr_aggregator_info>> loadedPMTs;
    std::map<uint16_t, _vr_aggregator_info> pmtById;
    std::map<std::string, uint32_t> pmtGuidByName;
    std::map<uint16_t, uint32_t> pmtGuidById;
    std::map<uint32_t, std::string> pmtNameByGuid;
    std::map<uint32_t, pwr::XMLParser*> pmtXmlParsers;
    void* dataHandleProvider = nullptr;
};

// Set by the host before any plug-in runs; every log site reads it without a test.
extern VR_EXPORT PluginEnvironment* g_pluginEnvironment;
