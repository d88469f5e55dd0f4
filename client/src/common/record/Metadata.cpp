#include "vantrell/record/Metadata.h"

#include <iostream>
#include <memory>

#include "vantrell/plugin/Logging.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/SystemMetadata.h"

namespace pwr {
namespace {

// Depth of Metadata::deserialize calls on this thread. Only a damaged or hostile file nests records
// inside records inside records; without a bound such a file would exhaust the stack.
thread_local unsigned int nestingDepth = 0;

class NestingGuard {
  public:
    NestingGuard() { ++nestingDepth; }
    ~NestingGuard() { --nestingDepth; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;
};

std::unique_ptr<Metadata> makeEmptyRecord(uint32_t tag) {
    switch (tag) {
        case MSG_METADATA:
            return std::make_unique<MsgMetadata>(-1, -1, -1);
        case METRIC_METADATA:
            return std::make_unique<MetricMetadata>(-1, -1);
        case SYSTEM_METADATA:
            return std::make_unique<SystemMetadata>();
        case OPERATION_METADATA:
            return std::make_unique<OperationMetadata>();
        case COLLECTOR_METADATA:
            return std::make_unique<CollectorMetadata>("");
        default:
            return nullptr;
    }
}

}  // namespace

Metadata::~Metadata() = default;

int Metadata::getPluginID() const {
    return -1;
}

void Metadata::serialize(Serializer& out) const {
    out.write_uint32(type);
    serialize_i(out);
}

Metadata* Metadata::deserialize(Serializer& in, unsigned int version) {
    uint32_t tag = 0;
    if (in.read_uint32(tag) == 0) {
        return nullptr;
    }
    std::unique_ptr<Metadata> record = makeEmptyRecord(tag);
    if (!record) {
        std::cerr << "ERROR: unsupported Metadata Data Type " << tag << std::endl;
        return nullptr;
    }
    if (nestingDepth >= kMaxNesting) {
        VR_LOG(1, "ERROR: Metadata records nested deeper than %u -- giving up\n", kMaxNesting);
        return nullptr;
    }
    NestingGuard guard;
    if (record->deserialize_i(in, version) != 0) {
        return nullptr;
    }
    return record.release();
}

// ---- OperationMetadata ---------------------------------------------------------------------------------

OperationMetadata::OperationMetadata() : Metadata(OPERATION_METADATA) {}

OperationMetadata::OperationMetadata(const std::string& nameValue, const std::string& operationValue,
                                     unsigned int sizeValue)
    : Metadata(OPERATION_METADATA), name(nameValue), operation(operationValue), size(sizeValue) {}

void OperationMetadata::serialize_i(Serializer& out) const {
    out.write_string(name);
    out.write_string(operation);
    out.write_uint32(size);
    out.write_string(orgMsgTag);
}

int OperationMetadata::deserialize_i(Serializer& in, unsigned int) {
    uint32_t storedSize = 0;
    if (in.read_string(name) == 0 || in.read_string(operation) == 0 || in.read_uint32(storedSize) == 0) {
        return -1;
    }
    size = storedSize;
    // The tag was appended to the format later: files without it stay readable.
    if (in.read_string(orgMsgTag) == 0) {
        VR_LOG(2, "WARNING: couldn't extract org msg tag!\n");
        return 0;
    }
    VR_LOG_STREAM(3) << "OK, read org msg tag = " << orgMsgTag << std::endl;
    return 0;
}

std::ostream& operator<<(std::ostream& out, const OperationMetadata& record) {
    return out << "Operation Meta: Name = " << record.getName() << ", Operation = " << record.getOperation()
               << ", Size = " << record.getSize() << ", Org msg tag = " << record.getOrgMsgTag();
}

// ---- MsgMetadata -------------------------------------------------------------------------------------

MsgMetadata::MsgMetadata(int pluginIDValue, int metricIDValue, int msgIDValue)
    : Metadata(MSG_METADATA), pluginID(pluginIDValue), metricID(metricIDValue), msgID(msgIDValue) {}

MsgMetadata::MsgMetadata(MsgMetadata&& other) noexcept
    : Metadata(other),
      pluginID(other.pluginID),
      metricID(other.metricID),
      msgID(other.msgID),
      capName(std::move(other.capName)),
      capGroups(std::move(other.capGroups)),
      msgName(std::move(other.msgName)),
      metaValues(std::move(other.metaValues)),
      triggers(std::move(other.triggers)),
      tracepointNames(std::move(other.tracepointNames)) {
    // A moved-from deque is valid but unspecified: make sure the source deletes nothing it gave away.
    other.metaValues.clear();
}

MsgMetadata& MsgMetadata::operator=(MsgMetadata&& other) noexcept {
    if (this != &other) {
        clearMetaValues_i();
        pluginID = other.pluginID;
        metricID = other.metricID;
        msgID = other.msgID;
        capName = std::move(other.capName);
        capGroups = std::move(other.capGroups);
        msgName = std::move(other.msgName);
        metaValues = std::move(other.metaValues);
        other.metaValues.clear();
        triggers = std::move(other.triggers);
        tracepointNames = std::move(other.tracepointNames);
    }
    return *this;
}

MsgMetadata::~MsgMetadata() {
    clearMetaValues_i();
}

void MsgMetadata::clearMetaValues_i() {
    for (const OperationMetadata* value : metaValues) {
        delete value;
    }
    metaValues.clear();
}

void MsgMetadata::addMetaValue(const OperationMetadata* value) {
    if (value != nullptr) {
        metaValues.push_back(value);
    }
}

void MsgMetadata::serialize_i(Serializer& out) const {
    out.write_int32(pluginID);
    out.write_int32(metricID);
    out.write_int32(msgID);
    out.write_string(capName);
    out.write_strings(capGroups);
    out.write_string(msgName);
    out.write_count(metaValues.size());
    for (const OperationMetadata* value : metaValues) {
        value->serialize(out);
    }
    out.write_strings(triggers);
    out.write_strings(tracepointNames);
}

int MsgMetadata::readMetaValues_i(Serializer& in, unsigned int version) {
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        return -1;
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::unique_ptr<Metadata> record(Metadata::deserialize(in, version));
        if (!record) {
            return -1;
        }
        // Only operations belong here; anything else is read past and dropped.
        if (auto* operationRecord = dynamic_cast<OperationMetadata*>(record.get())) {
            // Owned by `record` until the list holds it, so that a failed push_back leaks nothing.
            metaValues.push_back(operationRecord);
            (void)record.release();
        }
    }
    return 0;
}

int MsgMetadata::deserialize_i(Serializer& in, unsigned int version) {
    int32_t ids[3] = {0, 0, 0};
    for (int32_t& id : ids) {
        if (in.read_int32(id) == 0) {
            return -1;
        }
    }
    pluginID = ids[0];
    metricID = ids[1];
    msgID = ids[2];
    if (in.read_string(capName) == 0 || !in.read_strings(capGroups) || in.read_string(msgName) == 0) {
        return -1;
    }
    if (readMetaValues_i(in, version) != 0) {
        return -1;
    }
    return in.read_strings(triggers) && in.read_strings(tracepointNames) ? 0 : -1;
}

std::ostream& operator<<(std::ostream& out, const MsgMetadata& record) {
    out << "Msg Metadata Plugin ID: " << record.getPluginID() << "\n";
    out << "Msg Metadata Metric ID: " << record.getMetricID() << "\n";
    out << "Msg Metadata MSG ID: " << record.getMsgID() << "\n";
    out << "Msg Metadata Switch name: " << record.getCapName() << "\n";
    out << "Msg Metadata group names: ";
    const char* separator = "";
    for (const std::string& group : record.getCapGroups()) {
        out << separator << group;
        separator = " ";
    }
    out << "\n";
    out << "Msg Metadata Msg name: " << record.getMsgName() << "\n";
    for (const OperationMetadata* value : record.getMetaValues()) {
        out << "\t" << *value << "\n";
    }
    out << "Msg Metadata triggers: ";
    for (const std::string& trigger : record.getTriggers()) {
        out << "\t" << trigger;
    }
    return out << "\n";
}

// ---- MetricMetadata ----------------------------------------------------------------------------------

MetricMetadata::MetricMetadata(int pluginIDValue, int metricIDValue)
    : Metadata(METRIC_METADATA), pluginID(pluginIDValue), metricID(metricIDValue) {}

void MetricMetadata::serialize_i(Serializer& out) const {
    out.write_int32(pluginID);
    out.write_int32(metricID);
    out.write_string_pairs(values);
}

int MetricMetadata::deserialize_i(Serializer& in, unsigned int) {
    if (in.read_int32(pluginID) == 0) {
        VR_LOG(2, "WARNING: ERROR reading plugin ID while deserializing metric metadata message!\n");
        return -1;
    }
    if (in.read_int32(metricID) == 0) {
        VR_LOG(2, "WARNING: ERROR reading metric ID while deserializing metric metadata message!\n");
        return -1;
    }
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        VR_LOG(2, "WARNING: ERROR reading map size while deserializing metric metadata message!\n");
        return -1;
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::string key;
        std::string value;
        if (in.read_string(key) == 0) {
            VR_LOG(2, "WARNING: ERROR reading key while deserializing metric metadata message!\n");
            return -1;
        }
        if (in.read_string(value) == 0) {
            VR_LOG(2, "WARNING: ERROR reading value while deserializing metric metadata message!\n");
            return -1;
        }
        values.emplace_back(std::move(key), std::move(value));
    }
    return 0;
}

std::ostream& operator<<(std::ostream& out, const MetricMetadata& record) {
    out << "Metric Metadata plugin ID: " << record.getPluginID() << "\n";
    out << "Metric Metadata metric ID: " << record.getMetricID() << "\n";
    size_t index = 0;
    for (const auto& pair : record.getValues()) {
        out << "\tMetric Metadata payload[" << index++ << "]: key = " << pair.first
            << ", value = " << pair.second << "\n";
    }
    return out;
}

// ---- CollectorMetadata -------------------------------------------------------------------------------

CollectorMetadata::CollectorMetadata(std::string nameValue)
    : Metadata(COLLECTOR_METADATA), name(std::move(nameValue)) {}

void CollectorMetadata::serialize_i(Serializer& out) const {
    out.write_string(name);
    out.write_string_pairs(values);
}

int CollectorMetadata::deserialize_i(Serializer& in, unsigned int) {
    if (in.read_string(name) == 0) {
        VR_LOG(2, "WARNING: ERROR reading name while deserializing collector metadata message!\n");
        return -1;
    }
    uint16_t count = 0;
    if (in.read_count(count) == 0) {
        VR_LOG(2, "WARNING: ERROR reading map size while deserializing collector metadata message!\n");
        return -1;
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::string key;
        std::string value;
        if (in.read_string(key) == 0) {
            VR_LOG(2, "WARNING: ERROR reading key while deserializing collector metadata message!\n");
            return -1;
        }
        if (in.read_string(value) == 0) {
            VR_LOG(2, "WARNING: ERROR reading value while deserializing collector metadata message!\n");
            return -1;
        }
        values.emplace_back(std::move(key), std::move(value));
    }
    return 0;
}

std::ostream& operator<<(std::ostream& out, const CollectorMetadata& record) {
    out << "Collector Meta: Name = " << record.getName() << "\n";
    size_t index = 0;
    for (const auto& pair : record.getValues()) {
        out << "\tCollector Metadata payload[" << index++ << "]: key = " << pair.first
            << ", value = " << pair.second << "\n";
    }
    return out;
}

}  // namespace pwr
