#pragma once

// The host's life, in the order every host of the library keeps: environment, loggers, directory, id
// registry, plug-ins, writer stream, both configuration parsers, topology; then a collection of the
// chosen features; at the end post-processing through each metric plug-in in the output
// configuration's feature order, the stream's end, and the parsers' and registry's destroy.

#include <cstdio>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

#include "CommandLine.h"
#include "ConsoleLogger.h"
#include "PluginModules.h"
#include "Recording.h"
#include "ResultStore.h"

namespace vantrell {

class Host {
  public:
    explicit Host(HostOptions options);
    ~Host();
    Host(Host const&) = delete;
    Host& operator=(Host const&) = delete;

    // Everything before a collection (`collecting`) or before the help. 0, or the exit status after one
    // line on standard error.
    int setUp(bool collecting);
    // The console help of the option tables, then what this machine offers: features, feature
    // groups and result formats.
    void printHelp(std::ostream& out);
    // Collects the chosen features, or replays the file of -i, and post-processes them. The exit
    // status.
    int collect();

  private:
    struct Feature {
        std::string name;    // the -f word
        std::string prefix;  // the configuration prefix and metric capability
        std::vector<std::string> groups;
        std::string description;
    };

    using Running = std::vector<std::pair<std::string, MetricPlugin*>>;  // feature prefix, its plug-in

    void setUpLogging_i();
    int openInput_i();
    int openRecording_i();
    int replay_i();
    void postProcess_i(Running& running, MetricPlugin::Pairs const& params);
    MetricPlugin::Pairs collectionParams_i() const;
    int openWriters_i();
    int parseConfigurations_i();
    std::vector<Feature> offeredFeatures_i() const;
    int chooseFeatures_i(std::vector<Feature>& chosen) const;
    pwr::MetricPluginCapability const* metricCapabilityFor_i(std::string const& prefix, MetricPlugin*& owner);
    std::string pluginParams_i() const;

    HostOptions options;
    std::string exeDir;
    std::FILE* logFile = nullptr;
    ConsoleLogger errorLogger{stderr};
    ConsoleLogger debugLogger{stderr};
    ConsoleLogger nullLogger{nullptr};
    PluginEnvironment environment;
    PluginModules modules;
    std::set<WriterPlugin*> writerSet;  // the stream keeps this set's address
    WriterStream* stream = nullptr;
    pwr::SystemMetadata machine;
    std::string platformNames;
    std::vector<pwr::Metadata*> records;
    std::unique_ptr<store::ResultReader> input;
    std::unique_ptr<store::ResultWriter> recording;
    std::unique_ptr<TableRecorder> tableRecorder;
    bool parsed = false;
};

}  // namespace vantrell
