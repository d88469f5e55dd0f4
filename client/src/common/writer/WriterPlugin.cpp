#include "vantrell/writer/WriterPlugin.h"

#include <utility>

#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/EntityHandle.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TableMessage.h"

namespace {

const char kInvalidCell[] = "Invalid";

std::string nameOf(const pwr::DataHandle* handle) {
    return handle == nullptr ? std::string() : handle->getName();
}

}  // namespace

WriterPlugin::WriterPlugin(std::string uuid) : Plugin(std::move(uuid)) {}

WriterPlugin::~WriterPlugin() = default;

void WriterPlugin::addCapability(pwr::PluginCapability* capability) {
    Capabilities existing;
    getAllCapabilities(existing);
    if (existing.empty()) {
        Plugin::addCapability(capability);
        return;
    }
    // Refused: the capability stays the caller's.
    VR_LOG(2, "WARNING: Illegal attempt to register a second capabliity for a writer plugin...ignored\n");
}

bool WriterPlugin::flushContinuousResults(const pwr::SystemMetadata& /*system*/) {
    return false;
}

int WriterPlugin::writeMessage(const pwr::MetricContainerInfoMessage& /*message*/) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::Metric& /*metric*/) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::IdMessage& /*message*/) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::SystemMessage& /*message*/) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::TextMessage& /*message*/) {
    return 0;
}

int WriterPlugin::writeMessage(const pwr::TableMessage& /*message*/) {
    return 0;
}

void WriterPlugin::getColumnTitles(const pwr::TableMessage& table, std::deque<std::string>& titles) const {
    for (auto handle = table.sharedHandleBegin(); handle != table.sharedHandleEnd(); ++handle) {
        titles.push_back(nameOf(*handle));
    }
    if (table.getEntityCount() == 0) {
        for (auto handle = table.handleBegin(); handle != table.handleEnd(); ++handle) {
            titles.push_back(nameOf(*handle));
        }
        return;
    }
    for (auto entity = table.entityBegin(); entity != table.entityEnd(); ++entity) {
        for (auto handle = table.handleBegin(); handle != table.handleEnd(); ++handle) {
            titles.push_back(getFieldNameFromHandle(table, *entity, *handle));
        }
    }
}

void WriterPlugin::getRowValues(const pwr::TableMessage& table, std::deque<std::string>& values) const {
    // Shared cells are read at row 0; a null handle reads "Invalid" there as well.
    for (auto handle = table.sharedHandleBegin(); handle != table.sharedHandleEnd(); ++handle) {
        values.push_back(getFieldValueFromHandle(table, nullptr, *handle));
    }
    if (table.getEntityCount() == 0) {
        for (auto handle = table.handleBegin(); handle != table.handleEnd(); ++handle) {
            values.push_back(getFieldValueFromHandle(table, nullptr, *handle));
        }
        return;
    }
    for (auto entity = table.entityBegin(); entity != table.entityEnd(); ++entity) {
        for (auto handle = table.handleBegin(); handle != table.handleEnd(); ++handle) {
            values.push_back(getFieldValueFromHandle(table, *entity, *handle));
        }
    }
}

std::string WriterPlugin::getFieldNameFromHandle(const pwr::TableMessage& table,
                                                 const pwr::EntityHandle* entity,
                                                 const pwr::DataHandle* handle) const {
    // With one value per entity the column is the entity itself.
    std::string name =
        (table.getHandleCount() == 1 && entity != nullptr) ? entity->getName() : nameOf(handle);
    if (entity == nullptr) {
        return name;
    }
    // Some callers pass an attribute in the entity's place; its units then belong to the title.
    const pwr::DataHandle* asHandle = entity;
    if (asHandle->getHandleType() == pwr::DataHandleType::ATTRIBUTE) {
        const pwr::Quantity* quantity = static_cast<const pwr::Attribute*>(asHandle)->getQuantity();
        if (quantity != nullptr) {
            name += quantity->toUnitsString();
        }
    }
    return name;
}

std::string WriterPlugin::getFieldValueFromHandle(const pwr::TableMessage& table,
                                                  const pwr::EntityHandle* entity,
                                                  const pwr::DataHandle* handle) const {
    std::string text = kInvalidCell;
    if (entity != nullptr) {
        bool valid = false;
        if (table.getFieldAsString(entity, handle, text, valid) == 0) {
            if (!valid) {
                text.clear();
            }
            return text;
        }
    }
    if (handle == nullptr) {
        return text;
    }
    // No entity, or the entity read failed: the field at row 0 answers (shared fields, tables
    // without entities). A failed entity lookup has already emptied the text.
    const pwr::Data* value = nullptr;
    bool valid = false;
    if (table.getFieldValue(handle, value, valid) != 0) {
        return text;
    }
    if (valid && value != nullptr) {
        value->toFormattedString(text);
    } else {
        text.clear();
    }
    return text;
}
