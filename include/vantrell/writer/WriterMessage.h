#pragma once

// pwr::WriterMessage and its small kinds: everything that reaches a writer plug-in, apart from a Metric.
// A message says what it is (getMessageType), carries a process-wide number, may name parent messages
// and the metric container it belongs to, and carries one kind of payload:
//
// - IdMessage: tells writers of new or changed objects of the UniqueId registry.
// - TextMessage: free text, sent to the stream each time it is set; HeaderTextMessage differs only in
//   its type, so a writer tells the two apart by getMessageType().
// - SystemMessage: a reference to the SystemMetadata of the run.
// - MetricContainerInfoMessage: what a writer needs to present a metric container.
// TableMessage (TableMessage.h) is the largest kind.
//
// Message ids come from one plain process-wide counter that starts at 1 and rises with every
// construction (copies keep the id of their source: a copy is the same message). Messages are made on
// one thread at a time; no locks. Pointers held by messages are never owned.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "vantrell/Export.h"

class WriterStream;

namespace pwr {

class SystemMetadata;
class TableMessage;
class TextNotes;
class UniqueId;

enum class MessageType : uint8_t {
    TABLE = 0,
    ID = 1,
    TEXT = 2,
    SYSTEM = 3,
    METRIC_CONTAINER_INFO = 4,
    HEADER_TEXT = 5,
};

// Which timeline table a writer should show for a metric container. The library only stores and
// passes the number; writers give the other values their meaning.
enum class TimelineTableType : uint8_t {
    NONE = 0,
};

class VR_EXPORT WriterMessage {
  public:
    // Copies id, parents and container id: the copy is the same message. No new id is taken.
    WriterMessage(const WriterMessage& other) = default;
    WriterMessage& operator=(const WriterMessage& other) = default;
    virtual ~WriterMessage();

    virtual MessageType getMessageType() const = 0;

    unsigned getMessageId() const { return messageId; }

    // Records `id` as a parent message; returns 0. Adding it again changes nothing.
    int addParentMessage(unsigned id);
    // True when `id` was added as a parent.
    bool isChildOf(unsigned id) const;

    // 0 unless set.
    unsigned getMetricContainerId() const { return metricContainerId; }
    // Returns 0.
    int setMetricContainerId(unsigned id);

  protected:
    // Takes the next number of the process-wide message counter.
    WriterMessage();

  private:
    uint32_t messageId;
    std::set<uint32_t> parents;
    uint32_t metricContainerId = 0;
};

class VR_EXPORT IdMessage : public WriterMessage {
  public:
    using List = std::vector<const UniqueId*>;

    IdMessage();
    MessageType getMessageType() const override;

    // Appends `id` (not owned, null included); returns 0.
    int addUniqueId(const UniqueId* id);

    // The ids in order of adding.
    List::const_iterator begin() const { return ids.begin(); }
    List::const_iterator end() const { return ids.end(); }
    size_t size() const { return ids.size(); }

  private:
    List ids;
};

class VR_EXPORT SystemMessage : public WriterMessage {
  public:
    // Keeps a reference to `metadata`, not a copy: it must outlive the message.
    explicit SystemMessage(SystemMetadata& metadata);
    MessageType getMessageType() const override;

    const SystemMetadata& getSystemMetadata() const { return metadata; }

  private:
    SystemMetadata& metadata;
};

class VR_EXPORT TextMessage : public WriterMessage {
  public:
    // Binds the message to the WriterStream published in g_pluginEnvironment at this moment. Without
    // one, throws the C string "ERROR: Writer stream is not initialized" (a plain char*, catchable as
    // const char*); nothing is logged.
    TextMessage();
    MessageType getMessageType() const override;

    // Stores `text` and pushes this message to its stream at once; returns what the push returns
    // (0, or -1 from a stream without plug-ins). May be called again to send another text.
    int setMessage(const std::string& text);
    // The text last set; empty before.
    const std::string& getMessage() const { return text; }

  private:
    std::string text;
    WriterStream* stream;
};

// A TextMessage that writers show as a header; only its type differs.
class VR_EXPORT HeaderTextMessage : public TextMessage {
  public:
    // Throws as TextMessage does.
    HeaderTextMessage();
    MessageType getMessageType() const override;
};

class VR_EXPORT MetricContainerInfoMessage : public WriterMessage {
  public:
    MetricContainerInfoMessage();
    MessageType getMessageType() const override;

    // Each setter returns 0. Pointers are not owned and must outlive the message.

    int setTextInfo(const TextNotes* notes);
    // Null unless set.
    const TextNotes* getTextInfo() const { return textInfo; }

    // Stores a banner made of `title`: as many "=" as the title has bytes, a line end, the title, a
    // line end, again as many "=". An empty title gives two line ends.
    int setContainerHeader(const std::string& title);
    const std::string& getContainerHeader() const { return containerHeader; }

    // One slot: a second call replaces the first.
    int addStaticTableRowInfo(const TableMessage* table);
    // Null unless set.
    const TableMessage* getStaticTableRowInfo() const { return staticTableRowInfo; }

    int setTimelineTableToDisplay(TimelineTableType type);
    // NONE unless set.
    TimelineTableType getTimelineTableToDisplay() const { return timelineTable; }

    int setMetricContainerTag(const std::string& tag);
    const std::string& getMetricContainerTag() const { return metricContainerTag; }

  private:
    const TextNotes* textInfo = nullptr;
    std::string containerHeader;
    const TableMessage* staticTableRowInfo = nullptr;
    TimelineTableType timelineTable = TimelineTableType::NONE;
    std::string metricContainerTag;
};

}  // namespace pwr
