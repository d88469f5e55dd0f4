#pragma once

// A writer plug-in for tests: records what the stream hands it and prints every table the way a
// simple text writer would, one line of column titles and one line of cell texts, built with
// getColumnTitles and getRowValues. Notes every call by name ("table", "id", "text", "system",
// "containerInfo", "metric", "openOutput", "closeOutput") and returns a settable result for metrics,
// so that suites can make a writer fail.
//
// The recorded pointers (metrics, ids, system records) are borrowed from the caller of the push and
// are only compared, never read after the push. One thread at a time.

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "vantrell/writer/WriterMessage.h"
#include "vantrell/writer/WriterPlugin.h"
#include "vantrell/writer/WriterStream.h"

class PluginEnvironment;

namespace pwr {
class UniqueId;
}  // namespace pwr

namespace vrtest {

class TestWriter : public WriterPlugin {
  public:
    // One table as it was printed at the moment of its push.
    struct PrintedTable {
        std::string title;
        std::string titleLine;  // the column titles joined with the separator
        std::string cellLine;   // the cell texts joined with the separator
        size_t validPairs = 0;  // entries between validBegin() and validEnd()
    };

    // One text or header text message.
    struct ReceivedText {
        pwr::MessageType type;
        std::string text;
        bool operator==(const ReceivedText& other) const { return type == other.type && text == other.text; }
    };

    explicit TestWriter(std::string uuid = "TestWriter", std::string separator = ",");

    // Every call, by operation name, in order, and how often `operation` was called.
    const std::vector<std::string>& calls() const { return callNames; }
    int count(const std::string& operation) const {
        return static_cast<int>(std::count(callNames.begin(), callNames.end(), operation));
    }

    // Every table, in order of arrival.
    const std::vector<PrintedTable>& tables() const { return printedTables; }
    // Every id of every IdMessage, in order of arrival, and the size of each IdMessage.
    const std::vector<const pwr::UniqueId*>& announcedIds() const { return ids; }
    const std::vector<size_t>& idMessageSizes() const { return idSizes; }
    const std::vector<ReceivedText>& texts() const { return receivedTexts; }
    const std::vector<const pwr::Metric*>& metrics() const { return receivedMetrics; }
    const std::vector<const pwr::SystemMetadata*>& systems() const { return receivedSystems; }
    // The container headers of the MetricContainerInfoMessages.
    const std::vector<std::string>& containerHeaders() const { return headers; }

    // The result of writeMessage(const Metric&); 0 until set.
    void setMetricResult(int result) { metricResult = result; }
    // When set, every call also appends "<uuid>:<operation>" to `log`, so that suites can see the
    // order in which several writers were reached. The log must outlive the writer's use.
    void setCallLog(std::vector<std::string>* log) { callLog = log; }

    // Forgets everything recorded; the settings stay.
    void clear();

    int openOutput() override;
    int closeOutput() override;

    // The shared logic of the base, opened for direct checks.
    using WriterPlugin::addCapability;
    using WriterPlugin::getColumnTitles;
    using WriterPlugin::getFieldNameFromHandle;
    using WriterPlugin::getFieldValueFromHandle;
    using WriterPlugin::getRowValues;

  private:
    int writeMessage(const pwr::MetricContainerInfoMessage& message) override;
    int writeMessage(const pwr::Metric& metric) override;
    int writeMessage(const pwr::IdMessage& message) override;
    int writeMessage(const pwr::SystemMessage& message) override;
    int writeMessage(const pwr::TextMessage& message) override;
    int writeMessage(const pwr::TableMessage& message) override;

    void note_i(const char* operation);

    std::string separator;
    std::vector<std::string> callNames;
    std::vector<PrintedTable> printedTables;
    std::vector<const pwr::UniqueId*> ids;
    std::vector<size_t> idSizes;
    std::vector<ReceivedText> receivedTexts;
    std::vector<const pwr::Metric*> receivedMetrics;
    std::vector<const pwr::SystemMetadata*> receivedSystems;
    std::vector<std::string> headers;
    int metricResult = 0;
    std::vector<std::string>* callLog = nullptr;
};

// A WriterStream over `writers`, published in g_pluginEnvironment for the scope (as a host does), and
// optionally connected to the UniqueId registry with DataHandleProvider::addStream. At the end the
// environment gets its previous stream back, a connected registry is handed a quiet stream (one with
// no writers, alive until the process ends) so that no later object is announced to a dead one, and
// the stream is destroyed, which calls closeOutput() on each writer.
// Declare it after any ScopedLogCapture it should publish into, so that it ends first.
class ScopedWriterStream {
  public:
    enum class Registry { kLeaveAlone, kConnect };

    explicit ScopedWriterStream(std::set<WriterPlugin*> writers, Registry registry = Registry::kLeaveAlone);
    ~ScopedWriterStream();
    ScopedWriterStream(const ScopedWriterStream&) = delete;
    ScopedWriterStream& operator=(const ScopedWriterStream&) = delete;

    WriterStream& stream() { return *writerStream; }
    const std::set<WriterPlugin*>& writers() const { return plugins; }

  private:
    std::set<WriterPlugin*> plugins;
    WriterStream* writerStream;
    PluginEnvironment* environment;
    void* previousStream;
    bool connected;
};

}  // namespace vrtest
