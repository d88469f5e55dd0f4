// The trace file as outside input: every truncated prefix and corrupted byte of a real file fails the
// replay with the session's message, after delivering only whole, checked events; header fields reach
// the session's checks.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <numeric>

#include "support/LogCapture.h"
#include "trace/TraceFakes.h"
#include "vantrell/trace/EtwProvider.h"

namespace {

using vrtest::RecordingSession;
using vrtest::ScratchDir;

const _GUID kProvider = {0x7e570001, 0x1, 0x2, {3, 4, 5, 6, 7, 8, 9, 10}};
const _EVENT_DESCRIPTOR kEvent = {9, 0, 0, 4, 0, 0, 0};
constexpr size_t kHeaderSize = 64;

std::vector<uint8_t> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes, size_t length) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(length));
}

uint32_t crc32(const uint8_t* data, size_t size) {
    uint32_t crc = ~0u;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int k = 0; k < 8; ++k) {
            crc = (crc & 1) ? 0xedb88320u ^ (crc >> 1) : crc >> 1;
        }
    }
    return ~crc;
}

// A file of three blocks (one flush after each group of events).
class TraceFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        RecordingSession writer(dir.file("good.etl"), "", "writer");
        writer.addProvider(kProvider, 0);
        ASSERT_TRUE(writer.begin());
        EtwProvider provider(&kProvider);
        for (uint64_t i = 0; i < 12; ++i) {
            provider.WriteIntEvent(&kEvent, i);
            if (i % 4 == 3) {
                ASSERT_TRUE(writer.flush());
            }
        }
        ASSERT_TRUE(writer.end());
        good = readFile(writer.file());
        ASSERT_GT(good.size(), kHeaderSize);
    }

    // Replays `length` bytes of `bytes`; the events delivered and what was logged.
    bool replay(const std::vector<uint8_t>& bytes, size_t length, std::vector<uint64_t>& values,
                std::string& log) {
        writeFile(dir.file("cut.etl"), bytes, length);
        vrtest::ScopedLogCapture capture(2);
        RecordingSession reader(dir.file("cut.etl"), "", "reader");
        bool ok = reader.postProcessLog();
        values.clear();
        for (const auto& e : reader.events) {
            values.push_back(vrtest::readAt<uint64_t>(e.payload, 0));
        }
        log = capture.text();
        return ok;
    }

    ScratchDir dir;
    std::vector<uint8_t> good;
};

const std::string kProcessing = " Processing ETW data for Test reader.\n";

std::string cannotOpen(const std::string& file, const std::string& reason) {
    return "FATAL: Cannot open the ETW data file for Test reader: " + file + ". " + reason + kProcessing;
}

// A failed replay may have delivered only the first events, whole and in order.
bool wholeEventsInOrder(const std::vector<uint64_t>& values) {
    std::vector<uint64_t> firsts(values.size());
    std::iota(firsts.begin(), firsts.end(), 0);
    return values.size() <= 12 && values == firsts;
}

std::string cannotProcess(const std::string& reason) {
    return kProcessing + "WARNING: Cannot process the trace file Test reader. " + reason;
}

TEST_F(TraceFileTest, EveryTruncatedPrefixFailsAfterWholeEventsOnly) {
    std::vector<uint64_t> values;
    std::string log;
    ASSERT_TRUE(replay(good, good.size(), values, log));
    ASSERT_THAT(values, ::testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
    for (size_t length = 0; length < good.size(); ++length) {
        SCOPED_TRACE(length);
        ASSERT_FALSE(replay(good, length, values, log));
        if (length < kHeaderSize) {
            ASSERT_EQ(log, cannotOpen(dir.file("cut.etl"), "Bad message"));
        } else {
            ASSERT_EQ(log, cannotProcess("Reached the end of the file.\n"));
        }
        ASSERT_TRUE(wholeEventsInOrder(values)) << values.size();
    }
}

TEST_F(TraceFileTest, EveryCorruptedByteFailsTheReplay) {
    std::vector<uint64_t> values;
    std::string log;
    for (size_t at = 0; at < good.size(); ++at) {
        SCOPED_TRACE(at);
        std::vector<uint8_t> bad = good;
        bad[at] ^= 0x41;
        ASSERT_FALSE(replay(bad, bad.size(), values, log)) << log;
        if (at < kHeaderSize) {
            ASSERT_EQ(log, cannotOpen(dir.file("cut.etl"), "Bad message"));
            continue;
        }
        bool corrupt = log == cannotProcess("The file or directory is corrupted and unreadable.\n");
        bool truncated =
            log == cannotProcess("Reached the end of the file.\n");  // a block claiming more bytes
        ASSERT_TRUE(corrupt || truncated) << log;
        ASSERT_TRUE(wholeEventsInOrder(values)) << values.size();
    }
}

TEST_F(TraceFileTest, HeaderFiguresReachTheSession) {
    auto patched = [this](size_t at, uint32_t value) {
        std::vector<uint8_t> bytes = good;
        std::memcpy(bytes.data() + at, &value, 4);
        uint32_t crc = crc32(bytes.data(), 60);
        std::memcpy(bytes.data() + 60, &crc, 4);
        return bytes;
    };
    std::vector<uint64_t> values;
    std::string log;
    EXPECT_TRUE(replay(patched(48, 3), good.size(), values, log));  // events lost
    EXPECT_EQ(log,
              "FATAL: Warning: Lost events detected (3) in " + dir.file("cut.etl") + ".\n" + kProcessing);
    EXPECT_EQ(values.size(), 12u);

    EXPECT_FALSE(replay(patched(32, 4), good.size(), values, log));  // pointer size
    EXPECT_EQ(
        log,
        kProcessing +
            "WARNING: Using -i option on a 64-bit version for logs collected using a 32-bit version might "
            "result in unpredictable behavior.\n");
    EXPECT_TRUE(values.empty());

    EXPECT_FALSE(replay(patched(8, 2 | 64 << 16), good.size(), values, log));  // a later version
    EXPECT_EQ(log, cannotOpen(dir.file("cut.etl"), "Operation not supported"));
    EXPECT_FALSE(replay(patched(12, 0), good.size(), values, log));  // no block may have a size
    EXPECT_EQ(log, cannotOpen(dir.file("cut.etl"), "Bad message"));
}

TEST_F(TraceFileTest, RecordsOfUnknownKindAreSkipped) {
    // Appends a block holding an 8-byte record of kind 7 and marks the file as one block longer.
    std::vector<uint8_t> bytes = good;
    uint8_t block[24] = {0x56, 0x42, 0x4c, 0x4b, 8, 0, 0, 0, 1, 0, 0, 0};
    uint8_t record[8] = {8, 0, 0, 0, 7, 0, 0, 0};
    uint32_t crc = crc32(record, 8);
    std::memcpy(block + 12, &crc, 4);
    std::memcpy(block + 16, record, 8);
    bytes.insert(bytes.end(), block, block + 24);
    uint32_t blocks = 0;
    std::memcpy(&blocks, bytes.data() + 52, 4);
    ++blocks;
    std::memcpy(bytes.data() + 52, &blocks, 4);
    crc = crc32(bytes.data(), 60);
    std::memcpy(bytes.data() + 60, &crc, 4);
    std::vector<uint64_t> values;
    std::string log;
    EXPECT_TRUE(replay(bytes, bytes.size(), values, log)) << log;
    EXPECT_EQ(values.size(), 12u);
}

}  // namespace
