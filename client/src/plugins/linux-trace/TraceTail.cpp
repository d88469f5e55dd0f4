#include "TraceTail.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace vantrell::plugins {

namespace {

constexpr size_t kFileHeaderSize = 64;
constexpr size_t kBlockHeaderSize = 16;
constexpr size_t kEventHeaderSize = 60;
constexpr uint32_t kBlockMagic = 0x4b4c4256;
constexpr uint32_t kMaxBlockSize = 64u << 20;
constexpr uint16_t kKindEvent = 1;

template <class T>
T readLe(const uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    return value;
}

std::array<uint32_t, 256> makeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int bit = 0; bit < 8; ++bit) {
            c = (c & 1) != 0 ? 0xedb88320u ^ (c >> 1) : c >> 1;
        }
        table[i] = c;
    }
    return table;
}

}  // namespace

uint32_t crc32(const uint8_t* data, size_t size) {
    static const std::array<uint32_t, 256> table = makeCrcTable();
    uint32_t crc = 0xffffffffu;
    for (size_t i = 0; i < size; ++i) {
        crc = table[(crc ^ data[i]) & 0xff] ^ (crc >> 8);
    }
    return crc ^ 0xffffffffu;
}

TraceTail::~TraceTail() {
    if (fd >= 0) {
        ::close(fd);
    }
}

void TraceTail::reset() {
    if (fd >= 0) {
        ::close(fd);
    }
    fd = -1;
    offset = frequency = blocks = 0;
    blockLimit = 0;
    fault = Status::Ok;
    payload.clear();
}

bool TraceTail::open(const std::string& path, std::string& error) {
    reset();
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

bool TraceTail::readExactly_i(uint64_t at, void* out, size_t length) {
    auto* bytes = static_cast<uint8_t*>(out);
    size_t done = 0;
    while (done < length) {
        ssize_t got = ::pread(fd, bytes + done, length - done, static_cast<off_t>(at + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        done += static_cast<size_t>(got);
    }
    return true;
}

TraceTail::Status TraceTail::readHeader_i(bool& complete) {
    uint8_t header[kFileHeaderSize];
    complete = readExactly_i(0, header, sizeof(header));
    if (!complete) {
        return Status::Ok;
    }
    const uint16_t version = readLe<uint16_t>(header + 8);
    const uint16_t headerSize = readLe<uint16_t>(header + 10);
    blockLimit = readLe<uint32_t>(header + 12);
    frequency = readLe<uint64_t>(header + 24);
    if (std::memcmp(header, "VRTRACE\0", 8) != 0 || readLe<uint32_t>(header + 60) != crc32(header, 60) ||
        headerSize < kFileHeaderSize || blockLimit == 0 || blockLimit > kMaxBlockSize || frequency == 0) {
        return Status::Corrupt;
    }
    if (version != 1) {
        return Status::Unsupported;
    }
    offset = headerSize;
    return Status::Ok;
}

bool TraceTail::readEventsLost(uint32_t& lost) {
    uint8_t header[kFileHeaderSize];
    if (fd < 0 || !readExactly_i(0, header, sizeof(header)) ||
        readLe<uint32_t>(header + 60) != crc32(header, 60) || (readLe<uint32_t>(header + 56) & 1) == 0) {
        return false;
    }
    lost = readLe<uint32_t>(header + 48);
    return true;
}

TraceTail::Status TraceTail::readNew(const std::function<void(const Event&)>& onEvent) {
    if (fault != Status::Ok || fd < 0) {
        return fd < 0 ? Status::Corrupt : fault;
    }
    if (offset == 0) {
        bool complete = false;
        fault = readHeader_i(complete);
        if (fault != Status::Ok || !complete) {
            return fault;
        }
    }
    for (;;) {
        uint8_t head[kBlockHeaderSize];
        if (!readExactly_i(offset, head, sizeof(head))) {
            return Status::Ok;  // the next block is not (wholly) written yet
        }
        const uint32_t size = readLe<uint32_t>(head + 4);
        if (readLe<uint32_t>(head) != kBlockMagic || size > blockLimit) {
            return fault = Status::Corrupt;
        }
        payload.resize(size);
        if (!readExactly_i(offset + kBlockHeaderSize, payload.data(), size)) {
            return Status::Ok;
        }
        if (crc32(payload.data(), size) != readLe<uint32_t>(head + 12)) {
            return fault = Status::Corrupt;
        }
        if (parseBlock_i(readLe<uint32_t>(head + 8), onEvent) != Status::Ok) {
            return fault = Status::Corrupt;
        }
        offset += kBlockHeaderSize + size;
        ++blocks;
    }
}

TraceTail::Status TraceTail::parseBlock_i(uint32_t recordCount,
                                          const std::function<void(const Event&)>& onEvent) {
    size_t at = 0;
    uint32_t records = 0;
    while (at < payload.size()) {
        const size_t left = payload.size() - at;
        const uint8_t* record = payload.data() + at;
        const uint32_t size = left >= 8 ? readLe<uint32_t>(record) : 0;
        if (size < 8 || size > left) {
            return Status::Corrupt;
        }
        if (readLe<uint16_t>(record + 4) == kKindEvent) {
            const uint16_t userLength = readLe<uint16_t>(record + 6);
            if (size != kEventHeaderSize + userLength) {
                return Status::Corrupt;
            }
            Event event;
            event.timeStamp = readLe<uint64_t>(record + 8);
            std::memcpy(&event.provider.Data1, record + 16, 4);
            std::memcpy(&event.provider.Data2, record + 20, 2);
            std::memcpy(&event.provider.Data3, record + 22, 2);
            std::memcpy(event.provider.Data4, record + 24, 8);
            event.id = readLe<uint16_t>(record + 32);
            event.processor = readLe<uint16_t>(record + 56);
            event.data = record + kEventHeaderSize;
            event.size = userLength;
            onEvent(event);
        }
        at += size;
        ++records;
    }
    return records == recordCount ? Status::Ok : Status::Corrupt;
}

}  // namespace vantrell::plugins
