#pragma once

// WriterPlugin: the base class of the plug-ins that render results in an output format. The
// WriterStream hands each message to the private writeMessage overload for its kind; a plug-in
// overrides those it cares for, and the base versions take the message and do nothing.
//
// It also holds the one piece of logic all writers share: how a TableMessage becomes a row of column
// titles (getColumnTitles) and a row of cell texts (getRowValues) that line up one for one.
//
// Plug-ins derive from this class across a module boundary: the order of the virtual operations is
// part of the contract and never changes. A writer plug-in has at most one capability. Messages and
// metrics handed to writeMessage are borrowed for the call. Not copyable. One thread at a time: the
// stream calls its writers one after the other on the caller's thread.

#include <deque>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/plugin/Plugin.h"

class WriterStream;

namespace pwr {
class DataHandle;
class EntityHandle;
class IdMessage;
class Metric;
class MetricContainerInfoMessage;
class SystemMessage;
class SystemMetadata;
class TableMessage;
class TextMessage;
}  // namespace pwr

class VR_EXPORT WriterPlugin : public Plugin {
  public:
    // `uuid` names the plug-in, as for every Plugin.
    explicit WriterPlugin(std::string uuid);
    ~WriterPlugin() override;

  protected:
    // Slot 4 of Plugin. The first capability is appended, owned, and this plug-in becomes its owner.
    // Once there is one, any further call logs "WARNING: Illegal attempt to register a second
    // capabliity for a writer plugin...ignored\n" and adds nothing: a refused capability stays the
    // caller's to free. A null first capability is ignored.
    void addCapability(pwr::PluginCapability* capability) override;

  public:
    // Opens the writer's output. Not called by the library: the host decides when.
    virtual int openOutput() = 0;
    // Closes the writer's output. Called by WriterStream::destroy on each plug-in.
    virtual int closeOutput() = 0;

    // Writes what a continuous collection has gathered so far. Returns whether anything was written;
    // the default writes nothing and returns false.
    virtual bool flushContinuousResults(const pwr::SystemMetadata& system);

  private:
    friend class WriterStream;

    // Each overload receives one kind of message from the stream and returns 0 on success. Only the
    // result for a Metric is looked at: non-zero there is reported as a failure to write. The base
    // versions do nothing and return 0.
    virtual int writeMessage(const pwr::MetricContainerInfoMessage& message);
    virtual int writeMessage(const pwr::Metric& metric);
    virtual int writeMessage(const pwr::IdMessage& message);
    virtual int writeMessage(const pwr::SystemMessage& message);
    // Both TextMessage and HeaderTextMessage arrive here; getMessageType() tells them apart (2, 5).
    virtual int writeMessage(const pwr::TextMessage& message);
    virtual int writeMessage(const pwr::TableMessage& message);

  protected:
    // Appends to `titles` one title per column of `table`: the names of the shared handles (empty
    // for a null handle); then, for a table without entities, the names of the plain handles; for a
    // table with entities, for each entity in order and each plain handle in order, the title of
    // getFieldNameFromHandle. `titles` is not cleared. Logs nothing.
    virtual void getColumnTitles(const pwr::TableMessage& table, std::deque<std::string>& titles) const;

    // Appends to `values` one cell text per column, in exactly the order of getColumnTitles: the
    // shared cells ("Invalid" for a null handle), then the plain cells, each as getFieldValueFromHandle
    // gives it. `values` is not cleared. Lookups that fail log the table's own warnings.
    virtual void getRowValues(const pwr::TableMessage& table, std::deque<std::string>& values) const;

    // The column title of `handle` for `entity`: the entity's name when the table has exactly one plain
    // handle and `entity` isn't null, else the handle's name (empty for a null handle). When `entity`
    // is in fact an Attribute whose quantity has units, the units are appended.
    std::string getFieldNameFromHandle(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                                       const pwr::DataHandle* handle) const;

    // The text of one cell: the formatted value when it is valid; the empty text for a cell that was
    // never set or was reset in a table that has data, and when the table holds no such entity;
    // "Invalid" for anything else the table doesn't hold and for every cell of a table that never had
    // data. A null `entity` reads the field at row 0 (shared fields and tables without entities).
    std::string getFieldValueFromHandle(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                                        const pwr::DataHandle* handle) const;
};
