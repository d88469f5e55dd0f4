#pragma once

// The Linux collector: reads kernel sources (/proc and /sys) for the messages of the collection
// configuration whose operations are its own (SourceOperation), at the triggers BEGIN
// (startCollection), POLL (pollOnce) and END (stopCollection). Each read of a message becomes one raw
// message of the plug-ins' protocol, held until getContinuousResult hands it over.
//
// Paths are taken below $VR_LINUX_ROOT (default "/"). A source that has nothing to read at the start
// is left out with a WARNING line; a value that can't be read is skipped and reported once.
// One thread at a time: the host calls start, polls, stop and getContinuousResult on its worker thread.

#include <memory>
#include <vector>

#include "LinuxPluginProtocol.h"
#include "SourceOperation.h"
#include "Sources.h"

namespace vantrell::linuxcollector {

class LinuxCollector : public CollectorPlugin {
  public:
    LinuxCollector();
    ~LinuxCollector() override;

    int initializePlugin() override { return 0; }
    int terminatePlugin() override;
    // Opens the sources of `messages` (those of this collector; a message listed once per trigger is
    // read once) and reads those that want BEGIN. 0; -1 when it was given messages of its own and none
    // of them has a source left to read.
    int startCollection(const std::vector<pwr::InputMsg*>& messages,
                        const pwr::SystemMetadata& system) override;
    // Reads the messages that want END and closes the sources. 0.
    int stopCollection() override;
    // Reads the messages that want POLL. 0.
    int pollOnce() override;
    // True when every operation of `message` is this collector's (and it has one).
    bool canCollectMessage(const pwr::InputMsg* message) override;
    // Reads `message` now: one pair per entry, "<key>" for the machine's values, "cpu<N>/<key>" for a
    // CPU's, with the value in decimal (temperatures signed). 0; -1 when nothing could be read.
    int doImmediateRead(const pwr::InputMsg* message, Pairs& results) override;
    // Appends the messages read since the last call to `buffer.bytes` and forgets them; true when it
    // appended any. `data` gets the first and last timestamps, the number of messages and the clock.
    bool getContinuousResult(pwr::VRBuffer& buffer, CollectionData& data) override;

  private:
    // One configured message and the sources that answer it.
    struct Reading {
        id_config_t source;
        unsigned char triggers;
        std::vector<std::unique_ptr<Source>> sources;
    };

    // The sources of `message` that have something to read; logs those that don't.
    static std::vector<std::unique_ptr<Source>> openSources_i(const pwr::InputMsg& message);
    // Reads every message whose triggers hold `when` into `pending`.
    void readAll_i(uint8_t when);
    // Appends one message for `reading` stamped with the TSC of the read; false, with nothing
    // appended, when no value could be read.
    bool read_i(Reading& reading, uint8_t when, std::vector<char>& out, uint64_t& timestamp);

    std::vector<std::unique_ptr<SourceOperation>> prototypes;
    std::vector<std::unique_ptr<LinuxSourceRequirement>> requirements;
    std::unique_ptr<pwr::VRTSCClock> clock;  // the TSC: the stamp of every message
    std::vector<Reading> readings;
    std::vector<char> pending;
    uint64_t firstTimestamp = 0;
    uint64_t lastTimestamp = 0;
    uint64_t messagesProduced = 0;
};

}  // namespace vantrell::linuxcollector
