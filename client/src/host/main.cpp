// vantrell: the reference host. It sets up the process the way every host of the library does
// (environment, loggers, id registry, machine record, entities, writer stream), samples the logical
// CPUs of this machine from /proc and /sys, and prints the summary table through a console writer.
//
//   vantrell [-n MS] [--verbosity N] [--debug AREA]...   (vantrell --help for all options)

#include <unistd.h>
#include <cstdio>
#include <iostream>
#include <set>
#include <string>

#include "CommandLine.h"
#include "ConsoleLogger.h"
#include "ConsoleWriter.h"
#include "MachineProbe.h"
#include "vantrell/VantrellCore.h"

namespace {

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
    vantrell::HostOptions options;
    switch (vantrell::parseCommandLine(argc, argv, options, std::cout, std::cerr)) {
        case vantrell::CommandLineResult::ExitOk:
            return 0;
        case vantrell::CommandLineResult::ExitUsage:
            return 2;
        case vantrell::CommandLineResult::Run:
            break;
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
