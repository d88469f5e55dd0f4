#pragma once

// The byte buffer through which every stored record of a collection passes on its way to a result file
// and back. It knows no records: it grows, stores bytes at the write offset and hands them back in order
// from the read offset.
//
// Format: little-endian, no padding, no tags, no alignment between values.
//   8-bit values and bool     1 byte
//   unsigned 16-bit           2 bytes
//   32-bit values and float   4 bytes (a float as its bits)
//   unsigned 64-bit           8 bytes
//   string                    unsigned 16-bit length, then the bytes, no terminator
//   list, set, map            unsigned 16-bit count, then the elements in container order
// Lengths and counts are cut to 16 bits when written: a text of 65,536 bytes or more writes its length
// modulo 65,536 and then all of its bytes, and can't be read back. Writers of records don't guard this.
//
// Reading is bounded by the length of the buffer, never by the write offset, so a Serializer made from
// stored bytes reads them all while size() is 0. Readers report shortage by their result only and log
// nothing; the record that reads knows what was missing and says so.
//
// The Serializer owns its buffer. Copyable and movable (all three fields; a moved-from one has an empty
// buffer and keeps its offsets). One thread at a time.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class VR_EXPORT Serializer {
  public:
    // A buffer of `size` zero bytes, both offsets 0.
    explicit Serializer(unsigned long long size = 0);
    // A copy of `bytes` to read from; both offsets 0, so empty() is true.
    explicit Serializer(std::vector<char> const& bytes);

    Serializer(Serializer const& other) = default;
    Serializer& operator=(Serializer const& other) = default;
    Serializer(Serializer&& other) noexcept;
    Serializer& operator=(Serializer&& other) noexcept;
    ~Serializer() = default;

    // Appends `n` bytes at the write offset, growing the buffer first. A null `data` or an `n` of 0 does
    // nothing. Throws std::bad_alloc (or std::length_error) when the buffer can't grow.
    void write_to(void const* data, unsigned long long n);
    // Copies `n` bytes from the read offset into `data` and moves the offset on; returns `n`. Returns 0 and
    // moves nothing when fewer than `n` bytes remain or `data` is null.
    unsigned long long read_from(void* data, unsigned long long n);
    // Moves the read offset back by `n` bytes. Asking for more than was read leaves the offset alone and
    // logs "WARNING: trying to rewind %zu bytes, but only %zu bytes actually read!\n".
    void rewind_read(unsigned long long n);

    // Bytes written so far (the write offset).
    unsigned long long size() const { return writeOffset; }
    // True when nothing was written, also for a Serializer made from stored bytes.
    bool empty() const { return writeOffset == 0; }
    // Shrinks the buffer to the bytes written, in length and capacity, and returns it by reference.
    std::vector<char>& get_buffer();

    // A new array of `n + 1` bytes: the `n` bytes at `src` and a zero. Null for a null `src`. The caller
    // owns the result (delete[]).
    static char* read_string(char const* src, unsigned long long n);

    // Typed writers: ensure the space, then store the value at the write offset in the format above.
    void write_uint8(uint8_t value);
    void write_int8(int8_t value);
    void write_bool(bool value);
    void write_uint16(uint16_t value);
    void write_uint32(uint32_t value);
    void write_int32(int32_t value);
    void write_float(float value);
    void write_uint64(uint64_t value);
    // The length cut to 16 bits, then every byte of `value`.
    void write_string(std::string const& value);
    // A list, set or map count: `count` cut to 16 bits.
    void write_count(size_t count) { write_uint16(static_cast<uint16_t>(count)); }

    // Typed readers of numbers: return the bytes consumed. When fewer remain than the value needs, return
    // 0 and leave both `value` and the read offset as they were. A bool is true for any non-zero byte.
    unsigned long long read_uint8(uint8_t& value);
    unsigned long long read_int8(int8_t& value);
    unsigned long long read_bool(bool& value);
    unsigned long long read_uint16(uint16_t& value);
    unsigned long long read_uint32(uint32_t& value);
    unsigned long long read_int32(int32_t& value);
    unsigned long long read_float(float& value);
    unsigned long long read_uint64(uint64_t& value);
    unsigned long long read_count(uint16_t& count) { return read_uint16(count); }
    // Reads a length and appends that many bytes to `value`; returns the length.
    // Returns 0 in three cases that a caller can't tell apart, so an empty string reads as a missing one:
    //   fewer than 2 bytes remain: nothing is consumed;
    //   the length is 0: the 2 length bytes are consumed, `value` is left alone;
    //   fewer bytes remain than the length: the 2 length bytes stay consumed, `value` is left alone.
    unsigned long long read_string(std::string& value);

    // A count and then each string of `strings` in iteration order (sorted for a set).
    template <class Container>
    void write_strings(Container const& strings);
    // A count and then key and value of each pair in iteration order.
    template <class Container>
    void write_string_pairs(Container const& pairs);
    // Reads a count and that many non-empty strings, inserting each at the end of `out` (a set keeps the
    // first of a repeated text). True when all were read; false at a shortage or an empty string, with
    // `out` holding what was read before it.
    template <class Container>
    bool read_strings(Container& out);
    // The same for a count of string pairs; a map keeps the first value of a repeated key.
    template <class Container>
    bool read_string_pairs(Container& out);

  private:
    // One growth step: twice the present length, or 128 bytes when empty; the new bytes are zero.
    void grow_i();
    // The offsets may stand beyond the buffer: a moved-from object keeps them, and get_buffer() cuts the
    // buffer to the write offset whatever was read.
    unsigned long long space_avail_i() const {
        return writeOffset < buffer.size() ? buffer.size() - writeOffset : 0;
    }
    unsigned long long data_avail_i() const {
        return readOffset < buffer.size() ? buffer.size() - readOffset : 0;
    }
    // Grows until `n` bytes fit behind the write offset and returns where they go. Inline, as is take_i,
    // so that a typed write or read costs one call.
    char* reserve_i(unsigned long long n) {
        while (space_avail_i() < n) {
            grow_i();
        }
        char* out = buffer.data() + writeOffset;
        writeOffset += n;
        return out;
    }
    // The next `n` bytes to read, with the read offset moved past them; null, moving nothing, when fewer
    // remain.
    char const* take_i(unsigned long long n) {
        if (data_avail_i() < n) {
            return nullptr;
        }
        char const* in = buffer.data() + readOffset;
        readOffset += n;
        return in;
    }

    std::vector<char> buffer;
    unsigned long long writeOffset = 0;
    unsigned long long readOffset = 0;
};

template <class Container>
void Serializer::write_strings(Container const& strings) {
    write_count(strings.size());
    for (std::string const& text : strings) {
        write_string(text);
    }
}

template <class Container>
void Serializer::write_string_pairs(Container const& pairs) {
    write_count(pairs.size());
    for (auto const& pair : pairs) {
        write_string(pair.first);
        write_string(pair.second);
    }
}

template <class Container>
bool Serializer::read_strings(Container& out) {
    uint16_t count = 0;
    if (read_count(count) == 0) {
        return false;
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::string text;
        if (read_string(text) == 0) {
            return false;
        }
        out.insert(out.end(), std::move(text));
    }
    return true;
}

template <class Container>
bool Serializer::read_string_pairs(Container& out) {
    uint16_t count = 0;
    if (read_count(count) == 0) {
        return false;
    }
    for (uint16_t i = 0; i < count; ++i) {
        std::string key;
        std::string value;
        if (read_string(key) == 0 || read_string(value) == 0) {
            return false;
        }
        out.insert(out.end(), typename Container::value_type(std::move(key), std::move(value)));
    }
    return true;
}

}  // namespace pwr
