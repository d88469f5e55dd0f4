#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "BenchSupport.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

namespace {

// A generated output configuration of `lines` lines: a feature order, a metric order per feature and
// table lines with every key, as a large product's file would have them.
std::string writeOutputConfig(int lines) {
    const std::string path = "/tmp/vr-bench-output-" + std::to_string(lines) + ".cfg";
    std::ofstream out(path);
    const char* const keys[] = {"TITLE", "TABLE", "TRANSPOSE", "PRE-TABLE-TEXT", "POST-TABLE-TEXT"};
    out << "# generated\nALL_OUTPUT-ORDER_TAG_FEATURE_ORDER=f0,f1,f2,f3,f4,f5,f6,f7,f8,f9\n";
    for (int n = 2; n < lines; ++n) {
        const int feature = n % 10;
        if (n < 12) {
            out << "ALL_f" << feature << "_TAG_TABLE_ORDER=m0,m1,m2,m3\n";
            continue;
        }
        out << "ALL_f" << feature << "_m" << (n / 10) % 40 << "_TABLE-" << (n / 400) % 6 << "_" << keys[n % 5]
            << "=Value of line " << n << "\n";
    }
    return path;
}

void BM_ParseOutputConfig(benchmark::State& state) {
    vrbench::environment();
    const int lines = static_cast<int>(state.range(0));
    const std::string path = writeOutputConfig(lines);
    const pwr::SystemMetadata machine;
    auto& parser = *pwr::WriterInterfaceConfigFileParser::instance();
    for (auto _ : state) {
        if (parser.parse({path}, machine) != 0) {
            state.SkipWithError("parse failed");
            break;
        }
    }
    parser.destroy();
    state.SetItemsProcessed(state.iterations() * lines);
    std::remove(path.c_str());
}
BENCHMARK(BM_ParseOutputConfig)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
