#include "LinuxTraceCollector.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace vantrell::plugins {

namespace pp = pwr::platform;

namespace {

constexpr char kType[] = "KTRACE";
constexpr char kCategory[] = "EVENTS";
constexpr char kTscClockUuid[] = "5138ffc0-517d-11e5-b970-0800200c9a66";

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> items;
    std::string rest = text;
    std::string token;
    while (pwr::getNextToken(token, rest, ',', false) == 0) {
        token = pwr::LineReader::trim(static_cast<const std::string&>(token));
        if (!token.empty()) {
            items.push_back(token);
        }
    }
    return items;
}

// Nanoseconds since 1970, as the collection record keeps its times.
uint64_t nowTimeval() {
    return (pp::readPreciseFileTime() - 116444736000000000ULL) * 100;
}

bool isKtraceMessage(const pwr::InputMsg* message) {
    return message != nullptr && message->getOperationCount() > 0 &&
           message->getOperations().front()->getOperation() == kType;
}

}  // namespace

// One kernel trace session of the library, recording to a file of our choosing.
class LinuxTraceCollector::Session : public EtwSession {
  public:
    Session(const std::string& file, const std::string& name)
        : EtwSession(file, "", name, "Linux kernel trace") {}
    // Where end() gave up (it leaves a session that can't be flushed running), stops it anyway: its
    // file is about to be removed.
    void forceStop() {
        pp::traceFacility().controlTrace(sessionHandle, sessionName.c_str(), properties,
                                         EVENT_TRACE_CONTROL_STOP);
    }
};

// ---- The operation and its requirement --------------------------------------------------------------

KtraceOperation::KtraceOperation() : Operation(kType) {
    addCategory(kCategory);
}

int KtraceOperation::set(std::string const& key, std::string const& value) {
    if (key != kCategory) {
        return -1;
    }
    for (const std::string& name : splitList(value)) {
        if (findTracepoint(name) == nullptr) {
            VR_LOG(1,
                   "ERROR: unknown kernel tracepoint %s; known are power:cpu_idle, power:cpu_frequency, "
                   "sched:sched_switch\n",
                   name.c_str());
            return -1;
        }
        if (std::find(events.begin(), events.end(), name) == events.end()) {
            events.push_back(name);
        }
    }
    return 0;
}

pwr::OperationMetadata* KtraceOperation::getOperationMetadata() const {
    return new pwr::OperationMetadata(getName(), getOperation(), static_cast<unsigned int>(events.size()));
}

pwr::Operation* KtraceOperation::clone() const {
    return new KtraceOperation(*this);
}

bool KernelTraceRequirement::isPluginRequirementSatisfied_i(pwr::SystemMetadata const&,
                                                            pwr::PluginParams const&) const {
    std::string why;
    const bool possible = probeKernelTracing(why);
    if (!possible) {
        VR_LOG(3, "DEBUG: kernel tracing is not possible here (%s): the trace feature is not offered\n",
               why.c_str());
    }
    return possible;
}

// ---- The collector -----------------------------------------------------------------------------------

LinuxTraceCollector::LinuxTraceCollector() : CollectorPlugin("vantrell-linux-trace") {
    prototype.addRequirement(&requirement);
    addOperation(&prototype);
}

LinuxTraceCollector::~LinuxTraceCollector() {
    terminatePlugin();
}

int LinuxTraceCollector::terminatePlugin() {
    if (session) {
        stopCollection();
    }
    return 0;
}

bool LinuxTraceCollector::canCollectMessage(pwr::InputMsg const* message) {
    return isKtraceMessage(message);
}

int LinuxTraceCollector::doImmediateRead(pwr::InputMsg const*, Pairs&) {
    return -1;
}

bool LinuxTraceCollector::selectTracepoints_i(std::vector<pwr::InputMsg*> const& messages) {
    std::fill(std::begin(wanted), std::end(wanted), false);
    bool any = false;
    for (const pwr::InputMsg* message : messages) {
        if (!isKtraceMessage(message)) {
            continue;
        }
        std::vector<std::string> names;
        for (const pwr::Operation* operation : message->getOperations()) {
            if (const auto* ktrace = dynamic_cast<const KtraceOperation*>(operation)) {
                names.insert(names.end(), ktrace->getEvents().begin(), ktrace->getEvents().end());
            }
        }
        names.insert(names.end(), message->getTracepointNames().begin(), message->getTracepointNames().end());
        for (const std::string& name : names) {
            const KernelTracepoint* tracepoint = findTracepoint(name);
            if (tracepoint == nullptr) {
                VR_LOG(2,
                       "WARNING: message %s names the tracepoint %s, which this collector does not record\n",
                       message->getFullName().c_str(), name.c_str());
                continue;
            }
            const size_t index = static_cast<size_t>(tracepoint - kernelTracepoints().data());
            if (!wanted[index]) {  // the first message that names a tracepoint owns its events
                wanted[index] = true;
                sources[index] =
                    makeSource(message->getPluginID(), message->getMetricID(), message->getMsgID());
            }
            any = true;
        }
    }
    return any;
}

void LinuxTraceCollector::calibrate_i(pwr::SystemMetadata const& system) {
    // One pair of readings, taken where the two reads lie closest together.
    uint64_t best = UINT64_MAX;
    for (int i = 0; i < 8; ++i) {
        const uint64_t before = pp::readPerformanceCounter();
        const uint64_t tsc = pp::readTimeStampCounter();
        const uint64_t after = pp::readPerformanceCounter();
        if (after - before < best) {
            best = after - before;
            syncTrace = before + (after - before) / 2;
            syncTsc = tsc;
        }
    }
    const double traceHz = static_cast<double>(pp::getPerformanceFrequency());
    double tscHz = static_cast<double>(system.vraClockFreqMHz) * 1e6;
    if (tscHz <= 0.0) {  // the host did not say: measure it over a few milliseconds
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const uint64_t trace = pp::readPerformanceCounter();
        const uint64_t tsc = pp::readTimeStampCounter();
        tscHz = static_cast<double>(tsc - syncTsc) * traceHz / static_cast<double>(trace - syncTrace);
    }
    tscPerTraceTick = tscHz / traceHz;
}

int LinuxTraceCollector::startCollection(std::vector<pwr::InputMsg*> const& messages,
                                         pwr::SystemMetadata const& system) {
    if (session) {
        VR_LOG(1, "ERROR: the kernel trace is running already\n");
        return -1;
    }
    pending.clear();
    ready.clear();
    lastTscByCpu.clear();
    lastEmitted = produced = dropped = undecoded = late = 0;
    startTsc = pp::readTimeStampCounter();
    startTimeval = nowTimeval();
    stopTsc = stopTimeval = 0;
    if (!selectTracepoints_i(messages)) {
        return 0;
    }
    if (!decoder) {
        decoder = std::make_unique<KernelEventDecoder>();
    }
    calibrate_i(system);
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/vantrell-trace-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        VR_LOG(1, "ERROR: no directory for the kernel trace: %s\n", std::strerror(errno));
        return -1;
    }
    directory = pattern;
    traceFile = directory + "/kernel.etl";
    session = std::make_unique<Session>(traceFile, "Vantrell Linux kernel trace " + std::to_string(getpid()));
    for (size_t i = 0; i < kernelTracepoints().size(); ++i) {
        if (wanted[i]) {
            session->addProvider(*kernelTracepoints()[i].provider, kernelTracepoints()[i].keyword);
        }
    }
    std::string error;
    if (!session->begin() || !tail.open(traceFile, error)) {
        if (!error.empty()) {
            VR_LOG(1, "ERROR: can't read the kernel trace %s: %s\n", traceFile.c_str(), error.c_str());
            session->end();
        }
        session.reset();
        removeFiles_i();
        return -1;
    }
    return 0;
}

uint64_t LinuxTraceCollector::toTsc_i(uint64_t timeStamp) const {
    const double delta = static_cast<double>(static_cast<int64_t>(timeStamp - syncTrace)) * tscPerTraceTick;
    return syncTsc + static_cast<uint64_t>(static_cast<int64_t>(delta));
}

int LinuxTraceCollector::read_i() {
    const TraceTail::Status status = tail.readNew([this](const TraceTail::Event& event) {
        const KernelTracepoint* tracepoint = decoder->identify(event);
        DecodedEvent decoded;
        if (tracepoint == nullptr || !decoder->decode(*tracepoint, event, decoded)) {
            ++undecoded;
            return;
        }
        const auto index = static_cast<uint8_t>(tracepoint - kernelTracepoints().data());
        if (wanted[index]) {
            pending.push_back({event.timeStamp, decoded.cpu, index, std::move(decoded.key), decoded.value});
        }
    });
    if (status != TraceTail::Status::Ok) {
        VR_LOG(1, "ERROR: the kernel trace %s is %s; events after the fault are lost\n", traceFile.c_str(),
               status == TraceTail::Status::Corrupt ? "corrupt" : "of an unsupported version");
        return -1;
    }
    return 0;
}

void LinuxTraceCollector::emitUpTo_i(uint64_t watermark) {
    std::stable_sort(pending.begin(), pending.end(),
                     [](const Pending& a, const Pending& b) { return a.timeStamp < b.timeStamp; });
    const auto end = std::upper_bound(pending.begin(), pending.end(), watermark,
                                      [](uint64_t mark, const Pending& p) { return mark < p.timeStamp; });
    for (auto it = pending.begin(); it != end; ++it) {
        if (it->timeStamp < lastEmitted) {
            ++late;  // arrived after a later event had been handed over
        }
        lastEmitted = std::max(lastEmitted, it->timeStamp);
        if (it->cpu >= lastTscByCpu.size()) {
            lastTscByCpu.resize(it->cpu + 1u, 0);
        }
        // Within a CPU the time never goes back, whatever the late ones did.
        const uint64_t tsc = std::max(toTsc_i(it->timeStamp), lastTscByCpu[it->cpu]);
        lastTscByCpu[it->cpu] = tsc;
        SampleWriter writer(ready, tsc, sources[it->tracepoint], pwr::TRACEPOINT);
        writer.add(it->cpu, it->key, it->value);
        writer.finish();
        ++produced;
    }
    pending.erase(pending.begin(), end);
}

int LinuxTraceCollector::pollOnce() {
    if (!session) {
        return 0;
    }
    // Everything logged before the flush began is in the file once it returns.
    const uint64_t watermark = pp::readPerformanceCounter();
    if (!session->flush()) {
        return -1;
    }
    const int result = read_i();
    emitUpTo_i(watermark);
    return result;
}

int LinuxTraceCollector::stopCollection() {
    if (!session) {
        return 0;
    }
    const bool stopped = session->end();
    if (!stopped) {
        session->forceStop();
    }
    session.reset();
    int result = read_i();
    emitUpTo_i(UINT64_MAX);
    uint32_t lost = 0;
    if (stopped && tail.readEventsLost(lost)) {
        dropped = lost;
    }
    dropped += undecoded;
    stopTsc = pp::readTimeStampCounter();
    stopTimeval = nowTimeval();
    if (late > 0) {
        VR_LOG(3, "DEBUG: %llu kernel events arrived after later ones had been handed over\n",
               static_cast<unsigned long long>(late));
    }
    tail.reset();
    removeFiles_i();
    return stopped ? result : -1;
}

void LinuxTraceCollector::removeFiles_i() {
    if (!traceFile.empty()) {
        unlink(traceFile.c_str());
        traceFile.clear();
    }
    if (!directory.empty()) {
        rmdir(directory.c_str());
        directory.clear();
    }
}

bool LinuxTraceCollector::getContinuousResult(pwr::VRBuffer& buffer, CollectionData& data) {
    data = CollectionData(startTsc, stopTsc, startTimeval, stopTimeval, produced, dropped, kTscClockUuid, "");
    if (ready.empty()) {
        return false;
    }
    buffer.bytes.insert(buffer.bytes.end(), ready.begin(), ready.end());
    ready.clear();
    return true;
}

}  // namespace vantrell::plugins

VR_DECLARE_PLUGIN(vantrell::plugins::LinuxTraceCollector)
