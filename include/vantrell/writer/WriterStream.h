#pragma once

// WriterStream: hands every message of a run to each writer plug-in, in turn and synchronously on the
// caller's thread, and resets a table once all writers have seen it.
//
// The host makes the one stream of a run with create(), publishes it with
// PluginEnvironment::setWriterStream, and ends it with destroy(), which calls each writer's
// closeOutput(). The set of plug-ins is the host's: the stream keeps its address, so the set must
// outlive the stream, and neither the set nor the plug-ins are freed by it. Copies share the set of
// plug-ins and copy the supported table classes.
// No locks: one thread at a time. A pushed table must not be touched by anyone else until
// pushMessage returns.

#include <set>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/plugin/PluginCapability.h"

class WriterPlugin;

namespace pwr {
class Metric;
class WriterMessage;
}  // namespace pwr

class VR_EXPORT WriterStream {
  public:
    // A new stream over `plugins`, whose address it keeps; no supported table classes yet. The caller
    // owns the result and ends it with destroy().
    static WriterStream* create(const std::set<WriterPlugin*>& plugins);
    // A new stream with no set of plug-ins at all: every push is refused with a warning. For hosts
    // that run without writers.
    static WriterStream* create();
    // Calls closeOutput() on each plug-in in the order of the set, then frees `stream`. Null is
    // ignored.
    static void destroy(WriterStream* stream);

    WriterStream(const WriterStream&) = default;
    WriterStream& operator=(const WriterStream&) = default;

    // Hands `message` to each plug-in's writeMessage overload for its type (0 table, 1 id, 2 and 5
    // text, 3 system, 4 container info; other types go nowhere), ignoring their results. A table is
    // then reset (TableMessage::resetData) so that it can be filled again.
    // Returns 0; -1 with "WARNING: No plugins setup for stream\n" when there is no set of plug-ins;
    // 1 for a message of type 0 that is not a TableMessage. A message whose type doesn't match its
    // class throws std::bad_cast.
    int pushMessage(pwr::WriterMessage& message);

    // Hands `metric` to each plug-in's writeMessage(const Metric&). Returns 0 when none failed (also
    // for an empty set); 1 after "WARNING: Unable to push Metric object to writer plugin\n" for each
    // plug-in that returned non-zero (the others are still called); 1 with
    // "WARNING: Error pushing null Metric object to Writer stream.\n" for a null `metric`, and with
    // "WARNING: No plugins setup for writer stream.\n" when there is no set of plug-ins.
    int pushMessage(const pwr::Metric* metric);

    // Sends `text` as a TextMessage through the stream published in g_pluginEnvironment (not
    // necessarily this one) and returns the result of that push. Throws the C string
    // "ERROR: Writer stream is not initialized" when none is published.
    int pushTextMessage(const std::string& text);

    // Whether `tableClass` is one of the supported table classes.
    bool isSupportedTableClass(pwr::TableClass tableClass) const;
    // Replaces the supported table classes; the host fills them from the writers' capabilities.
    void setSupportedTables(const std::set<pwr::TableClass>& tables);

  private:
    explicit WriterStream(const std::set<WriterPlugin*>* plugins);
    ~WriterStream();

    int dispatch_i(WriterPlugin& plugin, pwr::WriterMessage& message) const;

    const std::set<WriterPlugin*>* plugins;
    std::set<pwr::TableClass> supportedTables;
};
