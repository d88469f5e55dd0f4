#include "TraceWriter.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "LinuxPluginProtocol.h"

namespace vantrell::plugins {
namespace {

using nlohmann::json;

constexpr int kPid = 1;
constexpr size_t kQuotedCacheSize = 4096;
constexpr int kSiblingSlots = 100;
constexpr char kCStateFeature[] = "cstate";

bool numeric(const pwr::Data* data, double& out) {
    if (data == nullptr) {
        return false;
    }
    switch (data->getType()) {
        case pwr::DataType::INT: {
            long long value = 0;
            if (data->toInt(value) != 0) {
                return false;
            }
            out = static_cast<double>(value);
            return true;
        }
        case pwr::DataType::UINT: {
            unsigned long long value = 0;
            if (data->toUInt(value) != 0) {
                return false;
            }
            out = static_cast<double>(value);
            return true;
        }
        case pwr::DataType::REAL:
            return data->toReal(out) == 0;
        default:
            return false;
    }
}

std::string unitsOf(const pwr::Quantity* quantity) {
    return quantity != nullptr ? quantity->toUnitsString() : "";
}

// The name of a traced value: a state or process by its name, a number with the metric's units.
std::string text(const pwr::Data* data, const std::string& units) {
    std::string out;
    if (data == nullptr) {
        return out;
    }
    const pwr::DataHandle* handle = nullptr;
    if (data->getType() == pwr::DataType::HANDLE && data->toHandle(handle) == 0 && handle != nullptr) {
        return handle->getName();
    }
    data->toFormattedString(out);
    return data->isNumeric() && !units.empty() && !out.empty() ? out + " " + units : out;
}

// The shortest text that reads back as the same number, without an exponent where the magnitude
// allows: viewers read "1e+05" as a number, but not every one takes it for a thread id or a time.
void appendNumber(std::string& out, double value) {
    char buffer[64];
    const double magnitude = std::fabs(value);
    const bool plain = magnitude == 0 || (magnitude >= 1e-6 && magnitude < 1e15);
    const auto result = plain
                            ? std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::fixed)
                            : std::to_chars(buffer, buffer + sizeof(buffer), value);
    out.append(buffer, result.ptr);
}

void appendNumber(std::string& out, int value) {
    char buffer[16];
    const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    out.append(buffer, result.ptr);
}

}  // namespace

TraceWriter::TraceWriter() : WriterPlugin("vantrell-trace-writer") {
    addCapability(new pwr::WriterPluginCapability({pwr::TABLE_CLASS_DEFAULT}, "trace",
                                                  "Over-time data as Chrome trace-event JSON (Perfetto)",
                                                  ".trace.json", true));
}

TraceWriter::~TraceWriter() {
    if (file != nullptr && file != stdout) {
        std::fclose(file);
    }
}

void TraceWriter::notifyCommandlineParamsSet_i() {
    const std::string output = parseParams(getCommandlineParams())["output"];
    path = output.empty() ? "" : output + ".trace.json";
}

int TraceWriter::openOutput() {
    if (file != nullptr || closed) {
        return closed ? 1 : 0;  // a closed trace is whole: opening it again would truncate it
    }
    file = path.empty() ? stdout : std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        VR_LOG(1, "ERROR: trace writer can't create %s: %s\n", path.c_str(), std::strerror(errno));
        return 1;
    }
    std::fputs("{\"traceEvents\":[\n", file);
    return 0;
}

bool TraceWriter::flushContinuousResults(const pwr::SystemMetadata&) {
    if (file == nullptr || !pending) {
        return false;
    }
    std::fflush(file);
    pending = false;
    return true;
}

int TraceWriter::writeMessage(const pwr::SystemMessage& message) {
    system = &message.getSystemMetadata();
    return 0;
}

double TraceWriter::ticksToMicros_i(uint64_t ticks) const {
    // Without a clock the ticks stand as microseconds: the shape of the data survives.
    const double mhz = system != nullptr && system->vraClockFreqMHz > 0 ? system->vraClockFreqMHz : 1.0;
    return static_cast<double>(ticks) / mhz;
}

double TraceWriter::micros_i(uint64_t ticks) {
    if (origin == 0) {
        origin = system != nullptr && system->startTSC != 0 ? system->startTSC : ticks;
    }
    return ticks >= origin ? ticksToMicros_i(ticks - origin) : -ticksToMicros_i(origin - ticks);
}

int TraceWriter::logicalCpu_i(const pwr::EntityHandle* entity) {
    return cpus.of(entity);
}

int TraceWriter::track_i(const std::string& name, int cpu) {
    const auto known = tracks.find(name);
    if (known != tracks.end()) {
        return known->second;
    }
    const bool cpuTrack = cpu >= 0 && name == "CPU " + std::to_string(cpu);
    const int tid = cpuTrack ? cpu + 1 : nextTid++;
    tracks.emplace(name, tid);
    // Each CPU's track, then the other tracks of that CPU; the tracks of other entities behind all.
    const int sibling = cpu >= 0 && !cpuTrack ? std::min(++cpuSiblings[cpu], kSiblingSlots - 1) : 0;
    sortIndex[tid] = cpu >= 0 ? cpu * kSiblingSlots + sibling
                              : vantrell::plugins::LogicalCpus::kMaxCpuScan * kSiblingSlots + tid;
    return tid;
}

void TraceWriter::write_i(const std::string& event) {
    // Opened here only when the host didn't, and tried once: a failure is reported by closeOutput.
    if (file == nullptr && (closed || openTried || (openTried = true, openOutput() != 0))) {
        return;
    }
    std::fputs(wroteEvent ? ",\n" : "", file);
    std::fputs(event.c_str(), file);
    wroteEvent = true;
    pending = true;
}

void TraceWriter::emit_i(const json& event) {
    // Names come from the machine (sensors, task names) and need not be UTF-8: such bytes become U+FFFD.
    write_i(event.dump(-1, ' ', false, json::error_handler_t::replace));
}

const std::string& TraceWriter::quoted_i(const std::string& raw) {
    const auto known = quoted.find(raw);
    if (known != quoted.end()) {
        return known->second;
    }
    if (quoted.size() >= kQuotedCacheSize) {
        quoted.clear();  // task names of wake-ups are many; the names of states and tracks are few
    }
    return quoted.emplace(raw, json(raw).dump(-1, ' ', false, json::error_handler_t::replace)).first->second;
}

// The events of the data points, formatted by hand: building a json object for each costs several
// times more, and a traced collection brings many thousands per second.
void TraceWriter::emitEvent_i(const std::string& name, const std::string& cat, char ph, int tid, double ts,
                              double dur, const Args& args) {
    line.clear();
    line += "{\"name\":";
    line += quoted_i(name);
    line += ",\"cat\":";
    line += quoted_i(cat);
    line += ",\"ph\":\"";
    line += ph;
    line += ph == 'i' ? "\",\"s\":\"t\",\"pid\":" : "\",\"pid\":";
    appendNumber(line, kPid);
    if (tid >= 0) {
        line += ",\"tid\":";
        appendNumber(line, tid);
    }
    line += ",\"ts\":";
    appendNumber(line, ts);
    if (dur >= 0) {
        line += ",\"dur\":";
        appendNumber(line, dur);
    }
    if (!args.empty()) {
        const char* separator = ",\"args\":{";
        for (const auto& [key, value] : args) {
            line += separator;
            line += quoted_i(key);
            line += ':';
            appendNumber(line, value);
            separator = ",";
        }
        line += '}';
    }
    line += '}';
    write_i(line);
}

int TraceWriter::writeMessage(const pwr::Metric& metric) {
    if (closed) {
        return 1;
    }
    switch (metric.getMetricType()) {
        case pwr::Metric::SampledResidency:
            writeResidency_i(metric);
            break;
        case pwr::Metric::TracedValueTransition:
        case pwr::Metric::TracedEvent:
            writeTraced_i(metric);
            break;
        default:
            writeCounters_i(metric);
            break;
    }
    return file != nullptr ? 0 : 1;
}

// One sampling point of a residency metric: per entity, the ticks of each state over one duration.
void TraceWriter::writeResidency_i(const pwr::Metric& metric) {
    struct Interval {
        uint64_t duration = 0;
        std::vector<std::pair<std::string, double>> states;
    };
    std::vector<std::pair<const pwr::EntityHandle*, Interval>> intervals;
    for (const pwr::DataElement* element : metric.getData().elements) {
        double ticks = 0;
        if (element->getEntity() == nullptr || !numeric(element->getValue(), ticks)) {
            continue;
        }
        auto at = std::find_if(intervals.begin(), intervals.end(),
                               [&](const auto& entry) { return entry.first == element->getEntity(); });
        if (at == intervals.end()) {
            intervals.emplace_back(element->getEntity(), Interval{});
            at = intervals.end() - 1;
        }
        at->second.duration = std::max<uint64_t>(at->second.duration, element->getDuration());
        const pwr::DataDescriptor* state = element->getDescriptor();
        at->second.states.emplace_back(state != nullptr ? state->getName() : metric.getName(), ticks);
    }
    const uint64_t end = metric.getData().timestamp;
    for (const auto& [entity, interval] : intervals) {
        if (interval.duration == 0) {
            continue;
        }
        Args shares = interval.states;
        for (auto& [state, share] : shares) {
            share = share * 100.0 / static_cast<double>(interval.duration);
        }
        std::string dominant;
        double most = -1;
        double accounted = 0;
        for (const auto& [state, ticks] : interval.states) {
            accounted += ticks;
            if (ticks > most) {
                most = ticks;
                dominant = state;
            }
        }
        // Time in no reported state (for C-states: running) shows as "other" when it outweighs them.
        const double rest = static_cast<double>(interval.duration) - accounted;
        if (rest > most) {
            dominant = "other";
            shares.emplace_back("other", rest * 100.0 / static_cast<double>(interval.duration));
        }
        const int cpu = logicalCpu_i(entity);
        const double start = micros_i(end - std::min<uint64_t>(interval.duration, end));
        if (cpu < 0) {
            emitEvent_i(metric.getName() + " " + entity->getName() + " (%)", metric.getFeatureSwitchTag(),
                        'C', -1, start, -1, shares);
            continue;
        }
        // C-states own the CPU's track; other residencies (CPU time by state) get one beside it.
        std::string track = "CPU " + std::to_string(cpu);
        if (metric.getFeatureSwitchTag() != kCStateFeature) {
            track += " " + metric.getName();
        }
        emitEvent_i(dominant, metric.getFeatureSwitchTag(), 'X', track_i(track, cpu), start,
                    ticksToMicros_i(interval.duration), shares);
    }
}

// Traced metrics push one element at a time: a transition covers the time since the previous one.
void TraceWriter::writeTraced_i(const pwr::Metric& metric) {
    const uint64_t end = metric.getData().timestamp;
    for (const pwr::DataElement* element : metric.getData().elements) {
        const pwr::EntityHandle* entity = element->getEntity();
        if (entity == nullptr) {
            continue;
        }
        const int cpu = logicalCpu_i(entity);
        const std::string owner = cpu >= 0 ? "CPU " + std::to_string(cpu) : entity->getName();
        const int tid = track_i(owner + " " + metric.getName(), cpu);
        const pwr::DataDescriptor* descriptor = element->getDescriptor();
        std::string name = text(element->getValue(), unitsOf(metric.getQuantity()));
        if (descriptor != nullptr) {
            name = descriptor->getName() + (name.empty() ? "" : " " + name);
        }
        const std::string& shown = name.empty() ? metric.getName() : name;
        if (metric.getMetricType() == pwr::Metric::TracedEvent) {
            emitEvent_i(shown, metric.getFeatureSwitchTag(), 'i', tid, micros_i(end), -1, {});
            continue;
        }
        const uint64_t duration = std::min<uint64_t>(element->getDuration(), end);
        emitEvent_i(shown, metric.getFeatureSwitchTag(), 'X', tid, micros_i(end - duration),
                    ticksToMicros_i(duration), {});
    }
}

// Sampled values stand at their sampling point; a delta stands for the interval it covers, as a rate.
void TraceWriter::writeCounters_i(const pwr::Metric& metric) {
    const bool delta = metric.getMetricType() == pwr::Metric::SampledDelta;
    std::string units = unitsOf(metric.getQuantity());
    double factor = 1.0;
    if (delta) {
        const pwr::Quantity* rate = nullptr;
        if (metric.getQuantity() != nullptr && metric.getQuantity()->getRateConversion(rate, factor) == 0 &&
            rate != nullptr) {
            units = rate->toUnitsString();
        } else {
            units = units.empty() ? "per s" : units + "/s";
            factor = 1.0;
        }
    }
    const uint64_t end = metric.getData().timestamp;
    for (const pwr::DataElement* element : metric.getData().elements) {
        double value = 0;
        const pwr::EntityHandle* entity = element->getEntity();
        if (entity == nullptr || !numeric(element->getValue(), value)) {
            continue;
        }
        uint64_t at = end;
        if (delta) {
            const uint64_t duration = std::min<uint64_t>(element->getDuration(), end);
            if (duration == 0) {
                continue;
            }
            value = value * factor * 1e6 / ticksToMicros_i(duration);
            at = end - duration;
        }
        const int cpu = logicalCpu_i(entity);
        std::string name =
            cpu >= 0 ? "CPU " + std::to_string(cpu) + " " + metric.getName() : metric.getName();
        if (cpu < 0 && entity != pwr::EntityHandle::getSystemHandle()) {
            name += " " + entity->getName();
        }
        if (element->getDescriptor() != nullptr) {
            name += " " + element->getDescriptor()->getName();
        }
        if (!units.empty()) {
            name += " (" + units + ")";
        }
        if (!std::isfinite(value)) {
            continue;  // JSON has no text for it
        }
        const int tid = cpu >= 0 ? track_i("CPU " + std::to_string(cpu), cpu) : -1;
        emitEvent_i(name, metric.getFeatureSwitchTag(), 'C', tid, micros_i(at), -1, {{"value", value}});
    }
}

int TraceWriter::closeOutput() {
    if (closed) {
        return 0;
    }
    // Every logical CPU gets its track, also one that nothing was recorded on.
    for (const auto& [entity, cpu] : cpus.all()) {
        track_i("CPU " + std::to_string(cpu), cpu);
    }
    emit_i({{"name", "process_name"}, {"ph", "M"}, {"pid", kPid}, {"args", {{"name", "vantrell"}}}});
    for (const auto& [name, tid] : tracks) {
        emit_i(
            {{"name", "thread_name"}, {"ph", "M"}, {"pid", kPid}, {"tid", tid}, {"args", {{"name", name}}}});
        emit_i({{"name", "thread_sort_index"},
                {"ph", "M"},
                {"pid", kPid},
                {"tid", tid},
                {"args", {{"sort_index", sortIndex[tid]}}}});
    }
    closed = true;
    if (file == nullptr) {
        return 1;
    }
    std::fputs("\n],\"displayTimeUnit\":\"ms\"}\n", file);
    const bool failed = std::ferror(file) != 0;
    const bool closeFailed = file != stdout ? std::fclose(file) != 0 : std::fflush(file) != 0;
    file = nullptr;
    if (failed || closeFailed) {
        VR_LOG(1, "ERROR: trace writer couldn't write %s\n",
               path.empty() ? "the standard output" : path.c_str());
        return 1;
    }
    return 0;
}

}  // namespace vantrell::plugins

VR_DECLARE_PLUGIN(vantrell::plugins::TraceWriter)
