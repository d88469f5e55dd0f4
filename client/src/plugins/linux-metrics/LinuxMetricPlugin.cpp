// linux-metrics: the metric plug-in of the reference host. Seven capabilities, one per feature, whose
// metric ids (1 to 7) the host writes into the source of every message; a message goes to the feature
// of its metric id, which was started by initializeCollection of that feature's name.
//
// What writers get. While the collection runs, each writer's writeMessage(const Metric&) sees every
// data point as the metric flushes it: for the sampled features one point per message (all CPUs of
// that read, one timestamp), handed over when the next message of the feature arrives, the last one
// at finalizeCollection; temperatures one point per poll cycle; trace events one point each, at once.
// At finalizeCollection the container info message and then the summary tables follow, as the output
// configuration shapes them.

#include <array>
#include <cstring>

#include "Features.h"
#include "LinuxPluginProtocol.h"

namespace vantrell::plugins::metrics {
namespace {

const char* const kDescriptions[7] = {
    "C-state residency of each logical CPU (cpuidle)",
    "Utilisation of each logical CPU (/proc/stat)",
    "Current and nominal frequency of each logical CPU",
    "Temperatures of the thermal zones and hwmon sensors",
    "Energy and average power of the RAPL domains",
    "Interrupts per logical CPU (/proc/interrupts)",
    "C-state and frequency transitions and wake-ups from kernel tracepoints",
};

int featureIndex(const std::string& name) {
    for (int index = 0; index < 7; ++index) {
        if (name == kFeatureNames[index]) {
            return index;
        }
    }
    return -1;
}

}  // namespace

std::unique_ptr<Feature> makeFeature(int metricId, const MetricPlugin* owner) {
    switch (metricId) {
        case 1:
            return makeCStateFeature();
        case 2:
            return makeCpuFeature();
        case 3:
            return makeFrequencyFeature();
        case 4:
            return makeThermalFeature(owner);
        case 5:
            return makePowerFeature();
        case 6:
            return makeInterruptFeature();
        case 7:
            return makeTraceFeature();
        default:
            return nullptr;
    }
}

class LinuxMetricPlugin : public MetricPlugin {
  public:
    LinuxMetricPlugin() : MetricPlugin("linux-metrics") {
        for (int index = 0; index < 7; ++index) {
            addCapability(new pwr::MetricPluginCapability(
                kFeatureNames[index], kDescriptions[index], kFeatureNames[index],
                static_cast<uint8_t>(index + 1), index == 6 ? "trace" : "default"));
        }
    }

    int initializePlugin() override { return 0; }

    // Features that were never finalised are dropped with their data.
    int terminatePlugin() override {
        for (auto& feature : features) {
            feature.reset();
        }
        return 0;
    }

    // Starts the feature `name`: -1 for a name that isn't one of ours or when its metrics can't be
    // made (no writer stream or output configuration). A feature already running stays as it is.
    int32_t initializeCollection(std::vector<pwr::InputMsg*>&, std::vector<pwr::Metadata*>&,
                                 const std::string& name, const Pairs&,
                                 const pwr::SystemMetadata& metadata) override {
        const int index = featureIndex(name);
        if (index < 0) {
            VR_LOG(2, "WARNING: linux-metrics: no feature named %s\n", name.c_str());
            return -1;
        }
        if (features[index] != nullptr) {
            VR_LOG(2, "WARNING: linux-metrics: feature %s is running already\n", name.c_str());
            return 0;
        }
        pwr::DataHandleProvider::initTopology(metadata);  // keeps a tree the host built
        std::unique_ptr<Feature> feature = makeFeature(index + 1, this);
        try {
            if (feature->begin(metadata) != 0) {
                return -1;
            }
        } catch (const char* text) {
            VR_LOG(1, "ERROR: linux-metrics: feature %s can't start: %s\n", name.c_str(), text);
            return -1;
        }
        features[index] = std::move(feature);
        return 0;
    }

    // Finalises the feature `name`, whose tables then reach the writers. A feature that isn't running
    // has nothing to say: 0.
    int32_t finalizeCollection(const std::string& name, const Pairs&,
                               const pwr::SystemMetadata& metadata) override {
        const int index = featureIndex(name);
        if (index < 0 || features[index] == nullptr) {
            return 0;
        }
        const int result = features[index]->finish(metadata);
        features[index].reset();
        return result == 0 ? 0 : -1;
    }

    // A reset of the message's source: the message goes on to processDriverMessage as a new baseline.
    pwr::ResetReturnCode reset(pwr::ResetReason, unsigned long long, const pwr::SystemMetadata&) override {
        rebasePending = true;
        return pwr::RESET_PASS_ON;
    }

    // One raw message: 0 when its feature used it; 1 (with a WARNING) for a message of no running
    // feature or a damaged one, which is dropped whole.
    int32_t processDriverMessage(const pwr::SystemMetadata&, const vr_driver_msg* message) override {
        if (message == nullptr) {
            return 1;
        }
        const unsigned metricId = message->source.byte1;
        Feature* feature = metricId >= 1 && metricId <= 7 ? features[metricId - 1].get() : nullptr;
        if (feature == nullptr) {
            VR_LOG(2, "WARNING: linux-metrics: no running feature for metric id %u; message dropped\n",
                   metricId);
            return 1;
        }
        uint32_t bodySize = 0;
        std::memcpy(&bodySize, reinterpret_cast<const char*>(message) + kHeadSize, sizeof(bodySize));
        entries.clear();
        const bool whole = bodySize >= kBodyFixedSize - 4 &&
                           forEachEntry(message, [this](uint16_t cpu, std::string_view key, uint64_t value) {
                               entries.push_back({cpu, key, value});
                           });
        if (!whole) {
            VR_LOG(2, "WARNING: linux-metrics: %s message at %llu is damaged after %zu entries; dropped\n",
                   kFeatureNames[metricId - 1], static_cast<unsigned long long>(message->timestamp),
                   entries.size());
            return 1;
        }
        if (rebasePending) {
            rebasePending = false;
            feature->rebase();
        }
        return feature->process(message->timestamp, messageTrigger(message), entries);
    }

  private:
    std::array<std::unique_ptr<Feature>, 7> features;
    std::vector<Entry> entries;
    bool rebasePending = false;
};

}  // namespace vantrell::plugins::metrics

VR_DECLARE_PLUGIN(vantrell::plugins::metrics::LinuxMetricPlugin)
