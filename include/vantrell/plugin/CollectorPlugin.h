#pragma once

// CollectorPlugin: the kind of plug-in that performs reads and writes on the machine and produces raw
// samples. It publishes prototypes of the operations it can do (addOperation); the collection
// configuration parser clones them into the messages that name their types, and hands the messages
// back to the collector for a collection or an immediate read.
//
// Plug-ins derive from this class across a module boundary: the order of the virtual operations,
// behind those of Plugin (slots 0 to 5), is part of the contract and never changes.
//
// Ownership: the supported operations are borrowed and must live as long as the collector; the clock
// source too. Not copyable. One thread at a time.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/plugin/Plugin.h"

namespace pwr {
class EntityHandle;
class InputMsg;
class Operation;
class SystemMetadata;
class VRBuffer;
class VRClockSource;
}  // namespace pwr

// One collection's summary as a collector reports it. A plain value.
class VR_EXPORT CollectionData {
  public:
    CollectionData() = default;
    CollectionData(uint64_t startTimestampValue, uint64_t stopTimestampValue, uint64_t startTimevalValue,
                   uint64_t stopTimevalValue, uint64_t samplesProducedValue, uint64_t samplesDroppedValue,
                   std::string clockUUIDValue, std::string resultFileValue);

    uint64_t getStartTimestamp() const { return startTimestamp; }
    uint64_t getStopTimestamp() const { return stopTimestamp; }
    uint64_t getStartTimeval() const { return startTimeval; }
    uint64_t getStopTimeval() const { return stopTimeval; }
    uint64_t getSamplesProduced() const { return samplesProduced; }
    uint64_t getSamplesDropped() const { return samplesDropped; }
    std::string const& getClockUUID() const { return clockUUID; }
    std::string const& getResultFile() const { return resultFile; }
    // Zeroes the numbers and empties the strings.
    void reset();

  private:
    uint64_t startTimestamp = 0;
    uint64_t stopTimestamp = 0;
    uint64_t startTimeval = 0;
    uint64_t stopTimeval = 0;
    uint64_t samplesProduced = 0;
    uint64_t samplesDropped = 0;
    std::string clockUUID;
    std::string resultFile;
};

class VR_EXPORT CollectorPlugin : public Plugin {
  public:
    using Pairs = std::vector<std::pair<std::string, std::string>>;

    explicit CollectorPlugin(std::string uuid);
    ~CollectorPlugin() override;

    // Slots 6 to 9: the concrete collector's life and collection.
    virtual int initializePlugin() = 0;
    virtual int terminatePlugin() = 0;
    virtual int startCollection(std::vector<pwr::InputMsg*> const& messages,
                                pwr::SystemMetadata const& system) = 0;
    virtual int stopCollection() = 0;
    // Slot 10. One step of a continuous collection. The default: 1.
    virtual int continuousCollectionTick();
    // Slot 11. The default: false.
    virtual bool doesSupportLowOverhead() const;
    // Slot 12. One read of every polled message.
    virtual int pollOnce() = 0;
    // Slot 13. Whether this collector takes `message`. The default: true.
    virtual bool canCollectMessage(pwr::InputMsg const* message);
    // Slot 14. Reads a whole message now and fills `results` with name and value pairs.
    virtual int doImmediateRead(pwr::InputMsg const* message, Pairs& results) = 0;
    // Slots 15 to 18: immediate reads and writes of one operation or message. The defaults: -1.
    virtual int doImmediateRead(pwr::Operation* operation, pwr::EntityHandle const* entity);
    virtual int doImmediateRead(pwr::Operation* operation, std::string const& key);
    virtual int doImmediateWrite(pwr::InputMsg const* message);
    virtual int doImmediateWrite(pwr::Operation* operation, std::string const& key);
    // Slot 19. The default: false.
    virtual bool getContinuousResult(pwr::VRBuffer& buffer, CollectionData& data);

    // The prototypes of the operations this collector can do, in the order of adding.
    std::vector<pwr::Operation const*> const& getSupportedOperations() const { return supportedOperations; }
    pwr::VRClockSource* getClockSource() const { return clockSource; }

  protected:
    // Appends a prototype, which stays owned by the collector.
    void addOperation(pwr::Operation const* operation) { supportedOperations.push_back(operation); }
    void setClockSource(pwr::VRClockSource* source) { clockSource = source; }

  private:
    std::vector<pwr::Operation const*> supportedOperations;
    pwr::VRClockSource* clockSource = nullptr;
};
