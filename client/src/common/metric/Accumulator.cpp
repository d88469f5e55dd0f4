#include "vantrell/metric/Accumulator.h"

#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

namespace pwr {

namespace {

// Thrown as a plain char*, which a handler for const char* catches as well.
char streamMissingText[] = "ERROR: Writer stream is not initialized";

}  // namespace

Accumulator::Accumulator()
    : writerStream(g_pluginEnvironment != nullptr
                       ? static_cast<WriterStream*>(g_pluginEnvironment->getWriterStream())
                       : nullptr),
      outputConfig(WriterInterfaceConfigFileParser::instance()) {
    if (writerStream == nullptr) {
        throw static_cast<char*>(streamMissingText);
    }
}

Accumulator::~Accumulator() = default;

}  // namespace pwr
