// C-state residency and CPU utilisation: per logical CPU, the clock ticks of each state since the
// previous message, as SampledResidency metrics whose states add up to the elapsed time.

#include <array>

#include "FeatureSupport.h"
#include "Features.h"
#include "LinuxPluginProtocol.h"

namespace vantrell::plugins::metrics {
namespace {

constexpr uint8_t kBegin = 0;  // vr_when_type BEGIN

// The last cumulative value of each key of one source, and which keys the message in hand carries.
struct Counters {
    uint64_t lastTimestamp = 0;
    bool based = false;
    uint32_t generation = 0;  // the message that last touched this source
    std::vector<uint64_t> last;
    std::vector<uint64_t> current;
    std::vector<uint32_t> currentGeneration;
    std::vector<uint8_t> hasLast;

    void fit(size_t keys) {
        if (current.size() < keys) {
            last.resize(keys, 0);
            current.resize(keys, 0);
            currentGeneration.resize(keys, 0);
            hasLast.resize(keys, 0);
        }
    }
    // The keys of message `generation` become the baseline.
    void rebase(uint64_t timestamp, uint32_t generation) {
        for (size_t key = 0; key < current.size(); ++key) {
            if (currentGeneration[key] == generation) {
                last[key] = current[key];
                hasLast[key] = 1;
            }
        }
        lastTimestamp = timestamp;
        based = true;
    }
    // The increase of `key` since the baseline; 0 when it had none or went back.
    uint64_t delta(size_t key) const {
        return hasLast[key] != 0 && current[key] >= last[key] ? current[key] - last[key] : 0;
    }
};

// C-states. The cumulative idle time of each cpuidle state, in microseconds, becomes ticks; "C0" is
// what is left of the interval. Idle states are capped so that the states of a CPU never claim more
// than the interval: the residencies of a CPU add up to the elapsed time.
class CStateFeature : public Feature {
  public:
    int begin(const pwr::SystemMetadata& metadata) override {
        clockMHz = metadata.vraClockFreqMHz;
        start = metadata.startTSC;
        cpus.build(metadata);
        slots.assign(cpus.size(), Counters());
        metric = makeMetric("C-State Residency", pwr::Metric::SampledResidency, "cstate-residency", "cstate",
                            metadata, pwr::Quantity::time(), {"CPU", "C-State", ""});
        bool added = false;
        states.find("C0", added);
        descriptors.push_back(descriptorNamed("C0"));
        std::vector<pwr::EntityDescCombo> combos;
        for (const pwr::EntityHandle* entity : cpus.all()) {
            combos.push_back({entity, descriptors[0]});
        }
        metric->setEntityDescriptorCombinations(combos);
        return 0;
    }

    int process(uint64_t timestamp, uint8_t trigger, const std::vector<Entry>& entries) override {
        if (clockMHz <= 0.0) {
            if (!clockWarned) {
                clockWarned = true;
                VR_LOG(2,
                       "WARNING: linux-metrics: cstate: the clock frequency is unknown; residencies are "
                       "skipped\n");
            }
            return 1;
        }
        ++generation;
        touched.clear();
        for (const Entry& entry : entries) {
            if (cpus.at(entry.cpu) == nullptr) {
                unknown.note(entry.cpu);
                continue;
            }
            bool added = false;
            const size_t state = states.find(entry.key, added);
            if (added) {
                descriptors.push_back(descriptorNamed(states.name(state)));
            }
            if (state == 0) {
                continue;  // "C0" is ours: the rest of the interval
            }
            Counters& slot = slots[entry.cpu];
            slot.fit(states.size());
            slot.current[state] = entry.value;
            slot.currentGeneration[state] = generation;
            if (slot.generation != generation) {
                slot.generation = generation;
                touched.push_back(entry.cpu);
            }
        }
        for (uint16_t cpu : touched) {
            emit_i(cpu, timestamp, trigger);
        }
        return touched.empty() ? 1 : 0;
    }

    int finish(const pwr::SystemMetadata&) override { return metric->isEmpty() ? 0 : metric->finalize(); }

    void rebase() override {
        for (Counters& slot : slots) {
            slot.based = false;
        }
    }

  private:
    void emit_i(uint16_t cpu, uint64_t timestamp, uint8_t trigger) {
        Counters& slot = slots[cpu];
        if (trigger == kBegin || !slot.based) {
            slot.rebase(timestamp, generation);
            return;
        }
        const uint64_t duration = ticksSince(timestamp, slot.lastTimestamp, start);
        if (duration == 0) {
            return;  // not after the baseline: nothing to say
        }
        ticks.assign(states.size(), 0);
        uint64_t idle = 0;
        for (size_t state = 1; state < states.size(); ++state) {
            if (state < slot.current.size() && slot.currentGeneration[state] == generation) {
                ticks[state] = std::min(ticksFromMicroseconds(slot.delta(state), clockMHz), duration - idle);
                idle += ticks[state];
            }
        }
        ticks[0] = duration - idle;
        element.setEntity(cpus.at(cpu));
        for (size_t state = 0; state < states.size(); ++state) {
            if (state == 0 || (state < slot.current.size() && slot.currentGeneration[state] == generation)) {
                element.setDescriptor(descriptors[state]);
                element.setValue(static_cast<unsigned long long>(ticks[state]));
                metric->setData(timestamp, element, duration);
            }
        }
        slot.rebase(timestamp, generation);
    }

    double clockMHz = 0.0;
    bool clockWarned = false;
    uint64_t start = 0;
    CpuEntities cpus;
    std::vector<Counters> slots;
    NameIndex states;
    std::vector<const pwr::DataDescriptor*> descriptors;
    std::unique_ptr<pwr::Metric> metric;
    pwr::DataElement element{nullptr, nullptr};
    uint32_t generation = 0;
    std::vector<uint16_t> touched;
    std::vector<uint64_t> ticks;
    UnknownCpus unknown{"cstate"};
};

// CPU utilisation from /proc/stat: the share of the ticks of USER_HZ that a CPU spent outside
// idle and iowait becomes the share of the interval's clock ticks in the state "Busy", the rest
// "Idle". The whole-machine line (kSystemCpu) counts for the system entity.
class CpuFeature : public Feature {
  public:
    int begin(const pwr::SystemMetadata& metadata) override {
        start = metadata.startTSC;
        cpus.build(metadata);
        slots.assign(cpus.size() + 1, Counters());  // the last one is the whole machine
        for (Counters& slot : slots) {
            slot.fit(kKeys.size());
        }
        metric = makeMetric("CPU Utilization", pwr::Metric::SampledResidency, "cpu-utilization", "cpu",
                            metadata, pwr::Quantity::time(), {"CPU", "State", ""});
        busy = descriptorNamed("Busy");
        idle = descriptorNamed("Idle");
        std::vector<pwr::EntityDescCombo> combos;
        for (const pwr::DataDescriptor* state : {busy, idle}) {
            for (const pwr::EntityHandle* entity : cpus.all()) {
                combos.push_back({entity, state});
            }
        }
        metric->setEntityDescriptorCombinations(combos);
        return 0;
    }

    int process(uint64_t timestamp, uint8_t trigger, const std::vector<Entry>& entries) override {
        ++generation;
        touched.clear();
        for (const Entry& entry : entries) {
            const size_t slotIndex = entry.cpu == kSystemCpu ? cpus.size() : entry.cpu;
            if (entityOf_i(slotIndex) == nullptr) {
                if (entry.cpu != kSystemCpu) {
                    unknown.note(entry.cpu);
                }
                continue;
            }
            size_t key = 0;
            while (key < kKeys.size() && kKeys[key] != entry.key) {
                ++key;
            }
            if (key == kKeys.size()) {
                continue;  // guest times and the like are inside user already
            }
            Counters& slot = slots[slotIndex];
            slot.current[key] = entry.value;
            slot.currentGeneration[key] = generation;
            if (slot.generation != generation) {
                slot.generation = generation;
                touched.push_back(slotIndex);
            }
        }
        for (size_t slotIndex : touched) {
            emit_i(slotIndex, timestamp, trigger);
        }
        return touched.empty() ? 1 : 0;
    }

    int finish(const pwr::SystemMetadata&) override { return metric->isEmpty() ? 0 : metric->finalize(); }

    void rebase() override {
        for (Counters& slot : slots) {
            slot.based = false;
        }
    }

  private:
    static constexpr std::array<std::string_view, 8> kKeys{"user",   "nice", "system",  "idle",
                                                           "iowait", "irq",  "softirq", "steal"};
    static bool isIdle(size_t key) { return key == 3 || key == 4; }

    const pwr::EntityHandle* entityOf_i(size_t slotIndex) const {
        return slotIndex == cpus.size() ? pwr::EntityHandle::getSystemHandle()
                                        : cpus.at(static_cast<uint16_t>(slotIndex));
    }

    void emit_i(size_t slotIndex, uint64_t timestamp, uint8_t trigger) {
        Counters& slot = slots[slotIndex];
        if (trigger == kBegin || !slot.based) {
            slot.rebase(timestamp, generation);
            return;
        }
        const uint64_t duration = ticksSince(timestamp, slot.lastTimestamp, start);
        uint64_t busyTicks = 0;
        uint64_t allTicks = 0;
        for (size_t key = 0; key < kKeys.size(); ++key) {
            if (slot.currentGeneration[key] == generation) {
                const uint64_t delta = slot.delta(key);
                allTicks += delta;
                busyTicks += isIdle(key) ? 0 : delta;
            }
        }
        if (duration == 0 || allTicks == 0) {
            return;  // shorter than a USER_HZ tick: the baseline stays, the next message covers both
        }
        const auto busyShare = static_cast<uint64_t>(
            static_cast<double>(duration) * static_cast<double>(busyTicks) / static_cast<double>(allTicks) +
            0.5);
        element.setEntity(entityOf_i(slotIndex));
        const std::pair<const pwr::DataDescriptor*, uint64_t> cells[] = {{busy, busyShare},
                                                                         {idle, duration - busyShare}};
        for (const auto& [state, value] : cells) {
            element.setDescriptor(state);
            element.setValue(static_cast<unsigned long long>(value));
            metric->setData(timestamp, element, duration);
        }
        slot.rebase(timestamp, generation);
    }

    uint64_t start = 0;
    CpuEntities cpus;
    std::vector<Counters> slots;
    const pwr::DataDescriptor* busy = nullptr;
    const pwr::DataDescriptor* idle = nullptr;
    std::unique_ptr<pwr::Metric> metric;
    pwr::DataElement element{nullptr, nullptr};
    uint32_t generation = 0;
    std::vector<size_t> touched;
    UnknownCpus unknown{"cpu"};
};

}  // namespace

std::unique_ptr<Feature> makeCStateFeature() {
    return std::make_unique<CStateFeature>();
}
std::unique_ptr<Feature> makeCpuFeature() {
    return std::make_unique<CpuFeature>();
}

}  // namespace vantrell::plugins::metrics
