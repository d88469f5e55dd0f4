#include "vantrell/writer/WriterMessage.h"

#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/writer/WriterStream.h"

namespace pwr {

namespace {

// One plain process-wide counter: messages are made on one thread at a time.
uint32_t nextMessageId = 1;

// Thrown as a plain char*, which a handler for const char* catches as well.
char streamMissingText[] = "ERROR: Writer stream is not initialized";

WriterStream* publishedStream() {
    void* stream = g_pluginEnvironment != nullptr ? g_pluginEnvironment->getWriterStream() : nullptr;
    if (stream == nullptr) {
        throw static_cast<char*>(streamMissingText);
    }
    return static_cast<WriterStream*>(stream);
}

}  // namespace

// ---- WriterMessage ------------------------------------------------------------------------------

WriterMessage::WriterMessage() : messageId(nextMessageId++) {}

WriterMessage::~WriterMessage() = default;

int WriterMessage::addParentMessage(unsigned id) {
    parents.insert(id);
    return 0;
}

bool WriterMessage::isChildOf(unsigned id) const {
    return parents.count(id) != 0;
}

int WriterMessage::setMetricContainerId(unsigned id) {
    metricContainerId = id;
    return 0;
}

// ---- IdMessage ----------------------------------------------------------------------------------

IdMessage::IdMessage() = default;

MessageType IdMessage::getMessageType() const {
    return MessageType::ID;
}

int IdMessage::addUniqueId(const UniqueId* id) {
    ids.push_back(id);
    return 0;
}

// ---- SystemMessage ------------------------------------------------------------------------------

SystemMessage::SystemMessage(SystemMetadata& metadata) : metadata(metadata) {}

MessageType SystemMessage::getMessageType() const {
    return MessageType::SYSTEM;
}

// ---- TextMessage --------------------------------------------------------------------------------

TextMessage::TextMessage() : stream(publishedStream()) {}

MessageType TextMessage::getMessageType() const {
    return MessageType::TEXT;
}

int TextMessage::setMessage(const std::string& newText) {
    text = newText;
    return stream->pushMessage(*this);
}

HeaderTextMessage::HeaderTextMessage() = default;

MessageType HeaderTextMessage::getMessageType() const {
    return MessageType::HEADER_TEXT;
}

// ---- MetricContainerInfoMessage -----------------------------------------------------------------

MetricContainerInfoMessage::MetricContainerInfoMessage() = default;

MessageType MetricContainerInfoMessage::getMessageType() const {
    return MessageType::METRIC_CONTAINER_INFO;
}

int MetricContainerInfoMessage::setTextInfo(const TextNotes* notes) {
    textInfo = notes;
    return 0;
}

int MetricContainerInfoMessage::setContainerHeader(const std::string& title) {
    const std::string rule(title.size(), '=');
    containerHeader.clear();
    containerHeader.reserve(2 * rule.size() + title.size() + 2);
    containerHeader.append(rule).append("\n").append(title).append("\n").append(rule);
    return 0;
}

int MetricContainerInfoMessage::addStaticTableRowInfo(const TableMessage* table) {
    staticTableRowInfo = table;
    return 0;
}

int MetricContainerInfoMessage::setTimelineTableToDisplay(TimelineTableType type) {
    timelineTable = type;
    return 0;
}

int MetricContainerInfoMessage::setMetricContainerTag(const std::string& tag) {
    metricContainerTag = tag;
    return 0;
}

}  // namespace pwr
