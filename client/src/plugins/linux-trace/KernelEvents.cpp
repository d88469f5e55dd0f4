#include "KernelEvents.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vantrell::plugins {

namespace {

namespace pp = pwr::platform;

bool readUnsigned(const uint8_t* data, uint16_t size, uint32_t offset, uint32_t width, uint64_t& out) {
    if (width == 0 || width > 8 || uint64_t{offset} + width > size) {
        return false;
    }
    out = 0;
    std::memcpy(&out, data + offset, width);  // little-endian
    return true;
}

// A properties block as the facility reads it: the session and file names behind the 120 bytes.
std::vector<uint64_t> makeProperties(const std::string& session, const std::string& file) {
    const size_t size = sizeof(EVENT_TRACE_PROPERTIES) + session.size() + 1 + file.size() + 1;
    std::vector<uint64_t> storage((size + 7) / 8, 0);
    auto* p = reinterpret_cast<EVENT_TRACE_PROPERTIES*>(storage.data());
    p->Wnode.BufferSize = static_cast<uint32_t>(size);
    p->Wnode.Flags = 0x20000;
    p->Wnode.ClientContext = 1;
    p->BufferSize = 64;
    p->MinimumBuffers = 2;
    p->MaximumBuffers = 4;
    p->LogFileMode = 1;
    p->LoggerNameOffset = sizeof(EVENT_TRACE_PROPERTIES);
    p->LogFileNameOffset = static_cast<uint32_t>(sizeof(EVENT_TRACE_PROPERTIES) + session.size() + 1);
    char* base = reinterpret_cast<char*>(storage.data());
    std::memcpy(base + p->LoggerNameOffset, session.c_str(), session.size() + 1);
    std::memcpy(base + p->LogFileNameOffset, file.c_str(), file.size() + 1);
    return storage;
}

}  // namespace

const std::vector<KernelTracepoint>& kernelTracepoints() {
    static const std::vector<KernelTracepoint> all = {
        {"power:cpu_idle", "power", "cpu_idle", &pp::kKernelPowerProvider, 1, 0x1, KernelEventKind::CState},
        {"power:cpu_frequency", "power", "cpu_frequency", &pp::kKernelPowerProvider, 2, 0x2,
         KernelEventKind::Frequency},
        {"sched:sched_switch", "sched", "sched_switch", &pp::kKernelSchedulerProvider, 1, 0x1,
         KernelEventKind::Switch}};
    return all;
}

const KernelTracepoint* findTracepoint(const std::string& name) {
    for (const KernelTracepoint& tracepoint : kernelTracepoints()) {
        if (name == tracepoint.name) {
            return &tracepoint;
        }
    }
    return nullptr;
}

KernelEventDecoder::KernelEventDecoder() {
    const auto& all = kernelTracepoints();
    for (size_t i = 0; i < all.size(); ++i) {
        std::vector<pp::TracepointField> fields;
        if (!pp::readTracepointFormat(all[i].system, all[i].event, fields)) {
            continue;
        }
        for (const pp::TracepointField& f : fields) {
            const Field field{f.offset, f.size, true};
            if (f.name == "state") {
                layouts[i].state = field;
            } else if (f.name == "cpu_id") {
                layouts[i].cpuId = field;
            } else if (f.name == "next_comm") {
                layouts[i].nextComm = field;
            } else if (f.name == "next_pid") {
                layouts[i].nextPid = field;
            }
        }
    }
}

const KernelTracepoint* KernelEventDecoder::identify(const TraceTail::Event& event) const {
    for (const KernelTracepoint& tracepoint : kernelTracepoints()) {
        if (event.id == tracepoint.eventId && event.provider == *tracepoint.provider) {
            return &tracepoint;
        }
    }
    return nullptr;
}

bool KernelEventDecoder::decode(const KernelTracepoint& tracepoint, const TraceTail::Event& event,
                                DecodedEvent& out) const {
    const Layout& layout = layouts[&tracepoint - kernelTracepoints().data()];
    uint64_t number = 0;
    if (tracepoint.kind != KernelEventKind::Switch) {
        uint64_t cpu = 0;
        if (!layout.state.known || !layout.cpuId.known ||
            !readUnsigned(event.data, event.size, layout.cpuId.offset, layout.cpuId.size, cpu) ||
            !readUnsigned(event.data, event.size, layout.state.offset, layout.state.size, number) ||
            cpu >= 0xffff) {
            return false;
        }
        out.cpu = static_cast<uint16_t>(cpu);
        out.key = tracepoint.kind == KernelEventKind::CState ? "cstate" : "freq";
        out.value = number;  // an idle exit is (u32)-1, which is kIdleExit
        return true;
    }
    const Field& comm = layout.nextComm;
    if (!comm.known || !layout.nextPid.known || uint64_t{comm.offset} + comm.size > event.size ||
        !readUnsigned(event.data, event.size, layout.nextPid.offset, layout.nextPid.size, number)) {
        return false;
    }
    const char* text = reinterpret_cast<const char*>(event.data + comm.offset);
    out.cpu = event.processor;
    out.key.assign("wakeup:");
    out.key.append(text, strnlen(text, comm.size));
    out.value = number;
    return true;
}

bool probeKernelTracing(std::string& why) {
    const char* tmp = getenv("TMPDIR");
    std::string path = std::string(tmp != nullptr && *tmp != 0 ? tmp : "/tmp") + "/vantrell-probe-XXXXXX";
    const int fd = mkstemp(path.data());
    if (fd < 0) {
        why = std::string("no temporary file: ") + std::strerror(errno);
        return false;
    }
    ::close(fd);
    const std::string session = "Vantrell kernel trace probe " + std::to_string(getpid());
    std::vector<uint64_t> block = makeProperties(session, path);
    auto* properties = reinterpret_cast<EVENT_TRACE_PROPERTIES*>(block.data());
    pp::TraceFacility& facility = pp::traceFacility();
    uint64_t handle = 0;
    unsigned long status = facility.startTrace(&handle, session.c_str(), properties);
    const std::string step = status != 0 ? "start" : "enable";
    for (const _GUID* provider : {&pp::kKernelPowerProvider, &pp::kKernelSchedulerProvider}) {
        if (status == 0) {
            status = facility.enableTraceEx2(handle, provider, EVENT_CONTROL_CODE_ENABLE_PROVIDER, 4, 0x1, 0,
                                             0, nullptr);
        }
    }
    if (status != 0) {
        why = step + " failed with status " + std::to_string(status) + ": " + pp::getLastErrorText();
    }
    if (handle != 0) {
        facility.controlTrace(handle, nullptr, properties, EVENT_TRACE_CONTROL_STOP);
    }
    unlink(path.c_str());
    return status == 0;
}

}  // namespace vantrell::plugins
