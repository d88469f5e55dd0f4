// The trace file format; docs/trace-file.md is the contract this follows field by field.

#include "platform/posix/TraceFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace pwr {
namespace platform {
namespace tracefile {

namespace {

constexpr char kMagic[8] = {'V', 'R', 'T', 'R', 'A', 'C', 'E', '\0'};
constexpr uint32_t kBlockMagic = 0x4b4c4256;
constexpr uint16_t kVersion = 1;
constexpr uint32_t kFlagClosed = 1;

std::array<uint32_t, 256> makeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t c = n;
        for (int k = 0; k < 8; ++k) {
            c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
        }
        table[n] = c;
    }
    return table;
}

template <typename T>
void put(uint8_t* out, size_t at, T value) {
    std::memcpy(out + at, &value, sizeof(T));  // little-endian host: the file's byte order
}

template <typename T>
T get(const uint8_t* in, size_t at) {
    T value;
    std::memcpy(&value, in + at, sizeof(T));
    return value;
}

void encodeHeader(uint8_t* out, const FileHeader& h) {
    std::memset(out, 0, kHeaderSize);
    std::memcpy(out, kMagic, sizeof(kMagic));
    put<uint16_t>(out, 8, kVersion);
    put<uint16_t>(out, 10, static_cast<uint16_t>(kHeaderSize));
    put<uint32_t>(out, 12, h.blockSizeLimit);
    put<uint64_t>(out, 16, h.startTime);
    put<uint64_t>(out, 24, h.clockFrequency);
    put<uint32_t>(out, 32, h.pointerSize);
    put<uint32_t>(out, 36, h.numberOfProcessors);
    put<uint64_t>(out, 40, h.endTime);
    put<uint32_t>(out, 48, h.eventsLost);
    put<uint32_t>(out, 52, h.blocksWritten);
    put<uint32_t>(out, 56, h.closed ? kFlagClosed : 0);
    put<uint32_t>(out, 60, crc32(out, 60));
}

bool writeAll(int fd, const uint8_t* data, size_t size, int& error) {
    while (size > 0) {
        ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            error = errno;
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

class FileSource : public ByteSource {
  public:
    FileSource(int fd, uint64_t size) : fd(fd), bytes(size) {}
    ~FileSource() override { ::close(fd); }
    uint64_t size() const override { return bytes; }
    bool read(uint64_t offset, void* out, size_t length) override {
        auto* cursor = static_cast<uint8_t*>(out);
        while (length > 0) {
            ssize_t got = ::pread(fd, cursor, length, static_cast<off_t>(offset));
            if (got <= 0) {
                if (got < 0 && errno == EINTR) {
                    continue;
                }
                return false;
            }
            cursor += got;
            offset += static_cast<uint64_t>(got);
            length -= static_cast<size_t>(got);
        }
        return true;
    }

  private:
    int fd;
    uint64_t bytes;
};

class MemorySource : public ByteSource {
  public:
    MemorySource(const uint8_t* data, size_t size) : data(data), bytes(size) {}
    uint64_t size() const override { return bytes; }
    bool read(uint64_t offset, void* out, size_t length) override {
        if (offset > bytes || length > bytes - offset) {
            return false;
        }
        std::memcpy(out, data + offset, length);
        return true;
    }

  private:
    const uint8_t* data;
    size_t bytes;
};

}  // namespace

uint32_t crc32(const uint8_t* data, size_t size, uint32_t crc) {
    static const std::array<uint32_t, 256> table = makeCrcTable();
    crc = ~crc;
    for (size_t i = 0; i < size; ++i) {
        crc = table[(crc ^ data[i]) & 0xff] ^ (crc >> 8);
    }
    return ~crc;
}

void encodeEventHeader(uint8_t* out, const EventView& e) {
    put<uint32_t>(out, 0, static_cast<uint32_t>(eventRecordSize(e.userDataLength)));
    put<uint16_t>(out, 4, kKindEvent);
    put<uint16_t>(out, 6, e.userDataLength);
    put<uint64_t>(out, 8, e.timeStamp);
    put<uint32_t>(out, 16, e.provider.Data1);
    put<uint16_t>(out, 20, e.provider.Data2);
    put<uint16_t>(out, 22, e.provider.Data3);
    std::memcpy(out + 24, e.provider.Data4, 8);
    put<uint16_t>(out, 32, e.descriptor.Id);
    put<uint8_t>(out, 34, e.descriptor.Version);
    put<uint8_t>(out, 35, e.descriptor.Channel);
    put<uint8_t>(out, 36, e.descriptor.Level);
    put<uint8_t>(out, 37, e.descriptor.Opcode);
    put<uint16_t>(out, 38, e.descriptor.Task);
    put<uint64_t>(out, 40, e.descriptor.Keyword);
    put<uint32_t>(out, 48, e.processId);
    put<uint32_t>(out, 52, e.threadId);
    put<uint16_t>(out, 56, e.processor);
    put<uint16_t>(out, 58, 0);
}

// ---- Writer -------------------------------------------------------------------------------------------

Writer::~Writer() {
    if (fd >= 0) {
        ::close(fd);
    }
}

bool Writer::open(const std::string& path, const FileHeader& fileHeader, int& error) {
    fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = errno;
        return false;
    }
    header = fileHeader;
    header.closed = false;
    header.blocksWritten = 0;
    return writeHeader(error);
}

bool Writer::writeHeader(int& error) {
    uint8_t bytes[kHeaderSize];
    encodeHeader(bytes, header);
    if (::pwrite(fd, bytes, kHeaderSize, 0) != static_cast<ssize_t>(kHeaderSize)) {
        error = errno != 0 ? errno : EIO;
        return false;
    }
    if (::lseek(fd, 0, SEEK_END) < 0) {
        error = errno;
        return false;
    }
    return true;
}

bool Writer::writeBlock(const uint8_t* payload, uint32_t payloadSize, uint32_t recordCount, int& error) {
    uint8_t blockHeader[kBlockHeaderSize];
    put<uint32_t>(blockHeader, 0, kBlockMagic);
    put<uint32_t>(blockHeader, 4, payloadSize);
    put<uint32_t>(blockHeader, 8, recordCount);
    put<uint32_t>(blockHeader, 12, crc32(payload, payloadSize));
    if (!writeAll(fd, blockHeader, kBlockHeaderSize, error) || !writeAll(fd, payload, payloadSize, error)) {
        return false;
    }
    ++header.blocksWritten;
    return true;
}

bool Writer::close(uint64_t endTime, uint32_t eventsLost, int& error) {
    if (fd < 0) {
        return true;
    }
    header.endTime = endTime;
    header.eventsLost = eventsLost;
    header.closed = true;
    bool ok = writeHeader(error);
    if (::close(fd) != 0 && ok) {
        error = errno;
        ok = false;
    }
    fd = -1;
    return ok;
}

// ---- Sources ------------------------------------------------------------------------------------------

std::unique_ptr<ByteSource> openFileSource(const std::string& path, int& error) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = errno;
        return nullptr;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        error = S_ISDIR(info.st_mode) ? EISDIR : errno;
        ::close(fd);
        return nullptr;
    }
    return std::make_unique<FileSource>(fd, static_cast<uint64_t>(info.st_size));
}

std::unique_ptr<ByteSource> memorySource(const uint8_t* data, size_t size) {
    return std::make_unique<MemorySource>(data, size);
}

// ---- Reader -------------------------------------------------------------------------------------------

Reader::Reader(std::unique_ptr<ByteSource> src) : source(std::move(src)) {}

ReadStatus Reader::fail_i(ReadStatus status) {
    fault = status;
    block.clear();
    recordsLeft = 0;
    return status;
}

ReadStatus Reader::openHeader() {
    uint8_t bytes[kHeaderSize];
    if (source->size() < kHeaderSize || !source->read(0, bytes, kHeaderSize)) {
        return fail_i(ReadStatus::Corrupt);
    }
    uint16_t headerSize = get<uint16_t>(bytes, 10);
    if (std::memcmp(bytes, kMagic, sizeof(kMagic)) != 0 || get<uint32_t>(bytes, 60) != crc32(bytes, 60) ||
        headerSize < kHeaderSize) {
        return fail_i(ReadStatus::Corrupt);
    }
    if (get<uint16_t>(bytes, 8) != kVersion) {
        return fail_i(ReadStatus::Unsupported);
    }
    header.blockSizeLimit = get<uint32_t>(bytes, 12);
    if (header.blockSizeLimit == 0 || header.blockSizeLimit > kMaxBlockSize) {
        return fail_i(ReadStatus::Corrupt);
    }
    header.startTime = get<uint64_t>(bytes, 16);
    header.clockFrequency = get<uint64_t>(bytes, 24);
    header.pointerSize = get<uint32_t>(bytes, 32);
    header.numberOfProcessors = get<uint32_t>(bytes, 36);
    header.endTime = get<uint64_t>(bytes, 40);
    header.eventsLost = get<uint32_t>(bytes, 48);
    header.blocksWritten = get<uint32_t>(bytes, 52);
    header.closed = (get<uint32_t>(bytes, 56) & kFlagClosed) != 0;
    offset = headerSize;
    return ReadStatus::Event;
}

ReadStatus Reader::loadBlock_i() {
    uint64_t total = source->size();
    if (offset >= total) {
        bool missing = header.closed && blocksRead != header.blocksWritten;
        return missing ? fail_i(ReadStatus::Truncated) : ReadStatus::End;
    }
    uint8_t bytes[kBlockHeaderSize];
    if (total - offset < kBlockHeaderSize || !source->read(offset, bytes, kBlockHeaderSize)) {
        return fail_i(ReadStatus::Truncated);
    }
    uint32_t payloadSize = get<uint32_t>(bytes, 4);
    if (get<uint32_t>(bytes, 0) != kBlockMagic || payloadSize > header.blockSizeLimit) {
        return fail_i(ReadStatus::Corrupt);
    }
    offset += kBlockHeaderSize;
    if (total - offset < payloadSize) {
        return fail_i(ReadStatus::Truncated);
    }
    block.resize(payloadSize);
    if (!source->read(offset, block.data(), payloadSize)) {
        return fail_i(ReadStatus::Truncated);
    }
    if (crc32(block.data(), payloadSize) != get<uint32_t>(bytes, 12)) {
        return fail_i(ReadStatus::Corrupt);
    }
    offset += payloadSize;
    ++blocksRead;
    blockPosition = 0;
    recordsLeft = get<uint32_t>(bytes, 8);
    return ReadStatus::Event;
}

ReadStatus Reader::next(EventView& event) {
    for (;;) {
        if (fault != ReadStatus::Event) {
            return fault;
        }
        if (recordsLeft == 0) {
            if (blockPosition != block.size()) {
                return fail_i(ReadStatus::Corrupt);  // bytes behind the last counted record
            }
            ReadStatus status = loadBlock_i();
            if (status != ReadStatus::Event) {
                return status;
            }
            continue;
        }
        size_t left = block.size() - blockPosition;
        const uint8_t* record = block.data() + blockPosition;
        if (left < 8) {
            return fail_i(ReadStatus::Corrupt);
        }
        uint32_t size = get<uint32_t>(record, 0);
        if (size < 8 || size > left) {
            return fail_i(ReadStatus::Corrupt);
        }
        blockPosition += size;
        --recordsLeft;
        if (get<uint16_t>(record, 4) != kKindEvent) {
            continue;  // a kind of a later version
        }
        uint16_t length = get<uint16_t>(record, 6);
        if (size != eventRecordSize(length)) {
            return fail_i(ReadStatus::Corrupt);
        }
        event.timeStamp = get<uint64_t>(record, 8);
        event.provider.Data1 = get<uint32_t>(record, 16);
        event.provider.Data2 = get<uint16_t>(record, 20);
        event.provider.Data3 = get<uint16_t>(record, 22);
        std::memcpy(event.provider.Data4, record + 24, 8);
        event.descriptor.Id = get<uint16_t>(record, 32);
        event.descriptor.Version = record[34];
        event.descriptor.Channel = record[35];
        event.descriptor.Level = record[36];
        event.descriptor.Opcode = record[37];
        event.descriptor.Task = get<uint16_t>(record, 38);
        event.descriptor.Keyword = get<uint64_t>(record, 40);
        event.processId = get<uint32_t>(record, 48);
        event.threadId = get<uint32_t>(record, 52);
        event.processor = get<uint16_t>(record, 56);
        event.userDataLength = length;
        event.userData = record + kEventHeaderSize;
        return ReadStatus::Event;
    }
}

}  // namespace tracefile
}  // namespace platform
}  // namespace pwr
