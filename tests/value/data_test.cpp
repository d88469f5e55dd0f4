#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <new>
#include <string>

#include "support/LogCapture.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"

namespace {

using pwr::Data;
using pwr::DataType;
using vrtest::ScopedLogCapture;

const char kWrongTypeInit[] = "WARNING: Invalid attempt to initialize data of the wrong type (%d != %d)\n";

std::string wrongTypeText(int own, int expected) {
    char text[128];
    std::snprintf(text, sizeof(text), kWrongTypeInit, own, expected);
    return text;
}

TEST(Data, DefaultValueAdoptsTheFirstScalarThenRefusesOthers) {
    ScopedLogCapture capture(2);
    Data value;
    EXPECT_EQ(value.getType(), DataType::NONE);
    EXPECT_FALSE(value.isSet());
    EXPECT_FALSE(value.isValid());

    EXPECT_EQ(value.setValue(7ULL), 0);
    EXPECT_EQ(value.getType(), DataType::UINT);
    EXPECT_TRUE(value.isSet());
    EXPECT_TRUE(value.isValid());

    EXPECT_EQ(value.setValue(1.5), 1);
    EXPECT_EQ(value.getType(), DataType::UINT);
    EXPECT_TRUE(value.isSet());
    EXPECT_FALSE(value.isValid());
    EXPECT_EQ(capture.debug().text(), wrongTypeText(2, 3));

    unsigned long long out = 99;
    EXPECT_EQ(value.toUInt(out), 1);
    EXPECT_EQ(out, 99u);
    EXPECT_EQ(value.setValue(8ULL), 0);
    EXPECT_EQ(value.toUInt(out), 0);
    EXPECT_EQ(out, 8u);

    Data text;
    EXPECT_EQ(text.setValue(std::string("abc")), 0);
    EXPECT_EQ(text.getType(), DataType::STRING);
    capture.clear();
    EXPECT_EQ(text.setValue(3LL), 1);
    EXPECT_EQ(capture.debug().text(), wrongTypeText(8, 1));
}

TEST(Data, PairsAndHandlesAreNeverAdoptedAndRaiseSetFirst) {
    ScopedLogCapture capture(2);
    Data value;
    EXPECT_EQ(value.setValue(Data::IntRange(1, 2)), 1);
    EXPECT_EQ(value.getType(), DataType::NONE);
    EXPECT_TRUE(value.isSet());
    EXPECT_FALSE(value.isValid());
    EXPECT_EQ(capture.debug().text(), wrongTypeText(0, 4));

    Data real(DataType::REAL);
    EXPECT_EQ(real.setValue(Data::RealRange(1.0, 2.0)), 1);
    EXPECT_TRUE(real.isSet());
    EXPECT_FALSE(real.isValid());

    Data range(DataType::UINT_RANGE);
    EXPECT_EQ(range.setValue(Data::UIntRange(3, 4)), 0);
    Data::UIntRange out;
    EXPECT_EQ(range.toUIntRange(out), 0);
    EXPECT_EQ(out, Data::UIntRange(3, 4));
}

TEST(Data, ConstructorsGiveTypedSetValues) {
    struct Case {
        Data value;
        DataType type;
        bool numeric;
    };
    const Case cases[] = {
        {Data(-5LL), DataType::INT, true},
        {Data(5ULL), DataType::UINT, true},
        {Data(2.5), DataType::REAL, true},
        {Data(std::string("s")), DataType::STRING, false},
        {Data(1LL, 2LL), DataType::INT_RANGE, true},
        {Data(1ULL, 2ULL), DataType::UINT_RANGE, true},
        {Data(1.0, 2.0), DataType::REAL_RANGE, true},
        {Data(Data::IntRange(1, 2)), DataType::INT_RANGE, true},
        {Data(int64_t{-3}), DataType::INT, true},
        {Data(uint64_t{3}), DataType::UINT, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.type));
        EXPECT_EQ(c.value.getType(), c.type);
        EXPECT_TRUE(c.value.isSet());
        EXPECT_TRUE(c.value.isValid());
        EXPECT_EQ(c.value.isNumeric(), c.numeric);
    }
    EXPECT_FALSE(Data(DataType::HANDLE).isNumeric());
    EXPECT_FALSE(Data().isNumeric());
    Data unset(DataType::REAL);
    EXPECT_FALSE(unset.isSet());
    EXPECT_FALSE(unset.isValid());
}

TEST(Data, UnknownTypeNumberWarnsAndBehavesAsInteger) {
    ScopedLogCapture capture(2);
    Data odd(static_cast<DataType>(42));
    EXPECT_EQ(capture.debug().text(), "WARNING: Unhandled type 42\n");
    EXPECT_EQ(static_cast<int>(odd.getType()), 42);
    EXPECT_EQ(odd.initZero(), 1);  // the INT helper's setValue refuses type 42
    EXPECT_FALSE(odd.isNumeric());
}

TEST(Data, ReadersLogWrongTypesAndStaySilentForUnreadableValues) {
    ScopedLogCapture capture(2);
    Data number(3LL);
    long long i = 11;
    unsigned long long u = 11;
    double r = 11.0;
    Data::IntRange ir(11, 11);
    Data::UIntRange ur(11, 11);
    Data::RealRange rr(11.0, 11.0);
    std::string s = "keep";
    Data text(std::string("x"));

    EXPECT_EQ(text.toInt(i), 1);
    EXPECT_EQ(number.toUInt(u), 1);
    EXPECT_EQ(number.toReal(r), 1);
    EXPECT_EQ(number.toIntRange(ir), 1);
    EXPECT_EQ(number.toUIntRange(ur), 1);
    EXPECT_EQ(number.toRealRange(rr), 1);
    EXPECT_EQ(number.toString(s), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attempt to retrieve a signed value from a non-signed type\n"
              "WARNING: Attempt to retrieve an unsigned value from a non-unsigned type\n"
              "WARNING: Attempt to retrieve a real value from a non-real type\n"
              "WARNING: Attempt to retrieve a non int range value from a int range type\n"
              "WARNING: Attempt to retrieve a non unsigned range value from an unsigned range type\n"
              "WARNING: Attempt to retrieve a not double range value from a double range type\n"
              "WARNING: Attempt to retrieve a string from a non-string type\n");
    EXPECT_EQ(i, 11);
    EXPECT_EQ(u, 11u);
    EXPECT_EQ(r, 11.0);
    EXPECT_EQ(ir, Data::IntRange(11, 11));
    EXPECT_EQ(ur, Data::UIntRange(11, 11));
    EXPECT_EQ(rr, Data::RealRange(11.0, 11.0));
    EXPECT_EQ(s, "keep");

    capture.clear();
    number.invalidate();
    EXPECT_TRUE(number.isSet());
    EXPECT_EQ(number.toInt(i), 1);
    EXPECT_EQ(i, 11);
    Data unset(DataType::INT);
    EXPECT_EQ(unset.toInt(i), 1);
    EXPECT_EQ(capture.text(), "");
}

TEST(Data, SetValueFromDataNeedsEqualTypesAndCopiesFlags) {
    ScopedLogCapture capture(2);
    Data target(1LL);
    EXPECT_EQ(target.setValue(Data(2.0)), 1);
    EXPECT_FALSE(target.isValid());
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Invalid attempt to initialize data of the wrong type (1 != 3)\n");

    EXPECT_EQ(target.setValue(Data(DataType::INT)), 0);
    EXPECT_FALSE(target.isSet());

    Data none;
    EXPECT_EQ(none.setValue(Data(4LL)), 1);
    EXPECT_EQ(none.getType(), DataType::NONE);

    EXPECT_EQ(target.setValue(Data(9LL)), 0);
    long long out = 0;
    EXPECT_EQ(target.toInt(out), 0);
    EXPECT_EQ(out, 9);
}

TEST(Data, ArithmeticOnScalars) {
    ScopedLogCapture capture(2);
    Data i(3LL);
    EXPECT_EQ(i.multiplyValue(1.5), 0);
    Data minusThree(-3LL);
    minusThree.multiplyValue(1.5);
    long long out = 0;
    i.toInt(out);
    EXPECT_EQ(out, 5);
    minusThree.toInt(out);
    EXPECT_EQ(out, -5);

    Data wrap(std::numeric_limits<long long>::max());
    EXPECT_EQ(wrap.addValue(Data(1LL)), 0);
    wrap.toInt(out);
    EXPECT_EQ(out, std::numeric_limits<long long>::min());

    Data big(1ULL << 63);
    big.multiplyValue(1.5);
    unsigned long long u = 0;
    big.toUInt(u);
    EXPECT_EQ(u, (1ULL << 63) + (1ULL << 62));

    Data real(1.0);
    EXPECT_EQ(real.addValue(Data(2.0, 3.0)), 0);
    double r = 0;
    real.toReal(r);
    EXPECT_EQ(r, 6.0);
    real.addValue(Data(std::numeric_limits<unsigned long long>::max()));
    real.toReal(r);
    EXPECT_EQ(r, 6.0 + 18446744073709551615.0);

    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(i.addValue(Data(1ULL)), 1);
    Data uns(1ULL);
    EXPECT_EQ(uns.addValue(Data(1LL)), 1);
    EXPECT_EQ(real.addValue(Data(1LL, 2LL)), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Accumulator must have INT type as input\n"
              "WARNING: Accumulator must have UINT type as input\n"
              "WARNING: Accumulator must have REAL, INT, UINT or REAL_RANGE type as input\n");
}

TEST(Data, ArithmeticOnRanges) {
    ScopedLogCapture capture(2);
    Data ir(DataType::INT_RANGE);
    EXPECT_EQ(ir.addValue(Data(2LL)), 0);  // an unset target counts as (0, 0)
    ir.addValue(Data(1LL, 10LL));
    Data::IntRange irOut;
    ir.toIntRange(irOut);
    EXPECT_EQ(irOut, Data::IntRange(3, 12));
    ir.multiplyValue(0.5);
    ir.toIntRange(irOut);
    EXPECT_EQ(irOut, Data::IntRange(2, 6));  // 1.5 rounds away from zero

    // UINT_RANGE multiplies back through the signed conversion: 2^63 and above don't survive.
    Data ur(1ULL << 62, 1ULL);
    ur.multiplyValue(2.0);
    Data::UIntRange urOut;
    ur.toUIntRange(urOut);
    EXPECT_EQ(urOut.first, 1ULL << 63);
    EXPECT_EQ(urOut.second, 2u);
    Data urLarge(3ULL << 62, 1ULL);
    urLarge.multiplyValue(1.0);
    urLarge.toUIntRange(urOut);
    EXPECT_EQ(urOut.first, 1ULL << 63);  // 3 * 2^62 doesn't survive the signed way back
    Data uScalar(3ULL << 62);
    uScalar.multiplyValue(1.0);
    unsigned long long u = 0;
    uScalar.toUInt(u);
    EXPECT_EQ(u, 3ULL << 62);  // the scalar does

    Data rr(DataType::REAL_RANGE);
    rr.addValue(Data(1.0));
    rr.addValue(Data(2LL, 3LL));
    rr.addValue(Data(4ULL));
    Data::RealRange rrOut;
    rr.toRealRange(rrOut);
    EXPECT_EQ(rrOut, Data::RealRange(7.0, 8.0));
    rr.multiplyValue(0.5);
    rr.toRealRange(rrOut);
    EXPECT_EQ(rrOut, Data::RealRange(3.5, 4.0));

    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(ir.addValue(Data(1ULL)), 1);
    EXPECT_EQ(ur.addValue(Data(1LL)), 1);
    EXPECT_EQ(rr.addValue(Data(std::string("x"))), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: IntRange accumulate expects INT type\n"
              "WARNING: UIntRange accumulate expects UINT type\n"
              "WARNING: Accumulator must have REAL, INT, or UINT type as input\n");
}

TEST(Data, StartValuesForRunningStatistics) {
    ScopedLogCapture capture(2);
    Data runningMax(DataType::REAL);
    EXPECT_EQ(runningMax.initMax(), 0);
    Data sample(-1.0);
    if (sample > runningMax) {
        runningMax = sample;
    }
    double r = 0;
    runningMax.toReal(r);
    EXPECT_EQ(r, 2.2250738585072014e-308);

    Data i(DataType::INT);
    i.initMax();
    long long iv = 0;
    i.toInt(iv);
    EXPECT_EQ(iv, std::numeric_limits<long long>::min());
    i.initMin();
    i.toInt(iv);
    EXPECT_EQ(iv, std::numeric_limits<long long>::max());
    Data u(DataType::UINT);
    u.initMin();
    unsigned long long uv = 0;
    u.toUInt(uv);
    EXPECT_EQ(uv, std::numeric_limits<unsigned long long>::max());
    u.initMax();
    u.toUInt(uv);
    EXPECT_EQ(uv, 0u);
    Data realMin(DataType::REAL);
    realMin.initMin();
    realMin.toReal(r);
    EXPECT_EQ(r, DBL_MAX);

    Data range(DataType::INT_RANGE);
    EXPECT_EQ(range.initMax(), 1);
    EXPECT_EQ(range.initMin(), 1);
    EXPECT_FALSE(range.isSet());
    Data text(DataType::STRING);
    EXPECT_EQ(text.initZero(), 1);
    EXPECT_FALSE(text.isSet());
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(text.multiplyValue(2.0), 1);
    EXPECT_EQ(text.addValue(Data(std::string("y"))), 1);
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Multiply only supported for numeric types\n"
              "WARNING: Attempt to accumulate on unsupported type\n");
}

TEST(Data, ComparisonRules) {
    ScopedLogCapture capture(2);
    Data unsetA(DataType::INT);
    Data unsetB(DataType::INT);
    Data one(1LL);
    Data two(2LL);
    EXPECT_TRUE(unsetA == unsetB);
    EXPECT_FALSE(unsetA == one);
    EXPECT_FALSE(one == unsetA);
    EXPECT_TRUE(unsetA < one);
    EXPECT_FALSE(one < unsetA);
    EXPECT_TRUE(one < two);
    EXPECT_TRUE(two > one);
    EXPECT_TRUE(one <= one);
    EXPECT_TRUE(one >= one);
    EXPECT_TRUE(one != two);

    Data invalid(5LL);
    invalid.invalidate();
    Data invalid2(6LL);
    invalid2.invalidate();
    EXPECT_TRUE(invalid == invalid2);
    EXPECT_TRUE(invalid < one);

    // Types order by number before any value is looked at.
    EXPECT_TRUE(Data(100LL) < Data(1ULL));
    EXPECT_FALSE(Data(1LL) == Data(1ULL));

    // Ranges: ordered by the first bound, equal only by both.
    Data a(1LL, 2LL);
    Data b(1LL, 3LL);
    EXPECT_FALSE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a > b);
    EXPECT_TRUE(b > a);

    Data small(std::string("ab"));
    Data longer(std::string("abc"));
    Data high(std::string("\xff"));
    EXPECT_TRUE(small < longer);
    EXPECT_TRUE(longer < high);  // bytes compare unsigned
    EXPECT_TRUE(small == Data(std::string("ab")));
    EXPECT_EQ(capture.text(), "");

    // Refused pairs leave NONE values set but invalid: such values compare by the flags rules.
    Data n1;
    Data n2;
    n1.setValue(Data::RealRange(0, 0));
    n2.setValue(Data::RealRange(0, 0));
    EXPECT_TRUE(n1 == n2);  // both set but invalid: never reaches the helper
}

TEST(Data, NoneValuesReachTheVoidHelper) {
    ScopedLogCapture capture(2);
    Data none;
    std::string out;
    EXPECT_EQ(none.toFormattedString(out), 1);
    EXPECT_EQ(out, "INVALID");
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Cannot use data object with type pwr::DataType::NONE\n"
              "WARNING: Data of type pwr::DataType::NONE can't be formatted\n");
    // The arithmetic slots of NONE are those of the base.
    capture.clear();
    EXPECT_EQ(none.initZero(), 1);
    EXPECT_EQ(none.addValue(Data(1LL)), 1);
    EXPECT_EQ(capture.debug().text(), "WARNING: Attempt to accumulate on unsupported type\n");
}

TEST(Data, ConvertToReal) {
    ScopedLogCapture capture(2);
    double r = 0;
    Data minusFour(-4LL);
    Data fromInt = Data::convertToReal(&minusFour);
    EXPECT_EQ(fromInt.getType(), DataType::REAL);
    fromInt.toReal(r);
    EXPECT_EQ(r, -4.0);

    Data topBit(1ULL << 63);
    Data fromUInt = Data::convertToReal(&topBit);
    fromUInt.toReal(r);
    EXPECT_EQ(r, 9223372036854775808.0);

    Data range(2ULL, 3ULL);
    Data fromRange = Data::convertToReal(&range);
    Data::RealRange rr;
    EXPECT_EQ(fromRange.toRealRange(rr), 0);
    EXPECT_EQ(rr, Data::RealRange(2.0, 3.0));

    Data unsetInt(DataType::INT_RANGE);
    Data zero = Data::convertToReal(&unsetInt);
    EXPECT_TRUE(zero.isSet());
    EXPECT_TRUE(zero.isValid());
    zero.toRealRange(rr);
    EXPECT_EQ(rr, Data::RealRange(0.0, 0.0));

    Data withFormatter(7LL);
    withFormatter.setCustomFormatter(pwr::IntFormatter(" B", 0, false));
    EXPECT_EQ(Data::convertToReal(&withFormatter).getCustomFormatter(), nullptr);
    Data realWithFormatter(1.25);
    realWithFormatter.setCustomFormatter(pwr::RealFormatter(" s", 0, 2));
    Data copy = Data::convertToReal(&realWithFormatter);
    ASSERT_NE(copy.getCustomFormatter(), nullptr);
    EXPECT_NE(copy.getCustomFormatter(), realWithFormatter.getCustomFormatter());
    std::string text;
    copy.toFormattedString(text);
    EXPECT_EQ(text, "1.25 s");

    EXPECT_EQ(capture.text(), "");
    Data str(std::string("s"));
    Data same = Data::convertToReal(&str);
    EXPECT_EQ(same.getType(), DataType::STRING);
    EXPECT_EQ(capture.debug().text(), "WARNING: Cannot convert data object to real type\n");
}

TEST(Data, CopiesOwnTheirFormatterButAssignmentSharesIt) {
    Data original(42LL);
    original.setCustomFormatter(pwr::IntFormatter(6, false));
    Data copy(original);
    ASSERT_NE(copy.getCustomFormatter(), nullptr);
    EXPECT_NE(copy.getCustomFormatter(), original.getCustomFormatter());
    std::string text;
    copy.toFormattedString(text);
    EXPECT_EQ(text, "    42");

    // Assignment copies the pointer. The target here is never destroyed, so that the shared
    // formatter is released exactly once, by `original`.
    alignas(Data) unsigned char storage[sizeof(Data)];
    Data* target = new (storage) Data(1LL);
    *target = original;
    EXPECT_EQ(target->getCustomFormatter(), original.getCustomFormatter());
    target->toFormattedString(text);
    EXPECT_EQ(text, "    42");

    // Moving hands the formatter over.
    const pwr::Formatter* held = copy.getCustomFormatter();
    Data moved(std::move(copy));
    EXPECT_EQ(moved.getCustomFormatter(), held);
    Data moveAssigned;
    moveAssigned = std::move(moved);
    EXPECT_EQ(moveAssigned.getCustomFormatter(), held);

    // A new custom formatter replaces the old one.
    moveAssigned.setCustomFormatter(pwr::IntFormatter(" B", 0, false));
    moveAssigned.toFormattedString(text);
    EXPECT_EQ(text, "42 B");
}

}  // namespace
