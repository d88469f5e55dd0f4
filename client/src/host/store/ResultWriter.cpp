// The writing half of the result file: layout and rules in docs/result-file.md.

#include "ResultStore.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>

#include <vantrell/VantrellCore.h>

namespace vantrell::store {

namespace {

const char* const kSchema = R"sql(
CREATE TABLE info(key TEXT PRIMARY KEY, value TEXT);
CREATE TABLE system_metadata(id INTEGER PRIMARY KEY CHECK (id = 1), record BLOB NOT NULL);
CREATE TABLE metadata(seq INTEGER PRIMARY KEY, kind INTEGER NOT NULL, plugin_id INTEGER, record BLOB NOT NULL);
CREATE TABLE message(seq INTEGER PRIMARY KEY, timestamp INTEGER NOT NULL, sid INTEGER NOT NULL,
  metric INTEGER NOT NULL, msg INTEGER NOT NULL, bytes BLOB NOT NULL);
CREATE TABLE trace_event(seq INTEGER PRIMARY KEY, timestamp INTEGER NOT NULL, provider TEXT NOT NULL,
  event_id INTEGER NOT NULL, version INTEGER NOT NULL, channel INTEGER NOT NULL, level INTEGER NOT NULL,
  opcode INTEGER NOT NULL, task INTEGER NOT NULL, keyword INTEGER NOT NULL, process_id INTEGER NOT NULL,
  thread_id INTEGER NOT NULL, processor INTEGER NOT NULL, data BLOB NOT NULL);
CREATE TABLE summary_table(id INTEGER PRIMARY KEY, title TEXT NOT NULL, unit TEXT);
CREATE TABLE summary_cell(table_id INTEGER NOT NULL, row_index INTEGER NOT NULL, column_index INTEGER NOT NULL,
  column_title TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY (table_id, row_index, column_index)) WITHOUT ROWID;
CREATE VIEW summary AS SELECT t.title AS table_title, t.unit AS unit, c.row_index, c.column_index,
  c.column_title, c.value FROM summary_cell c JOIN summary_table t ON t.id = c.table_id;
)sql";

std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

std::vector<char> recordBytes(const pwr::Metadata& record) {
    pwr::Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

// Removes a file that may not be there.
bool removeIfThere(const std::string& path, std::string& why) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) {
        return true;
    }
    why = path + ": " + std::strerror(errno);
    return false;
}

}  // namespace

// ---- ResultWriter --------------------------------------------------------------------------------------

ResultWriter::ResultWriter() = default;

ResultWriter::~ResultWriter() {
    if (db != nullptr) {
        close();
    }
}

bool ResultWriter::fail_i(const std::string& what) {
    if (!failed) {
        errorText = path + ": cannot write the result file: " + what;
    }
    failed = true;
    return false;
}

bool ResultWriter::exec_i(const char* sql) {
    char* message = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &message) == SQLITE_OK) {
        return true;
    }
    const std::string text = message ? message : sqlite3_errmsg(db);
    sqlite3_free(message);
    return fail_i(text);
}

bool ResultWriter::create(const std::string& filePath, const std::string& writerName,
                          unsigned int metadataVersion, BatchPolicy batchPolicy) {
    if (db != nullptr) {
        close();
    }
    path = filePath;
    errorText.clear();
    failed = false;
    policy = batchPolicy;
    messages = 0;
    rowsInBatch = 0;
    tables.clear();
    std::string why;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        if (!removeIfThere(path + suffix, why)) {
            return fail_i("cannot replace " + why);
        }
    }
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        const std::string text = db ? sqlite3_errmsg(db) : "out of memory";
        sqlite3_close_v2(db);
        db = nullptr;
        return fail_i(text);
    }
    const std::string facts = "INSERT INTO info VALUES ('state', 'open'), ('metadata_version', '" +
                              std::to_string(metadataVersion) + "'), ('created', '" + utcNow() +
                              "'), ('writer', ?1);";
    const std::string identity = "PRAGMA application_id = " + std::to_string(kApplicationId) +
                                 "; PRAGMA user_version = " + std::to_string(kFormatVersion) + ";";
    sqlite3_stmt* writer = nullptr;
    const bool made =
        exec_i("PRAGMA page_size = 4096; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;") &&
        exec_i("BEGIN") && exec_i(kSchema) && exec_i(identity.c_str()) &&
        sqlite3_prepare_v2(db, facts.c_str(), -1, &writer, nullptr) == SQLITE_OK &&
        sqlite3_bind_text(writer, 1, writerName.c_str(), -1, SQLITE_TRANSIENT) == SQLITE_OK &&
        sqlite3_step(writer) == SQLITE_DONE && exec_i("COMMIT");
    sqlite3_finalize(writer);
    if (!made) {
        fail_i(sqlite3_errmsg(db));
        finalize_i();
        return false;
    }
    const std::pair<sqlite3_stmt**, const char*> prepared[] = {
        {&insertMessage,
         "INSERT INTO message(timestamp, sid, metric, msg, bytes) VALUES (?1, ?2, ?3, ?4, ?5)"},
        {&insertRecord, "INSERT INTO metadata(kind, plugin_id, record) VALUES (?1, ?2, ?3)"},
        {&insertSystem, "INSERT OR REPLACE INTO system_metadata(id, record) VALUES (1, ?1)"},
        {&insertTrace,
         "INSERT INTO trace_event(timestamp, provider, event_id, version, channel, level, opcode, task,"
         " keyword, process_id, thread_id, processor, data)"
         " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)"},
        {&insertTable, "INSERT INTO summary_table(title, unit) VALUES (?1, ?2)"},
        {&insertCell, "INSERT INTO summary_cell VALUES (?1, ?2, ?3, ?4, ?5)"},
    };
    for (const auto& [slot, sql] : prepared) {
        if (sqlite3_prepare_v2(db, sql, -1, slot, nullptr) != SQLITE_OK) {
            fail_i(sqlite3_errmsg(db));
            finalize_i();
            return false;
        }
        statements.push_back(*slot);
    }
    if (!exec_i("BEGIN")) {
        finalize_i();
        return false;
    }
    batchStart = std::chrono::steady_clock::now();
    return true;
}

bool ResultWriter::ready_i() {
    if (db == nullptr) {
        errorText = "the result file is not open";
        return false;
    }
    return !failed;
}

bool ResultWriter::commit_i() {
    rowsInBatch = 0;
    batchStart = std::chrono::steady_clock::now();
    return exec_i("COMMIT") && exec_i("BEGIN");
}

// Counts a message into the batch, and commits when the policy says so.
bool ResultWriter::rowWritten_i(bool isMessage) {
    rowsInBatch += isMessage ? 1 : 0;
    if (rowsInBatch >= policy.messages || std::chrono::steady_clock::now() - batchStart >= policy.interval) {
        return commit_i();
    }
    return true;
}

bool ResultWriter::storeRecord_i(sqlite3_stmt* statement, const pwr::Metadata& record) {
    const std::vector<char> bytes = recordBytes(record);
    sqlite3_reset(statement);
    int column = 1;
    if (statement == insertRecord) {
        sqlite3_bind_int64(statement, column++, record.getType());
        sqlite3_bind_int64(statement, column++, record.getPluginID());
    }
    sqlite3_bind_blob64(statement, column, bytes.data(), bytes.size(), SQLITE_STATIC);
    const int code = sqlite3_step(statement);
    sqlite3_clear_bindings(statement);
    return code == SQLITE_DONE ? rowWritten_i(false) : fail_i(sqlite3_errmsg(db));
}

bool ResultWriter::writeSystemMetadata(const pwr::SystemMetadata& system) {
    return ready_i() && storeRecord_i(insertSystem, system);
}

bool ResultWriter::writeRecord(const pwr::Metadata& record) {
    return ready_i() && storeRecord_i(insertRecord, record);
}

bool ResultWriter::appendMessage(const void* bytes, size_t size) {
    if (!ready_i()) {
        return false;
    }
    if (bytes == nullptr || size < kMessageHeadSize) {
        errorText =
            path + ": a message of " + std::to_string(size) + " bytes is shorter than its head; not stored";
        return false;
    }
    vr_driver_msg head;
    std::memcpy(&head, bytes, sizeof(head));
    sqlite3_stmt* s = insertMessage;
    sqlite3_reset(s);
    sqlite3_bind_int64(s, 1, static_cast<sqlite3_int64>(head.timestamp));
    sqlite3_bind_int(s, 2, head.source.byte0);
    sqlite3_bind_int(s, 3, head.source.byte1);
    sqlite3_bind_int(s, 4, head.source.byte2);
    sqlite3_bind_blob64(s, 5, bytes, size, SQLITE_STATIC);
    if (sqlite3_step(s) != SQLITE_DONE) {
        return fail_i(sqlite3_errmsg(db));
    }
    ++messages;
    return rowWritten_i(true);
}

bool ResultWriter::appendTraceEvent(const TraceEventRow& event) {
    if (!ready_i()) {
        return false;
    }
    sqlite3_stmt* s = insertTrace;
    sqlite3_reset(s);
    sqlite3_bind_int64(s, 1, static_cast<sqlite3_int64>(event.timestamp));
    sqlite3_bind_text(s, 2, event.provider.data(), static_cast<int>(event.provider.size()), SQLITE_STATIC);
    const int64_t numbers[] = {event.eventId,
                               event.version,
                               event.channel,
                               event.level,
                               event.opcode,
                               event.task,
                               static_cast<int64_t>(event.keyword),
                               event.processId,
                               event.threadId,
                               event.processor};
    for (int i = 0; i < 10; ++i) {
        sqlite3_bind_int64(s, 3 + i, numbers[i]);
    }
    // An empty vector may have no data pointer, which would bind NULL.
    if (event.data.empty()) {
        sqlite3_bind_zeroblob(s, 13, 0);
    } else {
        sqlite3_bind_blob64(s, 13, event.data.data(), event.data.size(), SQLITE_STATIC);
    }
    return sqlite3_step(s) == SQLITE_DONE ? rowWritten_i(false) : fail_i(sqlite3_errmsg(db));
}

int64_t ResultWriter::tableId_i(const std::string& title, const std::string& unit) {
    const auto found = tables.find({title, unit});
    if (found != tables.end()) {
        return found->second.first;
    }
    sqlite3_reset(insertTable);
    sqlite3_bind_text(insertTable, 1, title.data(), static_cast<int>(title.size()), SQLITE_STATIC);
    if (unit.empty()) {
        sqlite3_bind_null(insertTable, 2);
    } else {
        sqlite3_bind_text(insertTable, 2, unit.data(), static_cast<int>(unit.size()), SQLITE_STATIC);
    }
    if (sqlite3_step(insertTable) != SQLITE_DONE) {
        fail_i(sqlite3_errmsg(db));
        return -1;
    }
    const int64_t id = sqlite3_last_insert_rowid(db);
    tables[{title, unit}] = {id, 0};
    return id;
}

bool ResultWriter::appendTableRow(const std::string& title, const std::string& unit,
                                  const std::vector<std::string>& titles,
                                  const std::vector<std::string>& values) {
    if (!ready_i()) {
        return false;
    }
    if (titles.size() != values.size()) {
        errorText = path + ": table \"" + title + "\": " + std::to_string(titles.size()) +
                    " column titles but " + std::to_string(values.size()) + " values; row not stored";
        return false;
    }
    const int64_t id = tableId_i(title, unit);
    if (id < 0) {
        return false;
    }
    const int64_t row = tables[{title, unit}].second++;
    for (size_t column = 0; column < titles.size(); ++column) {
        sqlite3_reset(insertCell);
        sqlite3_bind_int64(insertCell, 1, id);
        sqlite3_bind_int64(insertCell, 2, row);
        sqlite3_bind_int64(insertCell, 3, static_cast<sqlite3_int64>(column));
        sqlite3_bind_text(insertCell, 4, titles[column].data(), static_cast<int>(titles[column].size()),
                          SQLITE_STATIC);
        sqlite3_bind_text(insertCell, 5, values[column].data(), static_cast<int>(values[column].size()),
                          SQLITE_STATIC);
        if (sqlite3_step(insertCell) != SQLITE_DONE) {
            return fail_i(sqlite3_errmsg(db));
        }
    }
    return rowWritten_i(false);
}

bool ResultWriter::flush() {
    return ready_i() && commit_i();
}

bool ResultWriter::close() {
    if (db == nullptr) {
        errorText = "the result file is not open";
        return false;
    }
    const bool wasFine = !failed;
    if (!failed) {
        if (exec_i("UPDATE info SET value = 'closed' WHERE key = 'state'")) {
            exec_i("COMMIT");
        }
    }
    finalize_i();
    if (failed) {
        return false;
    }
    // Folding the WAL in makes the closed file one file that can be copied alone.
    sqlite3* folding = nullptr;
    const bool folded =
        sqlite3_open_v2(path.c_str(), &folding, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK &&
        sqlite3_exec(folding, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!folded) {
        errorText = path + ": cannot fold the WAL into the result file: " +
                    (folding ? sqlite3_errmsg(folding) : "out of memory");
    }
    sqlite3_close_v2(folding);
    return wasFine && folded;
}

void ResultWriter::finalize_i() {
    for (sqlite3_stmt* statement : statements) {
        sqlite3_finalize(statement);
    }
    statements.clear();
    insertMessage = insertRecord = insertSystem = insertTrace = insertTable = insertCell = nullptr;
    if (sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    sqlite3_close_v2(db);
    db = nullptr;
}

}  // namespace vantrell::store
