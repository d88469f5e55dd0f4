// The reading half of the result file: layout and rules in docs/result-file.md. Built for damaged
// and foreign input: every fault becomes a text in problems(), never a crash.

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

uint32_t bigEndian32(const unsigned char* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
}

std::string columnText(sqlite3_stmt* statement, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)))
                : std::string();
}

std::vector<char> columnBlob(sqlite3_stmt* statement, int column) {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement, column));
    const int size = sqlite3_column_bytes(statement, column);
    return data ? std::vector<char>(data, data + size) : std::vector<char>();
}

// Owns one prepared statement of the reader.
struct Statement {
    sqlite3_stmt* handle = nullptr;
    ~Statement() { sqlite3_finalize(handle); }
};

constexpr int kMaxResumeAttempts = 48;

}  // namespace

// ---- ResultReader --------------------------------------------------------------------------------------

ResultReader::ResultReader() = default;

ResultReader::~ResultReader() {
    close_i();
}

void ResultReader::close_i() {
    sqlite3_close_v2(db);
    db = nullptr;
    image.clear();
    faults.clear();
    infoValues.clear();
    version = 0;
    recordVersion = 0;
    closed = false;
}

bool ResultReader::refuse_i(const std::string& what) {
    faults.push_back(name + ": " + what);
    sqlite3_close_v2(db);
    db = nullptr;
    return false;
}

void ResultReader::note_i(const std::string& what) {
    faults.push_back(name + ": " + what);
}

void ResultReader::noteSql_i(const std::string& what, int code) {
    const char* kind = code == SQLITE_CORRUPT || code == SQLITE_NOTADB ? "the result file is damaged"
                                                                       : "the result file can't be read";
    note_i(std::string(kind) + " (" + what + ")");
}

bool ResultReader::open(const std::string& path) {
    close_i();
    name = path;
    struct stat facts {};
    if (::stat(path.c_str(), &facts) != 0) {
        return refuse_i(std::string("cannot open the result file: ") + std::strerror(errno));
    }
    if (S_ISDIR(facts.st_mode)) {
        return refuse_i("cannot open the result file: it is a directory");
    }
    unsigned char header[100] = {};
    std::ifstream in(path, std::ios::binary);
    in.read(reinterpret_cast<char*>(header), sizeof(header));
    if (!in && !in.eof()) {
        return refuse_i(std::string("cannot read the result file: ") + std::strerror(errno));
    }
    return openConnection_i(path, header, static_cast<uint64_t>(facts.st_size));
}

bool ResultReader::openImage(std::vector<unsigned char> bytes, const std::string& imageName) {
    close_i();
    name = imageName;
    image = std::move(bytes);
    // An image has no WAL beside it: read it as a file in rollback mode, from what the file itself holds.
    if (image.size() >= 20 && image[18] == 2 && image[19] == 2) {
        image[18] = image[19] = 1;
    }
    unsigned char header[100] = {};
    if (!image.empty()) {
        std::memcpy(header, image.data(), std::min(image.size(), sizeof(header)));
    }
    return openConnection_i(":memory:", header, image.size());
}

bool ResultReader::openConnection_i(const std::string& target, const unsigned char* header, uint64_t size) {
    if (size == 0) {
        return refuse_i("not a Vantrell result file (the file is empty)");
    }
    if (size < 100 || std::memcmp(header, "SQLite format 3", 16) != 0) {
        return refuse_i("not a Vantrell result file (not an SQLite database)");
    }
    const int flags = image.empty() ? SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX
                                    : SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX;
    if (sqlite3_open_v2(target.c_str(), &db, flags, nullptr) != SQLITE_OK) {
        return refuse_i(std::string("cannot open the result file: ") +
                        (db ? sqlite3_errmsg(db) : "out of memory"));
    }
    if (!image.empty() &&
        sqlite3_deserialize(db, "main", image.data(), static_cast<sqlite3_int64>(image.size()),
                            static_cast<sqlite3_int64>(image.size()),
                            SQLITE_DESERIALIZE_READONLY) != SQLITE_OK) {
        return refuse_i(std::string("cannot open the result file: ") + sqlite3_errmsg(db));
    }
    // The file is outside input: no functions with side effects from its schema, and every cell checked.
    // SQLite refuses a file shorter than its header says unless the schema is writable, which on this
    // read-only connection only lets it read the pages that are there; defensive mode would forbid it.
    const uint64_t expected = expectedLength_i(header);
    if (expected > size) {
        sqlite3_exec(db, "PRAGMA writable_schema = ON", nullptr, nullptr, nullptr);
    } else {
        sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    }
    sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_exec(db, "PRAGMA cell_size_check = ON", nullptr, nullptr, nullptr);
    if (!checkIdentity_i()) {
        return false;
    }
    if (expected > size) {
        // First: it explains the damage that the reading of the info table may have noted already.
        faults.insert(faults.begin(), name + ": the result file is truncated: it holds " +
                                          std::to_string(size) + " of its " + std::to_string(expected) +
                                          " bytes");
    }
    return true;
}

bool ResultReader::checkIdentity_i() {
    int64_t numbers[2] = {0, 0};
    const char* pragmas[2] = {"PRAGMA application_id", "PRAGMA user_version"};
    for (int i = 0; i < 2; ++i) {
        Statement s;
        int code = sqlite3_prepare_v2(db, pragmas[i], -1, &s.handle, nullptr);
        if (code == SQLITE_OK) {
            code = sqlite3_step(s.handle);
        }
        if (code == SQLITE_NOTADB) {
            return refuse_i("not a Vantrell result file (not an SQLite database)");
        }
        if (code != SQLITE_ROW) {
            noteSql_i(sqlite3_errmsg(db), code);
            return refuse_i("nothing can be read");
        }
        numbers[i] = sqlite3_column_int64(s.handle, 0);
    }
    if (numbers[0] != kApplicationId) {
        char hex[16];
        std::snprintf(hex, sizeof(hex), "0x%08" PRIx32, static_cast<uint32_t>(numbers[0]));
        return refuse_i(std::string("not a Vantrell result file (an SQLite database of another application, "
                                    "application_id ") +
                        hex + ")");
    }
    version = static_cast<int>(numbers[1]);
    if (numbers[1] > kFormatVersion) {
        return refuse_i("written by a newer version of Vantrell (result file format " +
                        std::to_string(numbers[1]) + "); this program reads formats up to " +
                        std::to_string(kFormatVersion));
    }
    if (numbers[1] < 1) {
        return refuse_i("not a Vantrell result file (its creation never completed: format version " +
                        std::to_string(numbers[1]) + ")");
    }
    if (!checkTables_i()) {
        return false;
    }
    Statement s;
    int code = sqlite3_prepare_v2(db, "SELECT key, value FROM info", -1, &s.handle, nullptr);
    while (code == SQLITE_OK && (code = sqlite3_step(s.handle)) == SQLITE_ROW) {
        infoValues[columnText(s.handle, 0)] = columnText(s.handle, 1);
        code = SQLITE_OK;
    }
    if (code != SQLITE_DONE) {
        noteSql_i(std::string("info: ") + sqlite3_errmsg(db), code);
    }
    recordVersion = static_cast<unsigned int>(std::strtoul(info("metadata_version").c_str(), nullptr, 10));
    closed = info("state") == "closed";
    return true;
}

// Our names must be plain tables: a view or virtual table in their place (only a forged file has one)
// could make reading it run without end.
bool ResultReader::checkTables_i() {
    Statement s;
    int code = sqlite3_prepare_v2(db,
                                  "SELECT name FROM sqlite_schema WHERE name IN ('info', 'system_metadata', "
                                  "'metadata', 'message', 'trace_event', 'summary_table', 'summary_cell') "
                                  "AND (type <> 'table' OR substr(sql, 1, 13) <> 'CREATE TABLE ')",
                                  -1, &s.handle, nullptr);
    if (code == SQLITE_OK && (code = sqlite3_step(s.handle)) == SQLITE_ROW) {
        return refuse_i("the result file is damaged (" + columnText(s.handle, 0) + " is not a table)");
    }
    if (code != SQLITE_DONE) {
        noteSql_i(sqlite3_errmsg(db), code);
        return refuse_i("nothing can be read");
    }
    return true;
}

// The length the header gives the file (page count times page size), when the header's count is valid;
// 0 when it isn't.
uint64_t ResultReader::expectedLength_i(const unsigned char* header) {
    uint64_t pageSize = (uint64_t{header[16]} << 8) | header[17];
    if (pageSize == 1) {
        pageSize = 65536;
    }
    const uint32_t changeCounter = bigEndian32(header + 24);
    return bigEndian32(header + 92) == changeCounter ? bigEndian32(header + 28) * pageSize : 0;
}

std::string ResultReader::info(const std::string& key) const {
    const auto found = infoValues.find(key);
    return found == infoValues.end() ? std::string() : found->second;
}

sqlite3_stmt* ResultReader::prepare_i(const char* sql, const char* what) {
    if (db == nullptr) {
        return nullptr;
    }
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
    if (code != SQLITE_OK) {
        noteSql_i(std::string(what) + ": " + sqlite3_errmsg(db), code);
        sqlite3_finalize(statement);
        return nullptr;
    }
    return statement;
}

std::unique_ptr<pwr::SystemMetadata> ResultReader::readSystemMetadata() {
    Statement s;
    s.handle = prepare_i("SELECT record FROM system_metadata WHERE id = 1", "system record");
    if (s.handle == nullptr) {
        return nullptr;
    }
    const int code = sqlite3_step(s.handle);
    if (code == SQLITE_DONE) {
        note_i("the result file holds no system record");
        return nullptr;
    }
    if (code != SQLITE_ROW) {
        noteSql_i(std::string("system record: ") + sqlite3_errmsg(db), code);
        return nullptr;
    }
    pwr::Serializer in(columnBlob(s.handle, 0));
    std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, recordVersion));
    if (!record || record->getType() != pwr::SYSTEM_METADATA) {
        note_i("the result file is damaged (its system record doesn't read)");
        return nullptr;
    }
    return std::unique_ptr<pwr::SystemMetadata>(static_cast<pwr::SystemMetadata*>(record.release()));
}

size_t ResultReader::forEachRecord(const std::function<void(std::unique_ptr<pwr::Metadata>)>& visit) {
    Statement s;
    s.handle = prepare_i("SELECT seq, kind, record FROM metadata ORDER BY seq", "records");
    if (s.handle == nullptr) {
        return 0;
    }
    size_t delivered = 0;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(s.handle)) == SQLITE_ROW) {
        pwr::Serializer in(columnBlob(s.handle, 2));
        std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, recordVersion));
        if (!record || record->getType() != sqlite3_column_int64(s.handle, 1)) {
            note_i("the result file is damaged (record #" +
                   std::to_string(sqlite3_column_int64(s.handle, 0)) + " doesn't read; skipped)");
            continue;
        }
        visit(std::move(record));
        ++delivered;
    }
    if (code != SQLITE_DONE) {
        noteSql_i("records: " + std::string(sqlite3_errmsg(db)) + "; " + std::to_string(delivered) + " read",
                  code);
    }
    return delivered;
}

// Looks at the messages behind `after` until the end or a fault, delivering the whole ones. Returns the
// number of rows looked at; `first` and `last` are the first and last of them.
uint64_t ResultReader::readMessagesFrom_i(int64_t after, int64_t& first, int64_t& last, uint64_t& delivered,
                                          int& code,
                                          const std::function<void(const vr_driver_msg*, size_t)>& visit) {
    Statement s;
    code = sqlite3_prepare_v2(db, "SELECT seq, bytes FROM message WHERE seq > ?1 ORDER BY seq", -1, &s.handle,
                              nullptr);
    if (code != SQLITE_OK) {
        return 0;
    }
    sqlite3_bind_int64(s.handle, 1, after);
    uint64_t seen = 0;
    uint64_t tooShort = 0;
    int64_t previous = after;
    while ((code = sqlite3_step(s.handle)) == SQLITE_ROW) {
        const int64_t seq = sqlite3_column_int64(s.handle, 0);
        if (seq <= previous) {
            // Only a damaged tree gives its keys out of order; going on could go round in circles.
            code = SQLITE_CORRUPT;
            break;
        }
        previous = last = seq;
        first = seen++ == 0 ? last : first;
        const void* bytes = sqlite3_column_blob(s.handle, 1);
        const auto size = static_cast<size_t>(sqlite3_column_bytes(s.handle, 1));
        if (bytes == nullptr || size < kMessageHeadSize) {
            ++tooShort;
            continue;
        }
        visit(static_cast<const vr_driver_msg*>(bytes), size);
        ++delivered;
    }
    if (tooShort != 0) {
        note_i("the result file is damaged (" + std::to_string(tooShort) +
               " messages shorter than their head; skipped)");
    }
    return seen;
}

uint64_t ResultReader::forEachMessage(const std::function<void(const vr_driver_msg*, size_t)>& visit) {
    if (db == nullptr) {
        return 0;
    }
    int64_t first = 0;
    int64_t last = 0;
    uint64_t delivered = 0;
    int code = SQLITE_OK;
    readMessagesFrom_i(0, first, last, delivered, code, visit);
    if (code == SQLITE_DONE) {
        return delivered;
    }
    const std::string firstFault = code == SQLITE_CORRUPT ? sqlite3_errstr(code) : sqlite3_errmsg(db);
    const int firstCode = code;
    // Go on behind the damaged place: skip one row, then twice as many each time nothing comes back.
    std::string lost;
    int64_t gap = 1;
    for (int attempt = 0; code != SQLITE_DONE && firstCode != SQLITE_ERROR && attempt < kMaxResumeAttempts &&
                          last <= INT64_MAX - gap;
         ++attempt) {
        const int64_t before = last;
        if (readMessagesFrom_i(before + gap, first, last, delivered, code, visit) == 0) {
            if (code == SQLITE_DONE) {
                break;  // nothing behind: what lay between is lost
            }
            gap *= 2;
            continue;
        }
        lost +=
            (lost.empty() ? "#" : ", #") + std::to_string(before + 1) + " to #" + std::to_string(first - 1);
        gap = 1;
        attempt = -1;
    }
    if (code != SQLITE_DONE || lost.empty()) {
        lost += (lost.empty() ? "#" : ", #") + std::to_string(last + 1) + " on";
    }
    noteSql_i("messages: " + firstFault + "; " + std::to_string(delivered) + " read, messages " + lost +
                  " not read",
              firstCode);
    return delivered;
}

uint64_t ResultReader::forEachTraceEvent(const std::function<void(const TraceEventRow&)>& visit) {
    Statement s;
    s.handle = prepare_i(
        "SELECT timestamp, provider, event_id, version, channel, level, opcode, task, keyword, "
        "process_id, thread_id, processor, data FROM trace_event ORDER BY seq",
        "trace events");
    if (s.handle == nullptr) {
        return 0;
    }
    uint64_t delivered = 0;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(s.handle)) == SQLITE_ROW) {
        TraceEventRow row;
        row.timestamp = static_cast<uint64_t>(sqlite3_column_int64(s.handle, 0));
        row.provider = columnText(s.handle, 1);
        row.eventId = static_cast<uint16_t>(sqlite3_column_int(s.handle, 2));
        row.version = static_cast<uint8_t>(sqlite3_column_int(s.handle, 3));
        row.channel = static_cast<uint8_t>(sqlite3_column_int(s.handle, 4));
        row.level = static_cast<uint8_t>(sqlite3_column_int(s.handle, 5));
        row.opcode = static_cast<uint8_t>(sqlite3_column_int(s.handle, 6));
        row.task = static_cast<uint16_t>(sqlite3_column_int(s.handle, 7));
        row.keyword = static_cast<uint64_t>(sqlite3_column_int64(s.handle, 8));
        row.processId = static_cast<uint32_t>(sqlite3_column_int64(s.handle, 9));
        row.threadId = static_cast<uint32_t>(sqlite3_column_int64(s.handle, 10));
        row.processor = static_cast<uint16_t>(sqlite3_column_int(s.handle, 11));
        row.data = columnBlob(s.handle, 12);
        visit(row);
        ++delivered;
    }
    if (code != SQLITE_DONE) {
        noteSql_i(
            "trace events: " + std::string(sqlite3_errmsg(db)) + "; " + std::to_string(delivered) + " read",
            code);
    }
    return delivered;
}

uint64_t ResultReader::forEachTableRow(
    const std::function<void(const std::string&, const std::string&, int64_t, const std::vector<std::string>&,
                             const std::vector<std::string>&)>& visit) {
    Statement s;
    s.handle = prepare_i(
        "SELECT c.table_id, t.title, t.unit, c.row_index, c.column_title, c.value "
        "FROM summary_cell c JOIN summary_table t ON t.id = c.table_id "
        "ORDER BY c.table_id, c.row_index, c.column_index",
        "summary tables");
    if (s.handle == nullptr) {
        return 0;
    }
    uint64_t delivered = 0;
    int64_t table = -1;
    int64_t row = -1;
    std::string title;
    std::string unit;
    std::vector<std::string> titles;
    std::vector<std::string> values;
    auto finishRow = [&] {
        if (!titles.empty()) {
            visit(title, unit, row, titles, values);
            ++delivered;
        }
        titles.clear();
        values.clear();
    };
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(s.handle)) == SQLITE_ROW) {
        if (sqlite3_column_int64(s.handle, 0) != table || sqlite3_column_int64(s.handle, 3) != row) {
            finishRow();
            table = sqlite3_column_int64(s.handle, 0);
            row = sqlite3_column_int64(s.handle, 3);
            title = columnText(s.handle, 1);
            unit = columnText(s.handle, 2);
        }
        titles.push_back(columnText(s.handle, 4));
        values.push_back(columnText(s.handle, 5));
    }
    // A row cut by a fault is still handed on: its cells are what could be read.
    finishRow();
    if (code != SQLITE_DONE) {
        noteSql_i("summary tables: " + std::string(sqlite3_errmsg(db)) + "; " + std::to_string(delivered) +
                      " rows read",
                  code);
    }
    return delivered;
}

}  // namespace vantrell::store
