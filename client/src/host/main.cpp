// vantrell: the reference host. It sets up the process the way every host of the library does
// (environment, loggers, id registry, machine record, entities, writer stream), samples the logical
// CPUs of this machine from /proc and /sys, and prints the summary table through a console writer.
//
//   vantrell [--verbosity N] [--interval MS] [--debug AREA]...

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "ConsoleLogger.h"
#include "ConsoleWriter.h"
#include "MachineProbe.h"
#include "vantrell/VantrellCore.h"

namespace {

struct Options {
    uint16_t verbosity = 1;
    unsigned intervalMs = 250;
    std::set<std::string> debugAreas;
};

bool parseOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (std::strcmp(argv[i], "--verbosity") == 0 && value != nullptr) {
            options.verbosity = static_cast<uint16_t>(std::strtoul(value, nullptr, 10));
        } else if (std::strcmp(argv[i], "--interval") == 0 && value != nullptr) {
            options.intervalMs = static_cast<unsigned>(std::strtoul(value, nullptr, 10));
        } else if (std::strcmp(argv[i], "--debug") == 0 && value != nullptr) {
            options.debugAreas.insert(value);
        } else {
            std::fprintf(stderr, "usage: %s [--verbosity N] [--interval MS] [--debug AREA]...\n", argv[0]);
            return false;
        }
        ++i;
    }
    return true;
}

// The machine record the host would store with a result file; here it carries the topology.
pwr::SystemMetadata describeMachine() {
    pwr::SystemMetadata machine;
    machine.hostName = "localhost";
    char name[256] = {};
    if (gethostname(name, sizeof(name) - 1) == 0) {
        machine.hostName = name;
    }
    machine.osName = "Linux";
    machine.buildTopology(vantrell::readTopologyText(), 0);
    return machine;
}

// The per-CPU summary: a shared cell for the interval and one row per logical CPU.
void pushCpuTable(WriterStream& stream, unsigned intervalMs) {
    pwr::TableMessage table("Logical CPU Summary", pwr::Quantity::frequency());
    const unsigned interval = 0;
    const unsigned busy = 1;
    const unsigned frequency = 2;
    table.addField("Sample interval", pwr::DataType::UINT, pwr::UIntFormatter(" ms", 0, false), true);
    table.addField("Busy (%)", pwr::DataType::REAL, pwr::RealFormatter(0, 1), false);
    table.addField("Frequency (MHz)", pwr::DataType::UINT, false);
    for (int cpu = 0; cpu < 4096; ++cpu) {
        if (const pwr::EntityHandle* entity = pwr::EntityHandle::getCPUThreadHandle(cpu)) {
            table.addEntity(entity);
        }
    }
    if (table.createTable() != 0) {
        return;
    }
    table.setFieldValue(interval, static_cast<unsigned long long>(intervalMs));
    for (const auto& [cpu, sample] : vantrell::sampleCpus(intervalMs)) {
        const pwr::EntityHandle* entity = pwr::EntityHandle::getCPUThreadHandle(cpu);
        if (entity == nullptr) {
            continue;
        }
        if (sample.hasBusy) {
            table.setFieldValue(entity, busy, sample.busyPercent);
        }
        if (sample.hasFrequency) {
            table.setFieldValue(entity, frequency, sample.frequencyMHz);
        }
    }
    stream.pushMessage(table);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) {
        return 2;
    }
    vantrell::ConsoleLogger errorLogger(stderr);
    vantrell::ConsoleLogger debugLogger(stdout);
    vantrell::ConsoleLogger nullLogger(nullptr);
    PluginEnvironment environment;
    environment.setErrorLogger(&errorLogger);
    environment.setDebugLogger(&debugLogger);
    environment.setNullLogger(&nullLogger);
    environment.setVerbosity(options.verbosity);
    for (const std::string& area : options.debugAreas) {
        environment.addPrefixForDebugLogging(area);
    }
    g_pluginEnvironment = &environment;
    environment.setVantrellDirectory();
    pwr::UniqueId::initialize();

    vantrell::ConsoleWriter console(stdout);
    std::set<WriterPlugin*> writers{&console};
    WriterStream* stream = WriterStream::create(writers);
    environment.setWriterStream(stream);

    pwr::SystemMetadata machine = describeMachine();
    pwr::DataHandleProvider::initTopology(machine);
    pwr::DataHandleProvider::addStream(stream);
    std::printf("vantrell on %s: %d packages, %d cores, %d logical CPUs\n", machine.hostName.c_str(),
                static_cast<int>(machine.getCPUTopology().getNumPackages()),
                static_cast<int>(machine.getCPUTopology().getNumCores()),
                static_cast<int>(machine.getCPUTopology().getNumThreads()));

    pushCpuTable(*stream, options.intervalMs);

    environment.setWriterStream(nullptr);
    WriterStream::destroy(stream);
    pwr::UniqueId::destroy();
    g_pluginEnvironment = nullptr;
    return 0;
}
