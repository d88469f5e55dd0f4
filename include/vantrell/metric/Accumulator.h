#pragma once

// pwr::Accumulator: the abstract base of every class that summarises a metric's data points into
// tables. A Metric owns its built-in accumulator; plug-ins may derive their own and add them with
// Metric::addAccumulator, keeping ownership.
//
// The order of the virtual operations is part of the contract with plug-ins: destructor, initialize,
// finalize, processMessage. An accumulator is used by the thread that feeds its metric; no locks.
// pwr::Enum<T> is the small value wrapper in which accumulators keep their Summary values.

#include "vantrell/Export.h"

class WriterStream;

namespace pwr {

class Metric;
class SystemMetadata;
class WriterInterfaceConfigFileParser;

template <typename T>
class Enum {
  public:
    Enum(T value) : value(value) {}  // NOLINT: implicit on purpose, a Summary is an Enum
    Enum(const Enum&) = default;
    Enum& operator=(const Enum&) = default;
    operator T() const { return value; }

  private:
    T value;
};

class VR_EXPORT Accumulator {
  public:
    // Fetches the writer stream from g_pluginEnvironment and the output configuration through
    // WriterInterfaceConfigFileParser::instance() (which may be null). Without a stream throws the C
    // string "ERROR: Writer stream is not initialized".
    Accumulator();
    Accumulator(const Accumulator&) = delete;
    Accumulator& operator=(const Accumulator&) = delete;
    virtual ~Accumulator();

    // Called once, at the first flush of the metric; 0 for success.
    virtual int initialize(const Metric& metric, const SystemMetadata& metadata) = 0;
    // Called once, at the end; emits the tables; 0 for success.
    virtual int finalize(const Metric& metric) = 0;
    // Called at every flush; reads metric.getData(); 0 for success.
    virtual int processMessage(const Metric& metric) = 0;

  protected:
    WriterStream* getWriterStream() const { return writerStream; }
    WriterInterfaceConfigFileParser* getOutputConfig() const { return outputConfig; }

  private:
    WriterStream* writerStream;
    WriterInterfaceConfigFileParser* outputConfig;
};

}  // namespace pwr
