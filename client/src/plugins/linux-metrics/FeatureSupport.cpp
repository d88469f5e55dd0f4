#include "FeatureSupport.h"

#include "Features.h"

namespace vantrell::plugins::metrics {

const char* const kFeatureNames[7] = {"cstate", "cpu",        "frequency", "thermal",
                                      "power",  "interrupts", "trace"};

void CpuEntities::build(const pwr::SystemMetadata& metadata) {
    byCpu.clear();
    std::vector<const pwr::TNode*> threads;
    metadata.getCPUTopology().getAllThreads(threads);
    for (const pwr::TNode* thread : threads) {
        const int cpu = thread->getID();
        if (cpu < 0 || cpu >= 0xffff) {
            continue;
        }
        if (static_cast<size_t>(cpu) >= byCpu.size()) {
            byCpu.resize(static_cast<size_t>(cpu) + 1, nullptr);
        }
        byCpu[static_cast<size_t>(cpu)] = pwr::EntityHandle::getCPUThreadHandle(cpu);
    }
}

std::vector<const pwr::EntityHandle*> CpuEntities::all() const {
    std::vector<const pwr::EntityHandle*> known;
    for (const pwr::EntityHandle* entity : byCpu) {
        if (entity != nullptr) {
            known.push_back(entity);
        }
    }
    return known;
}

std::unique_ptr<pwr::Metric> makeMetric(const std::string& name, pwr::Metric::MetricType type,
                                        const std::string& container, const std::string& feature,
                                        const pwr::SystemMetadata& metadata, const pwr::Quantity* quantity,
                                        const Heads& heads) {
    auto metric = std::make_unique<pwr::Metric>(name, type, container, feature, metadata, quantity);
    if (*heads.entity != '\0') {
        metric->setEntityGroupInfo(pwr::FieldDescription(heads.entity, ""));
    }
    if (*heads.descriptor != '\0') {
        metric->setDescriptorGroupInfo(pwr::FieldDescription(heads.descriptor, ""));
    }
    if (*heads.value != '\0') {
        metric->setValueGroupInfo(pwr::FieldDescription(heads.value, ""));
    }
    return metric;
}

void UnknownCpus::note(uint16_t cpu) {
    if (warned.insert(cpu).second) {
        VR_LOG(2,
               "WARNING: linux-metrics: %s: logical CPU %u isn't in the topology; its entries are skipped\n",
               feature, static_cast<unsigned>(cpu));
    }
}

}  // namespace vantrell::plugins::metrics
