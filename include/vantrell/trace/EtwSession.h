#pragma once

// One session of the operating system's event tracing that records to one trace file: start with its
// providers, flush, stop, and later replay the file to a callback (subclasses supply it by overriding
// setLogfileCallback, postProcessLog and preparepostProcessLog). Static operations join the trace
// files of a run into one, on a thread of their own.
//
// The facility behind it is the platform seam's (vantrell/platform/TraceFacility.h). Failures come
// back as false (or all bits 1) with a log line; only the constructor throws.
//
// Ownership: the properties block is the session's, made by setEventTraceProperties and freed by end()
// and by the failure paths of begin(). The destructor leaves it, so that a session destroyed while it
// runs keeps the trace going. Copyable: a copy gets its own copy of the block.
//
// Threads: one thread per session. The merge list and the merge thread are process-wide: nothing may
// change the list between mergeLogs and the return of waitForMergeComplete.

#include <cstdint>
#include <string>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/platform/WinTypes.h"

class VR_EXPORT EtwSession {
  public:
    EtwSession();
    // logFileName is `resultFile` with `suffix` inserted ahead of the ".etl" that follows its last dot
    // ("out.etl" with "_user" gives "out_user.etl"). Throws std::runtime_error("Issue with result file
    // name") when there is no dot or no ".etl" from the last dot on.
    EtwSession(std::string resultFile, std::string const& suffix, std::string const& sessionName,
               std::string const& displayName);
    EtwSession(const EtwSession& other);
    EtwSession& operator=(const EtwSession& other);

  protected:
    // The properties block with buffers of 1024 KB, at most 400, at least 2. True.
    virtual bool setEventTraceProperties();
    // Allocates the zeroed block (122 + both name lengths bytes) and fills it. Throws std::bad_alloc
    // when it can't be had. True.
    virtual bool setEventTraceProperties(unsigned long bufferSizeKB, unsigned long maxBuffers,
                                         unsigned long minBuffers);

  public:
    virtual ~EtwSession();
    // Starts the session (stopping a stale one of the same name once) and enables each provider at
    // level 4 with its mask, then asks it to capture its state. False, with a log line, on failure.
    virtual bool begin();
    // Flushes, disables the providers and stops the session; frees the properties. False, with a log
    // line, on failure (a session that can't be flushed keeps running).
    virtual bool end();
    // Writes what the session buffers. False with "WARNING: Unable verify that <display> is buffering
    // events properly."
    virtual bool flush();
    // Events the running session lost, or all bits 1 when it can't be asked.
    virtual unsigned long queryLostEvents();
    // A zeroed logfile record naming logFileName, for event records with raw time stamps.
    virtual _EVENT_TRACE_LOGFILEA setLogfileCallback();
    // Replays the file to the callback. True when every event was delivered.
    virtual bool postProcessLog();
    // Opens the file for replay: the handle, or all bits 1 (file can't be opened, or was made by a
    // 32-bit collection).
    virtual unsigned long long preparepostProcessLog();
    // Ors `keywords` into the mask of a provider already added, else adds it.
    virtual void addProvider(_GUID provider, unsigned long long keywords);
    virtual bool hasAnyProvider();

    // ---- Merging the files of a run ---------------------------------------------------------------

    // Adds a suffix (one per session file of the run) to the process-wide merge list.
    static void addMergeFile(std::string const& suffix);
    static bool isMergeRequired();
    // Starts mergeThread on `target`'s characters, which must stay alive until the merge ends. True
    // when the thread started. A second call before waitForMergeComplete lets the first merge run on
    // unwaited.
    static bool mergeLogs(std::string const& target);
    // Waits for the merge thread, if one was started, logging "Waiting for merge to complete.\n".
    static void waitForMergeComplete();
    // Merges the files "<target with suffix>.etl" of the merge list into "<target>_Capture.etl" through
    // the merge library's CreateMergedTraceFile. 0, or the failure's code.
    static unsigned long mergeThread(void* target);
    // Finds a registered provider by its name (16-bit units, exact comparison). True with `out` set.
    static bool getGuidForProvider(const char16_t* name, _GUID* out);

  protected:
    std::string sessionName;
    std::string displayName;
    std::string logFileName;
    uint64_t sessionHandle = 0;
    std::vector<_GUID> providers;
    std::vector<unsigned long long> keywords;
    EVENT_TRACE_PROPERTIES* properties = nullptr;

  private:
    void freeProperties_i();
    void stopAfterFailure_i();
};
