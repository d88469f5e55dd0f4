// vantrell: the reference host. For now it shows the value model at work: it builds typed values,
// accumulates them the way a summary table does, and prints them through their formatters.

#include <cstdio>
#include <string>
#include <vector>

#include "ConsoleLogger.h"
#include "vantrell/VantrellCore.h"

namespace {

struct Row {
    const char* label;
    pwr::Data value;
};

void printRow(const Row& row) {
    std::string text;
    int status = row.value.toFormattedString(text);
    std::printf("%-28s|%s|%s\n", row.label, text.c_str(), status == 0 ? "" : " (not formatted)");
}

pwr::Data withFormatter(pwr::Data value, const pwr::Formatter& formatter) {
    value.setCustomFormatter(formatter);
    return value;
}

}  // namespace

int main() {
    vantrell::ConsoleLogger errorLogger(stderr);
    vantrell::ConsoleLogger debugLogger(stdout);
    vantrell::ConsoleLogger nullLogger(nullptr);
    PluginEnvironment environment;
    environment.setErrorLogger(&errorLogger);
    environment.setDebugLogger(&debugLogger);
    environment.setNullLogger(&nullLogger);
    environment.setVerbosity(2);
    g_pluginEnvironment = &environment;

    // A running maximum, minimum and sum over a few residency samples, as an accumulator keeps them.
    const double samples[] = {12.5, 48.25, 3.0, 27.75};
    pwr::Data maximum(pwr::DataType::REAL);
    pwr::Data minimum(pwr::DataType::REAL);
    pwr::Data sum(pwr::DataType::REAL);
    maximum.initMax();
    minimum.initMin();
    sum.initZero();
    for (double sample : samples) {
        pwr::Data value(sample);
        if (value > maximum) {
            maximum = value;
        }
        if (value < minimum) {
            minimum = value;
        }
        sum.addValue(value);
    }
    pwr::Data mean(sum);
    mean.multiplyValue(1.0 / (sizeof(samples) / sizeof(samples[0])));

    std::vector<Row> rows;
    rows.push_back({"C6 residency max (%)", withFormatter(maximum, pwr::RealFormatter(" %", 10, 2))});
    rows.push_back({"C6 residency min (%)", withFormatter(minimum, pwr::RealFormatter(" %", 10, 2))});
    rows.push_back({"C6 residency mean (%)", withFormatter(mean, pwr::RealFormatter(" %", 10, 2))});
    rows.push_back(
        {"Core frequency", withFormatter(pwr::Data(2400ULL), pwr::UIntFormatter(" MHz", 10, false))});
    rows.push_back({"MSR address", withFormatter(pwr::Data(0x3FDULL), pwr::UIntFormatter(10, true))});
    rows.push_back(
        {"Temperature range", withFormatter(pwr::Data(41LL, 67LL), pwr::IntFormatter(" C", 12, false))});
    rows.push_back(
        {"Package power range", withFormatter(pwr::Data(3.5, 17.25), pwr::RealFormatter(" W", 0, 3))});
    rows.push_back({"Interrupts (default)", pwr::Data(123456ULL)});
    rows.push_back({"Energy (default)", pwr::Data(2.25)});
    rows.push_back(
        {"Platform", withFormatter(pwr::Data(std::string("linux-x86_64")), pwr::StringFormatter(14))});
    rows.push_back({"Never set", pwr::Data(pwr::DataType::UINT)});
    for (const Row& row : rows) {
        printRow(row);
    }
    return 0;
}
