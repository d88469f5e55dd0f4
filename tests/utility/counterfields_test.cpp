#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "support/LogCapture.h"
#include "vantrell/support/CounterFields.h"

namespace {

using namespace pwr;

TEST(CounterFields, MasksGiveTheirTwoNumbersOrZero) {
    vrtest::ScopedLogCapture log(2);
    // mask, valid, msb, lsb
    const std::tuple<const char*, bool, unsigned, unsigned> cases[] = {
        {"7:4", true, 7, 4},    {"63:0", true, 63, 0},  {"7", false, 0, 0},
        {"7:4:1", false, 0, 0}, {":", false, 0, 0},     {"", false, 0, 0},
        {"7::4", true, 7, 4},   {"0x1f:0", true, 0, 0}, {"x7:4", false, 0, 4}};
    for (const auto& [mask, valid, msb, lsb] : cases) {
        SCOPED_TRACE(mask);
        EXPECT_EQ(isMaskValid(mask, ":"), valid);
        EXPECT_EQ(retrieveMsbFromMask(mask), msb);
        EXPECT_EQ(retrieveLsbFromMask(mask), lsb);
    }
    EXPECT_EQ(log.text(), "WARNING: Failed to extract numeric value of x7")
        << "extraction stops quietly inside \"0x1f\" and fails only where no digit leads";
}

TEST(CounterFields, BitRanges) {
    const unsigned long long x = 0xF0E1D2C3B4A59687ULL;
    EXPECT_EQ(extractBitRangeValue(0xF0, 7, 4), 0xFu);
    EXPECT_EQ(extractBitRangeValue(x, 63, 0), x);
    EXPECT_EQ(extractBitRangeValue(x, 63, 8), x >> 8);
    EXPECT_EQ(extractBitRangeValue(x, 0, 0), 1u);
    EXPECT_EQ(extractBitRangeValue(x, 62, 0), x & 0x7FFFFFFFFFFFFFFFULL);
}

TEST(CounterFields, QFormatsAndConversion) {
    vrtest::ScopedLogCapture log(1);
    vr_qformat fresh;
    EXPECT_EQ(fresh.sign, 'U');
    vr_qformat q = retrieveQFormat("U24.8");
    EXPECT_EQ(std::make_tuple(q.sign, q.integerBits, q.fractionBits),
              std::make_tuple('U', uint8_t{24}, uint8_t{8}));
    q = retrieveQFormat("S1.1");
    EXPECT_EQ(std::make_tuple(q.sign, q.integerBits, q.fractionBits),
              std::make_tuple('S', uint8_t{1}, uint8_t{1}));
    EXPECT_EQ(log.text(), "");

    for (const char* bad : {"X8.8", "U8", "U8.8.8", ""}) {
        SCOPED_TRACE(bad);
        log.clear();
        q = retrieveQFormat(bad);
        EXPECT_EQ(std::make_tuple(q.sign, q.integerBits, q.fractionBits),
                  std::make_tuple('U', uint8_t{0}, uint8_t{0}));
        EXPECT_EQ(log.errors().text(), std::string("ERROR: Invalid DATA-FORMAT entry. ") + bad +
                                           " is invalid. Format expected as UX.Y or SX.Y");
    }

    log.clear();
    EXPECT_EQ(convertToFloatPoint(256, retrieveQFormat("U24.8")), 1.0);
    EXPECT_EQ(convertToFloatPoint(0x8000000000000000ULL, vr_qformat{'U', 0, 0}), 9223372036854775808.0)
        << "unsigned also with the top bit set";
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(convertToFloatPoint(3, vr_qformat{'S', 1, 1}), 3.0);
    EXPECT_EQ(log.errors().text(), "ERROR: Signed Qformat is currently not supported");
    log.clear();
    EXPECT_EQ(convertToFloatPoint(5, vr_qformat{'Q', 2, 3}), 5.0);
    EXPECT_EQ(log.errors().text(),
              "ERROR: Invalid DATA-FORMAT entry. Q2.3 is invalid. Format expected as UX.Y or SX.Y");
}

TEST(CounterFields, NamesFromTagsAndInitialValues) {
    EXPECT_EQ(getCounterNameFromMsgTag("a"), "");
    EXPECT_EQ(getCounterNameFromMsgTag("PKG_ENERGY_STATUS"), "ENERGY");
    EXPECT_EQ(getCounterNameFromMsgTag("__"), "");

    EXPECT_EQ(getCounterNameFromInitValue("x[CNT_A]y", "]", "["), "[CNT_A");
    EXPECT_EQ(getCounterNameFromInitValue("x[CNT_A", "]", "["), "");
    EXPECT_EQ(getCounterNameFromInitValue("xCNT_A]", "]", "["), "");

    EXPECT_EQ(getIPNameFromInitValue("a:XHCI-LTR:b", ":", "LTR"), "XHCI");
    EXPECT_EQ(getIPNameFromInitValue("a:XHCI:b", ":", "LTR"), "");
    EXPECT_EQ(getIPNameFromInitValue("XHCI-LTR:b", ":", "LTR"), "") << "needs exactly three parts";
}

TEST(CounterFields, IpNamesMatchWholeAndLogTheirSearch) {
    const std::unordered_map<std::string, std::vector<IP>> ips = {{"pch", {{"XHCI"}}}};
    vrtest::ScopedLogCapture quiet(2);
    EXPECT_FALSE(checkAttributeIpName("XHC", ips));
    EXPECT_FALSE(checkAttributeIpName("XHCI", {}));
    EXPECT_EQ(quiet.text(), "");
    quiet.environment().addPrefixForDebugLogging("CheckAttribute");
    EXPECT_TRUE(checkAttributeIpName("XHCI", ips));
    EXPECT_EQ(
        quiet.text(),
        "DEBUG: Checking for IP: XHCI\nDEBUG: Testing against IP: XHCI\nDEBUG: Match found for IP: XHCI\n");
}

TEST(CounterFields, PciLocationsAsBusDeviceFunction) {
    EXPECT_EQ(getFormatedPCIBDF(_vr_pmt_pci_location{0x0A00}), "0:10:0");
    EXPECT_EQ(getFormatedPCIBDF(_vr_pmt_pci_location{0x2001}), "1:0:1");
    EXPECT_EQ(getFormatedPCIBDF(_vr_pmt_pci_location{0xFFFF}), "255:31:7");
}

}  // namespace
