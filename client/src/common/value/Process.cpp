#include "vantrell/value/Process.h"

#include <memory>

#include "value/UniqueIdRegistry.h"
#include "vantrell/value/Description.h"

namespace pwr {

// The handle of `id`, made from its pending description or a made-up one on first reference.
template <typename Handle, typename Desc>
Handle* ProcessManager::findOrMake_i(std::map<int, Handle*>& handles, std::map<int, Desc>& pending, int id,
                                     const Desc& unknown) {
    const auto known = handles.find(id);
    if (known != handles.end()) {
        return known->second;
    }
    const auto waiting = pending.find(id);
    std::unique_ptr<Handle> made;
    if (waiting != pending.end()) {
        made.reset(new Handle(waiting->second));
        pending.erase(waiting);
    } else {
        made.reset(new Handle(unknown));
    }
    Handle* handle = UniqueIdRegistry::add(std::move(made));
    handles.emplace(id, handle);
    return handle;
}

template <typename Handle, typename Desc>
int ProcessManager::endAt_i(std::map<int, Handle*>& handles, std::map<int, Desc>& pending, int id,
                            unsigned long long time) {
    if (pending.erase(id) != 0) {
        return 0;
    }
    const auto known = handles.find(id);
    if (known == handles.end()) {
        return 1;
    }
    known->second->endTime = time;
    if (UniqueIdRegistry* registry = UniqueIdRegistry::instance()) {
        registry->notifyChanged(known->second);
    }
    return 0;
}

Process::Process(const ProcessDescription& description)
    : DataHandle(Description(description.name, ""), DataHandleType::PROCESS),
      id(description.id),
      startTime(description.startTime),
      relatedId(description.relatedId) {}

const Process* Process::get(int pid) {
    return ProcessManager::instance().getProcess(pid);
}

Thread::Thread(const ThreadDescription& description)
    : DataHandle(Description(description.name, ""), DataHandleType::THREAD),
      id(description.id),
      startTime(description.startTime),
      relatedId(description.relatedId) {}

const Thread* Thread::get(int tid) {
    return ProcessManager::instance().getThread(tid);
}

ProcessManager& ProcessManager::instance() {
    static ProcessManager manager;
    return manager;
}

int ProcessManager::create(const ProcessDescription& description) {
    instance().pendingProcesses.emplace(description.id, description);
    return 0;
}

int ProcessManager::create(const ThreadDescription& description) {
    instance().pendingThreads.emplace(description.id, description);
    return 0;
}

const Process* ProcessManager::getProcess(int pid) {
    return findOrMake_i(processes, pendingProcesses, pid, ProcessDescription(pid, 0, 0, "unknown"));
}

const Thread* ProcessManager::getThread(int tid) {
    return findOrMake_i(threads, pendingThreads, tid, ThreadDescription(tid, 0, tid, "unknown"));
}

int ProcessManager::addProcessEndTime(int pid, unsigned long long time) {
    ProcessManager& manager = instance();
    return endAt_i(manager.processes, manager.pendingProcesses, pid, time);
}

int ProcessManager::addThreadEndTime(int tid, unsigned long long time) {
    ProcessManager& manager = instance();
    return endAt_i(manager.threads, manager.pendingThreads, tid, time);
}

}  // namespace pwr
