// The Serializer's typed readers over arbitrary bytes: no crash, no over-read, and every value read
// writes back to exactly the bytes it came from.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "vantrell/record/Serializer.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;

// Follows the read offset from outside and checks each read against the bytes it should have taken.
struct Checker {
    const std::vector<char>& payload;
    size_t offset = 0;

    size_t remaining() const { return offset < payload.size() ? payload.size() - offset : 0; }

    // A number reader took `n` bytes, or 0 when fewer than `width` remained; its value re-encodes to them.
    void number(unsigned long long n, size_t width, const pwr::Serializer& rewritten) {
        if (remaining() < width) {
            check(n == 0, "a short number read must report 0");
            return;
        }
        check(n == width, "a number read must report its width");
        pwr::Serializer copy = rewritten;
        std::vector<char>& bytes = copy.get_buffer();
        check(bytes.size() == width && std::memcmp(bytes.data(), &payload[offset], width) == 0,
              "a number doesn't write back to its bytes");
        offset += width;
    }

    void string(unsigned long long n, const std::string& value) {
        if (remaining() < 2) {
            check(n == 0 && value.empty(), "a string without a length field must report 0");
            return;
        }
        size_t length = static_cast<uint8_t>(payload[offset]) | static_cast<uint8_t>(payload[offset + 1])
                                                                    << 8;
        offset += 2;
        if (length == 0 || remaining() < length) {
            check(n == 0 && value.empty(), "an empty or overlong string must report 0");
            return;
        }
        check(n == length && value == std::string(&payload[offset], length),
              "a string differs from its bytes");
        offset += length;
    }
};

template <class T, class Read, class Write>
void readNumber(pwr::Serializer& s, Checker& checker, Read read, Write write) {
    T value{};
    unsigned long long n = (s.*read)(value);
    pwr::Serializer rewritten;
    (rewritten.*write)(value);
    checker.number(n, sizeof(T), rewritten);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    if (size == 0) {
        return 0;
    }
    // The first byte says how many of the following bytes are operations; the rest is the payload.
    size_t opCount = std::min<size_t>(data[0] % 32, size - 1);
    const uint8_t* ops = data + 1;
    std::vector<char> payload(reinterpret_cast<const char*>(data + 1 + opCount),
                              reinterpret_cast<const char*>(data + size));
    pwr::Serializer s(payload);
    Checker checker{payload};

    for (size_t i = 0; i < opCount; ++i) {
        using S = pwr::Serializer;
        switch (ops[i] % 12) {
            case 0:
                readNumber<uint8_t>(s, checker, &S::read_uint8, &S::write_uint8);
                break;
            case 1:
                readNumber<int8_t>(s, checker, &S::read_int8, &S::write_int8);
                break;
            case 2:
                readNumber<uint16_t>(s, checker, &S::read_uint16, &S::write_uint16);
                break;
            case 3:
                readNumber<uint32_t>(s, checker, &S::read_uint32, &S::write_uint32);
                break;
            case 4:
                readNumber<int32_t>(s, checker, &S::read_int32, &S::write_int32);
                break;
            case 5:
                readNumber<float>(s, checker, &S::read_float, &S::write_float);
                break;
            case 6:
                readNumber<uint64_t>(s, checker, &S::read_uint64, &S::write_uint64);
                break;
            case 7: {
                std::string value;
                checker.string(s.read_string(value), value);
                break;
            }
            case 8: {
                bool value = false;
                unsigned long long n = s.read_bool(value);
                check(n == (checker.remaining() >= 1 ? 1u : 0u), "a bool read reports its width");
                checker.offset += n;
                break;
            }
            case 9: {
                // Container readers: only bounded progress is checked; the model restarts behind them.
                std::vector<std::string> list;
                std::set<std::string> set;
                std::map<std::string, std::string> map;
                (void)((ops[i] & 0x10) ? s.read_strings(list) : s.read_strings(set));
                (void)s.read_string_pairs(map);
                std::vector<char> rest(payload.size() + 1);
                unsigned long long left = 0;
                while (left < payload.size() && s.read_from(rest.data(), 1) == 1) {
                    ++left;
                }
                check(left <= payload.size(), "a container reader read past the end");
                checker.offset = payload.size();
                break;
            }
            case 10: {
                unsigned long long back = ops[i] >> 4;
                s.rewind_read(back);
                if (back <= checker.offset) {
                    checker.offset -= back;
                }
                break;
            }
            default: {
                std::vector<char> into(ops[i] >> 3);
                unsigned long long n = s.read_from(into.data(), into.size());
                bool fits = !into.empty() && checker.remaining() >= into.size();
                check(n == (fits ? into.size() : 0u), "read_from reports all or nothing");
                if (fits) {
                    check(std::memcmp(into.data(), &payload[checker.offset], into.size()) == 0,
                          "read_from bytes");
                    checker.offset += into.size();
                }
                break;
            }
        }
    }
    check(s.empty(), "reading never moves the write offset");
    return 0;
}
