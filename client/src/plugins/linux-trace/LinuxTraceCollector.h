#pragma once

// The kernel trace collector: records C-state and frequency transitions and context switches with the
// library's trace sessions and the Linux kernel providers, and hands every event over as one "trace"
// message (LinuxPluginProtocol.h) in time order.
//
// Operation type KTRACE (category EVENTS: a comma list of "power:cpu_idle", "power:cpu_frequency",
// "sched:sched_switch"); a message records those and the tracepoints its TRACEPOINT triggers name. The
// type's requirement fails where the machine refuses kernel tracing, so that the feature is not offered.
//
// A collection writes a trace file in a private temporary directory, removed at the stop. At each poll
// the session is flushed and the file's new blocks are read; events up to the moment of the flush are
// sorted by time and handed over, later ones wait for the next poll, since the facility writes the
// batches of its per-processor buffers one after the other.
//
// All calls on the host's worker thread, one at a time.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "KernelEvents.h"
#include "LinuxPluginProtocol.h"
#include "TraceTail.h"

namespace vantrell::plugins {

class KtraceOperation : public pwr::Operation {
  public:
    KtraceOperation();
    // EVENTS: every name must be a known tracepoint; -1 otherwise (and for any other key).
    int set(std::string const& key, std::string const& value) override;
    pwr::OperationMetadata* getOperationMetadata() const override;
    pwr::Operation* clone() const override;
    std::vector<std::string> const& getEvents() const { return events; }

  private:
    std::vector<std::string> events;
};

// Met when the library's trace facility can record both kernel providers on this machine.
class KernelTraceRequirement : public pwr::PluginRequirement {
  public:
    KernelTraceRequirement() : PluginRequirement("KTRACE", false) {}

  protected:
    bool isPluginRequirementSatisfied_i(pwr::SystemMetadata const& system,
                                        pwr::PluginParams const& params) const override;
};

class LinuxTraceCollector : public CollectorPlugin {
  public:
    LinuxTraceCollector();
    ~LinuxTraceCollector() override;

    int initializePlugin() override { return 0; }
    int terminatePlugin() override;
    // Opens the session for the tracepoints of `messages`. 0 (also with nothing to record), -1 with a
    // log line when the session can't be started.
    int startCollection(std::vector<pwr::InputMsg*> const& messages,
                        pwr::SystemMetadata const& system) override;
    // Closes the session and keeps what it still held for getContinuousResult. 0, -1 when the session
    // could not be stopped cleanly or its file was damaged.
    int stopCollection() override;
    int pollOnce() override;
    // Messages whose first operation is KTRACE.
    bool canCollectMessage(pwr::InputMsg const* message) override;
    // A trace has no value to read at once: -1.
    int doImmediateRead(pwr::InputMsg const* message, Pairs& results) override;
    // Appends the messages ready since the last call; true when there were any.
    bool getContinuousResult(pwr::VRBuffer& buffer, CollectionData& data) override;

  private:
    struct Pending {
        uint64_t timeStamp;  // the trace's clock
        uint16_t cpu;
        uint8_t tracepoint;  // index into kernelTracepoints()
        std::string key;
        uint64_t value;
    };
    class Session;

    bool selectTracepoints_i(std::vector<pwr::InputMsg*> const& messages);
    void calibrate_i(pwr::SystemMetadata const& system);
    int read_i();
    void emitUpTo_i(uint64_t watermark);
    uint64_t toTsc_i(uint64_t timeStamp) const;
    void removeFiles_i();

    KtraceOperation prototype;
    KernelTraceRequirement requirement;
    std::unique_ptr<KernelEventDecoder> decoder;
    std::unique_ptr<Session> session;
    TraceTail tail;
    std::string directory;
    std::string traceFile;
    id_config_t sources[3]{};
    bool wanted[3]{};
    std::vector<Pending> pending;
    std::vector<char> ready;
    std::vector<uint64_t> lastTscByCpu;
    // Time stamps to TSC: one pair of readings and the ratio.
    uint64_t syncTrace = 0;
    uint64_t syncTsc = 0;
    double tscPerTraceTick = 0.0;
    uint64_t lastEmitted = 0;
    uint64_t produced = 0;
    uint64_t dropped = 0;
    uint64_t undecoded = 0;
    uint64_t late = 0;
    uint64_t startTsc = 0;
    uint64_t stopTsc = 0;
    uint64_t startTimeval = 0;
    uint64_t stopTimeval = 0;
};

}  // namespace vantrell::plugins
