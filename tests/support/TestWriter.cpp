#include "support/TestWriter.h"

#include <deque>
#include <iterator>
#include <utility>

#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/value/DataHandleProvider.h"
#include "vantrell/writer/TableMessage.h"

namespace vrtest {

namespace {

std::string join(const std::deque<std::string>& cells, const std::string& separator) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
        line += (i != 0 ? separator : "") + cells[i];
    }
    return line;
}

}  // namespace

TestWriter::TestWriter(std::string uuid, std::string cellSeparator)
    : WriterPlugin(std::move(uuid)), separator(std::move(cellSeparator)) {}

void TestWriter::clear() {
    callNames.clear();
    printedTables.clear();
    ids.clear();
    idSizes.clear();
    receivedTexts.clear();
    receivedMetrics.clear();
    receivedSystems.clear();
    headers.clear();
}

void TestWriter::note_i(const char* operation) {
    callNames.emplace_back(operation);
    if (callLog != nullptr) {
        callLog->push_back(getUUID() + ":" + operation);
    }
}

int TestWriter::openOutput() {
    note_i("openOutput");
    return 0;
}

int TestWriter::closeOutput() {
    note_i("closeOutput");
    return 0;
}

int TestWriter::writeMessage(const pwr::MetricContainerInfoMessage& message) {
    note_i("containerInfo");
    headers.push_back(message.getContainerHeader());
    return 0;
}

int TestWriter::writeMessage(const pwr::Metric& metric) {
    note_i("metric");
    receivedMetrics.push_back(&metric);
    return metricResult;
}

int TestWriter::writeMessage(const pwr::IdMessage& message) {
    note_i("id");
    idSizes.push_back(message.size());
    ids.insert(ids.end(), message.begin(), message.end());
    return 0;
}

int TestWriter::writeMessage(const pwr::SystemMessage& message) {
    note_i("system");
    receivedSystems.push_back(&message.getSystemMetadata());
    return 0;
}

int TestWriter::writeMessage(const pwr::TextMessage& message) {
    note_i("text");
    receivedTexts.push_back({message.getMessageType(), message.getMessage()});
    return 0;
}

int TestWriter::writeMessage(const pwr::TableMessage& message) {
    note_i("table");
    std::deque<std::string> titles;
    std::deque<std::string> cells;
    getColumnTitles(message, titles);
    getRowValues(message, cells);
    printedTables.push_back({message.getTitle(), join(titles, separator), join(cells, separator),
                             static_cast<size_t>(std::distance(message.validBegin(), message.validEnd()))});
    return 0;
}

ScopedWriterStream::ScopedWriterStream(std::set<WriterPlugin*> writers, Registry registry)
    : plugins(std::move(writers)),
      writerStream(WriterStream::create(plugins)),
      environment(g_pluginEnvironment),
      previousStream(environment->getWriterStream()),
      connected(registry == Registry::kConnect) {
    environment->setWriterStream(writerStream);
    if (connected) {
        pwr::DataHandleProvider::addStream(writerStream);
    }
}

ScopedWriterStream::~ScopedWriterStream() {
    if (connected) {
        // Never destroyed: the registry may announce to it until the process ends.
        static const std::set<WriterPlugin*> noWriters;
        static WriterStream* const quiet = WriterStream::create(noWriters);
        pwr::DataHandleProvider::addStream(quiet);
    }
    environment->setWriterStream(previousStream);
    WriterStream::destroy(writerStream);
}

}  // namespace vrtest
