#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/LogCapture.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"

namespace {

using pwr::Data;
using pwr::DataType;
using vrtest::ScopedLogCapture;

std::string formatted(const pwr::Formatter& formatter, const Data& value, int expectedStatus = 0) {
    std::string out = "previous";
    EXPECT_EQ(formatter.format(out, value), expectedStatus);
    return out;
}

TEST(Formatter, NumbersWithWidthHexAndSuffix) {
    ScopedLogCapture capture(2);
    EXPECT_EQ(formatted(pwr::IntFormatter(6, false), Data(42LL)), "    42");
    EXPECT_EQ(formatted(pwr::IntFormatter(2, true), Data(4096LL)), "0x1000");
    EXPECT_EQ(formatted(pwr::IntFormatter(" B", 0, false), Data(7LL)), "7 B");
    EXPECT_EQ(formatted(pwr::IntFormatter(0, true), Data(-1LL)), "0xffffffffffffffff");
    EXPECT_EQ(formatted(pwr::IntFormatter(0, true), Data(0LL)), "0");
    EXPECT_EQ(formatted(pwr::UIntFormatter(0, true), Data(255ULL)), "0xff");
    EXPECT_EQ(formatted(pwr::UIntFormatter(" MHz", 10, false), Data(18446744073709551615ULL)),
              "18446744073709551615 MHz");
    EXPECT_EQ(formatted(pwr::UIntFormatter(" Hz", 8, false), Data(5ULL)), "    5 Hz");
    EXPECT_EQ(formatted(pwr::RealFormatter(), Data(2.5)), "2.5");
    EXPECT_EQ(formatted(pwr::RealFormatter(), Data(2.0)), "2.0");
    EXPECT_EQ(formatted(pwr::RealFormatter(" %", 9, 3), Data(-0.0625)), " -0.062 %");
    EXPECT_EQ(formatted(pwr::RealFormatter(0, 0), Data(2.5)), "2");
    EXPECT_EQ(formatted(pwr::RealFormatter(0, 2), Data(1e20)), "100000000000000000000.00");
    EXPECT_EQ(capture.text(), "");
}

TEST(Formatter, RangesShareTheScalarKinds) {
    EXPECT_EQ(formatted(pwr::IntFormatter(), Data(3LL, 4LL)), "3 -- 4");
    EXPECT_EQ(formatted(pwr::RealFormatter(0, 2), Data(1.0, 2.5)), "1.00 -- 2.50");
    EXPECT_EQ(formatted(pwr::UIntFormatter(" ms", 0, false), Data(1ULL, 5ULL)), "1 -- 5 ms");
    EXPECT_EQ(formatted(pwr::UIntFormatter(" ms", 12, true), Data(16ULL, 255ULL)), "0x10 -- 0xff ms");
    EXPECT_EQ(formatted(pwr::IntFormatter(" x", 16, false), Data(-1LL, 1LL)), "       -1 -- 1 x");
}

TEST(Formatter, StringsAreWidenedNeverCutAndTakeNoSuffix) {
    EXPECT_EQ(formatted(pwr::StringFormatter(5), Data(std::string("abc"))), "  abc");
    EXPECT_EQ(formatted(pwr::StringFormatter(2), Data(std::string("abcdef"))), "abcdef");
    std::string longText(5000, 'z');
    EXPECT_EQ(formatted(pwr::StringFormatter(), Data(longText)), longText);
}

TEST(Formatter, UnreadableValuesGiveStatusOneAndEmptyText) {
    ScopedLogCapture capture(2);
    Data unset(DataType::INT);
    EXPECT_EQ(formatted(pwr::IntFormatter(6, false), unset, 1), "");
    Data invalid(2.0, 3.0);
    invalid.invalidate();
    EXPECT_EQ(formatted(pwr::RealFormatter(), invalid, 1), "");
    EXPECT_EQ(capture.text(), "");

    // The kinds don't convert: a real formatter given an integer logs the reader's line.
    EXPECT_EQ(formatted(pwr::RealFormatter(), Data(1LL), 1), "");
    EXPECT_EQ(formatted(pwr::StringFormatter(), Data(1LL), 1), "");
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Attempt to retrieve a real value from a non-real type\n"
              "WARNING: Attempt to retrieve a string from a non-string type\n");
}

TEST(Formatter, VoidFormatterWritesInvalid) {
    ScopedLogCapture capture(2);
    EXPECT_EQ(formatted(pwr::VoidFormatter(), Data(1LL), 1), "INVALID");
    EXPECT_EQ(capture.debug().text(), "WARNING: Data of type pwr::DataType::NONE can't be formatted\n");
}

TEST(Formatter, ClonesKeepKindAndAllFields) {
    std::unique_ptr<pwr::Formatter> real(pwr::RealFormatter(" W", 9, 3).clone());
    EXPECT_NE(dynamic_cast<pwr::RealFormatter*>(real.get()), nullptr);
    EXPECT_EQ(real->getSuffix(), " W");
    EXPECT_EQ(real->getWidth(), 9);
    EXPECT_EQ(real->getPrecision(), 3);
    EXPECT_EQ(formatted(*real, Data(1.5)), "  1.500 W");

    std::unique_ptr<pwr::Formatter> hex(pwr::UIntFormatter("!", 0, true).clone());
    EXPECT_NE(dynamic_cast<pwr::UIntFormatter*>(hex.get()), nullptr);
    EXPECT_TRUE(hex->isHex());
    EXPECT_EQ(hex->getPrecision(), 0);
    EXPECT_EQ(formatted(*hex, Data(10ULL)), "0xa!");

    std::unique_ptr<pwr::Formatter> text(pwr::StringFormatter(4).clone());
    EXPECT_NE(dynamic_cast<pwr::StringFormatter*>(text.get()), nullptr);
    EXPECT_EQ(formatted(*text, Data(std::string("a"))), "   a");
    std::unique_ptr<pwr::Formatter> none(pwr::VoidFormatter().clone());
    EXPECT_NE(dynamic_cast<pwr::VoidFormatter*>(none.get()), nullptr);
    std::unique_ptr<pwr::Formatter> handle(pwr::HandleFormatter(3).clone());
    EXPECT_NE(dynamic_cast<pwr::HandleFormatter*>(handle.get()), nullptr);
    EXPECT_EQ(handle->getWidth(), 3);
}

TEST(Formatter, DefaultFormattersOfTheTypes) {
    std::string out;
    EXPECT_EQ(Data(2.25).toFormattedString(out), 0);
    EXPECT_EQ(out, "2.2");  // precision 1, round half to even on the exact binary value
    Data(-12LL).toFormattedString(out);
    EXPECT_EQ(out, "-12");
    Data(12ULL, 13ULL).toFormattedString(out);
    EXPECT_EQ(out, "12 -- 13");
    Data(std::string("text")).toFormattedString(out);
    EXPECT_EQ(out, "text");
}

TEST(Formatter, WidenAndDoubleToString) {
    std::string text = "ab";
    EXPECT_EQ(pwr::Formatter::widen(text, 4), 0);
    EXPECT_EQ(text, "  ab");
    EXPECT_EQ(pwr::Formatter::widen(text, -3), 0);
    EXPECT_EQ(text, "  ab");
    EXPECT_EQ(pwr::Formatter::widen(text, 1), 0);
    EXPECT_EQ(text, "  ab");

    EXPECT_EQ(pwr::doubleToString(3.14159, 2), "3.14");
    EXPECT_EQ(pwr::doubleToString(-1.0, 0), "-1");
    EXPECT_EQ(pwr::doubleToString(0.5, 3), "0.500");
    EXPECT_EQ(pwr::doubleToString(1.0, -1), "1.000000");
    std::string huge = pwr::doubleToString(1.7976931348623157e308, 1);
    EXPECT_EQ(huge.size(), 311u);
    EXPECT_EQ(huge.substr(0, 5), "17976");
    EXPECT_EQ(huge.substr(huge.size() - 2), ".0");
}

}  // namespace
