#include "vantrell/record/Serializer.h"

#include <cstring>
#include <limits>
#include <new>

#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr size_t kFirstCapacity = 128;

// Shifts rather than a plain copy, so that the bytes are little-endian whatever the host's order;
// compilers turn the loop into a single store.
template <class U>
void storeLittleEndian(char* out, U value) {
    for (size_t i = 0; i < sizeof(U); ++i) {
        out[i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
    }
}

template <class U>
U loadLittleEndian(char const* in) {
    U value = 0;
    for (size_t i = 0; i < sizeof(U); ++i) {
        value = static_cast<U>(value |
                               static_cast<U>(static_cast<U>(static_cast<unsigned char>(in[i])) << (8 * i)));
    }
    return value;
}

}  // namespace

Serializer::Serializer(unsigned long long size) : buffer(size, 0) {}

Serializer::Serializer(std::vector<char> const& bytes) : buffer(bytes) {}

Serializer::Serializer(Serializer&& other) noexcept
    : buffer(std::move(other.buffer)), writeOffset(other.writeOffset), readOffset(other.readOffset) {
    other.buffer.clear();
}

Serializer& Serializer::operator=(Serializer&& other) noexcept {
    if (this != &other) {
        buffer = std::move(other.buffer);
        writeOffset = other.writeOffset;
        readOffset = other.readOffset;
        other.buffer.clear();
    }
    return *this;
}

void Serializer::grow_i() {
    buffer.resize(buffer.empty() ? kFirstCapacity : buffer.size() * 2, 0);
}

void Serializer::write_to(void const* data, unsigned long long n) {
    if (data == nullptr || n == 0) {
        return;
    }
    std::memcpy(reserve_i(n), data, n);
}

unsigned long long Serializer::read_from(void* data, unsigned long long n) {
    if (data == nullptr || n == 0) {
        return 0;
    }
    char const* in = take_i(n);
    if (in == nullptr) {
        return 0;
    }
    std::memcpy(data, in, n);
    return n;
}

void Serializer::rewind_read(unsigned long long n) {
    if (n > readOffset) {
        VR_LOG(2, "WARNING: trying to rewind %zu bytes, but only %zu bytes actually read!\n",
               static_cast<size_t>(n), static_cast<size_t>(readOffset));
        return;
    }
    readOffset -= n;
}

std::vector<char>& Serializer::get_buffer() {
    buffer.resize(writeOffset);
    buffer.shrink_to_fit();
    return buffer;
}

char* Serializer::read_string(char const* src, unsigned long long n) {
    if (src == nullptr) {
        return nullptr;
    }
    if (n >= std::numeric_limits<size_t>::max()) {
        throw std::bad_alloc();
    }
    char* copy = new char[n + 1];
    std::memcpy(copy, src, n);
    copy[n] = '\0';
    return copy;
}

void Serializer::write_uint8(uint8_t value) {
    *reserve_i(1) = static_cast<char>(value);
}

void Serializer::write_int8(int8_t value) {
    write_uint8(static_cast<uint8_t>(value));
}

void Serializer::write_bool(bool value) {
    write_uint8(value ? 1 : 0);
}

void Serializer::write_uint16(uint16_t value) {
    storeLittleEndian(reserve_i(sizeof(value)), value);
}

void Serializer::write_uint32(uint32_t value) {
    storeLittleEndian(reserve_i(sizeof(value)), value);
}

void Serializer::write_int32(int32_t value) {
    write_uint32(static_cast<uint32_t>(value));
}

void Serializer::write_float(float value) {
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    write_uint32(bits);
}

void Serializer::write_uint64(uint64_t value) {
    storeLittleEndian(reserve_i(sizeof(value)), value);
}

void Serializer::write_string(std::string const& value) {
    write_uint16(static_cast<uint16_t>(value.size()));
    write_to(value.data(), value.size());
}

unsigned long long Serializer::read_uint8(uint8_t& value) {
    char const* in = take_i(sizeof(value));
    if (in == nullptr) {
        return 0;
    }
    value = static_cast<uint8_t>(*in);
    return sizeof(value);
}

unsigned long long Serializer::read_int8(int8_t& value) {
    uint8_t raw = 0;
    if (read_uint8(raw) == 0) {
        return 0;
    }
    value = static_cast<int8_t>(raw);
    return sizeof(value);
}

unsigned long long Serializer::read_bool(bool& value) {
    uint8_t raw = 0;
    if (read_uint8(raw) == 0) {
        return 0;
    }
    value = raw != 0;
    return sizeof(raw);
}

unsigned long long Serializer::read_uint16(uint16_t& value) {
    char const* in = take_i(sizeof(value));
    if (in == nullptr) {
        return 0;
    }
    value = loadLittleEndian<uint16_t>(in);
    return sizeof(value);
}

unsigned long long Serializer::read_uint32(uint32_t& value) {
    char const* in = take_i(sizeof(value));
    if (in == nullptr) {
        return 0;
    }
    value = loadLittleEndian<uint32_t>(in);
    return sizeof(value);
}

unsigned long long Serializer::read_int32(int32_t& value) {
    uint32_t raw = 0;
    if (read_uint32(raw) == 0) {
        return 0;
    }
    value = static_cast<int32_t>(raw);
    return sizeof(value);
}

unsigned long long Serializer::read_float(float& value) {
    uint32_t bits = 0;
    if (read_uint32(bits) == 0) {
        return 0;
    }
    std::memcpy(&value, &bits, sizeof(value));
    return sizeof(value);
}

unsigned long long Serializer::read_uint64(uint64_t& value) {
    char const* in = take_i(sizeof(value));
    if (in == nullptr) {
        return 0;
    }
    value = loadLittleEndian<uint64_t>(in);
    return sizeof(value);
}

unsigned long long Serializer::read_string(std::string& value) {
    uint16_t length = 0;
    if (read_uint16(length) == 0 || length == 0) {
        return 0;
    }
    // A length that runs past the end leaves its two bytes consumed: the next read starts behind them.
    char const* in = take_i(length);
    if (in == nullptr) {
        return 0;
    }
    value.append(in, length);
    return length;
}

}  // namespace pwr
