#include <gtest/gtest.h>

#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ResultStore.h"
#include "support/LogCapture.h"
#include "support/RecordBytes.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/VantrellCore.h"

namespace {

using vantrell::store::BatchPolicy;
using vantrell::store::ResultReader;
using vantrell::store::ResultWriter;
using vantrell::store::TraceEventRow;
using Bytes = std::vector<char>;
using Image = std::vector<unsigned char>;

// A raw message: the 13-byte head, then `bodySize` bytes that tell the message apart.
Bytes message(uint64_t seq, size_t bodySize) {
    Bytes bytes(13 + bodySize);
    vr_driver_msg head{};
    head.timestamp = 0xF000000000000000ULL + seq;  // above 2^63: the unsigned time stamp must survive
    head.source.byte0 = static_cast<uint8_t>(1 + seq % 3);
    head.source.byte1 = 7;
    head.source.byte2 = static_cast<uint8_t>(seq);
    std::memcpy(bytes.data(), &head, sizeof(head));
    for (size_t i = 0; i < bodySize; ++i) {
        bytes[13 + i] = static_cast<char>((seq * 31 + i) & 0xff);
    }
    return bytes;
}

pwr::SystemMetadata machine() {
    pwr::SystemMetadata m;
    m.platformName = "ALL";
    m.hostName = "bench-host";
    m.osName = "Linux";
    m.osType = "x86_64";
    m.osVersion = "6.1";
    m.vraClockFreqMHz = 2000.0f;
    m.cpuFreqMHz = 2000.0f;
    m.pollingIntervalMsecs = 100;
    m.commandLine.push_back("vantrell");
    m.pluginUuids[1] = "linux-collector";
    return m;
}

// What a test wrote, to compare with what reads back.
struct Contents {
    std::vector<Bytes> messages;
    std::vector<Bytes> records;
    Bytes system;
    std::vector<TraceEventRow> events;
    std::vector<std::vector<std::string>> rows;  // title, unit, then titles and values interleaved
};

// What a reader hands back, read in the order a host reads.
struct ReadBack {
    Contents contents;
    bool opened = false;
};

ReadBack readAll(ResultReader& reader, bool opened) {
    ReadBack back;
    back.opened = opened;
    if (!opened) {
        return back;
    }
    if (auto system = reader.readSystemMetadata()) {
        back.contents.system = vrtest::bytesOf(*system);
    }
    reader.forEachRecord(
        [&](std::unique_ptr<pwr::Metadata> r) { back.contents.records.push_back(vrtest::bytesOf(*r)); });
    reader.forEachMessage([&](const vr_driver_msg* m, size_t size) {
        const auto* bytes = reinterpret_cast<const char*>(m);
        back.contents.messages.emplace_back(bytes, bytes + size);
    });
    reader.forEachTraceEvent([&](const TraceEventRow& e) { back.contents.events.push_back(e); });
    reader.forEachTableRow([&](const std::string& title, const std::string& unit, int64_t row,
                               const std::vector<std::string>& titles,
                               const std::vector<std::string>& values) {
        std::vector<std::string> flat{title, unit, std::to_string(row)};
        for (size_t i = 0; i < titles.size(); ++i) {
            flat.push_back(titles[i]);
            flat.push_back(values[i]);
        }
        back.contents.rows.push_back(flat);
    });
    return back;
}

Image slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Image(std::istreambuf_iterator<char>(in), {});
}

void spill(const std::string& path, const Image& bytes, size_t length) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(length));
}

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

// Whether `part` is `whole` with some elements left out, in order.
bool isOrderedSubset(const std::vector<Bytes>& part, const std::vector<Bytes>& whole) {
    size_t at = 0;
    for (const Bytes& b : part) {
        while (at < whole.size() && whole[at] != b) {
            ++at;
        }
        if (at++ >= whole.size()) {
            return false;
        }
    }
    return true;
}

void execSql(const std::string& path, const char* sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, &error), SQLITE_OK) << (error ? error : "");
    sqlite3_free(error);
    sqlite3_close(db);
}

class ResultStoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/vrr-test-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        dir = pattern;
        path = dir + "/run.vrr";
    }
    void TearDown() override { std::system(("rm -rf '" + dir + "'").c_str()); }

    // Writes a file with every kind of content; messages of 0 to 6000 body bytes (some span pages).
    Contents writeSample(const std::string& file, size_t messageCount, BatchPolicy policy = {}) {
        Contents c;
        ResultWriter w;
        EXPECT_TRUE(w.create(file, "vantrell test", 3, policy)) << w.error();
        const pwr::SystemMetadata system = machine();
        EXPECT_TRUE(w.writeSystemMetadata(system));
        c.system = vrtest::bytesOf(system);

        pwr::MsgMetadata msg(1, 2, 3);
        msg.setCapName("cstate");
        msg.setMsgName("residency");
        msg.addMetaValue(new pwr::OperationMetadata("read", "READ_FILE", 8));
        pwr::MetricMetadata metric(1, 2);
        metric.addValue("unit", "us");
        pwr::CollectorMetadata collector("linux");
        collector.addValue("source", "/sys");
        for (const pwr::Metadata* r :
             std::initializer_list<const pwr::Metadata*>{&msg, &metric, &collector}) {
            EXPECT_TRUE(w.writeRecord(*r));
            c.records.push_back(vrtest::bytesOf(*r));
        }
        for (size_t i = 0; i < messageCount; ++i) {
            c.messages.push_back(message(i, i % 17 == 0 ? 6000 : (i * 37) % 700));
            EXPECT_TRUE(w.appendMessage(c.messages.back().data(), c.messages.back().size())) << w.error();
        }
        TraceEventRow event;
        event.timestamp = 99;
        event.provider = "12345678-9abc-def0-1234-56789abcdef0";
        event.eventId = 4;
        event.keyword = 0x8000000000000001ULL;
        event.processor = 63;
        c.events.push_back(event);
        event.data = {'a', 'b'};
        c.events.push_back(event);
        for (const TraceEventRow& e : c.events) {
            EXPECT_TRUE(w.appendTraceEvent(e));
        }
        c.rows = {{"C-State Residency", "%", "0", "CPU", "0", "C1", "12.50"},
                  {"C-State Residency", "%", "1", "CPU", "1", "C1", ""},
                  {"Interrupts", "", "0", "Total", "1234"}};
        for (const auto& row : c.rows) {
            std::vector<std::string> titles;
            std::vector<std::string> values;
            for (size_t i = 3; i < row.size(); i += 2) {
                titles.push_back(row[i]);
                values.push_back(row[i + 1]);
            }
            EXPECT_TRUE(w.appendTableRow(row[0], row[1], titles, values)) << w.error();
        }
        EXPECT_TRUE(w.close()) << w.error();
        return c;
    }

    vrtest::ScopedLogCapture quiet{1};
    std::string dir;
    std::string path;
};

void expectSame(const Contents& back, const Contents& written) {
    EXPECT_EQ(back.system, written.system);
    EXPECT_EQ(back.records, written.records);
    EXPECT_TRUE(back.messages == written.messages);
    ASSERT_EQ(back.events.size(), written.events.size());
    for (size_t i = 0; i < back.events.size(); ++i) {
        EXPECT_EQ(back.events[i].provider, written.events[i].provider);
        EXPECT_EQ(back.events[i].keyword, written.events[i].keyword);
        EXPECT_EQ(back.events[i].processor, written.events[i].processor);
        EXPECT_EQ(back.events[i].data, written.events[i].data);
    }
    EXPECT_EQ(back.rows, written.rows);
}

TEST_F(ResultStoreTest, RoundTripOfEveryKindOfContent) {
    const Contents written = writeSample(path, 300);
    EXPECT_FALSE(exists(path + "-wal")) << "a closed file is one file";

    ResultReader reader;
    ASSERT_TRUE(reader.open(path)) << reader.problems()[0];
    EXPECT_TRUE(reader.wasClosed());
    EXPECT_EQ(reader.formatVersion(), 1);
    EXPECT_EQ(reader.metadataVersion(), 3u);
    EXPECT_EQ(reader.info("writer"), "vantrell test");
    expectSame(readAll(reader, true).contents, written);
    EXPECT_TRUE(reader.ok()) << reader.problems()[0];

    // The same through an image in memory.
    ResultReader fromMemory;
    ASSERT_TRUE(fromMemory.openImage(slurp(path), "image"));
    expectSame(readAll(fromMemory, true).contents, written);
    EXPECT_TRUE(fromMemory.ok());

    // Queryable without our code: the head's columns and the summary view.
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt* s = nullptr;
    ASSERT_EQ(
        sqlite3_prepare_v2(db,
                           "SELECT (SELECT count(*) FROM message WHERE sid = 2),"
                           " (SELECT timestamp & 0xff FROM message WHERE seq = 5),"
                           " (SELECT group_concat(column_title || '=' || value, ';') FROM summary"
                           "  WHERE table_title = 'C-State Residency' AND row_index = 0 AND unit = '%')",
                           -1, &s, nullptr),
        SQLITE_OK);
    ASSERT_EQ(sqlite3_step(s), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(s, 0), 100);
    EXPECT_EQ(sqlite3_column_int(s, 1), 4);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(s, 2)), "CPU=0;C1=12.50");
    sqlite3_finalize(s);
    sqlite3_close(db);
}

TEST_F(ResultStoreTest, WriterRefusesWhatItCannotStore) {
    ResultWriter w;
    const char small[5] = {};
    EXPECT_FALSE(w.appendMessage(small, sizeof(small)));
    EXPECT_EQ(w.error(), "the result file is not open");

    EXPECT_FALSE(w.create(dir + "/missing/run.vrr", "t", 0));
    EXPECT_EQ(w.error(),
              dir + "/missing/run.vrr: cannot write the result file: unable to open database file");

    // A stale WAL of an earlier run must not become part of the new file.
    writeSample(path, 10);
    spill(path + "-wal", Image(5000, 0xab), 5000);
    ASSERT_TRUE(w.create(path, "t", 0));
    EXPECT_FALSE(w.appendMessage(small, sizeof(small)));
    EXPECT_EQ(w.error(), path + ": a message of 5 bytes is shorter than its head; not stored");
    EXPECT_FALSE(w.appendTableRow("T", "", {"a", "b"}, {"1"}));
    EXPECT_EQ(w.error(), path + ": table \"T\": 2 column titles but 1 values; row not stored");
    EXPECT_TRUE(w.close());
    ResultReader reader;
    ASSERT_TRUE(reader.open(path));
    EXPECT_EQ(reader.forEachMessage([](const vr_driver_msg*, size_t) {}), 0u);
    EXPECT_EQ(reader.readSystemMetadata(), nullptr);
    EXPECT_EQ(reader.problems(), std::vector<std::string>{path + ": the result file holds no system record"});
}

// A writer killed with SIGKILL leaves every batch it committed, by count or by time, and nothing else.
TEST_F(ResultStoreTest, KilledWriterLeavesEveryCommittedBatch) {
    struct Case {
        BatchPolicy policy;
        int before;  // messages before the pause
        int after;   // messages after it
        size_t expected;
    };
    const Case cases[] = {
        {{100, std::chrono::hours(1)}, 1050, 0, 1000},
        {{1000000, std::chrono::milliseconds(40)}, 10, 5, 11},  // the first message after the pause commits
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        std::vector<Bytes> sent;
        for (int i = 0; i < c.before + c.after; ++i) {
            sent.push_back(message(static_cast<uint64_t>(i), 40));
        }
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ResultWriter w;
            bool fine = w.create(path, "killed", 0, c.policy) && w.writeSystemMetadata(machine());
            for (int i = 0; i < c.before + c.after && fine; ++i) {
                if (i == c.before) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(80));
                }
                fine = w.appendMessage(sent[i].data(), sent[i].size());
            }
            const char done = fine ? 'y' : 'n';
            (void)!::write(ready[1], &done, 1);
            ::pause();
            ::_exit(0);
        }
        char done = 0;
        ASSERT_EQ(::read(ready[0], &done, 1), 1);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::close(ready[0]);
        ::close(ready[1]);
        ASSERT_EQ(done, 'y');
        ASSERT_TRUE(WIFSIGNALED(status));

        ResultReader reader;
        ASSERT_TRUE(reader.open(path)) << reader.problems()[0];
        EXPECT_FALSE(reader.wasClosed());
        EXPECT_NE(reader.readSystemMetadata(), nullptr);
        const ReadBack back = readAll(reader, true);
        EXPECT_TRUE(back.contents.messages == std::vector<Bytes>(sent.begin(), sent.begin() + c.expected));
        EXPECT_TRUE(reader.ok()) << reader.problems()[0];
    }
}

TEST_F(ResultStoreTest, FilesThatAreNoResultFileAreRefusedWithTheReason) {
    writeSample(path, 3);
    const std::string other = dir + "/other.db";
    struct Case {
        std::string file;
        const char* sql;  // applied to a copy of a good file, or to a new database; null: none
        std::string text;
        bool fromGoodFile;
    };
    const Case cases[] = {
        {dir + "/none.vrr", nullptr, ": cannot open the result file: No such file or directory", false},
        {dir, nullptr, ": cannot open the result file: it is a directory", false},
        {dir + "/empty.vrr", nullptr, ": not a Vantrell result file (the file is empty)", false},
        {dir + "/text.vrr", nullptr, ": not a Vantrell result file (not an SQLite database)", false},
        {other, "CREATE TABLE t(x); PRAGMA application_id = 1234;",
         ": not a Vantrell result file (an SQLite database of another application, application_id "
         "0x000004d2)",
         false},
        {dir + "/newer.vrr", "PRAGMA user_version = 2",
         ": written by a newer version of Vantrell (result file format 2); this program reads formats up to "
         "1",
         true},
        {dir + "/endless.vrr",
         "DROP TABLE message; CREATE VIEW message AS WITH RECURSIVE r(seq, bytes) AS (SELECT 1, zeroblob(20)"
         " UNION ALL SELECT seq + 1, bytes FROM r) SELECT seq, bytes FROM r;",
         ": the result file is damaged (message is not a table)", true},
        {dir + "/unfinished.vrr", "PRAGMA user_version = 0",
         ": not a Vantrell result file (its creation never completed: format version 0)", true},
    };
    spill(dir + "/empty.vrr", {}, 0);
    const std::string text = "time,value\n1,2\n" + std::string(200, 'x');
    spill(dir + "/text.vrr", Image(text.begin(), text.end()), text.size());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        if (c.fromGoodFile) {
            const Image good = slurp(path);
            spill(c.file, good, good.size());
        }
        if (c.sql) {
            execSql(c.file, c.sql);
        }
        ResultReader reader;
        EXPECT_FALSE(reader.open(c.file));
        EXPECT_EQ(reader.problems(), std::vector<std::string>{c.file + c.text});
        EXPECT_EQ(reader.forEachMessage([](const vr_driver_msg*, size_t) {}), 0u);
        if (exists(c.file) && c.file != dir) {
            ResultReader fromMemory;
            EXPECT_FALSE(fromMemory.openImage(slurp(c.file), "image"));
            EXPECT_EQ(fromMemory.problems(), std::vector<std::string>{"image" + c.text});
        }
    }
}

// Every 4 KiB prefix of a file: a clear text, no crash, and only messages that were written, in order.
TEST_F(ResultStoreTest, TruncatedAtEveryPageBoundary) {
    const Contents written = writeSample(path, 200);
    const Image whole = slurp(path);
    ASSERT_EQ(whole.size() % 4096, 0u);
    const std::string cut = dir + "/cut.vrr";
    size_t readSomething = 0;
    for (size_t length = 0; length <= whole.size(); length += 4096) {
        SCOPED_TRACE(length);
        spill(cut, whole, length);
        ResultReader reader;
        const ReadBack back = readAll(reader, reader.open(cut));
        EXPECT_TRUE(isOrderedSubset(back.contents.messages, written.messages));
        if (length == whole.size()) {
            EXPECT_TRUE(reader.ok());
            EXPECT_TRUE(back.contents.messages == written.messages);
            continue;
        }
        ASSERT_FALSE(reader.ok());
        if (length == 0) {
            EXPECT_EQ(reader.problems()[0], cut + ": not a Vantrell result file (the file is empty)");
        } else if (back.opened) {
            EXPECT_EQ(reader.problems()[0], cut + ": the result file is truncated: it holds " +
                                                std::to_string(length) + " of its " +
                                                std::to_string(whole.size()) + " bytes");
        }
        readSomething += back.contents.messages.empty() ? 0 : 1;
    }
    EXPECT_GT(readSomething, 0u) << "a cut file still gives what it holds";
}

// Flipped bytes anywhere: no crash, texts that name the file, and no message that was never written
// unless the flip fell inside a message's own bytes.
TEST_F(ResultStoreTest, FlippedBytesGiveClearTextsAndNoCrash) {
    const Contents written = writeSample(path, 200);
    const Image whole = slurp(path);
    size_t refused = 0;
    size_t damaged = 0;
    for (size_t at = 0; at < whole.size(); at += 61) {
        Image flipped = whole;
        flipped[at] ^= 0x5a;
        ResultReader reader;
        const ReadBack back = readAll(reader, reader.openImage(flipped, "image"));
        refused += back.opened ? 0 : 1;
        damaged += reader.ok() ? 0 : 1;
        for (const std::string& text : reader.problems()) {
            ASSERT_EQ(text.rfind("image: ", 0), 0u) << text;
        }
        EXPECT_LE(back.contents.messages.size(), written.messages.size());
    }
    EXPECT_GT(refused, 0u);
    EXPECT_GT(damaged, refused);
}

// A damaged page in the middle of the messages costs the messages on it, not those behind it.
TEST_F(ResultStoreTest, ReadsOnBehindADamagedPageOfMessages) {
    const Contents written = writeSample(path, 400);
    Image bytes = slurp(path);
    // Message 250 is small and stored whole on its page: find that page by its bytes.
    const Image marker(written.messages[250].begin(), written.messages[250].end());
    ASSERT_LT(marker.size(), 1000u);
    const auto found = std::search(bytes.begin(), bytes.end(), marker.begin(), marker.end());
    ASSERT_NE(found, bytes.end());
    const size_t page = static_cast<size_t>(found - bytes.begin()) / 4096;
    ASSERT_GT(page, 0u);
    bytes[page * 4096] = 0x01;  // no valid page type
    ResultReader reader;
    const ReadBack back = readAll(reader, reader.openImage(bytes, "image"));
    ASSERT_TRUE(back.opened);
    EXPECT_TRUE(isOrderedSubset(back.contents.messages, written.messages));
    EXPECT_LT(back.contents.messages.size(), written.messages.size());
    EXPECT_GT(back.contents.messages.size(), 300u);
    EXPECT_EQ(back.contents.messages.back(), written.messages.back());
    ASSERT_EQ(reader.problems().size(), 1u);
    EXPECT_EQ(
        reader.problems()[0].rfind("image: the result file is damaged (messages: database disk image is "
                                   "malformed; ",
                                   0),
        0u)
        << reader.problems()[0];
    // The other tables are untouched.
    EXPECT_EQ(back.contents.records, written.records);
    EXPECT_EQ(back.contents.rows, written.rows);
}

// A tree whose keys come out of order (found by fuzzing): the reader must stop, not go round in circles.
TEST_F(ResultStoreTest, KeysOutOfOrderEndTheReadingOfMessages) {
    const char* source = std::getenv("VR_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    ResultReader reader;
    const ReadBack back = readAll(
        reader,
        reader.openImage(slurp(std::string(source) + "/fuzz/corpus/result_store_fuzz/out-of-order-keys.vrr"),
                         "image"));
    ASSERT_TRUE(back.opened);
    EXPECT_LT(back.contents.messages.size(), 40u);
    bool noted = false;
    for (const std::string& text : reader.problems()) {
        noted |= text.rfind("image: the result file is damaged (messages: database disk image is malformed; ",
                            0) == 0;
    }
    EXPECT_TRUE(noted);
}

}  // namespace
