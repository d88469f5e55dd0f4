#pragma once

// One live collection: the collectors run on the library's worker thread (VRThread), which starts
// them, polls them every interval and stops them; the main thread keeps the time, waits for Ctrl-C,
// SIGTERM or the end of a program started with -p, and hands the raw messages the collectors produced
// to the metric plug-ins. SIGINT, SIGTERM and SIGCHLD must be blocked in every thread before any
// thread starts (blockCollectionSignals), so that only the main thread's wait receives them.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell {

// Blocks the signals that end a collection; call first thing in main.
void blockCollectionSignals();

struct CollectionPlan {
    double timeSec = 0;  // 0: until a signal or the program's end
    double startDelaySec = 0;
    double programDelaySec = 0;
    unsigned intervalMs = 100;
    std::vector<std::string> program;
    std::map<CollectorPlugin*, std::vector<pwr::InputMsg*>> messages;
};

// Raw messages as collectors hand them over: whole messages one after the other.
using MessageSink = std::function<void(std::vector<char> const& bytes)>;

// Runs the collection described by `plan` and fills the times of `machine`. Every message batch goes
// to `sink` on the calling thread. 0, or 1 after a line on standard error when the worker thread or
// the program could not be started (what was collected until then has still been handed over).
int runCollection(CollectionPlan const& plan, pwr::SystemMetadata& machine, MessageSink const& sink);

}  // namespace vantrell
