#pragma once

// What a plug-in can do: a capability has a name, a description, group names, requirements and
// attribute bits. The host asks a Plugin for the capabilities that fit a switch of its command line
// and the machine at hand (see "vantrell/plugin/Plugin.h").
//
// PluginCapability is the base; MetricPluginCapability adds the metric's configuration prefix,
// processor range and id; ResultFilePluginCapability a result file format's version;
// WriterPluginCapability the tables a writer supports and its file suffix.
//
// Ownership: a capability owns the requirements added to it and belongs to the plug-in that added it
// (its owner, borrowed). Copies are plain value copies that share the requirement objects; these are
// deleted once, when the last copy sharing them dies. One thread at a time.

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginRequirement.h"
#include "vantrell/record/FMS.h"
#include "vantrell/record/PWSet.h"

class Plugin;

namespace pwr {

class SystemMetadata;

// The class of a table, the currency between a table's origin and the writers. Its values are given
// with the tables; a capability only carries them.
enum TableClass : uint32_t;

// When a configured read happens (BEGIN 0, POLL 1, NOTIFIER 2, TRACEPOINT 3, END 4); the names of the
// values come with the collection configuration.
enum vr_when_type : uint32_t;

class VR_EXPORT PluginCapability {
  public:
    // Bits of the attribute word. Bits 0 to 7 belong to this class and are set only through its own
    // operations; derived classes use 8 to 63 through setAttribute_i.
    static constexpr unsigned char kHiddenBit = 1;
    static constexpr unsigned char kContinuousBit = 2;

    PluginCapability(std::string name, std::string description, bool supportsContinuousCollection = false);
    PluginCapability(const PluginCapability&) = default;
    PluginCapability(PluginCapability&&) = default;
    PluginCapability& operator=(const PluginCapability&) = default;
    PluginCapability& operator=(PluginCapability&&) = default;
    virtual ~PluginCapability();

    // True when `text` is this capability's name.
    bool operator==(const std::string& text) const { return text == name; }
    // True when `text` is this capability's name or one of its group names.
    bool equals(const std::string& text) const;

    const std::string& getName() const { return name; }
    const std::string& getDescription() const { return description; }
    Plugin* getOwner() const { return owner; }
    void setOwner(Plugin* plugin) { owner = plugin; }

    const PWSet<std::string>& getGroupNames() const { return groupNames; }
    // Adds `groupName` to the set (no effect when it is there already).
    void addGroupName(const std::string& groupName);

    // Appends `requirement` and takes ownership of it. A null `requirement` is ignored. Adding the
    // same object twice tests it twice but deletes it once.
    void addPluginRequirement(PluginRequirement* requirement);
    // In the order of adding.
    const std::deque<PluginRequirement*>& getRequirements() const { return requirements; }

    // Whether this capability fits `system`:
    //   REQUIREMENTS_NOT_MET at once, silently, when `system` describes a continuous collection (its
    //   quantum is not 0) and this capability doesn't support one;
    //   otherwise the requirements in the order of adding, each with `negative` applied and reported
    //   at level 3 ("DEBUG: Requirement met: %d\n"): the first that fails gives REQUIREMENTS_NOT_MET
    //   and ends the test; each pass logs "DEBUG: set PASSED for  %s, %s\n" (name, description);
    //   all passed gives REQUIREMENTS_ALL_PASSED, none present REQUIREMENTS_NONE_TESTED.
    //   The end logs "DEBUG: %s has result = %d\n" with the description, at level 3.
    PluginRequirementResult isCapabilitySuitableFor(const SystemMetadata& system,
                                                    const PluginParams& params) const;

    bool isHidden() const { return isAttributeSet_i(kHiddenBit); }
    void setHidden() { setAttributeUnchecked_i(kHiddenBit); }
    bool doesSupportContinuousCollection() const { return isAttributeSet_i(kContinuousBit); }
    void setOrResetContinuousCollectionSupport(bool supported);

  protected:
    // Sets `bit` and returns true for a bit from 8 to 63; refuses bits 0 to 7 (this class's) and 64
    // and above with false, changing nothing.
    bool setAttribute_i(unsigned char bit);
    // False for a bit of 64 and above.
    bool isAttributeSet_i(unsigned char bit) const;
    uint64_t getAttributes_i() const { return attributes; }

  private:
    void setAttributeUnchecked_i(unsigned char bit) { attributes |= uint64_t{1} << bit; }
    void unsetAttributeUnchecked_i(unsigned char bit) { attributes &= ~(uint64_t{1} << bit); }

    std::string name;
    std::string description;
    Plugin* owner = nullptr;
    PWSet<std::string> groupNames;
    uint64_t attributes = 0;
    std::deque<PluginRequirement*> requirements;
    // Keeps the requirements alive for as long as any copy of this capability refers to them.
    std::shared_ptr<std::deque<std::unique_ptr<PluginRequirement>>> owned;
};

// A metric a metric plug-in offers: always supports continuous collection, is offered on processors
// from the first to the last of its FMS range, and is read through the configuration files of its
// prefix.
class VR_EXPORT MetricPluginCapability : public PluginCapability {
  public:
    static constexpr unsigned char kNoCollectBit = 8;
    static constexpr unsigned char kDependentBit = 9;
    static constexpr unsigned char kDynamicCheckDisabledBit = 10;

    // Range 0.0.0 to 0xff.0xff.0xff.
    MetricPluginCapability(std::string name, std::string description, std::string configFilePrefix,
                           uint8_t metricID);
    // As above, and `groupName` is added unless it is empty.
    MetricPluginCapability(std::string name, std::string description, std::string configFilePrefix,
                           uint8_t metricID, const std::string& groupName);
    // The range is set as setFMS does.
    MetricPluginCapability(std::string name, std::string description, std::string configFilePrefix,
                           uint8_t metricID, const FMS& fms);
    MetricPluginCapability(std::string name, std::string description, std::string configFilePrefix,
                           uint8_t metricID, const FMS& fms, const std::string& groupName);

    const std::string& getConfigFilePrefix() const { return configFilePrefix; }
    uint8_t getMetricID() const { return metricID; }
    void setMetricID(uint8_t id) { metricID = id; }

    // The range becomes `fms` to `fms`; with family and model both 0, `fms` to 0xff.0xff.0xff.
    void setFMS(const FMS& fms);
    void setFMSRange(const FMS& first, const FMS& last) { fmsRange = {first, last}; }
    const std::pair<FMS, FMS>& getFMSRange() const { return fmsRange; }
    // True when `fms` equals either end (a stepping of 0 on either side matching any stepping), or
    // lies above the first and not above the last as a number.
    bool doesRangeInclude(const FMS& fms) const;

    void setNoCollect() { setAttribute_i(kNoCollectBit); }
    bool isNoCollect() const { return isAttributeSet_i(kNoCollectBit); }
    void setDependent() { setAttribute_i(kDependentBit); }
    bool isDependent() const { return isAttributeSet_i(kDependentBit); }
    void disableDynamicCheck() { setAttribute_i(kDynamicCheckDisabledBit); }
    // False once disableDynamicCheck was called.
    bool shouldCheckBeforeDisplaying() const { return !isAttributeSet_i(kDynamicCheckDisabledBit); }

    // Deprecated: both log "WARNING: DEPRECATED API!\n" at level 2 on every call.
    // Ors `trigger` into the read triggers; returns this capability.
    MetricPluginCapability& addReadTrigger(const vr_when_type& trigger);
    uint32_t getReadTriggers() const;

  private:
    std::string configFilePrefix;
    std::pair<FMS, FMS> fmsRange;
    uint8_t metricID;
    uint32_t readTriggers = 0;
};

// A result file format a plug-in reads or writes, with its version. No description, no attributes.
class VR_EXPORT ResultFilePluginCapability : public PluginCapability {
  public:
    ResultFilePluginCapability(std::string name, unsigned int version);
    // version = major * 65536 + minor * 256 + patch.
    ResultFilePluginCapability(std::string name, unsigned char major, unsigned char minor,
                               unsigned char patch);

    uint32_t getVersion() const { return version; }

  private:
    uint32_t version;
};

// An output format of a writer plug-in: the tables it can print and the suffix of its files.
class VR_EXPORT WriterPluginCapability : public PluginCapability {
  public:
    WriterPluginCapability(std::set<TableClass> supportedTables, std::string name, std::string description,
                           std::string fileSuffix, bool supportsContinuousCollection);

    const std::set<TableClass>& getSupportedTables() const { return supportedTables; }
    const std::string& getFileSuffix() const { return fileSuffix; }

  private:
    std::set<TableClass> supportedTables;
    std::string fileSuffix;
};

}  // namespace pwr
