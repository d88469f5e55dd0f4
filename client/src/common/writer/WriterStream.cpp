#include "vantrell/writer/WriterStream.h"

#include <typeinfo>

#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/writer/TableMessage.h"
#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterPlugin.h"

WriterStream* WriterStream::create(const std::set<WriterPlugin*>& plugins) {
    return new WriterStream(&plugins);
}

WriterStream* WriterStream::create() {
    return new WriterStream(nullptr);
}

void WriterStream::destroy(WriterStream* stream) {
    delete stream;
}

WriterStream::WriterStream(const std::set<WriterPlugin*>* pluginSet) : plugins(pluginSet) {}

WriterStream::~WriterStream() {
    if (plugins == nullptr) {
        return;
    }
    // The end of the stream is the end of the run's output: every writer closes, in the set's order.
    for (WriterPlugin* plugin : *plugins) {
        if (plugin != nullptr) {
            plugin->closeOutput();
        }
    }
}

int WriterStream::pushMessage(pwr::WriterMessage& message) {
    if (plugins == nullptr) {
        VR_LOG(2, "WARNING: No plugins setup for stream\n");
        return -1;
    }
    for (WriterPlugin* plugin : *plugins) {
        if (plugin != nullptr) {
            dispatch_i(*plugin, message);
        }
    }
    if (message.getMessageType() != pwr::MessageType::TABLE) {
        return 0;
    }
    // Every writer has seen the table: clear it for its owner's next round.
    auto* table = dynamic_cast<pwr::TableMessage*>(&message);
    if (table == nullptr) {
        return 1;
    }
    table->resetData();
    return 0;
}

int WriterStream::dispatch_i(WriterPlugin& plugin, pwr::WriterMessage& message) const {
    // Checked casts: a message whose type lies about its class throws std::bad_cast.
    switch (message.getMessageType()) {
        case pwr::MessageType::TABLE:
            return plugin.writeMessage(dynamic_cast<const pwr::TableMessage&>(message));
        case pwr::MessageType::ID:
            return plugin.writeMessage(dynamic_cast<const pwr::IdMessage&>(message));
        case pwr::MessageType::TEXT:
        case pwr::MessageType::HEADER_TEXT:
            return plugin.writeMessage(dynamic_cast<const pwr::TextMessage&>(message));
        case pwr::MessageType::SYSTEM:
            return plugin.writeMessage(dynamic_cast<const pwr::SystemMessage&>(message));
        case pwr::MessageType::METRIC_CONTAINER_INFO:
            return plugin.writeMessage(dynamic_cast<const pwr::MetricContainerInfoMessage&>(message));
    }
    // A type no writer knows goes nowhere.
    return 0;
}

int WriterStream::pushMessage(const pwr::Metric* metric) {
    if (metric == nullptr) {
        VR_LOG(2, "WARNING: Error pushing null Metric object to Writer stream.\n");
        return 1;
    }
    if (plugins == nullptr) {
        VR_LOG(2, "WARNING: No plugins setup for writer stream.\n");
        return 1;
    }
    int result = 0;
    for (WriterPlugin* plugin : *plugins) {
        if (plugin == nullptr) {
            continue;
        }
        // One writer failing must not keep the metric from the others.
        if (plugin->writeMessage(*metric) != 0) {
            VR_LOG(2, "WARNING: Unable to push Metric object to writer plugin\n");
            result = 1;
        }
    }
    return result;
}

int WriterStream::pushTextMessage(const std::string& text) {
    // The message binds itself to the published stream, which may not be this one.
    pwr::TextMessage message;
    return message.setMessage(text);
}

bool WriterStream::isSupportedTableClass(pwr::TableClass tableClass) const {
    return supportedTables.count(tableClass) != 0;
}

void WriterStream::setSupportedTables(const std::set<pwr::TableClass>& tables) {
    supportedTables = tables;
}
