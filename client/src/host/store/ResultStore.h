#pragma once

// The result file `<prefix>.vrr`: an SQLite database whose layout docs/result-file.md describes.
//
// ResultWriter makes one while a collection runs: the machine record, the other records, every raw
// driver message, trace events and the rows of the summary tables. Messages are committed in batches (WAL
// mode), so a host that dies leaves a file that reads back up to the last batch.
//
// ResultReader opens one read-only (or an image of one in memory) and hands back what it holds. It is
// built for damaged and foreign input: every fault becomes a text in problems(), never a crash, and a
// damaged part of one table costs nothing of another.
//
// Neither class is copyable; each is used by one thread at a time.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;
struct vr_driver_msg;

namespace pwr {
class Metadata;
class SystemMetadata;
}  // namespace pwr

namespace vantrell::store {

constexpr int32_t kApplicationId = 0x56525246;  // "VRRF"
constexpr int kFormatVersion = 1;
constexpr size_t kMessageHeadSize = 13;  // sizeof(vr_driver_msg)

// When the writer commits the messages it holds: after `messages` rows or `interval`, whichever first.
struct BatchPolicy {
    size_t messages = 4096;
    std::chrono::milliseconds interval{500};
};

// One event of a trace session, as the trace_event table holds it.
struct TraceEventRow {
    uint64_t timestamp = 0;
    std::string provider;  // GUID text
    uint16_t eventId = 0;
    uint8_t version = 0;
    uint8_t channel = 0;
    uint8_t level = 0;
    uint8_t opcode = 0;
    uint16_t task = 0;
    uint64_t keyword = 0;
    uint32_t processId = 0;
    uint32_t threadId = 0;
    uint16_t processor = 0;
    std::vector<char> data;
};

class ResultWriter {
  public:
    ResultWriter();
    ~ResultWriter();  // closes the file if it is open, ignoring any failure
    ResultWriter(const ResultWriter&) = delete;
    ResultWriter& operator=(const ResultWriter&) = delete;

    // Creates `path`, replacing a file of that name and the WAL and shared-memory files beside it (a
    // stale WAL would otherwise be read as part of the new file). `writerName` goes to info.writer,
    // `metadataVersion` to info.metadata_version. False, with error(), when the file can't be made.
    bool create(const std::string& path, const std::string& writerName, unsigned int metadataVersion,
                BatchPolicy policy = {});

    // Every operation below returns false, with error(), when the file isn't open or the write fails.
    // After a failed write the writer refuses everything but close().

    // Stores the machine record; a later call replaces it (the end of a run knows its stop times).
    bool writeSystemMetadata(const pwr::SystemMetadata& system);
    // Stores a record of any other kind, in order of calling.
    bool writeRecord(const pwr::Metadata& record);
    // Appends one whole raw driver message (its head first). Fewer than 13 bytes are refused.
    bool appendMessage(const void* bytes, size_t size);
    bool appendTraceEvent(const TraceEventRow& event);
    // Appends one row of the summary table `title`: its column titles and cell texts, one for one. An
    // empty `unit` is stored as none. Differing numbers of titles and values are refused.
    bool appendTableRow(const std::string& title, const std::string& unit,
                        const std::vector<std::string>& titles, const std::vector<std::string>& values);

    // Commits what the current batch holds.
    bool flush();
    // Commits, marks the file closed and folds the WAL into it. The writer is then closed whatever the
    // result; false when any of that failed.
    bool close();

    bool isOpen() const { return db != nullptr; }
    const std::string& error() const { return errorText; }
    uint64_t messageCount() const { return messages; }

  private:
    bool exec_i(const char* sql);
    bool fail_i(const std::string& what);
    bool ready_i();
    bool rowWritten_i(bool isMessage);
    bool commit_i();
    bool storeRecord_i(sqlite3_stmt* statement, const pwr::Metadata& record);
    int64_t tableId_i(const std::string& title, const std::string& unit);
    void finalize_i();

    sqlite3* db = nullptr;
    std::string path;
    std::string errorText;
    bool failed = false;
    BatchPolicy policy;
    std::vector<sqlite3_stmt*> statements;  // owned, finalized before the connection closes
    sqlite3_stmt* insertMessage = nullptr;
    sqlite3_stmt* insertRecord = nullptr;
    sqlite3_stmt* insertSystem = nullptr;
    sqlite3_stmt* insertTrace = nullptr;
    sqlite3_stmt* insertTable = nullptr;
    sqlite3_stmt* insertCell = nullptr;
    std::map<std::pair<std::string, std::string>, std::pair<int64_t, int64_t>> tables;  // -> id, next row
    uint64_t messages = 0;
    size_t rowsInBatch = 0;
    std::chrono::steady_clock::time_point batchStart;
};

class ResultReader {
  public:
    ResultReader();
    ~ResultReader();
    ResultReader(const ResultReader&) = delete;
    ResultReader& operator=(const ResultReader&) = delete;

    // Opens `path` read-only. False when it is no result file this program can read: it doesn't open,
    // isn't an SQLite database, is empty, belongs to another application, never finished its
    // creation, or has a newer format version; problems() then holds the one text that says which. A
    // file that opens but is truncated opens (true) with that noted in problems(): what it still holds
    // can be read.
    bool open(const std::string& path);
    // The same for an image of a file in memory; `name` stands for the path in texts.
    bool openImage(std::vector<unsigned char> bytes, const std::string& name);

    int formatVersion() const { return version; }
    // info.metadata_version, for Metadata::deserialize.
    unsigned int metadataVersion() const { return recordVersion; }
    // Whether the writer closed the file (false: the collection was cut short).
    bool wasClosed() const { return closed; }
    // An info value; empty when the key is missing.
    std::string info(const std::string& key) const;

    // The machine record; null when it is missing or doesn't read (noted in problems()). Reading it
    // sets the process's clock conversion, as every SystemMetadata read does.
    std::unique_ptr<pwr::SystemMetadata> readSystemMetadata();
    // Each other record, rebuilt, in the order of writing. Records that don't read are skipped and
    // noted. Returns the number delivered.
    size_t forEachRecord(const std::function<void(std::unique_ptr<pwr::Metadata>)>& visit);
    // Each message in order of arrival. The pointer is valid for the call only. Returns the number
    // delivered; faults are noted and the reader goes on behind a damaged place where it can.
    uint64_t forEachMessage(const std::function<void(const vr_driver_msg*, size_t)>& visit);
    uint64_t forEachTraceEvent(const std::function<void(const TraceEventRow&)>& visit);
    // Each stored row of each summary table: title, unit (empty: none), row index, titles, values.
    uint64_t forEachTableRow(
        const std::function<void(const std::string&, const std::string&, int64_t,
                                 const std::vector<std::string>&, const std::vector<std::string>&)>& visit);

    // Everything that went wrong so far, one text each, each starting with the path.
    const std::vector<std::string>& problems() const { return faults; }
    bool ok() const { return faults.empty(); }

  private:
    bool openConnection_i(const std::string& name, const unsigned char* header, uint64_t size);
    bool checkIdentity_i();
    bool checkTables_i();
    static uint64_t expectedLength_i(const unsigned char* header);
    bool refuse_i(const std::string& what);
    void note_i(const std::string& what);
    void noteSql_i(const std::string& what, int code);
    sqlite3_stmt* prepare_i(const char* sql, const char* what);
    uint64_t readMessagesFrom_i(int64_t after, int64_t& first, int64_t& last, uint64_t& delivered, int& code,
                                const std::function<void(const vr_driver_msg*, size_t)>& visit);
    void close_i();

    sqlite3* db = nullptr;
    std::vector<unsigned char> image;  // the bytes behind an in-memory file; outlives the connection
    std::string name;
    std::vector<std::string> faults;
    std::map<std::string, std::string> infoValues;
    int version = 0;
    unsigned int recordVersion = 0;
    bool closed = false;
};

}  // namespace vantrell::store
