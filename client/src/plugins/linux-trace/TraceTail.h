#pragma once

// Reads a trace file (docs/trace-file.md) while its session is still writing it: each call takes the
// whole blocks that were added since the last call and leaves a block that is only partly on disk for
// the next one. Every length is checked against the bytes read before it is trusted.
//
// Not copyable (it holds the file). One thread.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell::plugins {

class TraceTail {
  public:
    struct Event {
        uint64_t timeStamp = 0;
        _GUID provider{};
        uint16_t id = 0;
        uint16_t processor = 0;
        const uint8_t* data = nullptr;  // valid during the callback only
        uint16_t size = 0;
    };
    enum class Status { Ok, Corrupt, Unsupported };

    TraceTail() = default;
    ~TraceTail();
    TraceTail(const TraceTail&) = delete;
    TraceTail& operator=(const TraceTail&) = delete;

    // Closes the file and forgets all that was read.
    void reset();
    // Opens `path` for reading; false with errno's text in `error`.
    bool open(const std::string& path, std::string& error);
    // Calls `onEvent` for each event of the blocks written since the last call. Ok also when nothing
    // new is complete yet; Corrupt or Unsupported stay once met (the events before the fault were
    // delivered).
    Status readNew(const std::function<void(const Event&)>& onEvent);
    // Ticks per second of the time stamps (from the header; 0 until it was read).
    uint64_t clockFrequency() const { return frequency; }
    uint64_t blocksRead() const { return blocks; }
    // The events the session lost, from the header its stop rewrote; false while the file is not closed.
    bool readEventsLost(uint32_t& lost);

  private:
    bool readExactly_i(uint64_t at, void* out, size_t length);
    Status readHeader_i(bool& complete);
    Status parseBlock_i(uint32_t recordCount, const std::function<void(const Event&)>& onEvent);

    int fd = -1;
    uint64_t offset = 0;  // the next block header; 0 until the file header was read
    uint64_t frequency = 0;
    uint32_t blockLimit = 0;
    uint64_t blocks = 0;
    Status fault = Status::Ok;
    std::vector<uint8_t> payload;
};

// CRC-32 as zlib computes it (IEEE 802.3, reflected).
uint32_t crc32(const uint8_t* data, size_t size);

}  // namespace vantrell::plugins
