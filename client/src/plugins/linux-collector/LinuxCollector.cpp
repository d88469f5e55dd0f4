#include "LinuxCollector.h"

#include <string>

#include <vantrell/plugin/Logging.h>

namespace vantrell::linuxcollector {

using vantrell::plugins::SampleWriter;

LinuxCollector::LinuxCollector()
    : CollectorPlugin("linux-collector"), clock(std::make_unique<pwr::VRTSCClock>()) {
    for (SourceKind kind : kAllSourceKinds) {
        requirements.push_back(std::make_unique<LinuxSourceRequirement>(kind));
        prototypes.push_back(std::make_unique<SourceOperation>(kind));
        prototypes.back()->addRequirement(requirements.back().get());
        addOperation(prototypes.back().get());
    }
    setClockSource(clock.get());
}

LinuxCollector::~LinuxCollector() = default;

int LinuxCollector::terminatePlugin() {
    readings.clear();
    return 0;
}

bool LinuxCollector::canCollectMessage(const pwr::InputMsg* message) {
    if (message == nullptr || message->getOperationCount() == 0) {
        return false;
    }
    for (const pwr::Operation* operation : message->getOperations()) {
        if (dynamic_cast<const SourceOperation*>(operation) == nullptr) {
            return false;
        }
    }
    return true;
}

std::vector<std::unique_ptr<Source>> LinuxCollector::openSources_i(const pwr::InputMsg& message) {
    std::vector<std::unique_ptr<Source>> sources;
    std::set<uint16_t> covered;
    for (const pwr::Operation* operation : message.getOperations()) {
        const auto* op = dynamic_cast<const SourceOperation*>(operation);
        if (op == nullptr) {
            continue;
        }
        std::unique_ptr<Source> source = makeSource(op->getKind());
        std::string problem;
        if (!source->open(rooted(op->getSource()), problem)) {
            VR_LOG(2, "WARNING: linux-collector: %s of message %s has nothing to read: %s\n",
                   op->getOperation().c_str(), message.getFullName().c_str(), problem.c_str());
            continue;
        }
        // An earlier source of the message wins for the CPUs it covers (cpufreq before cpuinfo).
        if (!source->exclude(covered)) {
            continue;
        }
        const std::set<uint16_t> cpus = source->coveredCpus();
        covered.insert(cpus.begin(), cpus.end());
        sources.push_back(std::move(source));
    }
    return sources;
}

int LinuxCollector::startCollection(const std::vector<pwr::InputMsg*>& messages, const pwr::SystemMetadata&) {
    readings.clear();
    std::set<const pwr::InputMsg*> seen;  // a message is listed once per trigger that it answers
    for (const pwr::InputMsg* message : messages) {
        if (!canCollectMessage(message) || !seen.insert(message).second) {
            continue;
        }
        Reading reading{vantrell::plugins::makeSource(message->getPluginID(), message->getMetricID(),
                                                      message->getMsgID()),
                        pwr::getTriggerMask(message->getTriggers()), openSources_i(*message)};
        if (reading.sources.empty()) {
            VR_LOG(2, "WARNING: linux-collector: message %s has no source to read; it stays empty\n",
                   message->getFullName().c_str());
            continue;
        }
        readings.push_back(std::move(reading));
    }
    readAll_i(0);  // BEGIN
    return readings.empty() && !seen.empty() ? -1 : 0;
}

int LinuxCollector::pollOnce() {
    readAll_i(1);  // POLL
    return 0;
}

int LinuxCollector::stopCollection() {
    readAll_i(4);  // END
    readings.clear();
    return 0;
}

void LinuxCollector::readAll_i(uint8_t when) {
    for (Reading& reading : readings) {
        uint64_t timestamp = 0;
        if (((reading.triggers >> when) & 1U) != 0 && read_i(reading, when, pending, timestamp)) {
            if (messagesProduced++ == 0) {
                firstTimestamp = timestamp;
            }
            lastTimestamp = timestamp;
        }
    }
}

bool LinuxCollector::read_i(Reading& reading, uint8_t when, std::vector<char>& out, uint64_t& timestamp) {
    const size_t start = out.size();
    timestamp = clock->getTimestamp();
    SampleWriter writer(out, timestamp, reading.source, when);
    for (const auto& source : reading.sources) {
        source->read(writer, when);
    }
    if (writer.finish() == 0) {
        out.resize(start);  // nothing was read: no message
        return false;
    }
    return true;
}

bool LinuxCollector::getContinuousResult(pwr::VRBuffer& buffer, CollectionData& data) {
    data = CollectionData(firstTimestamp, lastTimestamp, 0, 0, messagesProduced, 0, clock->getUUID(), "");
    if (pending.empty()) {
        return false;
    }
    buffer.bytes.insert(buffer.bytes.end(), pending.begin(), pending.end());
    pending.clear();  // keeps its capacity for the next sample
    return true;
}

int LinuxCollector::doImmediateRead(const pwr::InputMsg* message, Pairs& results) {
    if (!canCollectMessage(message)) {
        return -1;
    }
    const size_t before = results.size();
    for (const auto& source : openSources_i(*message)) {
        std::vector<char> bytes;
        SampleWriter writer(bytes, 0, id_config_t{}, 1);  // as at a poll
        source->read(writer, 1);
        writer.finish();
        vantrell::plugins::forEachEntry(
            reinterpret_cast<const vr_driver_msg*>(bytes.data()),
            [&](uint16_t cpu, std::string_view key, uint64_t value) {
                std::string name =
                    cpu == vantrell::plugins::kSystemCpu ? std::string() : "cpu" + std::to_string(cpu) + "/";
                results.emplace_back(name.append(key), source->isSigned()
                                                           ? std::to_string(static_cast<int64_t>(value))
                                                           : std::to_string(value));
            });
    }
    return results.size() > before ? 0 : -1;
}

}  // namespace vantrell::linuxcollector

VR_DECLARE_PLUGIN(vantrell::linuxcollector::LinuxCollector)
