#pragma once

// The trace file of docs/trace-file.md: encoding of event records, a writer of blocks, and a reader
// that checks every length against the file before it trusts it. No logging: results only.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vantrell/platform/WinTypes.h"

namespace pwr {
namespace platform {
namespace tracefile {

constexpr size_t kHeaderSize = 64;
constexpr size_t kBlockHeaderSize = 16;
constexpr size_t kEventHeaderSize = 60;
constexpr uint32_t kMaxBlockSize = 64u << 20;
constexpr uint16_t kKindEvent = 1;

uint32_t crc32(const uint8_t* data, size_t size, uint32_t crc = 0);

struct FileHeader {
    uint32_t blockSizeLimit = 0;
    uint64_t startTime = 0;
    uint64_t clockFrequency = 1000000000ULL;
    uint32_t pointerSize = 8;
    uint32_t numberOfProcessors = 1;
    uint64_t endTime = 0;
    uint32_t eventsLost = 0;
    uint32_t blocksWritten = 0;
    bool closed = false;
};

// What an event record holds; `userData` points into the reader's current block.
struct EventView {
    uint64_t timeStamp = 0;
    _GUID provider{};
    _EVENT_DESCRIPTOR descriptor{};
    uint32_t processId = 0;
    uint32_t threadId = 0;
    uint16_t processor = 0;
    uint16_t userDataLength = 0;
    const uint8_t* userData = nullptr;
};

// Bytes an event with `userDataLength` bytes takes in a block.
inline size_t eventRecordSize(size_t userDataLength) {
    return kEventHeaderSize + userDataLength;
}
// Writes the event record header at `out` (eventRecordSize(userDataLength) bytes, the caller then
// copies the user data behind the header).
void encodeEventHeader(uint8_t* out, const EventView& event);

// Appends whole blocks to a file and closes it by rewriting its header. Not thread-safe.
class Writer {
  public:
    Writer() = default;
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Creates (truncates) `path` and writes the header. False with `error` an errno value.
    bool open(const std::string& path, const FileHeader& header, int& error);
    // One block of `recordCount` records. False with `error` an errno value.
    bool writeBlock(const uint8_t* payload, uint32_t payloadSize, uint32_t recordCount, int& error);
    // Rewrites the header as closed with these figures and closes the file.
    bool close(uint64_t endTime, uint32_t eventsLost, int& error);
    uint32_t blocksWritten() const { return header.blocksWritten; }
    bool isOpen() const { return fd >= 0; }

  private:
    bool writeHeader(int& error);
    int fd = -1;
    FileHeader header;
};

// Where a reader's bytes come from.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    virtual uint64_t size() const = 0;
    // Exactly `length` bytes at `offset`, or false.
    virtual bool read(uint64_t offset, void* out, size_t length) = 0;
};

// Opens a file as a source; null with `error` set when it can't be opened.
std::unique_ptr<ByteSource> openFileSource(const std::string& path, int& error);
// A source over bytes that the caller keeps alive.
std::unique_ptr<ByteSource> memorySource(const uint8_t* data, size_t size);

enum class ReadStatus { Event, End, Corrupt, Truncated, Unsupported };

// Reads one file, event by event, holding at most one block.
class Reader {
  public:
    explicit Reader(std::unique_ptr<ByteSource> source);
    // Reads and checks the header: Event on success (the header is then readable), else the fault.
    ReadStatus openHeader();
    const FileHeader& fileHeader() const { return header; }
    // The next event into `event`, or End, or the fault; a fault stays.
    ReadStatus next(EventView& event);

  private:
    ReadStatus loadBlock_i();
    ReadStatus fail_i(ReadStatus status);

    std::unique_ptr<ByteSource> source;
    FileHeader header;
    uint64_t offset = 0;
    uint32_t blocksRead = 0;
    std::vector<uint8_t> block;
    size_t blockPosition = 0;
    uint32_t recordsLeft = 0;
    ReadStatus fault = ReadStatus::Event;
};

}  // namespace tracefile
}  // namespace platform
}  // namespace pwr
