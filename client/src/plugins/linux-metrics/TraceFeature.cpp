// Kernel events, one per message: C-state and frequency transitions per logical CPU
// (TracedValueTransition) and wake-ups of processes (TracedEvent with Process handles).
//
// A transition metric counts the time a value was held, so an event hands the metric the value that
// is being left, with the time since the CPU's previous event. The value a CPU held before its first
// event is unknown: that first stretch is not counted. At the end the value in hand is closed at the
// collection's stop time, when the record holds one.

#include <map>
#include <unordered_map>

#include "FeatureSupport.h"
#include "Features.h"
#include "LinuxPluginProtocol.h"

namespace vantrell::plugins::metrics {
namespace {

constexpr std::string_view kWakeup = "wakeup:";

// The value a CPU holds in one transition metric, and since when.
struct Held {
    bool known = false;
    uint64_t since = 0;
    const pwr::DataHandle* state = nullptr;  // C-states
    unsigned long long mhz = 0;              // frequencies
};

class TraceFeature : public Feature {
  public:
    int begin(const pwr::SystemMetadata& metadata) override {
        start = metadata.startTSC;
        cpus.build(metadata);
        cstates.assign(cpus.size(), Held());
        frequencies.assign(cpus.size(), Held());
        cstateMetric = makeMetric("C-State Transitions", pwr::Metric::TracedValueTransition,
                                  "cstate-transitions", "trace", metadata, nullptr, {"CPU", "", "C-State"});
        frequencyMetric =
            makeMetric("Frequency Transitions", pwr::Metric::TracedValueTransition, "frequency-transitions",
                       "trace", metadata, pwr::Quantity::frequency(), {"CPU", "", "Frequency (MHz)"});
        wakeupMetric = makeMetric("Wake-ups", pwr::Metric::TracedEvent, "wakeups", "trace", metadata, nullptr,
                                  {"CPU", "", "Process"});
        active = descriptorNamed("C0");
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
            if (entry.key == "cstate") {
                used += cstate_i(entity, cstates[entry.cpu], timestamp, entry.value);
            } else if (entry.key == "freq") {
                used += frequency_i(entity, frequencies[entry.cpu], timestamp, (entry.value + 500) / 1000);
            } else if (entry.key.substr(0, kWakeup.size()) == kWakeup) {
                used += wakeup_i(entity, timestamp, entry.key.substr(kWakeup.size()), entry.value);
            }
        }
        return used > 0 ? 0 : 1;
    }

    int finish(const pwr::SystemMetadata& metadata) override {
        const uint64_t stop = metadata.stopTSC;
        for (size_t cpu = 0; cpu < cpus.size(); ++cpu) {
            const pwr::EntityHandle* entity = cpus.at(static_cast<uint16_t>(cpu));
            if (entity != nullptr && stop != 0) {
                close_i(*cstateMetric, entity, cstates[cpu], stop);
                close_i(*frequencyMetric, entity, frequencies[cpu], stop);
            }
        }
        int result = 0;
        for (pwr::Metric* metric : {cstateMetric.get(), frequencyMetric.get(), wakeupMetric.get()}) {
            result |= metric->isEmpty() ? 0 : metric->finalize();
        }
        return result;
    }

  private:
    // Hands the metric the value `held` was in until `timestamp`.
    void close_i(pwr::Metric& metric, const pwr::EntityHandle* entity, const Held& held, uint64_t timestamp) {
        const uint64_t duration = ticksSince(timestamp, held.since, start);
        if (!held.known || duration == 0) {
            return;
        }
        pwr::DataElement& target = held.state != nullptr ? element : frequencyElement;
        target.setEntity(entity);
        if (held.state != nullptr) {
            target.setValue(*held.state);
        } else {
            target.setValue(held.mhz);
        }
        metric.setData(timestamp, target, duration);
    }

    // An event is always taken in: the first of a CPU only starts the value it holds.
    int cstate_i(const pwr::EntityHandle* entity, Held& held, uint64_t timestamp, uint64_t value) {
        close_i(*cstateMetric, entity, held, timestamp);
        held = {true, timestamp, stateNamed_i(value), 0};
        return 1;
    }

    int frequency_i(const pwr::EntityHandle* entity, Held& held, uint64_t timestamp, unsigned long long mhz) {
        close_i(*frequencyMetric, entity, held, timestamp);
        held = {true, timestamp, nullptr, mhz};
        return 1;
    }

    int wakeup_i(const pwr::EntityHandle* entity, uint64_t timestamp, std::string_view comm, uint64_t pid) {
        const auto id = static_cast<int>(pid);
        auto found = processes.find(id);
        if (found == processes.end()) {
            pwr::ProcessManager::create(pwr::ProcessDescription(id, timestamp, 0, std::string(comm)));
            found = processes.emplace(id, pwr::ProcessManager::instance().getProcess(id)).first;
        }
        wakeupElement.setEntity(entity);
        wakeupElement.setValue(static_cast<const pwr::DataHandle&>(*found->second));
        return wakeupMetric->setData(timestamp, wakeupElement, 0) == 0 ? 1 : 0;
    }

    // "C0" for the exit from idle, else "State <index>" (the cpuidle index of the tracepoint).
    const pwr::DataHandle* stateNamed_i(uint64_t value) {
        if (value == kIdleExit) {
            return active;
        }
        auto found = stateNames.find(value);
        if (found == stateNames.end()) {
            found = stateNames.emplace(value, descriptorNamed("State " + std::to_string(value))).first;
        }
        return found->second;
    }

    uint64_t start = 0;
    CpuEntities cpus;
    std::vector<Held> cstates;
    std::vector<Held> frequencies;
    std::unique_ptr<pwr::Metric> cstateMetric;
    std::unique_ptr<pwr::Metric> frequencyMetric;
    std::unique_ptr<pwr::Metric> wakeupMetric;
    const pwr::DataDescriptor* active = nullptr;
    std::map<uint64_t, const pwr::DataDescriptor*> stateNames;
    std::unordered_map<int, const pwr::Process*> processes;
    pwr::DataElement element{nullptr, nullptr};
    pwr::DataElement frequencyElement{nullptr, nullptr};
    pwr::DataElement wakeupElement{nullptr, nullptr};
    UnknownCpus unknown{"trace"};
};

}  // namespace

std::unique_ptr<Feature> makeTraceFeature() {
    return std::make_unique<TraceFeature>();
}

}  // namespace vantrell::plugins::metrics
