// The timeline of system states and the reset books kept on it.

#include <iterator>

#include "vantrell/plugin/PluginEnvironment.h"

namespace {

constexpr uint32_t kRunningState = 1;

// States in which a message source is expected to restart even with no event in between.
bool restartsSources(uint32_t state) {
    return state == 4 || state == 5;
}

}  // namespace

void PluginEnvironment::addSystemStateEvent(uint64_t ts, uint32_t state) {
    systemStateEvents[ts] = state;
}

void PluginEnvironment::removeLastSystemStateEvent() {
    if (!systemStateEvents.empty()) {
        systemStateEvents.erase(std::prev(systemStateEvents.end()));
    }
}

// An event at exactly `ts` does not count yet: the state is that of the last event before `ts`.
uint32_t PluginEnvironment::getCurrentSystemState(uint64_t ts) const {
    auto next = systemStateEvents.lower_bound(ts);
    if (next == systemStateEvents.begin()) {
        return kRunningState;
    }
    return std::prev(next)->second;
}

bool PluginEnvironment::checkPendingSystemStateEvent(uint64_t first, uint64_t last) const {
    auto event = systemStateEvents.lower_bound(first);
    return event != systemStateEvents.end() && event->first <= last;
}

bool PluginEnvironment::checkAndRecordReset(id_config_t id, uint64_t ts) {
    bool isReset = false;
    auto known = lastMsgTimestamps.find(id);
    if (known != lastMsgTimestamps.end()) {
        uint32_t state = getCurrentSystemState(ts);
        if (checkPendingSystemStateEvent(known->second, ts) || restartsSources(state)) {
            resetEvents[{id, ts}] = state;
            isReset = true;
        }
    }
    lastMsgTimestamps[id] = ts;
    return isReset;
}

uint64_t PluginEnvironment::isSystemReset(uint8_t a, uint8_t b, uint8_t c, uint64_t ts) const {
    auto found = resetEvents.find({id_config_t{a, b, c}, ts});
    return found == resetEvents.end() ? 0 : found->second;
}

std::pair<uint64_t, uint64_t> PluginEnvironment::getLastResetEvent(uint64_t ts) const {
    if (systemStateEvents.empty()) {
        return {0, 0};
    }
    // The search deliberately begins at the first event after `ts`, or at the last event.
    auto event = systemStateEvents.upper_bound(ts);
    if (event == systemStateEvents.end()) {
        event = std::prev(event);
    }
    while (event != systemStateEvents.begin() && event->second != kRunningState) {
        --event;
    }
    if (event == systemStateEvents.begin()) {
        return {0, 0};
    }
    return {std::prev(event)->first, event->first};
}
