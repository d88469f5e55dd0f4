#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
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

std::vector<char> written(Serializer s) {
    return s.get_buffer();
}

// The readable length of a buffer, which reading is bounded by: the largest read_from that succeeds.
unsigned long long readableBytes(Serializer const& s) {
    std::vector<char> sink(4096);
    unsigned long long n = 0;
    while (n < sink.size() && Serializer(s).read_from(sink.data(), n + 1) == n + 1) {
        ++n;
    }
    return n;
}

template <class T>
void expectRoundTrip(void (Serializer::*write)(T), unsigned long long (Serializer::*read)(T&),
                     std::initializer_list<T> values) {
    Serializer w;
    for (T v : values)
        (w.*write)(v);
    EXPECT_EQ(w.size(), values.size() * sizeof(T));
    Serializer r(w.get_buffer());
    for (T v : values) {
        T got{};
        ASSERT_EQ((r.*read)(got), sizeof(T));
        EXPECT_EQ(std::memcmp(&got, &v, sizeof(T)), 0) << "bit for bit, also for NaN and -0";
    }
    T got{};
    EXPECT_EQ((r.*read)(got), 0u);
}

TEST(Serializer, GrowsByDoublingFrom128) {
    Serializer s;
    EXPECT_EQ(readableBytes(s), 0u);
    s.write_uint8(1);
    EXPECT_EQ(s.size(), 1u);
    EXPECT_EQ(readableBytes(s), 128u);

    Serializer big;
    std::vector<char> block(300, 'x');
    big.write_to(block.data(), block.size());
    EXPECT_EQ(big.size(), 300u);
    EXPECT_EQ(readableBytes(big), 512u) << "several doublings for one large write";

    Serializer sized(10);
    EXPECT_TRUE(sized.empty());
    EXPECT_EQ(readableBytes(sized), 10u);
    sized.write_to(block.data(), 11);
    EXPECT_EQ(readableBytes(sized), 20u);
}

TEST(Serializer, GetBufferIsExactlyTheWrittenBytes) {
    Serializer s;
    s.write_to("abcde", 5);
    std::vector<char>& buffer = s.get_buffer();
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "abcde");
    EXPECT_EQ(buffer.capacity(), 5u);
    s.write_uint8('f');
    EXPECT_EQ(written(s), bytes({'a', 'b', 'c', 'd', 'e', 'f'})) << "writing goes on behind the cut";
    EXPECT_TRUE(Serializer(bytes({1, 2})).get_buffer().empty()) << "bytes to read are not written bytes";
}

TEST(Serializer, PrimitiveEncodingsAreLittleEndianWithoutPadding) {
    Serializer s;
    s.write_uint8(0xAB);
    s.write_int8(-2);
    s.write_bool(true);
    s.write_uint16(0x1234);
    s.write_uint32(0x89ABCDEF);
    s.write_int32(-2);
    s.write_float(1.0f);
    s.write_uint64(0x0102030405060708ULL);
    s.write_string("hi");
    s.write_count(3);
    EXPECT_EQ(written(s), bytes({0xAB, 0xFE, 0x01, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x89, 0xFE, 0xFF,
                                 0xFF, 0xFF, 0x00, 0x00, 0x80, 0x3F, 0x08, 0x07, 0x06, 0x05, 0x04,
                                 0x03, 0x02, 0x01, 0x02, 0x00, 'h',  'i',  0x03, 0x00}));
}

TEST(Serializer, RoundTripsBoundaryValues) {
    using S = Serializer;
    using Float = std::numeric_limits<float>;
    expectRoundTrip<uint8_t>(&S::write_uint8, &S::read_uint8, {0, 1, 255});
    expectRoundTrip<int8_t>(&S::write_int8, &S::read_int8, {-128, -1, 127});
    expectRoundTrip<bool>(&S::write_bool, &S::read_bool, {false, true});
    expectRoundTrip<uint16_t>(&S::write_uint16, &S::read_uint16, {0, 0x00FF, 0xFF00, 65535});
    expectRoundTrip<uint32_t>(&S::write_uint32, &S::read_uint32, {0, 0x01020304, UINT32_MAX});
    expectRoundTrip<int32_t>(&S::write_int32, &S::read_int32, {INT32_MIN, -1, INT32_MAX});
    expectRoundTrip<float>(&S::write_float, &S::read_float,
                           {-0.0f, Float::infinity(), Float::denorm_min(), Float::quiet_NaN(), Float::max()});
    expectRoundTrip<uint64_t>(&S::write_uint64, &S::read_uint64, {0, 0x0102030405060708ULL, UINT64_MAX});

    const std::vector<std::string> texts = {"x", std::string("a\0b", 3), std::string(65535, 'z')};
    Serializer w;
    for (const std::string& text : texts)
        w.write_string(text);
    Serializer r(w.get_buffer());
    for (const std::string& expected : texts) {
        std::string text;
        ASSERT_EQ(r.read_string(text), expected.size());
        EXPECT_EQ(text, expected);
    }

    Serializer nonZero(bytes({0x02}));
    bool flag = false;
    ASSERT_EQ(nonZero.read_bool(flag), 1u);
    EXPECT_TRUE(flag) << "any non-zero byte reads as true";
}

// A record of every kind of field cut at each length: the reads before the cut succeed, the one that
// meets it returns 0 and moves nothing (but a string's complete length field), and nothing reads past
// the end.
TEST(Serializer, EveryTruncatedPrefixFailsAtTheFieldItCuts) {
    Serializer w;
    w.write_uint8(7);
    w.write_uint16(0xBEEF);
    w.write_int32(-5);
    w.write_float(2.5f);
    w.write_uint64(42);
    w.write_string("name");
    w.write_bool(true);
    const std::vector<char> full = w.get_buffer();

    uint8_t u8;
    uint16_t u16;
    int32_t i32;
    float f;
    uint64_t u64;
    std::string text;
    bool flag;
    const std::vector<std::pair<size_t, std::function<unsigned long long(Serializer&)>>> fields = {
        {1, [&](Serializer& r) { return r.read_uint8(u8); }},
        {2, [&](Serializer& r) { return r.read_uint16(u16); }},
        {4, [&](Serializer& r) { return r.read_int32(i32); }},
        {4, [&](Serializer& r) { return r.read_float(f); }},
        {8, [&](Serializer& r) { return r.read_uint64(u64); }},
        {6, [&](Serializer& r) { return r.read_string(text) == 0 ? 0 : 6; }},
        {1, [&](Serializer& r) { return r.read_bool(flag); }},
    };
    for (size_t cut = 0; cut <= full.size(); ++cut) {
        SCOPED_TRACE("prefix of " + std::to_string(cut) + " bytes");
        Serializer r(std::vector<char>(full.begin(), full.begin() + static_cast<long>(cut)));
        size_t start = 0;
        text = "kept";
        for (size_t i = 0; i < fields.size(); ++i) {
            size_t width = fields[i].first;
            if (start + width <= cut) {
                ASSERT_EQ(fields[i].second(r), width) << "field " << i;
                start += width;
                continue;
            }
            EXPECT_EQ(fields[i].second(r), 0u) << "field " << i;
            size_t consumed = (i == 5 && cut >= start + 2) ? 2 : 0;
            std::vector<char> rest(cut - start - consumed + 1);
            EXPECT_EQ(r.read_from(rest.data(), rest.size()), 0u) << "no more than the rest is there";
            EXPECT_EQ(r.read_from(rest.data(), rest.size() - 1), rest.size() - 1) << "and all of it is";
            EXPECT_EQ(text, i <= 5 ? "kept" : "keptname") << "a failed string read appends nothing";
            break;
        }
    }
    EXPECT_EQ(text, "keptname");
    EXPECT_TRUE(u8 == 7 && u16 == 0xBEEF && i32 == -5 && f == 2.5f && u64 == 42 && flag);
}

TEST(Serializer, StringReaderShortagesAndEmptiness) {
    std::string text = "pre";
    uint8_t next = 0;
    Serializer oneByte(bytes({0x05}));
    EXPECT_EQ(oneByte.read_string(text), 0u);
    ASSERT_EQ(oneByte.read_uint8(next), 1u) << "a lone byte is not consumed";
    EXPECT_EQ(next, 5);

    Serializer empty(bytes({0x00, 0x00, 0x09}));
    EXPECT_EQ(empty.read_string(text), 0u);
    ASSERT_EQ(empty.read_uint8(next), 1u) << "the two length bytes are consumed";
    EXPECT_EQ(next, 9);

    Serializer overlong(bytes({0x05, 0x00, 'a', 'b', 'c'}));
    EXPECT_EQ(overlong.read_string(text), 0u);
    ASSERT_EQ(overlong.read_uint8(next), 1u) << "the next read starts right behind the length field";
    EXPECT_EQ(next, 'a');
    EXPECT_EQ(text, "pre");

    Serializer fine(bytes({0x02, 0x00, 'o', 'k'}));
    EXPECT_EQ(fine.read_string(text), 2u);
    EXPECT_EQ(text, "preok") << "the reader appends";
}

TEST(Serializer, LengthsAndCountsAreCutTo16Bits) {
    Serializer w;
    w.write_string("abc" + std::string(65536, 'q'));
    w.write_count(65536 + 7);
    EXPECT_EQ(w.size(), 2u + 65539u + 2u) << "all bytes are written behind the cut length";
    Serializer r(w.get_buffer());
    std::string text;
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
    EXPECT_EQ(std::string(out, 2), "\x01\x02");

    r.rewind_read(3);
    EXPECT_EQ(capture.debug().text(), "WARNING: trying to rewind 3 bytes, but only 2 bytes actually read!\n");
    r.rewind_read(1);
    ASSERT_EQ(r.read_from(out, 2), 2u);
    EXPECT_EQ(std::string(out, 2), "\x02\x03") << "a refused rewind left the offset alone";
    EXPECT_EQ(capture.debug().messages().size(), 1u);

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
    copy.write_uint8(5);
    EXPECT_EQ(written(copy), bytes({0x02, 0x01, 0x04, 0x03, 0x05}));
    EXPECT_EQ(written(original), bytes({0x02, 0x01, 0x04, 0x03})) << "the copy owns its bytes";

    Serializer moved = std::move(original);
    EXPECT_EQ(original.size(), 4u)
        << "a moved-from object keeps its offsets";  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(original.read_uint16(value), 0u) << "and has an empty buffer";
    Serializer target;
    target = std::move(moved);
    EXPECT_EQ(written(target), bytes({0x02, 0x01, 0x04, 0x03}));
}

TEST(Serializer, StringContainersRoundTripAndFailOnCorruption) {
    Serializer w;
    w.write_strings(std::set<std::string>{"b", "a"});
    w.write_string_pairs(
        std::vector<std::pair<std::string, std::string>>{{"k", "1"}, {"k", "2"}, {"j", "3"}});
    EXPECT_EQ(std::string(written(w).data(), 8), std::string("\x02\x00\x01\x00"
                                                             "a\x01\x00"
                                                             "b",
                                                             8))
        << "a set goes in sorted order";
    Serializer r(w.get_buffer());
    std::vector<std::string> list;
    std::map<std::string, std::string> pairs;
    ASSERT_TRUE(r.read_strings(list));
    EXPECT_EQ(list, (std::vector<std::string>{"a", "b"}));
    ASSERT_TRUE(r.read_string_pairs(pairs));
    EXPECT_EQ(pairs, (std::map<std::string, std::string>{{"j", "3"}, {"k", "1"}}))
        << "the first of a key stays";
    EXPECT_FALSE(r.read_strings(list)) << "no count left";

    Serializer withEmpty;
    withEmpty.write_strings(std::vector<std::string>{"one", "", "three"});
    std::set<std::string> set;
    EXPECT_FALSE(Serializer(withEmpty.get_buffer()).read_strings(set)) << "an empty string reads as missing";
    EXPECT_EQ(set, std::set<std::string>{"one"});

    list.clear();
    EXPECT_FALSE(Serializer(bytes({0x09, 0x00, 0x01, 0x00, 'x'})).read_strings(list)) << "count too large";
    EXPECT_EQ(list, std::vector<std::string>{"x"});
    pairs.clear();
    EXPECT_FALSE(Serializer(bytes({0x01, 0x00, 0x01, 0x00, 'k', 0x7F, 0x00, 'v'})).read_string_pairs(pairs));
    EXPECT_TRUE(pairs.empty()) << "a pair with a value that runs past the end";
}

}  // namespace
