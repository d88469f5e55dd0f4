#include "Host.h"

#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>

#include "Collection.h"
#include "HelpText.h"
#include "LinuxPluginProtocol.h"
#include "MachineProbe.h"

#ifndef VR_HOST_DATA_DIR
#define VR_HOST_DATA_DIR "data"
#endif

namespace vantrell {
namespace {

bool exists(std::string const& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

std::string executableDirectory() {
    std::string path(4096, '\0');
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
    path.resize(size > 0 ? static_cast<size_t>(size) : 0);
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string joined(std::vector<std::string> const& words, char const* separator = ", ") {
    std::string text;
    for (std::string const& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

// A data file of the host: $VANTRELL_DATA_DIR, the installed share/vantrell beside the executable,
// then the source tree's data/. Empty when none has it.
std::string dataFile(std::string const& exeDir, std::string const& relative) {
    std::vector<std::string> roots;
    if (char const* dir = std::getenv("VANTRELL_DATA_DIR")) {
        roots.emplace_back(dir);
    }
    roots.push_back(exeDir + "/../share/vantrell");
    roots.emplace_back(VR_HOST_DATA_DIR);
    for (std::string const& root : roots) {
        if (exists(root + "/" + relative)) {
            return root + "/" + relative;
        }
    }
    return "";
}

constexpr char kLinuxConfig[] = "collection/vantrell-linux.cfg";
constexpr char kTraceConfig[] = "collection/vantrell-trace.cfg";
constexpr char kOutputConfig[] = "output/vantrell-output.cfg";
constexpr char kTraceOperation[] = "KTRACE";
// The exit status when this machine offers no source at all (make run then replays the sample).
constexpr int kNothingToCollect = 3;

}  // namespace

Host::Host(HostOptions hostOptions) : options(std::move(hostOptions)), exeDir(executableDirectory()) {}

// The stream ends before the parsers go: writers may still read table settings as they close.
Host::~Host() {
    for (pwr::Metadata* record : records) {
        delete record;
    }
    if (stream != nullptr) {
        environment.setWriterStream(nullptr);
        WriterStream::destroy(stream);
    }
    if (recording != nullptr && !recording->close()) {
        std::fprintf(stderr, "vantrell: %s\n", recording->error().c_str());
    }
    if (parsed) {
        pwr::VRConfigFileParser::instance()->destroy();
        pwr::WriterInterfaceConfigFileParser::instance()->destroy();
    }
    for (CollectorPlugin* collector : modules.collectors()) {
        collector->terminatePlugin();
    }
    for (MetricPlugin* metric : modules.metrics()) {
        metric->terminatePlugin();
    }
    // Process-wide and shared by metric plug-ins, so none of them frees it.
    pwr::ThermalSampleHandler::freeInstance();
    modules.unloadAll();
    pwr::UniqueId::destroy();
    g_pluginEnvironment = nullptr;
    if (logFile != nullptr) {
        std::fclose(logFile);
    }
}

void Host::setUpLogging_i() {
    if (!options.logFile.empty()) {
        logFile = std::fopen(options.logFile.c_str(), "w");
        if (logFile == nullptr) {
            std::perror(("vantrell: --log: " + options.logFile).c_str());
        } else {
            errorLogger.setSink(logFile);
            debugLogger.setSink(logFile);
        }
    }
    environment.setErrorLogger(&errorLogger);
    environment.setDebugLogger(&debugLogger);
    environment.setNullLogger(&nullLogger);
    environment.setVerbosity(options.verbosity);
    for (std::string const& area : options.debugAreas) {
        environment.addPrefixForDebugLogging(area);
    }
}

std::string Host::pluginParams_i() const {
    return "output=" + options.output + "\nresults=" + joined(options.results, ",") +
           "\ninterval=" + std::to_string(options.intervalMs) + "\n";
}

int Host::setUp(bool collecting) {
    // Serializer buffers grow to many megabytes: keep them in the heap rather than mapping and
    // unmapping them at every growth.
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
    setUpLogging_i();
    g_pluginEnvironment = &environment;
    environment.setVantrellDirectory();
    pwr::UniqueId::initialize();
    if (options.results.empty()) {
        options.results.push_back("sum");
    }

    if (!options.input.empty()) {
        if (const int status = openInput_i()) {
            return status;
        }
    } else {
        machine = describeMachine({options.intervalMs, options.maxDetail, options.commandLine});
    }
    modules.loadDirectory(exeDir + "/plugins");
    const std::string params = pluginParams_i();
    for (Plugin* plugin : modules.all()) {
        machine.pluginUuids[plugin->getSID()] = plugin->getUUID();
        plugin->setCommandlineParams(params);
    }
    for (CollectorPlugin* collector : modules.collectors()) {
        if (collector->initializePlugin() != 0) {
            std::fprintf(stderr, "vantrell: collector %s could not start; left out\n",
                         collector->getUUID().c_str());
            modules.unload(collector);
        }
    }
    for (MetricPlugin* metric : modules.metrics()) {
        if (metric->initializePlugin() != 0) {
            std::fprintf(stderr, "vantrell: metric plug-in %s could not start; left out\n",
                         metric->getUUID().c_str());
            modules.unload(metric);
        }
    }
    if (const int status = collecting ? openWriters_i() : 0) {
        return status;
    }
    if (const int status = collecting ? openRecording_i() : 0) {
        return status;
    }
    if (stream == nullptr) {
        stream = WriterStream::create(writerSet);
        environment.setWriterStream(stream);
    }
    if (const int status = parseConfigurations_i()) {
        return status;
    }
    if (!collecting) {
        return 0;
    }
    pwr::SystemMessage system(machine);
    stream->pushMessage(system);
    pwr::DataHandleProvider::initTopology(machine);
    pwr::DataHandleProvider::addStream(stream);
    // After the topology has its entities: a tree without them doesn't read back.
    if (recording != nullptr) {
        recording->writeSystemMetadata(machine);
        recording->flush();
    }
    return 0;
}

int Host::openWriters_i() {
    std::vector<std::string> formats;
    for (WriterPlugin* writer : modules.writers()) {
        Plugin::Capabilities caps;
        writer->getAllCapabilities(caps);
        for (pwr::PluginCapability const* cap : caps) {
            formats.push_back(cap->getName());
            formats.insert(formats.end(), cap->getGroupNames().begin(), cap->getGroupNames().end());
        }
    }
    for (std::string const& result : options.results) {
        bool found = false;
        for (WriterPlugin* writer : modules.writers()) {
            Plugin::Capabilities caps;
            writer->getAllCapabilities(caps, result);
            if (!caps.empty()) {
                writerSet.insert(writer);
                found = true;
            }
        }
        if (!found) {
            std::fprintf(stderr, "vantrell: --result: \"%s\" is not a result format here (%s)\n",
                         result.c_str(), joined(formats).c_str());
            return 2;
        }
    }
    for (WriterPlugin* writer : writerSet) {
        if (writer->openOutput() != 0) {
            std::fprintf(stderr, "vantrell: --result: %s can't open its output\n", writer->getUUID().c_str());
            return 1;
        }
    }
    return 0;
}

int Host::parseConfigurations_i() {
    std::vector<std::string> files{dataFile(exeDir, kLinuxConfig)};
    std::string const output = dataFile(exeDir, kOutputConfig);
    parsed = true;
    if (input != nullptr) {
        // A replay collects nothing: the stored messages stand for the collection configuration.
        if (output.empty() ||
            pwr::WriterInterfaceConfigFileParser::instance()->parse({output}, machine) != 0) {
            std::fprintf(stderr, "vantrell: the output configuration can't be read (%s)\n", output.c_str());
            return 1;
        }
        platformNames = machine.platformName.empty() ? "FMS=ALL" : machine.platformName;
        return 0;
    }
    if (files[0].empty() || output.empty()) {
        std::fprintf(stderr, "vantrell: no configuration found (%s, %s); set VANTRELL_DATA_DIR\n",
                     kLinuxConfig, kOutputConfig);
        return 1;
    }
    // The trace configuration names an operation that only the trace collector knows.
    bool tracing = false;
    for (CollectorPlugin* collector : modules.collectors()) {
        for (pwr::Operation const* operation : collector->getSupportedOperations()) {
            tracing = tracing || operation->getOperation() == kTraceOperation;
        }
    }
    std::string const trace = dataFile(exeDir, kTraceConfig);
    if (tracing && !trace.empty()) {
        files.push_back(trace);
    }
    if (pwr::VRConfigFileParser::instance()->parse(files, modules.collectors(), machine) != 0) {
        std::fprintf(stderr, "vantrell: the collection configuration can't be read (%s)\n",
                     joined(files).c_str());
        return 1;
    }
    if (pwr::WriterInterfaceConfigFileParser::instance()->parse({output}, machine) != 0) {
        std::fprintf(stderr, "vantrell: the output configuration can't be read (%s)\n", output.c_str());
        return 1;
    }
    std::string platform;
    pwr::VRConfigFileParser::instance()->getPlatformName(platform, {"FMS", fmsText(machine.fms)});
    platformNames = "FMS=" + (platform.empty() ? std::string("ALL") : platform);
    machine.platformName = platformNames;
    return 0;
}

std::vector<Host::Feature> Host::offeredFeatures_i() const {
    auto const* parser = pwr::VRConfigFileParser::instance();
    std::vector<pwr::ConfigCap const*> caps;
    parser->getCapabilitiesFor(caps, platformNames);
    std::vector<Feature> features;
    for (pwr::ConfigCap const* cap : caps) {
        bool const known = std::any_of(features.begin(), features.end(), [&](Feature const& feature) {
            return feature.name == cap->getName();
        });
        if (known || cap->isHidden() ||
            !parser->isPlatformPrefixSupported(platformNames, cap->getConfigfilePrefix())) {
            continue;
        }
        features.push_back({cap->getName(),
                            cap->getConfigfilePrefix(),
                            {cap->getGroups().begin(), cap->getGroups().end()},
                            cap->getDescription()});
    }
    return features;
}

int Host::chooseFeatures_i(std::vector<Feature>& chosen) const {
    std::vector<Feature> const offered = offeredFeatures_i();
    std::vector<std::string> words = options.features;
    if (words.empty()) {
        words.emplace_back("default");
    }
    for (std::string const& word : words) {
        bool found = false;
        for (Feature const& feature : offered) {
            bool const matches =
                feature.name == word ||
                std::find(feature.groups.begin(), feature.groups.end(), word) != feature.groups.end();
            bool const taken = std::any_of(chosen.begin(), chosen.end(),
                                           [&](Feature const& other) { return other.name == feature.name; });
            found = found || matches;
            if (matches && !taken) {
                chosen.push_back(feature);
            }
        }
        if (!found && options.features.empty()) {
            std::fprintf(stderr, "vantrell: this machine offers none of the default features\n");
            return kNothingToCollect;
        }
        if (!found) {
            std::vector<std::string> names;
            for (Feature const& feature : offered) {
                names.push_back(feature.name);
            }
            std::fprintf(
                stderr,
                "vantrell: --feature: \"%s\" is no feature or feature group that this machine offers (%s)\n",
                word.c_str(), joined(names).c_str());
            return 2;
        }
    }
    return 0;
}

pwr::MetricPluginCapability const* Host::metricCapabilityFor_i(std::string const& prefix,
                                                               MetricPlugin*& owner) {
    for (MetricPlugin* metric : modules.metrics()) {
        Plugin::Capabilities caps;
        metric->getAllCapabilities(caps);
        for (pwr::PluginCapability const* cap : caps) {
            auto const* metricCap = dynamic_cast<pwr::MetricPluginCapability const*>(cap);
            if (metricCap != nullptr && metricCap->getConfigFilePrefix() == prefix) {
                owner = metric;
                return metricCap;
            }
        }
    }
    return nullptr;
}

void Host::printHelp(std::ostream& out) {
    printConsoleHelp(out);
    out << "\nFeatures of this machine (-f):\n";
    std::vector<Feature> const offered = offeredFeatures_i();
    std::map<std::string, std::vector<std::string>> groups;
    for (Feature const& feature : offered) {
        out << "\t" << feature.name
            << std::string(feature.name.size() < 16 ? 16 - feature.name.size() : 1, ' ')
            << feature.description << "\n";
        for (std::string const& group : feature.groups) {
            groups[group].push_back(feature.name);
        }
    }
    out << "\nFeature groups (-f):\n";
    for (auto const& [group, members] : groups) {
        out << "\t" << group << std::string(group.size() < 16 ? 16 - group.size() : 1, ' ') << joined(members)
            << "\n";
    }
    out << "\nResult formats (-r):\n";
    for (WriterPlugin* writer : modules.writers()) {
        Plugin::Capabilities caps;
        writer->getAllCapabilities(caps);
        for (pwr::PluginCapability const* cap : caps) {
            std::vector<std::string> const names{cap->getGroupNames().begin(), cap->getGroupNames().end()};
            out << "\t" << cap->getName()
                << std::string(cap->getName().size() < 16 ? 16 - cap->getName().size() : 1, ' ')
                << cap->getDescription() << (names.empty() ? "" : " (also: " + joined(names) + ")") << "\n";
        }
    }
}

MetricPlugin::Pairs Host::collectionParams_i() const {
    return {{"platform", platformNames},
            {"detail", options.maxDetail ? "1" : "0"},
            {"interval", std::to_string(options.intervalMs)}};
}

int Host::openInput_i() {
    input = std::make_unique<store::ResultReader>();
    const bool opened = input->open(options.input);
    for (std::string const& problem : input->problems()) {
        std::fprintf(stderr, "vantrell: %s\n", problem.c_str());
    }
    const size_t problemsShown = input->problems().size();
    if (!opened) {
        return 1;
    }
    std::unique_ptr<pwr::SystemMetadata> stored = input->readSystemMetadata();
    if (stored == nullptr) {
        for (size_t i = problemsShown; i < input->problems().size(); ++i) {
            std::fprintf(stderr, "vantrell: %s\n", input->problems()[i].c_str());
        }
        std::fprintf(stderr, "vantrell: %s holds no machine record to replay against\n",
                     options.input.c_str());
        return 1;
    }
    machine = *stored;
    if (!input->wasClosed()) {
        std::fprintf(stderr, "vantrell: %s was cut short: it holds the collection up to its last batch\n",
                     options.input.c_str());
    }
    return 0;
}

// With -o a live collection is also kept in <prefix>.vrr, tables included.
int Host::openRecording_i() {
    if (options.output.empty() || input != nullptr) {
        return 0;
    }
    recording = std::make_unique<store::ResultWriter>();
    if (!recording->create(options.output + ".vrr", "vantrell " VR_HOST_VERSION, 1)) {
        std::fprintf(stderr, "vantrell: %s\n", recording->error().c_str());
        recording.reset();
        return 1;
    }
    tableRecorder = std::make_unique<TableRecorder>(*recording);
    writerSet.insert(tableRecorder.get());
    return 0;
}

// Post-processing in the output configuration's feature order; features it doesn't name go last.
void Host::postProcess_i(Running& running, MetricPlugin::Pairs const& params) {
    std::deque<std::string> order;
    pwr::WriterInterfaceConfigFileParser::instance()->getFeatureOrder(order);
    auto rank = [&](std::string const& prefix) {
        return std::find(order.begin(), order.end(), prefix) - order.begin();
    };
    std::stable_sort(running.begin(), running.end(),
                     [&](auto const& a, auto const& b) { return rank(a.first) < rank(b.first); });
    for (auto const& [prefix, metric] : running) {
        metric->finalizeCollection(prefix, params, machine);
    }
}

// The stored messages go through the metric plug-ins of this process as they went through those of
// the collection; a stored sid is mapped to the plug-in that now takes the feature.
int Host::replay_i() {
    StoredPlan plan = readPlan(*input);
    MetricPlugin::Pairs const params = collectionParams_i();
    std::map<int, MetricPlugin*> bySid;
    Running running;
    for (std::string const& feature : plan.features) {
        MetricPlugin* metric = nullptr;
        auto const& stored = plan.messages[feature];
        if (metricCapabilityFor_i(feature, metric) == nullptr) {
            std::fprintf(stderr, "vantrell: no metric plug-in takes feature %s of %s; left out\n",
                         feature.c_str(), options.input.c_str());
            continue;
        }
        std::vector<pwr::InputMsg*> messages;
        for (auto const& message : stored) {
            messages.push_back(message.get());
            bySid[message->getPluginID()] = metric;
        }
        std::vector<pwr::Metadata*> made;
        const int status = metric->initializeCollection(messages, made, feature, params, machine);
        records.insert(records.end(), made.begin(), made.end());
        if (status == 0) {
            running.emplace_back(feature, metric);
        }
    }
    for (auto const& record : plan.otherRecords) {
        auto const found = bySid.find(record->getPluginID());
        if (found != bySid.end()) {
            found->second->processMetadata(record.get());
        }
    }
    input->forEachMessage([&](vr_driver_msg const* message, size_t) {
        auto const found = bySid.find(message->source.byte0);
        if (found != bySid.end()) {
            MetricPluginHost::processMessage(*found->second, machine, message);
        }
    });
    postProcess_i(running, params);
    // What could be read has been shown; a damaged file still fails the run.
    for (std::string const& problem : input->problems()) {
        std::fprintf(stderr, "vantrell: %s\n", problem.c_str());
    }
    return input->ok() && !running.empty() ? 0 : 1;
}

int Host::collect() {
    if (input != nullptr) {
        return replay_i();
    }
    std::vector<Feature> chosen;
    if (const int status = chooseFeatures_i(chosen)) {
        return status;
    }
    auto const* parser = pwr::VRConfigFileParser::instance();
    MetricPlugin::Pairs const params = collectionParams_i();
    auto const detail = options.maxDetail ? pwr::COLLECTION_MAX_DETAIL : pwr::COLLECTION_NORMAL;
    CollectionPlan plan{options.timeSec,    options.startDelaySec, options.programDelaySec,
                        options.intervalMs, options.program,       {}};
    std::map<int, MetricPlugin*> bySid;
    Running running;
    std::vector<std::string> names;
    auto const collectors = modules.collectors();
    int msgId = 0;
    for (Feature const& feature : chosen) {
        MetricPlugin* metric = nullptr;
        pwr::MetricPluginCapability const* cap = metricCapabilityFor_i(feature.prefix, metric);
        if (cap == nullptr) {
            std::fprintf(stderr, "vantrell: no metric plug-in takes feature %s; left out\n",
                         feature.name.c_str());
            continue;
        }
        // A message listed once per trigger it runs on is one message to a collector.
        std::vector<pwr::InputMsg*> listed;
        parser->getMessagesFor(listed, platformNames, feature.prefix, {"BEGIN", "POLL", "TRACEPOINT", "END"},
                               detail);
        std::vector<pwr::InputMsg*> messages;
        for (pwr::InputMsg* message : listed) {
            if (std::find(messages.begin(), messages.end(), message) == messages.end()) {
                message->setPluginID(metric->getSID());
                message->setMetricID(cap->getMetricID());
                message->setMsgID(++msgId);
                messages.push_back(message);
            }
        }
        std::vector<pwr::Metadata*> made;
        const int status = metric->initializeCollection(messages, made, feature.prefix, params, machine);
        for (pwr::Metadata* record : made) {
            records.push_back(record);
            metric->processMetadata(record);
        }
        if (status != 0) {
            std::fprintf(stderr, "vantrell: feature %s can't be collected; left out\n", feature.name.c_str());
            continue;
        }
        for (pwr::InputMsg* message : messages) {
            auto const taker = std::find_if(
                collectors.begin(), collectors.end(),
                [&](CollectorPlugin* collector) { return collector->canCollectMessage(message); });
            if (taker == collectors.end()) {
                std::fprintf(stderr, "vantrell: no collector reads %s; left out\n",
                             message->getFullName().c_str());
                continue;
            }
            plan.messages[*taker].push_back(message);
            if (recording != nullptr) {
                std::unique_ptr<pwr::MsgMetadata> stored(message->getMetadata());
                stored->setCapName(feature.prefix);
                recording->writeRecord(*stored);
            }
        }
        if (recording != nullptr) {
            for (pwr::Metadata* record : made) {
                recording->writeRecord(*record);
            }
        }
        bySid[metric->getSID()] = metric;
        running.emplace_back(feature.prefix, metric);
        names.push_back(feature.name);
    }
    if (running.empty() || plan.messages.empty()) {
        std::fprintf(stderr, "vantrell: nothing to collect on this machine\n");
        return kNothingToCollect;
    }
    std::fprintf(stderr, "vantrell: collecting %s every %u ms%s\n", joined(names).c_str(), options.intervalMs,
                 options.timeSec > 0 ? "" : ", until Ctrl-C");

    auto deliver = [&](std::vector<char> const& bytes) {
        plugins::forEachMessage(bytes.data(), bytes.size(), [&](vr_driver_msg const* message, size_t size) {
            if (recording != nullptr) {
                recording->appendMessage(message, size);
            }
            auto const found = bySid.find(message->source.byte0);
            if (found != bySid.end() && !options.noPostProcessing) {
                MetricPluginHost::processMessage(*found->second, machine, message);
            }
        });
        // A batch a poll: a host that dies loses at most the poll it was in.
        if (recording != nullptr) {
            recording->flush();
        }
    };
    const int status = runCollection(plan, machine, deliver);
    if (recording != nullptr) {
        recording->writeSystemMetadata(machine);  // now with its stop times
        recording->flush();
    }
    if (!options.noPostProcessing) {
        postProcess_i(running, params);
    }
    return status;
}

}  // namespace vantrell
