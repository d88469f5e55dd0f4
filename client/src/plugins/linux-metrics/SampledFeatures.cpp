// Frequencies and temperatures (values at each poll), energy and interrupts (cumulative counters whose
// increases become SampledDelta metrics).

#include <map>

#include "FeatureSupport.h"
#include "Features.h"
#include "LinuxPluginProtocol.h"

namespace vantrell::plugins::metrics {
namespace {

constexpr uint8_t kBegin = 0;  // vr_when_type BEGIN

// Frequencies in MHz, per logical CPU: "cur" as "Current", "nominal" as "Nominal".
class FrequencyFeature : public Feature {
  public:
    int begin(const pwr::SystemMetadata& metadata) override {
        cpus.build(metadata);
        metric = makeMetric("CPU Frequency", pwr::Metric::SampledValue, "cpu-frequency", "frequency",
                            metadata, pwr::Quantity::frequency(), {"CPU", "Reading", ""});
        current = descriptorNamed("Current");
        nominal = descriptorNamed("Nominal");
        return 0;
    }

    int process(uint64_t timestamp, uint8_t, const std::vector<Entry>& entries) override {
        int used = 0;
        for (const Entry& entry : entries) {
            const pwr::EntityHandle* entity = cpus.at(entry.cpu);
            if (entity == nullptr) {
                unknown.note(entry.cpu);
                continue;
            }
            const pwr::DataDescriptor* reading = entry.key == "cur"       ? current
                                                 : entry.key == "nominal" ? nominal
                                                                          : nullptr;
            if (reading == nullptr) {
                continue;
            }
            element.setEntity(entity);
            element.setDescriptor(reading);
            element.setValue(static_cast<unsigned long long>((entry.value + 500) / 1000));
            used += metric->setData(timestamp, element, 0) == 0 ? 1 : 0;
        }
        return used > 0 ? 0 : 1;
    }

    int finish(const pwr::SystemMetadata&) override { return metric->isEmpty() ? 0 : metric->finalize(); }

  private:
    CpuEntities cpus;
    std::unique_ptr<pwr::Metric> metric;
    const pwr::DataDescriptor* current = nullptr;
    const pwr::DataDescriptor* nominal = nullptr;
    pwr::DataElement element{nullptr, nullptr};
    UnknownCpus unknown{"frequency"};
};

// Temperatures go to the process-wide ThermalSampleHandler, one entity per sensor name, in whole
// degrees Celsius (rounded; below zero reads as 0, the handler takes unsigned values).
class ThermalFeature : public Feature {
  public:
    explicit ThermalFeature(const MetricPlugin* owner) : owner(owner) {}

    int begin(const pwr::SystemMetadata& metadata) override {
        handler = pwr::ThermalSampleHandler::getInstance(metadata, owner);
        return 0;
    }

    int process(uint64_t timestamp, uint8_t, const std::vector<Entry>& entries) override {
        int used = 0;
        for (const Entry& entry : entries) {
            auto found = sensors.find(entry.key);
            if (found == sensors.end()) {
                const std::string name(entry.key);
                found =
                    sensors
                        .emplace(name, pwr::EntityHandle::create(name, pwr::EntityHandle::getSystemHandle()))
                        .first;
                handler->addEntity(found->second);
            }
            const auto milli = static_cast<int64_t>(entry.value);
            const int64_t degrees = milli <= 0 ? 0 : std::min<int64_t>((milli + 500) / 1000, 0xffff);
            used += handler->setTemperature(found->second, timestamp, static_cast<unsigned short>(degrees),
                                            false) == 0
                        ? 1
                        : 0;
        }
        return used > 0 ? 0 : 1;
    }

    // The last user's release finalises the shared metric.
    int finish(const pwr::SystemMetadata&) override { return pwr::ThermalSampleHandler::release(owner); }

  private:
    const MetricPlugin* owner;
    pwr::ThermalSampleHandler* handler = nullptr;
    std::map<std::string, const pwr::EntityHandle*, std::less<>> sensors;
};

// Energy of the RAPL domains, one entity per domain under the system, as increases in mJ (the
// library's energy quantity, whose rate is power in mW). A counter that went back wrapped at its
// "max:<domain>" range; without a known range the interval is skipped and a new baseline taken.
class PowerFeature : public Feature {
  public:
    int begin(const pwr::SystemMetadata& metadata) override {
        start = metadata.startTSC;
        metric = makeMetric("Energy", pwr::Metric::SampledDelta, "energy", "power", metadata,
                            pwr::Quantity::energy(), {"Domain", "", ""});
        return 0;
    }

    int process(uint64_t timestamp, uint8_t trigger, const std::vector<Entry>& entries) override {
        int used = 0;
        for (const Entry& entry : entries) {
            if (entry.key.substr(0, 4) == "max:") {
                domainOf_i(entry.key.substr(4)).range = entry.value;
                continue;
            }
            Domain& domain = domainOf_i(entry.key);
            const bool based = domain.based && trigger != kBegin;
            const uint64_t previous = domain.last;
            const uint64_t duration = ticksSince(timestamp, domain.lastTimestamp, start);
            if (based && duration == 0) {
                continue;  // not after the baseline
            }
            domain.last = entry.value;
            domain.lastTimestamp = timestamp;
            domain.based = true;
            if (!based || (entry.value < previous && (domain.range == 0 || previous > domain.range))) {
                continue;
            }
            const uint64_t microjoules =
                entry.value >= previous ? entry.value - previous : domain.range - previous + entry.value;
            element.setEntity(domain.entity);
            element.setValue(static_cast<double>(microjoules) / 1000.0);
            used += metric->setData(timestamp, element, duration) == 0 ? 1 : 0;
        }
        return used > 0 || trigger == kBegin ? 0 : 1;
    }

    int finish(const pwr::SystemMetadata&) override { return metric->isEmpty() ? 0 : metric->finalize(); }

    void rebase() override {
        for (auto& [name, domain] : domains) {
            domain.based = false;
        }
    }

  private:
    struct Domain {
        const pwr::EntityHandle* entity = nullptr;
        uint64_t last = 0;
        uint64_t lastTimestamp = 0;
        uint64_t range = 0;
        bool based = false;
    };

    Domain& domainOf_i(std::string_view key) {
        auto found = domains.find(key);
        if (found == domains.end()) {
            const std::string name(key);
            found = domains.emplace(name, Domain()).first;
            found->second.entity = pwr::EntityHandle::create(name, pwr::EntityHandle::getSystemHandle());
        }
        return found->second;
    }

    uint64_t start = 0;
    std::map<std::string, Domain, std::less<>> domains;
    std::unique_ptr<pwr::Metric> metric;
    pwr::DataElement element{nullptr, nullptr};
};

// Interrupts per logical CPU and /proc/interrupts line, as increases in a count of their own, whose
// rate is per second. The kernel's counters are unsigned int: one that went back wrapped at 2^32.
class InterruptFeature : public Feature {
  public:
    int begin(const pwr::SystemMetadata& metadata) override {
        start = metadata.startTSC;
        cpus.build(metadata);
        slots.assign(cpus.size(), Slot());
        const pwr::Quantity* rate =
            pwr::Quantity::create(static_cast<pwr::QuantityType>(64), "Interrupt rate", "/s", nullptr, 1.0);
        const pwr::Quantity* count =
            pwr::Quantity::create(static_cast<pwr::QuantityType>(65), "Interrupts", "count", rate, 1.0);
        metric = makeMetric("Interrupts", pwr::Metric::SampledDelta, "interrupt-counts", "interrupts",
                            metadata, count, {"CPU", "Interrupt", ""});
        return 0;
    }

    int process(uint64_t timestamp, uint8_t trigger, const std::vector<Entry>& entries) override {
        int used = 0;
        for (const Entry& entry : entries) {
            const pwr::EntityHandle* entity = cpus.at(entry.cpu);
            if (entity == nullptr) {
                unknown.note(entry.cpu);
                continue;
            }
            bool added = false;
            const size_t label = labels.find(entry.key, added);
            if (added) {
                descriptors.push_back(descriptorNamed(labels.name(label)));
            }
            Slot& slot = slots[entry.cpu];
            if (slot.last.size() <= label) {
                slot.last.resize(labels.size(), 0);
                slot.lastTimestamp.resize(labels.size(), 0);
            }
            const uint64_t previous = slot.last[label];
            const bool based = slot.lastTimestamp[label] != 0 && trigger != kBegin;
            const uint64_t duration = ticksSince(timestamp, slot.lastTimestamp[label], start);
            if (based && duration == 0) {
                continue;
            }
            slot.last[label] = entry.value;
            slot.lastTimestamp[label] = timestamp;
            if (!based || (entry.value < previous && previous > 0xffffffffULL)) {
                continue;
            }
            const uint64_t delta =
                entry.value >= previous ? entry.value - previous : (0x100000000ULL - previous) + entry.value;
            element.setEntity(entity);
            element.setDescriptor(descriptors[label]);
            element.setValue(static_cast<unsigned long long>(delta));
            used += metric->setData(timestamp, element, duration) == 0 ? 1 : 0;
        }
        return used > 0 || trigger == kBegin ? 0 : 1;
    }

    int finish(const pwr::SystemMetadata&) override { return metric->isEmpty() ? 0 : metric->finalize(); }

    void rebase() override {
        for (Slot& slot : slots) {
            std::fill(slot.lastTimestamp.begin(), slot.lastTimestamp.end(), 0);
        }
    }

  private:
    // Per label: the last count and when it was read (0: no baseline).
    struct Slot {
        std::vector<uint64_t> last;
        std::vector<uint64_t> lastTimestamp;
    };

    uint64_t start = 0;
    CpuEntities cpus;
    std::vector<Slot> slots;
    NameIndex labels;
    std::vector<const pwr::DataDescriptor*> descriptors;
    std::unique_ptr<pwr::Metric> metric;
    pwr::DataElement element{nullptr, nullptr};
    UnknownCpus unknown{"interrupts"};
};

}  // namespace

std::unique_ptr<Feature> makeFrequencyFeature() {
    return std::make_unique<FrequencyFeature>();
}
std::unique_ptr<Feature> makeThermalFeature(const MetricPlugin* owner) {
    return std::make_unique<ThermalFeature>(owner);
}
std::unique_ptr<Feature> makePowerFeature() {
    return std::make_unique<PowerFeature>();
}
std::unique_ptr<Feature> makeInterruptFeature() {
    return std::make_unique<InterruptFeature>();
}

}  // namespace vantrell::plugins::metrics
