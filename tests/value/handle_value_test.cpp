#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"

namespace {

using pwr::Data;
using pwr::DataHandle;
using pwr::DataType;
using pwr::HandleFormatter;
using vrtest::ScopedLogCapture;

const char kWrongTypeLine[] = "WARNING: Attempt to retrieve handle value from a non-unsigned type\n";

TEST(HandleValue, HoldsTheIdAndReadsBackTheRegisteredHandle) {
    const pwr::Field* field = pwr::Field::create(pwr::Description("Core", ""));
    Data value(*field);
    EXPECT_EQ(value.getType(), DataType::HANDLE);
    EXPECT_TRUE(value.isSet());
    EXPECT_TRUE(value.isValid());
    EXPECT_FALSE(value.isNumeric());

    const DataHandle* out = nullptr;
    EXPECT_EQ(value.toHandle(out), 0);
    EXPECT_EQ(out, field);

    // A copy of the handle has its id, so it leads back to the registered object.
    pwr::Field copy(*field);
    EXPECT_EQ(Data(copy), value);
    const pwr::Field* other = pwr::Field::create(pwr::Description("Other", ""));
    EXPECT_EQ(value.setValue(*other), 0);
    EXPECT_EQ(value.toHandle(out), 0);
    EXPECT_EQ(out, other);
}

TEST(HandleValue, SetValueRefusesOtherTypesWithSetRaised) {
    ScopedLogCapture capture(2);
    const pwr::Field* field = pwr::Field::create(pwr::Description("Core", ""));
    Data none;
    EXPECT_EQ(none.setValue(*field), 1);
    EXPECT_EQ(none.getType(), DataType::NONE);
    EXPECT_TRUE(none.isSet());
    EXPECT_FALSE(none.isValid());
    EXPECT_EQ(capture.debug().text(),
              "WARNING: Invalid attempt to initialize data of the wrong type (0 != 7)\n");
}

TEST(HandleValue, ToHandleFailures) {
    ScopedLogCapture capture(2);
    const DataHandle* sentinel = pwr::Field::create(pwr::Description("sentinel", ""));
    const DataHandle* out = sentinel;

    // Wrong type: the reader's warning, output untouched.
    EXPECT_EQ(Data(5LL).toHandle(out), 1);
    EXPECT_EQ(out, sentinel);
    EXPECT_EQ(capture.debug().text(), kWrongTypeLine);

    // Unset or invalid: silent.
    capture.clear();
    EXPECT_EQ(Data(DataType::HANDLE).toHandle(out), 1);
    Data invalidated(*sentinel);
    invalidated.invalidate();
    EXPECT_EQ(invalidated.toHandle(out), 1);
    EXPECT_EQ(out, sentinel);
    EXPECT_EQ(capture.text(), "");
}

TEST(FormatHandle, PrintsTheQualifiedNameOrTheNumberAndNameOfAPair) {
    struct Case {
        const DataHandle* handle;
        int width;
        const char* text;
    };
    const Case cases[] = {
        {pwr::Field::create(pwr::Description("Core_3", "")), 0, "Core_3"},
        {pwr::Field::create(pwr::Description("C0", "")), 6, "    C0"},
        {pwr::Field::create(pwr::Description("longer than width", "")), 3, "longer than width"},
        {pwr::State::create(pwr::StateDescription("C6", "")), 0, "C6"},
        {pwr::Attribute::get(pwr::AttributeType::FREQUENCY), 0, "Frequency"},
        {pwr::NameValuePair::create(3, "C3", "C-state"), 0, "3 - C-state"},
        {pwr::NameValuePair::create(4000000000u, "big", "Id"), 14, "4000000000 - Id"},
        {pwr::NameValuePair::create(1, "one", ""), 6, "  1 - "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        std::string out = "old";
        EXPECT_EQ(HandleFormatter(c.width).format(out, Data(*c.handle)), 0);
        EXPECT_EQ(out, c.text);
    }
    // The default formatter of the type is a HandleFormatter of width 0.
    std::string out;
    EXPECT_EQ(Data(*cases[5].handle).toFormattedString(out), 0);
    EXPECT_EQ(out, "3 - C-state");
}

TEST(FormatHandle, FailuresLeaveTheOutputAsItWas) {
    ScopedLogCapture capture(2);
    std::string out = "kept";
    EXPECT_EQ(HandleFormatter(4).format(out, Data(DataType::HANDLE)), 1);
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(capture.text(), "");

    EXPECT_EQ(pwr::Formatter::formatHandle(HandleFormatter(), out, Data(2.5)), 1);
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(capture.debug().text(), kWrongTypeLine);
}

}  // namespace
