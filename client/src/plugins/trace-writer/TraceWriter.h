#pragma once

// trace-writer: writes the over-time data of a collection as a Chrome trace-event JSON file, which
// Perfetto's UI and chrome://tracing open. Capability "trace"; output "<output>.trace.json", or the
// standard output when the "output" parameter is empty.
//
// What reaches it: every data point that a metric flushes (writeMessage(const Metric&)), sampled and
// traced alike, and the SystemMessage whose SystemMetadata gives the clock (vraClockFreqMHz) and the
// start of the collection (startTSC) for turning clock ticks into microseconds.
//
// Tracks: the process "vantrell"; one thread per logical CPU ("CPU <n>") with a complete event per
// sampling interval for C-state residency (named after the state that held most of the interval, the
// shares in its arguments); traced transitions and events on a thread per CPU and metric; every other
// numeric metric (frequency, power, temperature, load ...) as counters, one per CPU or entity. The
// C-states are those of the feature "cstate"; residencies of other features get a track of their own
// beside the CPU's.
//
// Events go to the file as they arrive, so memory stays flat over long collections; closeOutput adds
// the names of the tracks and closes the JSON, so the file is whole even when a collection was cut
// short. The SystemMetadata of the SystemMessage is borrowed: it must live until closeOutput, as the
// host's does. One thread at a time, as the stream calls it.

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <vantrell/VantrellCore.h>

#include <nlohmann/json.hpp>
#include "LogicalCpus.h"

namespace vantrell::plugins {

class TraceWriter : public WriterPlugin {
  public:
    TraceWriter();
    ~TraceWriter() override;

    // Opens the output; 0, or 1 when the file can't be created.
    int openOutput() override;
    // Writes the track names and closes the JSON; 0, or 1 when nothing could be written. A second call
    // does nothing.
    int closeOutput() override;
    // Pushes what was written so far to the file; true when there was anything.
    bool flushContinuousResults(const pwr::SystemMetadata& system) override;

    // The file this writer writes, empty for the standard output.
    const std::string& getOutputPath() const { return path; }

  protected:
    void notifyCommandlineParamsSet_i() override;

  private:
    int writeMessage(const pwr::SystemMessage& message) override;
    int writeMessage(const pwr::Metric& metric) override;

    void writeResidency_i(const pwr::Metric& metric);
    void writeTraced_i(const pwr::Metric& metric);
    void writeCounters_i(const pwr::Metric& metric);
    using Args = std::vector<std::pair<std::string, double>>;
    // One event; `tid` < 0: none (process counters); `dur` < 0: none (all but complete events).
    void emitEvent_i(const std::string& name, const std::string& cat, char ph, int tid, double ts, double dur,
                     const Args& args);
    void emit_i(const nlohmann::json& event);
    void write_i(const std::string& event);
    // `raw` as a JSON string, from a bounded cache.
    const std::string& quoted_i(const std::string& raw);

    // Microseconds since the start of the collection.
    double micros_i(uint64_t ticks);
    double ticksToMicros_i(uint64_t ticks) const;
    // The logical CPU that `entity` stands for, or -1.
    int logicalCpu_i(const pwr::EntityHandle* entity);
    // The thread id of a named track, made on first use. CPU tracks have the ids 1 + cpu.
    int track_i(const std::string& name, int cpu);

    std::string path;
    std::FILE* file = nullptr;
    bool closed = false;
    bool openTried = false;
    bool wroteEvent = false;
    bool pending = false;
    const pwr::SystemMetadata* system = nullptr;
    uint64_t origin = 0;
    vantrell::plugins::LogicalCpus cpus;
    std::map<std::string, int> tracks;
    std::map<int, int> sortIndex;
    int nextTid = 100000;
    std::map<int, int> cpuSiblings;
    std::unordered_map<std::string, std::string> quoted;
    std::string line;
};

}  // namespace vantrell::plugins
