#pragma once

// pwr::Metric (in messages "Metric container"): the object through which a metric plug-in hands
// measured values to the rest of the system. It says what the values mean (name, quantity, type, the
// group fields that head the table columns, the possible values), which output it belongs to (the
// feature-switch tag and the metric-container tag, the keys into the output configuration), and holds
// the accumulators that turn its data points into summary tables.
//
// Life: construct (needs a published WriterStream and a parsed output configuration), describe it with
// the setters, optionally addAccumulator, setData as data arrive, finalize once, delete.
// Sampled types gather the elements of one timestamp into a data point that is flushed one step late,
// when the first element of another timestamp arrives, and once more by finalize; traced types push
// every element at once. Each flush goes to every writer (writeMessage(const Metric&)) and to every
// accumulator.
//
// Ownership: the metric owns its built-in accumulator, the buffered element copies, the finite-set
// copies and its text notes. A copy shares all of those with its source (they are freed when the last
// of the two goes); the SystemMetadata, the stream, the output configuration and all handles are
// borrowed. No locks: one thread at a time.

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/metric/Accumulator.h"
#include "vantrell/metric/DataElement.h"
#include "vantrell/value/Data.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/WriterMessage.h"

class WriterStream;

namespace pwr {

class DataDescriptor;
class EntityHandle;
class Field;
class FieldDescription;
class Quantity;
class SystemMetadata;
class TextNotes;
class WriterInterfaceConfigFileParser;

// One flushed (or gathering) data point: its time and the metric's copies of its elements, in
// arrival order. Owned by the metric.
struct VR_EXPORT DataPoint {
    unsigned long long timestamp = 0;
    std::vector<DataElement*> elements;

    unsigned long long getTimestamp() const { return timestamp; }
    const std::vector<DataElement*>& getElements() const { return elements; }
};

class VR_EXPORT Metric {
  public:
    enum MetricType : uint8_t {
        SampledDelta = 0,
        SampledResidency = 1,
        SampledValue = 2,
        TracedValueTransition = 3,
        TracedEvent = 4,
    };

    // The duration that tells setData that the time base was reset before the sample.
    static const unsigned long long RESET_DURATION = 0xffffffffffffffffULL;

    // Draws the metric's id from the writer message counter and chooses its summary tables: those
    // configured for (metricContainerTag, featureSwitchTag) in configured order, then the others of the
    // type in their own order, less those whose TABLE entry isn't "YES". Without configured order logs
    // "WARNING: Output config table entries not present for the feature-switch-tag and
    // metric-container-tag combo: '%s_%s'. ..." and enables all. Throws the C string "Writer stream is
    // not initialized" or "Output config parser is not initialized" when those are missing, and
    // "Quantity for MetricType::SampledResidency metric must be pwr::Quantity::time()" for a residency
    // metric of another quantity. A type outside 0 to 4 logs "WARNING: %s: Unrecognized metric type\n"
    // and gets no accumulator. `metadata` must outlive the metric.
    Metric(const std::string& name, MetricType type, const std::string& metricContainerTag,
           const std::string& featureSwitchTag, const SystemMetadata& metadata, const Quantity* quantity);
    // Member by member; accumulators, buffer, finite-set copies and notes are shared, not cloned.
    Metric(const Metric& other);
    Metric& operator=(const Metric&) = delete;
    // Frees the built-in accumulator (not those added with addAccumulator), the buffered elements, the
    // finite-set copies and the text notes, once no copy shares them any more.
    ~Metric();

    // ---- Description (0 success, 1 failure) ------------------------------------------------------

    // Declares the values the metric can take, so that tables list them even if they never occur.
    // Appends to an earlier set. Refusals (result 1, nothing stored): a null pointer ("WARNING: %s:
    // Please provide a valid pointer to DataDescriptor object.\n"), a type other than SampledValue or
    // TracedValueTransition, a set whose first member isn't a handle. An empty vector changes nothing.
    int setFiniteSetValues(const std::vector<const DataDescriptor*>& values);
    // Each makes a registered Field from `description` and keeps it as the head of the value, entity or
    // descriptor column. Returns 0.
    int setValueGroupInfo(const FieldDescription& description);
    int setEntityGroupInfo(const FieldDescription& description);
    int setDescriptorGroupInfo(const FieldDescription& description);
    // Declares the expected pairs and lists their entities and descriptors (without duplicates). A null
    // entity stops the walk with "WARNING: %s: Entity is required when setting entity-descriptor
    // combinations.\n" and result 1: earlier entries stay listed, the stored combinations unchanged.
    int setEntityDescriptorCombinations(const std::vector<EntityDescCombo>& combos);
    // Values of 18 and above are refused with result 1.
    int setLegacyMetricType(RealTableClass value);
    // SampledResidency: pushes a MetricContainerInfoMessage with the type and the metric's id. Other
    // types: a warning that the request is ignored. Returns 0.
    int setTimelineTableToDisplay(TimelineTableType type);
    // Marks `table` as this metric's and pushes a MetricContainerInfoMessage that carries it. Returns 0.
    int addStaticTableRowInfo(TableMessage* table);
    // Add a note in front of (behind) the metric's tables. Returns 0.
    int setPreMetricTextInfo(const std::string& text);
    int setPostMetricTextInfo(const std::string& text);
    void setTraceSampleEntityAttr(bool value) { traceSampleEntityAttr = value; }
    bool getTraceSampleEntityAttr() const { return traceSampleEntityAttr; }
    void setSuppressEntityInfoInSummary(bool value) { suppressEntityInfoInSummary = value; }
    bool getSuppressEntityInfoInSummary() const { return suppressEntityInfoInSummary; }

    // ---- Data ------------------------------------------------------------------------------------

    // Takes in one measurement at `timestamp` (clock ticks, not 0). `duration` is the ticks the value
    // stands for: 0 lets the metric work it out, RESET_DURATION says the time base was reset. Writes the
    // settled duration and the Tracelane descriptor into `element` and keeps a deep copy of it.
    // Returns 0 when accepted, 1 when refused with a WARNING (no timestamp, entity or value; a
    // residency element without descriptor or with a value that isn't UINT; a timestamp that doesn't
    // go forward for its pair; a duration longer than the time since the pair's last element). A
    // refused element leaves the buffer and the pair's last timestamp as they were.
    int setData(unsigned long long timestamp, DataElement& element, unsigned long long duration);

    // Flushes the last data point (sampled types), pushes the container info message and calls every
    // accumulator's finalize, which pushes its tables. Returns 0; 1 with "WARNING: No data was
    // provided for metric %s\n" (and no output at all) when nothing was accepted, or when an
    // accumulator's finalize failed (the others still run).
    int finalize();

    // Adds an accumulator behind the built-in one; the caller keeps ownership and must keep it alive
    // until the metric is gone. Refused (result 1) for null and once data were accepted.
    int addAccumulator(Accumulator* accumulator);

    // ---- Reads -----------------------------------------------------------------------------------

    std::string getName() const { return name; }
    unsigned getId() const { return id; }
    const Quantity* getQuantity() const { return quantity; }
    MetricType getMetricType() const { return metricType; }
    RealTableClass getLegacyMetricType() const { return legacyMetricType; }
    const Field* getValueGroupInfo() const { return valueGroupInfo; }
    const Field* getEntityGroupInfo() const { return entityGroupInfo; }
    const Field* getDescriptorGroupInfo() const { return descriptorGroupInfo; }
    const std::vector<EntityDescCombo>& getEntityDescriptorCombinations() const { return combinations; }
    // The finite set as handle values, in order of declaration.
    const std::vector<Data>& getFiniteSetValues() const { return finiteSetValues; }
    // Null until a note was set; owned by the metric.
    const TextNotes* getTextInfo() const { return textInfo.get(); }
    const std::string& getMetricContainerTag() const { return metricContainerTag; }
    const std::string& getFeatureSwitchTag() const { return featureSwitchTag; }
    const std::vector<const EntityHandle*>& getEntityList() const { return entityList; }
    const std::list<const DataDescriptor*>& getDescriptorList() const { return descriptorList; }
    // The data point being flushed (inside writers and accumulators) or gathered.
    const DataPoint& getData() const { return buffer->point; }
    bool isEmpty() const { return empty; }

  private:
    struct PairKey {
        unsigned long long entity;
        unsigned long long descriptor;
        bool operator==(const PairKey& other) const {
            return entity == other.entity && descriptor == other.descriptor;
        }
    };
    struct PairKeyHash {
        size_t operator()(const PairKey& key) const {
            return static_cast<size_t>(key.entity * 0x9E3779B97F4A7C15ULL ^ key.descriptor);
        }
    };
    // The data point and the spent element copies it recycles; shared by a metric and its copies, and
    // freed with the last of them.
    struct Buffer {
        DataPoint point;
        std::vector<DataElement*> spare;
        Buffer() = default;
        Buffer(const Buffer&) = delete;
        Buffer& operator=(const Buffer&) = delete;
        ~Buffer();
    };

    void init_i();
    void chooseSummaries_i(std::vector<int>& enabled);
    int refuse_i(const DataElement& element, unsigned long long timestamp);
    int checkTimes_i(unsigned long long timestamp, const DataElement& element, unsigned long long duration,
                     unsigned long long& previous, unsigned long long*& lastTimestamp);
    unsigned long long settleSampledDuration_i(unsigned long long timestamp, DataElement& element,
                                               unsigned long long duration, unsigned long long pairElapsed);
    unsigned long long settleTracedDuration_i(const DataElement& element, unsigned long long duration,
                                              unsigned long long pairElapsed);
    void checkResidencyTicks_i(unsigned long long timestamp, const DataElement& element);
    void setTracelaneDescriptor_i(DataElement& element);
    void bufferCopy_i(const DataElement& element);
    int pushToStream();
    bool residencyPointConsistent_i();
    int flushBuffer_i(int result);

    std::string name;
    const Quantity* quantity;
    std::vector<Data> finiteSetValues;
    std::shared_ptr<std::vector<std::unique_ptr<Data>>> finiteSetCopies;
    const Field* valueGroupInfo = nullptr;
    const Field* entityGroupInfo = nullptr;
    const Field* descriptorGroupInfo = nullptr;
    std::unordered_map<PairKey, unsigned long long, PairKeyHash> lastTimestamps;
    unsigned long long samplingPointTimestamp = 0;
    unsigned long long currentTimestamp = 0;
    std::unordered_map<unsigned long long, unsigned long long> entitySamplingPoints;
    const SystemMetadata* systemMetadata;
    unsigned id;
    RealTableClass legacyMetricType = RealTableClass::NONE;
    bool empty = true;
    std::vector<Accumulator*> accumulators;
    std::shared_ptr<Accumulator> builtInAccumulator;
    bool accumulatorsPendingInit = true;
    std::vector<EntityDescCombo> combinations;
    MetricType metricType;
    std::shared_ptr<Buffer> buffer;
    WriterStream* writerStream = nullptr;
    std::string metricContainerTag;
    std::shared_ptr<TextNotes> textInfo;
    WriterInterfaceConfigFileParser* outputConfig = nullptr;
    std::string featureSwitchTag;
    std::vector<const EntityHandle*> entityList;
    std::unordered_set<const EntityHandle*> listedEntities;
    std::list<const DataDescriptor*> descriptorList;
    bool traceSampleEntityAttr = false;
    bool suppressEntityInfoInSummary = false;
    // The descriptor made for Tracelane from the metric's name, once made (it is interned: every later
    // make would give the same one).
    const DataDescriptor* nameDescriptor = nullptr;
};

}  // namespace pwr
