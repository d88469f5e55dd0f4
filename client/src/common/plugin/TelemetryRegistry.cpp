// The registry of telemetry endpoints: endpoints by GUID and by id, platform names, description
// parsers.

#include <limits>

#include "vantrell/plugin/PluginEnvironment.h"

void PluginEnvironment::addLoadedPMT(const _vr_aggregator_info& info) {
    // Packed fields are read by value: they can't be bound to the maps' key references.
    const uint32_t guid = info.guid;
    const uint16_t endpointId = info.endpointId;
    loadedPMTs[guid].push_back(info);
    loadedPMTGUIDs.insert(guid);
    pmtGuidById[endpointId] = guid;
    pmtById[endpointId] = info;
}

std::vector<_vr_aggregator_info> PluginEnvironment::getLoadedPMTEndpoints(uint32_t guid) const {
    auto found = loadedPMTs.find(guid);
    return found == loadedPMTs.end() ? std::vector<_vr_aggregator_info>() : found->second;
}

std::vector<_vr_aggregator_info> PluginEnvironment::getLoadedPMTEndpoints(
    const std::string& platformName) const {
    return getLoadedPMTEndpoints(getPMTPlatformGUID(platformName));
}

_vr_aggregator_info PluginEnvironment::getLoadedPMTEndpoint(uint16_t endpointId) const {
    auto found = pmtById.find(endpointId);
    return found == pmtById.end() ? _vr_aggregator_info() : found->second;
}

uint16_t PluginEnvironment::getLoadedPMTNumberEndpoints(uint32_t guid) const {
    auto found = loadedPMTs.find(guid);
    if (found == loadedPMTs.end()) {
        return 0;
    }
    constexpr size_t kMost = std::numeric_limits<uint16_t>::max();
    return static_cast<uint16_t>(found->second.size() < kMost ? found->second.size() : kMost);
}

uint16_t PluginEnvironment::getLoadedPMTNumberEndpoints(const std::string& platformName) const {
    return getLoadedPMTNumberEndpoints(getPMTPlatformGUID(platformName));
}

uint16_t PluginEnvironment::getLoadedPMTCollectionType(uint32_t guid) const {
    auto found = loadedPMTs.find(guid);
    if (found == loadedPMTs.end() || found->second.empty()) {
        return 0;
    }
    return found->second.front().collectionType;
}

void PluginEnvironment::addPMTPlatformGUID(const std::string& platformName, uint32_t guid) {
    pmtGuidByName[platformName] = guid;
    pmtNameByGuid[guid] = platformName;
}

uint32_t PluginEnvironment::getPMTPlatformGUID(const std::string& platformName) const {
    auto found = pmtGuidByName.find(platformName);
    return found == pmtGuidByName.end() ? 0 : found->second;
}

uint32_t PluginEnvironment::getPMTPlatformGUID(uint16_t endpointId) const {
    auto found = pmtGuidById.find(endpointId);
    return found == pmtGuidById.end() ? 0 : found->second;
}

uint32_t PluginEnvironment::getPMTPlatformGUID(const _vr_aggregator_info* info) const {
    return info == nullptr ? 0 : info->guid;
}

std::string PluginEnvironment::getPMTPlatformName(uint32_t guid) {
    return pmtNameByGuid[guid];
}

void PluginEnvironment::setPMTXMLParser(uint32_t guid, pwr::XMLParser* parser) {
    if (parser != nullptr) {
        pmtXmlParsers[guid] = parser;
    }
}

pwr::XMLParser* PluginEnvironment::getPMTXMLParser(uint32_t guid) const {
    auto found = pmtXmlParsers.find(guid);
    return found == pmtXmlParsers.end() ? nullptr : found->second;
}
