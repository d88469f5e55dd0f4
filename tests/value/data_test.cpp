#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"

namespace {

using pwr::Data;
using pwr::DataType;
using vrtest::ScopedLogCapture;

constexpr long long kIntMax = std::numeric_limits<long long>::max();
constexpr long long kIntMin = std::numeric_limits<long long>::min();
constexpr unsigned long long kUIntMax = std::numeric_limits<unsigned long long>::max();

std::string wrongType(int own, int expected) {
    return "WARNING: Invalid attempt to initialize data of the wrong type (" + std::to_string(own) +
           " != " + std::to_string(expected) + ")\n";
}

// Type number and flags, as a user would check them together.
std::string state(const Data& value) {
    return std::to_string(static_cast<int>(value.getType())) + (value.isSet() ? " set" : " unset") +
           (value.isValid() ? " valid" : " invalid");
}

std::string shown(const Data& value) {
    std::string text;
    value.toFormattedString(text);
    return text;
}

// Equality of Data compares type, flags and value, so one assertion checks all three.
TEST(Data, SetValueAdoptsTheFirstScalarTypeAndRefusesOthers) {
    ScopedLogCapture capture(2);
    Data value;
    EXPECT_EQ(value.setValue(7ULL), 0);
    EXPECT_EQ(value, Data(7ULL));
    EXPECT_EQ(value.setValue(1.5), 1);
    EXPECT_EQ(state(value), "2 set invalid");
    EXPECT_EQ(value.setValue(8ULL), 0);
    EXPECT_EQ(value, Data(8ULL));

    // Pairs are never adopted, and raise the set flag even when refused.
    Data none;
    EXPECT_EQ(none.setValue(Data::IntRange(1, 2)), 1);
    EXPECT_EQ(state(none), "0 set invalid");

    // From another Data: equal types only, flags copied.
    Data target(1LL);
    EXPECT_EQ(target.setValue(Data(2.0)), 1);
    EXPECT_EQ(state(target), "1 set invalid");
    EXPECT_EQ(target.setValue(Data(DataType::INT)), 0);
    EXPECT_EQ(state(target), "1 unset invalid");
    EXPECT_EQ(capture.debug().text(), wrongType(2, 3) + wrongType(0, 4) + wrongType(1, 3));
}

TEST(Data, ConstructorsGiveTypedSetValues) {
    const std::pair<Data, int> cases[] = {
        {Data(-5LL), 1},     {Data(5ULL), 2},        {Data(2.5), 3},
        {Data(1LL, 2LL), 4}, {Data(1ULL, 2ULL), 5},  {Data(1.0, 2.0), 6},
        {Data("s"), 8},      {Data(int64_t{-3}), 1}, {Data(uint64_t{3}), 2}};
    for (const auto& c : cases) {
        EXPECT_EQ(state(c.first), std::to_string(c.second) + " set valid");
        EXPECT_EQ(c.first.isNumeric(), c.second != 8) << c.second;
    }
    EXPECT_FALSE(Data(DataType::HANDLE).isNumeric() || Data().isNumeric());
    EXPECT_EQ(state(Data(DataType::REAL)), "3 unset invalid");
}

TEST(Data, UnknownTypeNumberWarnsAndBehavesAsInteger) {
    ScopedLogCapture capture(2);
    Data odd(static_cast<DataType>(42));
    EXPECT_EQ(capture.debug().text(), "WARNING: Unhandled type 42\n");
    EXPECT_EQ(static_cast<int>(odd.getType()), 42);
    EXPECT_EQ(odd.initZero(), 1);  // the INT helper's setValue refuses type 42
    EXPECT_FALSE(odd.isNumeric());
}

// Reads `value` into an output that starts as `start`: a refusal must leave it so.
template <typename T>
bool refuses(const Data& value, int (Data::*reader)(T&) const, T start) {
    T out = start;
    return (value.*reader)(out) == 1 && out == start;
}

TEST(Data, ReadersLogWrongTypesAndStaySilentForUnreadableValues) {
    ScopedLogCapture capture(2);
    Data number(3LL);
    EXPECT_TRUE(refuses(Data("x"), &Data::toInt, 11LL));
    EXPECT_TRUE(refuses(number, &Data::toUInt, 11ULL));
    EXPECT_TRUE(refuses(number, &Data::toReal, 11.0));
    EXPECT_TRUE(refuses(number, &Data::toIntRange, Data::IntRange(11, 11)));
    EXPECT_TRUE(refuses(number, &Data::toUIntRange, Data::UIntRange(11, 11)));
    EXPECT_TRUE(refuses(number, &Data::toRealRange, Data::RealRange(11, 11)));
    EXPECT_TRUE(refuses(number, &Data::toString, std::string("keep")));
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attempt to retrieve a signed value from a non-signed type\n"
              "WARNING: Attempt to retrieve an unsigned value from a non-unsigned type\n"
              "WARNING: Attempt to retrieve a real value from a non-real type\n"
              "WARNING: Attempt to retrieve a non int range value from a int range type\n"
              "WARNING: Attempt to retrieve a non unsigned range value from an unsigned range type\n"
              "WARNING: Attempt to retrieve a not double range value from a double range type\n"
              "WARNING: Attempt to retrieve a string from a non-string type\n");

    capture.clear();
    number.invalidate();
    EXPECT_TRUE(refuses(number, &Data::toInt, 11LL));
    EXPECT_TRUE(refuses(Data(DataType::INT), &Data::toInt, 11LL));
    EXPECT_EQ(capture.text(), "");
}

TEST(Data, Arithmetic) {
    ScopedLogCapture capture(2);
    Data minusThree(-3LL);
    EXPECT_EQ(minusThree.multiplyValue(1.5), 0);
    EXPECT_EQ(minusThree, Data(-5LL));  // halves round away from zero
    Data wrap(kIntMax);
    EXPECT_EQ(wrap.addValue(Data(1LL)), 0);
    EXPECT_EQ(wrap, Data(kIntMin));
    Data real(1.0);
    EXPECT_EQ(real.addValue(Data(2.0, 3.0)), 0);  // a range adds the sum of its bounds
    real.addValue(Data(kUIntMax));
    EXPECT_EQ(real, Data(6.0 + 18446744073709551615.0));

    Data ir(DataType::INT_RANGE);
    EXPECT_EQ(ir.addValue(Data(2LL)), 0);  // an unset target counts as (0, 0)
    ir.addValue(Data(1LL, 10LL));
    EXPECT_EQ(ir, Data(3LL, 12LL));
    ir.multiplyValue(0.5);
    EXPECT_EQ(ir, Data(2LL, 6LL));
    Data rr(DataType::REAL_RANGE);
    rr.addValue(Data(1.0));
    rr.addValue(Data(2LL, 3LL));
    rr.addValue(Data(4ULL));
    rr.multiplyValue(0.5);
    EXPECT_EQ(rr, Data(3.5, 4.0));

    // A UINT scalar keeps products of 2^63 and above; a UINT_RANGE comes back through the signed
    // conversion, where they don't survive.
    Data big(1ULL << 63);
    big.multiplyValue(1.5);
    EXPECT_EQ(big, Data(3ULL << 62));
    Data ur(3ULL << 62, 2ULL);
    ur.multiplyValue(1.0);
    EXPECT_EQ(ur, Data(1ULL << 63, 2ULL));

    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(minusThree.addValue(Data(1ULL)), 1);
    EXPECT_EQ(big.addValue(Data(1LL)), 1);
    EXPECT_EQ(real.addValue(Data(1LL, 2LL)), 1);
    EXPECT_EQ(ir.addValue(Data(1ULL)), 1);
    EXPECT_EQ(ur.addValue(Data(1LL)), 1);
    EXPECT_EQ(rr.addValue(Data("x")), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Accumulator must have INT type as input\n"
              "WARNING: Accumulator must have UINT type as input\n"
              "WARNING: Accumulator must have REAL, INT, UINT or REAL_RANGE type as input\n"
              "WARNING: IntRange accumulate expects INT type\n"
              "WARNING: UIntRange accumulate expects UINT type\n"
              "WARNING: Accumulator must have REAL, INT, or UINT type as input\n");
}

TEST(Data, StartValuesForRunningStatistics) {
    // The real maximum starts at the smallest positive normal number: a running maximum over
    // negative samples stays there.
    const std::vector<Data> cases[] = {{Data(0LL), Data(kIntMax), Data(kIntMin)},
                                       {Data(0ULL), Data(kUIntMax), Data(0ULL)},
                                       {Data(0.0), Data(DBL_MAX), Data(2.2250738585072014e-308)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c[0].getType()));
        Data value(c[0].getType());
        EXPECT_EQ(value.initMin(), 0);
        EXPECT_EQ(value, c[1]);
        EXPECT_EQ(value.initMax(), 0);
        EXPECT_EQ(value, c[2]);
        EXPECT_EQ(value.initZero(), 0);
        EXPECT_EQ(value, c[0]);
    }
    Data range(DataType::INT_RANGE);
    EXPECT_EQ(range.initMax() + range.initMin(), 2);
    EXPECT_FALSE(range.isSet());
}

// NONE and STRING values share the base helper's refusals; NONE also formats through the void one.
TEST(Data, NonNumericValuesRefuseArithmetic) {
    ScopedLogCapture capture(2);
    for (Data value : {Data(), Data(DataType::STRING)}) {
        SCOPED_TRACE(static_cast<int>(value.getType()));
        capture.clear();
        EXPECT_EQ(value.initZero() + value.initMin() + value.initMax(), 3);
        EXPECT_EQ(value.multiplyValue(2.0), 1);
        EXPECT_EQ(value.addValue(Data(1LL)), 1);
        EXPECT_FALSE(value.isSet());
        EXPECT_EQ(capture.debug().text(),
                  "WARNING: Multiply only supported for numeric types\n"
                  "WARNING: Attempt to accumulate on unsupported type\n");
    }
    capture.clear();
    std::string out;
    EXPECT_EQ(Data().toFormattedString(out), 1);
    EXPECT_EQ(out, "INVALID");
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Cannot use data object with type pwr::DataType::NONE\n"
              "WARNING: Data of type pwr::DataType::NONE can't be formatted\n");
}

TEST(Data, ComparisonRules) {
    Data unset(DataType::INT);
    Data invalid(5LL);
    Data invalid2(6LL);
    invalid.invalidate();
    invalid2.invalidate();
    Data one(1LL);
    Data two(2LL);
    // Unset before invalid before valid; unset values are all equal, and so are invalid ones.
    EXPECT_TRUE(unset == Data(DataType::INT) && invalid == invalid2);
    EXPECT_FALSE(unset == one || one == unset || invalid == one);
    EXPECT_TRUE(unset < invalid && invalid < one && one < two);
    EXPECT_FALSE(one < unset || one < invalid || two < one);
    EXPECT_TRUE(two > one && one <= one && one >= one && one != two);
    EXPECT_FALSE(one > one || one > two);

    // Types order by number before any value is looked at.
    EXPECT_TRUE(Data(100LL) < Data(1ULL) && Data(1LL) != Data(1ULL));
    // Ranges order by the first bound but are equal only by both, so each is "greater".
    Data a(1LL, 2LL);
    Data b(1LL, 3LL);
    EXPECT_FALSE(a < b || b < a || a == b);
    EXPECT_TRUE(a > b && b > a);
    // Bytes compare unsigned, then the shorter first.
    EXPECT_TRUE(Data("ab") < Data("abc") && Data("abc") < Data("\xff") && Data("ab") == Data("ab"));
}

TEST(Data, ConvertToReal) {
    ScopedLogCapture capture(2);
    Data minusFour(-4LL);
    Data topBit(1ULL << 63);
    Data range(2ULL, 3ULL);
    Data unsetRange(DataType::INT_RANGE);
    EXPECT_EQ(Data::convertToReal(&minusFour), Data(-4.0));
    EXPECT_EQ(Data::convertToReal(&topBit), Data(9223372036854775808.0));
    EXPECT_EQ(Data::convertToReal(&range), Data(2.0, 3.0));
    EXPECT_EQ(Data::convertToReal(&unsetRange), Data(0.0, 0.0));

    // An integer's formatter is dropped; a real's is copied, not shared.
    Data withFormatter(7LL);
    withFormatter.setCustomFormatter(pwr::IntFormatter(" B", 0, false));
    EXPECT_EQ(Data::convertToReal(&withFormatter).getCustomFormatter(), nullptr);
    Data realWithFormatter(1.25);
    realWithFormatter.setCustomFormatter(pwr::RealFormatter(" s", 0, 2));
    Data copy = Data::convertToReal(&realWithFormatter);
    EXPECT_NE(copy.getCustomFormatter(), realWithFormatter.getCustomFormatter());
    EXPECT_EQ(shown(copy), "1.25 s");

    EXPECT_EQ(capture.text(), "");
    Data str(std::string("s"));
    EXPECT_EQ(Data::convertToReal(&str), str);
    EXPECT_EQ(capture.debug().text(), "WARNING: Cannot convert data object to real type\n");
}

TEST(Data, CopiesOwnTheirFormatterButAssignmentSharesIt) {
    Data original(42LL);
    original.setCustomFormatter(pwr::IntFormatter(6, false));
    Data copy(original);
    EXPECT_NE(copy.getCustomFormatter(), original.getCustomFormatter());
    EXPECT_EQ(shown(copy), "    42");
    // Given its own formatter, a value keeps a clone of it (the sanitizer build catches a use after free).
    copy.setCustomFormatter(*copy.getCustomFormatter());
    EXPECT_EQ(shown(copy), "    42");

    // Assignment copies the pointer. The target here is never destroyed, so that the shared
    // formatter is released exactly once, by `original`.
    alignas(Data) unsigned char storage[sizeof(Data)];
    Data* target = new (storage) Data(1LL);
    *target = original;
    EXPECT_EQ(target->getCustomFormatter(), original.getCustomFormatter());
    EXPECT_EQ(shown(*target), "    42");

    // Moving hands the formatter over; a new one replaces it.
    const pwr::Formatter* held = copy.getCustomFormatter();
    Data moved(std::move(copy));
    EXPECT_EQ(moved.getCustomFormatter(), held);
    Data moveAssigned;
    moveAssigned = std::move(moved);
    EXPECT_EQ(moveAssigned.getCustomFormatter(), held);
    moveAssigned.setCustomFormatter(pwr::IntFormatter(" B", 0, false));
    EXPECT_EQ(shown(moveAssigned), "42 B");
}

std::string formatted(const pwr::Formatter& formatter, const Data& value, int expectedStatus = 0) {
    std::string out = "previous";
    EXPECT_EQ(formatter.format(out, value), expectedStatus);
    return out;
}

TEST(Formatter, NumbersWithWidthHexAndSuffix) {
    ScopedLogCapture capture(2);
    EXPECT_EQ(formatted(pwr::IntFormatter(0, true), Data(-1LL)), "0xffffffffffffffff");
    EXPECT_EQ(formatted(pwr::IntFormatter(0, true), Data(0LL)), "0");
    EXPECT_EQ(formatted(pwr::UIntFormatter(" MHz", 10, false), Data(kUIntMax)), "18446744073709551615 MHz");
    EXPECT_EQ(formatted(pwr::RealFormatter(" %", 9, 3), Data(-0.0625)), " -0.062 %");
    EXPECT_EQ(formatted(pwr::RealFormatter(0, 0), Data(2.5)), "2");
    EXPECT_EQ(formatted(pwr::RealFormatter(0, 2), Data(1e20)), "100000000000000000000.00");
    // Ranges share the scalar kinds; width and suffix apply to the whole.
    EXPECT_EQ(formatted(pwr::RealFormatter(0, 2), Data(1.0, 2.5)), "1.00 -- 2.50");
    EXPECT_EQ(formatted(pwr::UIntFormatter(" ms", 12, true), Data(16ULL, 255ULL)), "0x10 -- 0xff ms");
    EXPECT_EQ(formatted(pwr::IntFormatter(" x", 16, false), Data(-1LL, 1LL)), "       -1 -- 1 x");
    // Strings are widened, never cut, and take no suffix.
    EXPECT_EQ(formatted(pwr::StringFormatter(5), Data("abc")), "  abc");
    std::string longText(5000, 'z');
    EXPECT_EQ(formatted(pwr::StringFormatter(), Data(longText)), longText);
    // Each type's own formatter; reals default to one decimal, half to even on the exact binary value.
    EXPECT_EQ(shown(Data(2.25)) + "|" + shown(Data(-12LL)) + "|" + shown(Data(12ULL, 13ULL)),
              "2.2|-12|12 -- 13");
    EXPECT_EQ(capture.text(), "");
}

TEST(Formatter, UnreadableValuesGiveStatusOne) {
    ScopedLogCapture capture(2);
    Data invalid(2.0, 3.0);
    invalid.invalidate();
    EXPECT_EQ(formatted(pwr::IntFormatter(6, false), Data(DataType::INT), 1), "");
    EXPECT_EQ(formatted(pwr::RealFormatter(), invalid, 1), "");
    EXPECT_EQ(capture.text(), "");
    // The kinds don't convert: a real formatter given an integer logs the reader's line.
    EXPECT_EQ(formatted(pwr::RealFormatter(), Data(1LL), 1), "");
    EXPECT_EQ(formatted(pwr::StringFormatter(), Data(1LL), 1), "");
    EXPECT_EQ(formatted(pwr::VoidFormatter(), Data(1LL), 1), "INVALID");
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attempt to retrieve a real value from a non-real type\n"
              "WARNING: Attempt to retrieve a string from a non-string type\n"
              "WARNING: Data of type pwr::DataType::NONE can't be formatted\n");
}

TEST(Formatter, ClonesKeepKindAndAllFields) {
    ScopedLogCapture capture(2);
    auto cloneOf = [](const pwr::Formatter& formatter) {
        return std::unique_ptr<pwr::Formatter>(formatter.clone());
    };
    EXPECT_EQ(formatted(*cloneOf(pwr::RealFormatter(" W", 9, 3)), Data(1.5)), "  1.500 W");
    EXPECT_EQ(formatted(*cloneOf(pwr::UIntFormatter("!", 0, true)), Data(10ULL)), "0xa!");
    EXPECT_EQ(formatted(*cloneOf(pwr::StringFormatter(4)), Data("a")), "   a");
    EXPECT_EQ(formatted(*cloneOf(pwr::VoidFormatter()), Data(1LL), 1), "INVALID");
    EXPECT_NE(dynamic_cast<pwr::HandleFormatter*>(cloneOf(pwr::HandleFormatter()).get()), nullptr);
}

TEST(Formatter, WidenAndDoubleToString) {
    std::string text = "ab";
    EXPECT_EQ(pwr::Formatter::widen(text, -3), 0);
    EXPECT_EQ(text, "ab");

    EXPECT_EQ(pwr::doubleToString(3.14159, 2), "3.14");
    EXPECT_EQ(pwr::doubleToString(1.0, -1), "1.000000");
    std::string huge = pwr::doubleToString(1.7976931348623157e308, 1);
    EXPECT_EQ(huge.size(), 311u);
    EXPECT_EQ(huge.substr(0, 5) + huge.substr(huge.size() - 2), "17976.0");
}

}  // namespace
