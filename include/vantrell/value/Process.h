#pragma once

// Processes and threads as handles. Trace data names them by number; tables want a handle.
// ProcessManager remembers the descriptions that arrive from a trace and makes a Process or Thread
// handle only when a value first refers to one, so a process nobody refers to never costs a handle
// and never appears in an IdMessage.
//
// Handles belong to the UniqueId registry (see UniqueId.h); callers keep the const pointers and never
// free them. No locks: one thread at a time, as for the registry.

#include <cstdint>
#include <map>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/value/DataHandle.h"

namespace pwr {

// What a trace tells of a process or a thread. Process and thread descriptions are the same plain
// value; they are two types so that ProcessManager::create knows which map to fill.
template <int Kind>
struct RunDescription {
    RunDescription(int id, unsigned long long startTime, int relatedId, const std::string& name)
        : startTime(startTime), id(id), relatedId(relatedId), name(name) {}

    uint64_t startTime;
    int32_t id;         // the pid or the tid
    int32_t relatedId;  // the parent pid of a process, the owning pid of a thread
    std::string name;
};
using ProcessDescription = RunDescription<0>;
using ThreadDescription = RunDescription<1>;

class VR_EXPORT Process : public DataHandle {
  public:
    // ProcessManager::instance().getProcess(pid).
    static const Process* get(int pid);

    int getPid() const { return id; }
    const std::string& getPath() const { return getName(); }
    unsigned long long getStartTime() const { return startTime; }
    // 0 until the end is known.
    unsigned long long getEndTime() const { return endTime; }
    int getParentPid() const { return relatedId; }

  private:
    friend class ProcessManager;
    explicit Process(const ProcessDescription& description);

    int32_t id;
    uint64_t startTime;
    uint64_t endTime = 0;
    int32_t relatedId;
};

class VR_EXPORT Thread : public DataHandle {
  public:
    // ProcessManager::instance().getThread(tid).
    static const Thread* get(int tid);

    int getTid() const { return id; }
    int getPid() const { return relatedId; }
    unsigned long long getStartTime() const { return startTime; }
    // 0 until the end is known.
    unsigned long long getEndTime() const { return endTime; }

  private:
    friend class ProcessManager;
    explicit Thread(const ThreadDescription& description);

    int32_t id;
    uint64_t startTime;
    uint64_t endTime = 0;
    int32_t relatedId;
};

class VR_EXPORT ProcessManager {
  public:
    // The one instance of the process.
    static ProcessManager& instance();

    // Remembers the description under its id until a value refers to it. A description for an id
    // already pending is dropped; one for an id that has a handle waits unused (ids are reused, and
    // nothing tells a new process from an old one). Returns 0.
    static int create(const ProcessDescription& description);
    static int create(const ThreadDescription& description);

    // The handle of `pid`: the one made before, else one made from the pending description (which is
    // then forgotten), else one made up with the name "unknown", start time 0 and parent pid 0. A new
    // handle is registered, and so announced to the stream.
    const Process* getProcess(int pid);
    // As getProcess; a made-up thread belongs to a process of its own tid (getPid() == getTid()).
    const Thread* getThread(int tid);

    // A pending id is forgotten (0): a later reference finds it "unknown". A handle gets its end time
    // and is announced again with one IdMessage (0). An unknown id returns 1.
    static int addProcessEndTime(int pid, unsigned long long time);
    static int addThreadEndTime(int tid, unsigned long long time);

  private:
    template <typename Handle, typename Desc>
    static Handle* findOrMake_i(std::map<int, Handle*>& handles, std::map<int, Desc>& pending, int id,
                                const Desc& unknown);
    template <typename Handle, typename Desc>
    static int endAt_i(std::map<int, Handle*>& handles, std::map<int, Desc>& pending, int id,
                       unsigned long long time);

    std::map<int, Process*> processes;
    std::map<int, Thread*> threads;
    std::map<int, ProcessDescription> pendingProcesses;
    std::map<int, ThreadDescription> pendingThreads;
};

}  // namespace pwr
