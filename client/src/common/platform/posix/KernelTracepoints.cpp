// Linux tracepoints as kernel trace providers, through perf_event_open.

#include "platform/posix/KernelTracepoints.h"

#include <errno.h>
#include <linux/perf_event.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <numeric>
#include <sstream>

#include "vantrell/platform/Platform.h"
#include "vantrell/platform/TraceFacility.h"

namespace pwr {
namespace platform {

const _GUID kKernelPowerProvider = {
    0x331c3b3a, 0x2005, 0x44c2, {0xac, 0x5e, 0x77, 0x22, 0x0c, 0x37, 0xd6, 0xb4}};
const _GUID kKernelSchedulerProvider = {
    0x7f3c9a52, 0x4b1e, 0x4d8a, {0x9e, 0x6f, 0x2a, 0x5b, 0x8c, 0x0d, 0x1e, 0x73}};

namespace {

// Data pages per processor, largest first: 1 MB holds some 10000 context switches, enough for a poll
// that a busy machine delays well past its 10 ms. Unprivileged users may lock less, hence the fallbacks.
constexpr size_t kRingPages[] = {256, 64, 16};
constexpr auto kPollInterval = std::chrono::milliseconds(10);

struct TracepointName {
    const char* system;
    const char* name;
};

// Event Id n of a provider is entry n-1; its keyword bit is 1 << (n-1).
const std::vector<TracepointName>& tracepointsOf(const _GUID& provider) {
    static const std::vector<TracepointName> power = {{"power", "cpu_idle"}, {"power", "cpu_frequency"}};
    static const std::vector<TracepointName> scheduler = {{"sched", "sched_switch"},
                                                          {"irq", "irq_handler_entry"}};
    static const std::vector<TracepointName> none;
    if (provider == kKernelPowerProvider) {
        return power;
    }
    return provider == kKernelSchedulerProvider ? scheduler : none;
}

bool isDirectory(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::vector<uint16_t> onlineProcessors() {
    std::vector<uint16_t> cpus;
    std::ifstream in("/sys/devices/system/cpu/online");
    std::string range;
    while (std::getline(in, range, ',')) {
        unsigned first = 0;
        unsigned last = 0;
        char dash = 0;
        std::istringstream parts(range);
        parts >> first;
        last = (parts >> dash >> last) ? last : first;
        for (unsigned cpu = first; cpu <= last && cpu < 65536; ++cpu) {
            cpus.push_back(static_cast<uint16_t>(cpu));
        }
    }
    if (cpus.empty()) {
        long count = sysconf(_SC_NPROCESSORS_ONLN);
        for (long cpu = 0; cpu < std::max(count, 1L); ++cpu) {
            cpus.push_back(static_cast<uint16_t>(cpu));
        }
    }
    return cpus;
}

unsigned long statusForPerfError(int error) {
    if (error == EACCES || error == EPERM) {
        return ERROR_ACCESS_DENIED;
    }
    if (error == ENOENT || error == ENODEV || error == EOPNOTSUPP || error == ENOSYS) {
        return ERROR_NOT_SUPPORTED;
    }
    return statusForErrno(error);
}

int openTracepoint(uint32_t id, uint16_t cpu) {
    perf_event_attr attr{};
    attr.type = PERF_TYPE_TRACEPOINT;
    attr.size = sizeof(attr);
    attr.config = id;
    attr.sample_period = 1;
    attr.sample_type = PERF_SAMPLE_TID | PERF_SAMPLE_TIME | PERF_SAMPLE_CPU | PERF_SAMPLE_RAW;
    attr.disabled = 1;
    attr.use_clockid = 1;
    attr.clockid = CLOCK_MONOTONIC_RAW;  // the library's performance counter
    return static_cast<int>(
        syscall(SYS_perf_event_open, &attr, -1, static_cast<int>(cpu), -1, PERF_FLAG_FD_CLOEXEC));
}

bool readTracepointId(const std::string& root, const TracepointName& tp, uint32_t& id) {
    std::ifstream in(root + "/events/" + tp.system + "/" + tp.name + "/id");
    return static_cast<bool>(in >> id);
}

}  // namespace

bool isKernelProvider(const _GUID& provider) {
    return provider == kKernelPowerProvider || provider == kKernelSchedulerProvider;
}

std::string tracefsRoot() {
    static std::mutex lock;
    std::lock_guard<std::mutex> guard(lock);
    for (const char* root : {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"}) {
        if (isDirectory(std::string(root) + "/events")) {
            return root;
        }
    }
    if (mount("nodev", "/sys/kernel/tracing", "tracefs", 0, nullptr) == 0 &&
        isDirectory("/sys/kernel/tracing/events")) {
        return "/sys/kernel/tracing";
    }
    return "";
}

bool readTracepointFormat(const std::string& system, const std::string& name,
                          std::vector<TracepointField>& fields) {
    std::string root = tracefsRoot();
    std::ifstream in(root + "/events/" + system + "/" + name + "/format");
    if (root.empty() || !in) {
        return false;
    }
    fields.clear();
    std::string line;
    while (std::getline(in, line)) {
        // "\tfield:char prev_comm[16];\toffset:8;\tsize:16;\tsigned:0;"
        size_t start = line.find("field:");
        size_t end = line.find(';');
        if (start == std::string::npos || end == std::string::npos || end < start) {
            continue;
        }
        std::string declaration = line.substr(start + 6, end - start - 6);
        declaration = declaration.substr(0, declaration.find('['));
        TracepointField field{declaration.substr(declaration.find_last_of(' ') + 1), 0, 0, false};
        unsigned offset = 0;
        unsigned size = 0;
        int isSigned = 0;
        if (std::sscanf(line.c_str() + end, ";\toffset:%u;\tsize:%u;\tsigned:%d;", &offset, &size,
                        &isSigned) == 3) {
            field.offset = offset;
            field.size = size;
            field.isSigned = isSigned != 0;
            fields.push_back(field);
        }
    }
    return !fields.empty();
}

KernelCollector::KernelCollector(const _GUID& p, std::shared_ptr<TraceSessionCore> c)
    : provider(p), core(std::move(c)) {}

unsigned long KernelCollector::start(const _GUID& provider, uint64_t keywords,
                                     std::shared_ptr<TraceSessionCore> core,
                                     std::unique_ptr<KernelCollector>& out, int& error) {
    std::unique_ptr<KernelCollector> collector(new KernelCollector(provider, std::move(core)));
    std::vector<std::pair<std::string, std::string>> names;
    for (const TracepointName& tp : tracepointsOf(provider)) {
        names.emplace_back(tp.system, tp.name);
    }
    unsigned long status = collector->open_i(names, keywords, error);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    for (Ring& ring : collector->rings) {
        ioctl(ring.fd, PERF_EVENT_IOC_ENABLE, 0);
    }
    for (int fd : collector->extraFds) {
        ioctl(fd, PERF_EVENT_IOC_ENABLE, 0);
    }
    collector->poller = std::thread([raw = collector.get()] { raw->pollLoop_i(); });
    out = std::move(collector);
    return ERROR_SUCCESS;
}

unsigned long KernelCollector::open_i(const std::vector<std::pair<std::string, std::string>>& names,
                                      uint64_t keywords, int& error) {
    std::string root = tracefsRoot();
    if (root.empty()) {
        error = ENOENT;
        return ERROR_NOT_SUPPORTED;
    }
    for (size_t i = 0; i < names.size(); ++i) {
        uint64_t bit = uint64_t{1} << i;
        uint32_t id = 0;
        if (keywords != 0 && (keywords & bit) == 0) {
            continue;
        }
        if (!readTracepointId(root, {names[i].first.c_str(), names[i].second.c_str()}, id)) {
            error = ENOENT;
            return ERROR_NOT_SUPPORTED;
        }
        _EVENT_DESCRIPTOR descriptor{static_cast<uint16_t>(i + 1), 0, 0, TRACE_LEVEL_INFORMATION, 0, 0, bit};
        tracepoints.push_back({id, descriptor});
    }
    for (uint16_t cpu : onlineProcessors()) {
        Ring ring;
        ring.cpu = cpu;
        for (size_t i = 0; i < tracepoints.size(); ++i) {
            int fd = openTracepoint(tracepoints[i].id, cpu);
            if (fd < 0) {
                error = errno;
                return statusForPerfError(error);
            }
            if (i == 0) {
                ring.fd = fd;
                if (!mapRing_i(ring, error)) {
                    ::close(fd);
                    return statusForPerfError(error);
                }
                rings.push_back(ring);
            } else {
                extraFds.push_back(fd);
                if (ioctl(fd, PERF_EVENT_IOC_SET_OUTPUT, ring.fd) != 0) {
                    error = errno;
                    return statusForPerfError(error);
                }
            }
        }
    }
    return ERROR_SUCCESS;
}

bool KernelCollector::mapRing_i(Ring& ring, int& error) {
    const size_t pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    for (size_t pages : kRingPages) {
        void* base = mmap(nullptr, (pages + 1) * pageSize, PROT_READ | PROT_WRITE, MAP_SHARED, ring.fd, 0);
        if (base != MAP_FAILED) {
            ring.base = base;
            ring.dataPages = pages;
            return true;
        }
        error = errno;
    }
    return false;
}

KernelCollector::~KernelCollector() {
    {
        std::lock_guard<std::mutex> guard(stopLock);
        stopping = true;
    }
    stopSignal.notify_all();
    if (poller.joinable()) {
        poller.join();
        drain();
    }
    const size_t pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    for (int fd : extraFds) {
        ::close(fd);
    }
    for (Ring& ring : rings) {
        munmap(ring.base, (ring.dataPages + 1) * pageSize);
        ::close(ring.fd);
    }
}

void KernelCollector::pollLoop_i() {
    std::unique_lock<std::mutex> guard(stopLock);
    while (!stopSignal.wait_for(guard, kPollInterval, [this] { return stopping; })) {
        guard.unlock();
        drain();
        guard.lock();
    }
}

void KernelCollector::drain() {
    std::lock_guard<std::mutex> guard(drainLock);
    std::vector<tracefile::EventView> events;
    std::vector<uint8_t> arena;
    std::vector<size_t> offsets;  // of each event's user data in `arena`, which may move while it grows
    for (Ring& ring : rings) {
        drainRing_i(ring, events, arena, offsets);
    }
    for (size_t i = 0; i < events.size(); ++i) {
        events[i].userData = arena.data() + offsets[i];
    }
    std::vector<size_t> order(events.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&events](size_t a, size_t b) { return events[a].timeStamp < events[b].timeStamp; });
    std::vector<tracefile::EventView> sorted;
    sorted.reserve(events.size());
    for (size_t i : order) {
        sorted.push_back(events[i]);
    }
    if (!sorted.empty()) {
        core->appendStamped(sorted);
    }
}

void KernelCollector::drainRing_i(Ring& ring, std::vector<tracefile::EventView>& events,
                                  std::vector<uint8_t>& arena, std::vector<size_t>& offsets) {
    const size_t pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t dataSize = ring.dataPages * pageSize;
    auto* meta = static_cast<perf_event_mmap_page*>(ring.base);
    const uint8_t* data = static_cast<const uint8_t*>(ring.base) + pageSize;
    uint64_t head = __atomic_load_n(&meta->data_head, __ATOMIC_ACQUIRE);
    uint64_t tail = meta->data_tail;
    std::vector<uint8_t> record;
    while (tail + sizeof(perf_event_header) <= head) {
        perf_event_header header;
        for (size_t i = 0; i < sizeof(header); ++i) {
            reinterpret_cast<uint8_t*>(&header)[i] = data[(tail + i) % dataSize];
        }
        if (header.size < sizeof(header) || tail + header.size > head) {
            break;
        }
        record.resize(header.size);
        for (size_t i = 0; i < header.size; ++i) {
            record[i] = data[(tail + i) % dataSize];
        }
        tail += header.size;
        if (header.type == PERF_RECORD_LOST && record.size() >= 24) {
            uint64_t lost = 0;
            std::memcpy(&lost, record.data() + 16, 8);
            core->addLost(lost);
            continue;
        }
        // PERF_SAMPLE_TID, _TIME, _CPU, _RAW: pid, tid; time; cpu, res; size, bytes.
        if (header.type != PERF_RECORD_SAMPLE || record.size() < 8 + 8 + 8 + 8 + 4) {
            continue;
        }
        tracefile::EventView event;
        uint32_t rawSize = 0;
        std::memcpy(&event.processId, record.data() + 8, 4);
        std::memcpy(&event.threadId, record.data() + 12, 4);
        std::memcpy(&event.timeStamp, record.data() + 16, 8);
        std::memcpy(&rawSize, record.data() + 32, 4);
        if (rawSize < 2 || 36 + size_t{rawSize} > record.size() || rawSize > 0xffff) {
            continue;
        }
        uint16_t commonType = 0;
        std::memcpy(&commonType, record.data() + 36, 2);
        auto match = std::find_if(tracepoints.begin(), tracepoints.end(),
                                  [commonType](const Tracepoint& tp) { return tp.id == commonType; });
        if (match == tracepoints.end()) {
            continue;
        }
        event.provider = provider;
        event.descriptor = match->descriptor;
        event.processor = ring.cpu;
        event.userDataLength = static_cast<uint16_t>(rawSize);
        offsets.push_back(arena.size());
        arena.insert(arena.end(), record.begin() + 36, record.begin() + 36 + rawSize);
        events.push_back(event);
    }
    __atomic_store_n(&meta->data_tail, tail, __ATOMIC_RELEASE);
}

}  // namespace platform
}  // namespace pwr
