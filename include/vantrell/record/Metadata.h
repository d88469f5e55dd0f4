#pragma once

// The records a collection leaves behind with its result file: one per configured message
// (MsgMetadata) with one per operation (OperationMetadata), free-form records of metric plug-ins
// (MetricMetadata) and collectors (CollectorMetadata), and the machine record (SystemMetadata, in
// "vantrell/record/SystemMetadata.h").
//
// Every record is stored as an unsigned 32-bit type tag followed by the body of its class, so that
// Metadata::deserialize rebuilds one without knowing its type in advance. A record read from a file is
// outside input: every reader checks each field and fails with a status, never by reading past the end.
//
// Ownership: records belong to whoever made them; Metadata::deserialize hands a new one to the caller.
// A MsgMetadata owns the OperationMetadata records added to it and is therefore not copyable (movable).
// The other records are plain copyable values. One thread at a time.

#include <cstdint>
#include <deque>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/record/PWSet.h"

namespace pwr {

class Serializer;

// The type tag of a stored record. The numbers are stored in files and never change.
enum __metadata_data_type : uint32_t {
    MSG_METADATA = 0,
    METRIC_METADATA = 1,
    SYSTEM_METADATA = 2,
    OPERATION_METADATA = 3,
    COLLECTOR_METADATA = 4,
};

// The abstract record: its type tag, the envelope, and the factory that reads any record back.
class VR_EXPORT Metadata {
  public:
    virtual ~Metadata();
    // The plug-in that made the record; -1 for records that belong to none.
    virtual int getPluginID() const;

    __metadata_data_type getType() const { return type; }

    // Writes the type tag, then the body of the record's class.
    void serialize(Serializer& out) const;

    // Reads one record, envelope first, from the read offset of `in`; `version` is handed on to the
    // record's reader (and to nested records) and looked at by none of this library's records.
    // Returns a new record that the caller owns (delete), or null when:
    //   fewer than 4 bytes remain (nothing logged);
    //   the tag is unknown: "ERROR: unsupported Metadata Data Type <n>" goes to the standard error stream;
    //   the body can't be read: the record's own reader says why, where it says anything;
    //   records are nested more than kMaxNesting deep (only a damaged file does that): logs
    //   "ERROR: Metadata records nested deeper than %u -- giving up\n".
    // The read offset is left wherever reading stopped.
    static Metadata* deserialize(Serializer& in, unsigned int version);

    // How deep records may nest inside one another (a message's operations are one level).
    static constexpr unsigned int kMaxNesting = 32;

  protected:
    explicit Metadata(__metadata_data_type recordType) : type(recordType) {}
    Metadata(const Metadata&) = default;
    Metadata& operator=(const Metadata&) = default;

    // The body, without the tag.
    virtual void serialize_i(Serializer& out) const = 0;
    // Reads the body; 0 on success, -1 on failure (the object may then be partly filled).
    virtual int deserialize_i(Serializer& in, unsigned int version) = 0;

  private:
    __metadata_data_type type;
};

// One operation of a configured message, type 3. Derived kinds (CONSTANTOperationMetadata) keep the
// stored form. Copyable.
class VR_EXPORT OperationMetadata : public Metadata {
  public:
    OperationMetadata();
    OperationMetadata(const std::string& name, const std::string& operation, unsigned int size);

    const std::string& getName() const { return name; }
    const std::string& getOperation() const { return operation; }
    unsigned int getSize() const { return size; }
    const std::string& getOrgMsgTag() const { return orgMsgTag; }
    void setOrgMsgTag(const std::string& tag) { orgMsgTag = tag; }

  protected:
    // Body: name, operation (strings), size (32-bit), orgMsgTag (string).
    void serialize_i(Serializer& out) const override;
    // name, operation and size are required (-1 without a message when missing or empty). The tag
    // came later: when it can't be read (absent, or stored empty) logs
    // "WARNING: couldn't extract org msg tag!\n" and still succeeds; when read, logs
    // "OK, read org msg tag = <tag>" at level 3.
    int deserialize_i(Serializer& in, unsigned int version) override;

  private:
    std::string name;
    std::string operation;
    unsigned int size = 0;
    std::string orgMsgTag;
};

// One configured message, type 0, made from an InputMsg. Owns its operations: not copyable, movable.
class VR_EXPORT MsgMetadata : public Metadata {
  public:
    MsgMetadata(int pluginID, int metricID, int msgID);
    MsgMetadata(MsgMetadata&& other) noexcept;
    MsgMetadata& operator=(MsgMetadata&& other) noexcept;
    MsgMetadata(const MsgMetadata&) = delete;
    MsgMetadata& operator=(const MsgMetadata&) = delete;
    // Deletes the operations.
    ~MsgMetadata() override;

    int getPluginID() const override { return pluginID; }
    int getMetricID() const { return metricID; }
    int getMsgID() const { return msgID; }
    void setPluginID(int value) { pluginID = value; }
    void setMetricID(int value) { metricID = value; }
    void setMsgID(int value) { msgID = value; }

    const std::string& getCapName() const { return capName; }
    void setCapName(const std::string& value) { capName = value; }
    const PWSet<std::string>& getCapGroups() const { return capGroups; }
    void setCapGroups(const PWSet<std::string>& value) { capGroups = value; }
    const std::string& getMsgName() const { return msgName; }
    void setMsgName(const std::string& value) { msgName = value; }
    const PWSet<std::string>& getTriggers() const { return triggers; }
    void setTriggers(const PWSet<std::string>& value) { triggers = value; }
    const PWSet<std::string>& getTracepointNames() const { return tracepointNames; }
    void setTracepointNames(const PWSet<std::string>& value) { tracepointNames = value; }

    // Takes ownership of `value` (a null one is ignored).
    void addMetaValue(const OperationMetadata* value);
    const std::deque<const OperationMetadata*>& getMetaValues() const { return metaValues; }

  protected:
    // Body: pluginID, metricID, msgID (32-bit), capName, capGroups, msgName, the operations as whole
    // records with their envelopes, triggers, tracepointNames.
    void serialize_i(Serializer& out) const override;
    // -1, without a message, at any shortage and at an empty capName, msgName or set entry; an
    // operation that can't be read fails the record too. Nested records of other types are dropped.
    int deserialize_i(Serializer& in, unsigned int version) override;

  private:
    void clearMetaValues_i();
    int readMetaValues_i(Serializer& in, unsigned int version);

    int pluginID;
    int metricID;
    int msgID;
    std::string capName;
    PWSet<std::string> capGroups;
    std::string msgName;
    std::deque<const OperationMetadata*> metaValues;
    PWSet<std::string> triggers;
    PWSet<std::string> tracepointNames;
};

// A metric plug-in's free-form record, type 1: key-value pairs in insertion order. Copyable.
class VR_EXPORT MetricMetadata : public Metadata {
  public:
    MetricMetadata(int pluginID, int metricID);

    int getPluginID() const override { return pluginID; }
    int getMetricID() const { return metricID; }
    void addValue(const std::string& key, const std::string& value) { values.emplace_back(key, value); }
    const std::vector<std::pair<std::string, std::string>>& getValues() const { return values; }

  protected:
    // Body: pluginID, metricID (32-bit), count, then key and value of each pair.
    void serialize_i(Serializer& out) const override;
    // Each missing part (or empty key or value) fails with -1 after its level-2 warning, e.g.
    // "WARNING: ERROR reading key while deserializing metric metadata message!\n".
    int deserialize_i(Serializer& in, unsigned int version) override;

  private:
    int pluginID;
    int metricID;
    std::vector<std::pair<std::string, std::string>> values;
};

// A collector's free-form record, type 4: its name and key-value pairs in insertion order. Copyable.
class VR_EXPORT CollectorMetadata : public Metadata {
  public:
    explicit CollectorMetadata(std::string name);

    const std::string& getName() const { return name; }
    void addValue(const std::string& key, const std::string& value) { values.emplace_back(key, value); }
    const std::vector<std::pair<std::string, std::string>>& getValues() const { return values; }

  protected:
    // Body: name, count, then key and value of each pair.
    void serialize_i(Serializer& out) const override;
    // Each missing part (or empty name, key or value) fails with -1 after its level-2 warning, e.g.
    // "WARNING: ERROR reading name while deserializing collector metadata message!\n".
    int deserialize_i(Serializer& in, unsigned int version) override;

  private:
    std::string name;
    std::vector<std::pair<std::string, std::string>> values;
};

// Dump forms. An operation is one line without a line end ("Operation Meta: Name = ..."), so that it can
// be embedded; the other forms write one item per line, each ended ("Msg Metadata Plugin ID: 3\n").
VR_EXPORT std::ostream& operator<<(std::ostream& out, const OperationMetadata& record);
VR_EXPORT std::ostream& operator<<(std::ostream& out, const MsgMetadata& record);
VR_EXPORT std::ostream& operator<<(std::ostream& out, const MetricMetadata& record);
VR_EXPORT std::ostream& operator<<(std::ostream& out, const CollectorMetadata& record);

}  // namespace pwr
