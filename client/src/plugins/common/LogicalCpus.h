#pragma once

// Which logical CPU an entity stands for: the CPU threads of the topology, looked up once the
// topology exists, and otherwise entities a plug-in named after a CPU ("cpu3", "CPU 3", "cpu_3").
// -1 for anything else. One thread at a time.

#include <algorithm>
#include <cctype>
#include <map>
#include <string>

#include <vantrell/VantrellCore.h>

namespace vantrell::plugins {

class LogicalCpus {
  public:
    static constexpr int kMaxCpuScan = 65536;

    int of(const pwr::EntityHandle* entity) {
        if (entity == nullptr) {
            return -1;
        }
        const auto found = all().find(entity);
        return found != cpus.end() ? found->second : fromName(entity->getName());
    }

    // The CPU threads of the topology by entity; empty until the topology exists.
    const std::map<const pwr::EntityHandle*, int>& all() {
        if (!known && pwr::EntityHandle::getSystemHandle() != nullptr) {
            known = true;
            const int count = pwr::EntityHandle::getCPUThreadCount();
            for (int cpu = 0, found = 0; found < count && cpu < kMaxCpuScan; ++cpu) {
                if (const pwr::EntityHandle* thread = pwr::EntityHandle::getCPUThreadHandle(cpu)) {
                    cpus[thread] = cpu;
                    ++found;
                }
            }
        }
        return cpus;
    }

  private:
    static int fromName(const std::string& name) {
        if (name.size() < 4) {
            return -1;
        }
        std::string head = name.substr(0, 3);
        std::transform(head.begin(), head.end(), head.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        size_t at = name[3] == ' ' || name[3] == '_' ? 4 : 3;
        if (head != "cpu" || at >= name.size() || name.size() - at > 5 ||
            !std::all_of(name.begin() + static_cast<long>(at), name.end(),
                         [](unsigned char c) { return std::isdigit(c) != 0; })) {
            return -1;
        }
        return std::stoi(name.substr(at));
    }

    std::map<const pwr::EntityHandle*, int> cpus;
    bool known = false;
};

}  // namespace vantrell::plugins
