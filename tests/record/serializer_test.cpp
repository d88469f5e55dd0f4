#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/record/Serializer.h"

namespace {

using pwr::Serializer;

std::vector<char> bytes(std::initializer_list<int> values) {
    return std::vector<char>(values.begin(), values.end());
}

// How many bytes can be read: the buffer's length bounds reading, not the write offset.
unsigned long long readableBytes(const Serializer& s) {
    std::vector<char> sink(4096);
    unsigned long long n = 0;
    while (n < sink.size() && Serializer(s).read_from(sink.data(), n + 1) == n + 1) {
        ++n;
    }
    return n;
}

TEST(Serializer, GrowsByDoublingFrom128AndHandsBackOnlyWhatWasWritten) {
    Serializer s;
    EXPECT_EQ(readableBytes(s), 0u);
    s.write_uint8('a');
    EXPECT_EQ(readableBytes(s), 128u);
    std::vector<char> block(300, 'x');
    s.write_to(block.data(), block.size());
    EXPECT_EQ(readableBytes(s), 512u) << "several doublings for one large write";
    Serializer sized(10);
    EXPECT_EQ(readableBytes(sized), 10u);
    sized.write_to(block.data(), 11);
    EXPECT_EQ(readableBytes(sized), 20u);

    EXPECT_EQ(s.get_buffer().size(), 301u);
    EXPECT_EQ(s.get_buffer().capacity(), 301u);
    s.write_uint8('b');
    EXPECT_EQ(std::string(s.get_buffer().begin(), s.get_buffer().end()), "a" + std::string(300, 'x') + "b")
        << "writing goes on behind the cut";
    EXPECT_TRUE(Serializer(bytes({1, 2})).get_buffer().empty()) << "bytes to read are not written bytes";
}

// One field of a record: how it is written, its stored bytes, and a read that checks the value read.
struct Field {
    std::function<void(Serializer&)> write;
    std::vector<char> bytes;
    std::function<unsigned long long(Serializer&)> read;  // the bytes it took, 0 when short
    bool lengthPrefixed = false;
};

template <class T>
Field field(void (Serializer::*write)(T), unsigned long long (Serializer::*read)(T&), T value,
            std::vector<char> stored) {
    return {[=](Serializer& s) { (s.*write)(value); }, std::move(stored),
            [=](Serializer& s) {
                T got{};
                unsigned long long n = (s.*read)(got);
                const T expected = n == 0 ? T{} : value;
                EXPECT_EQ(std::memcmp(&got, &expected, sizeof(T)), 0) << "bit for bit; untouched when short";
                return n;
            }};
}

Field stringField(const std::string& value, std::vector<char> stored) {
    return {[=](Serializer& s) { s.write_string(value); }, std::move(stored),
            [=](Serializer& s) {
                std::string got = "kept";
                unsigned long long n = s.read_string(got);
                EXPECT_EQ(got, n == 0 ? "kept" : "kept" + value) << "the reader appends, or nothing";
                return n == 0 ? 0 : n + 2;
            },
            true};
}

// Written back to back, each field in its little-endian bytes without padding; then every prefix of the
// record: the fields before the cut read back, the one that meets it returns 0 and moves nothing (but a
// string's complete length field), and nothing reads past the end.
TEST(Serializer, FieldsRoundTripAndEveryTruncatedPrefixFailsAtTheFieldItCuts) {
    using S = Serializer;
    const std::vector<Field> fields = {
        field<uint8_t>(&S::write_uint8, &S::read_uint8, 0xAB, bytes({0xAB})),
        field<int8_t>(&S::write_int8, &S::read_int8, -2, bytes({0xFE})),
        field<bool>(&S::write_bool, &S::read_bool, true, bytes({1})),
        field<uint16_t>(&S::write_uint16, &S::read_uint16, 0xBEEF, bytes({0xEF, 0xBE})),
        field<uint32_t>(&S::write_uint32, &S::read_uint32, 0x89ABCDEF, bytes({0xEF, 0xCD, 0xAB, 0x89})),
        field<int32_t>(&S::write_int32, &S::read_int32, -5, bytes({0xFB, 0xFF, 0xFF, 0xFF})),
        field<float>(&S::write_float, &S::read_float, -2.5f, bytes({0, 0, 0x20, 0xC0})),
        field<uint64_t>(&S::write_uint64, &S::read_uint64, 0xF8F7F6F5F4F3F2F1,
                        bytes({0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8})),
        stringField(std::string("a\0b", 3), bytes({3, 0, 'a', 0, 'b'})),
        field<bool>(&S::write_bool, &S::read_bool, false, bytes({0})),
    };
    Serializer w;
    std::vector<char> full;
    for (const Field& f : fields) {
        f.write(w);
        full.insert(full.end(), f.bytes.begin(), f.bytes.end());
    }
    ASSERT_EQ(w.get_buffer(), full);

    for (size_t cut = 0; cut <= full.size(); ++cut) {
        SCOPED_TRACE("prefix of " + std::to_string(cut) + " bytes");
        Serializer r(std::vector<char>(full.begin(), full.begin() + static_cast<long>(cut)));
        size_t start = 0;
        for (const Field& f : fields) {
            if (start + f.bytes.size() <= cut) {
                ASSERT_EQ(f.read(r), f.bytes.size());
                start += f.bytes.size();
                continue;
            }
            EXPECT_EQ(f.read(r), 0u);
            size_t rest = cut - start - (f.lengthPrefixed && cut >= start + 2 ? 2 : 0);
            std::vector<char> sink(rest + 1);
            EXPECT_EQ(r.read_from(sink.data(), rest + 1), 0u) << "no more than the rest is there";
            EXPECT_EQ(r.read_from(sink.data(), rest), rest) << "and all of it is";
            break;
        }
    }
}

TEST(Serializer, EmptyStringsLengthsCutTo16BitsAndNonZeroBools) {
    std::string text;
    uint8_t next = 0;
    Serializer empty(bytes({0x00, 0x00, 0x09}));
    EXPECT_EQ(empty.read_string(text), 0u) << "an empty string reads as missing";
    ASSERT_EQ(empty.read_uint8(next), 1u);
    EXPECT_EQ(next, 9) << "behind the two length bytes";
    bool flag = false;
    ASSERT_EQ(Serializer(bytes({0x02})).read_bool(flag), 1u);
    EXPECT_TRUE(flag) << "any non-zero byte reads as true";

    Serializer w;
    w.write_string(std::string(65535, 'z'));
    w.write_string("abc" + std::string(65536, 'q'));
    w.write_count(65536 + 7);
    std::vector<char> written = w.get_buffer();
    ASSERT_EQ(written.size(), 2u + 65535u + 2u + 65539u + 2u) << "all bytes are written behind a cut length";
    EXPECT_EQ(std::vector<char>(written.end() - 2, written.end()), bytes({7, 0}));
    Serializer r(written);
    EXPECT_EQ(r.read_string(text), 65535u);
    text.clear();
    EXPECT_EQ(r.read_string(text), 3u);
    EXPECT_EQ(text, "abc");
}

TEST(Serializer, RawReadsWritesAndRewinds) {
    vrtest::ScopedLogCapture capture(2);
    Serializer s;
    s.write_to(nullptr, 4);
    s.write_to("abc", 0);
    EXPECT_TRUE(s.empty());

    Serializer r(bytes({1, 2, 3}));
    char out[4] = {9, 9, 9, 9};
    EXPECT_EQ(r.read_from(out, 0), 0u);
    EXPECT_EQ(r.read_from(nullptr, 2), 0u);
    EXPECT_EQ(r.read_from(out, 4), 0u);
    EXPECT_EQ(out[0], 9) << "a short read copies nothing";
    ASSERT_EQ(r.read_from(out, 2), 2u);
    r.rewind_read(3);
    r.rewind_read(2);  // all that was read: allowed
    EXPECT_EQ(capture.text(), "WARNING: trying to rewind 3 bytes, but only 2 bytes actually read!\n");
    ASSERT_EQ(r.read_from(out, 3), 3u);
    EXPECT_EQ(std::string(out, 3), "\x01\x02\x03") << "a refused rewind left the offset alone";

    EXPECT_EQ(Serializer::read_string(nullptr, 3), nullptr);
    std::unique_ptr<char[]> copy(Serializer::read_string("ab\0cd", 5));
    EXPECT_EQ(std::memcmp(copy.get(), "ab\0cd\0", 6), 0);
}

TEST(Serializer, CopiesCarryBothOffsetsAndMovesLeaveAnEmptyBuffer) {
    Serializer original;
    original.write_uint16(0x0102);
    original.write_uint16(0x0304);
    uint16_t value = 0;
    ASSERT_EQ(original.read_uint16(value), 2u);

    Serializer copy = original;
    ASSERT_EQ(copy.read_uint16(value), 2u);
    EXPECT_EQ(value, 0x0304) << "the copy reads on where the original stood";

    Serializer moved = std::move(original);
    EXPECT_EQ(original.size(), 4u);  // NOLINT(bugprone-use-after-move): a moved-from one keeps its offsets
    EXPECT_EQ(original.read_uint16(value), 0u) << "and has an empty buffer";
    Serializer target;
    target = std::move(moved);
    EXPECT_EQ(target.get_buffer(), bytes({0x02, 0x01, 0x04, 0x03}));
}

TEST(Serializer, StringContainersRoundTripAndFailOnCorruption) {
    Serializer w;
    w.write_strings(std::set<std::string>{"b", "a"});
    w.write_string_pairs(
        std::vector<std::pair<std::string, std::string>>{{"k", "1"}, {"k", "2"}, {"j", "3"}});
    Serializer r(w.get_buffer());
    std::vector<std::string> list;
    std::map<std::string, std::string> pairs;
    ASSERT_TRUE(r.read_strings(list));
    EXPECT_EQ(list, (std::vector<std::string>{"a", "b"}));
    ASSERT_TRUE(r.read_string_pairs(pairs));
    EXPECT_EQ(pairs, (std::map<std::string, std::string>{{"j", "3"}, {"k", "1"}}))
        << "the first of a key stays";
    EXPECT_FALSE(r.read_strings(list)) << "no count left";

    std::set<std::string> set;
    Serializer withEmpty;
    withEmpty.write_strings(std::vector<std::string>{"one", "", "three"});
    EXPECT_FALSE(Serializer(withEmpty.get_buffer()).read_strings(set)) << "an empty string reads as missing";
    EXPECT_EQ(set, std::set<std::string>{"one"});
    list.clear();
    EXPECT_FALSE(Serializer(bytes({9, 0, 1, 0, 'x'})).read_strings(list)) << "count too large";
    EXPECT_EQ(list, std::vector<std::string>{"x"});
    pairs.clear();
    EXPECT_FALSE(Serializer(bytes({1, 0, 1, 0, 'k', 0x7F, 0, 'v'})).read_string_pairs(pairs));
    EXPECT_TRUE(pairs.empty()) << "a pair with a value that runs past the end";
}

}  // namespace
