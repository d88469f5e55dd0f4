// The collection configuration parser over a generated file of 100,000 lines: 50 platforms below
// the root, each with features, capabilities, messages, triggers, constants and register operations.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "vantrell/config/Operation.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/plugin/CollectorPlugin.h"
#include "vantrell/record/Metadata.h"
#include "vantrell/record/SystemMetadata.h"

namespace {

class BenchOperation : public pwr::Operation {
  public:
    explicit BenchOperation(std::string const& type) : Operation(type) {
        addCategory("OFFSET");
        addCategory("SIZE");
    }
    int set(std::string const& key, std::string const& value) override {
        values.emplace_back(key, value);
        return 0;
    }
    pwr::OperationMetadata* getOperationMetadata() const override {
        return new pwr::OperationMetadata(getName(), getOperation(), 0);
    }
    pwr::Operation* clone() const override { return new BenchOperation(*this); }

  private:
    std::vector<std::pair<std::string, std::string>> values;
};

class BenchCollector : public CollectorPlugin {
  public:
    using CollectorPlugin::doImmediateRead;
    BenchCollector() : CollectorPlugin("bench") {
        addOperation(&reg);
        addOperation(&constant);
    }
    int initializePlugin() override { return 0; }
    int terminatePlugin() override { return 0; }
    int startCollection(std::vector<pwr::InputMsg*> const&, pwr::SystemMetadata const&) override { return 0; }
    int stopCollection() override { return 0; }
    int pollOnce() override { return 0; }
    int doImmediateRead(pwr::InputMsg const*, Pairs&) override { return 0; }

  private:
    BenchOperation reg{"REGISTER"};
    BenchOperation constant{"CONSTANT"};
};

constexpr size_t kLines = 100000;

// Writes the file once; returns its path and the number of lines.
std::string const& generatedFile() {
    static std::string const path = [] {
        std::string file = "/tmp/vr-configfile-bench-" + std::to_string(getpid()) + ".txt";
        std::ofstream out(file);
        out << "# generated collection configuration\n";
        out << "ALL_base_CAPABILITY_COMMAND-LINE_VALUE=base\n";
        size_t lines = 2;
        for (int platform = 0; lines < kLines; ++platform) {
            std::string const name = "CHIP" + std::to_string(platform);
            out << name << "_MODEL_FMS_CONSTANT_VALUE=6." << (platform % 200) << ".1\n";
            ++lines;
            for (int feature = 0; feature < 20 && lines < kLines; ++feature) {
                std::string const prefix = name + "_feat" + std::to_string(feature);
                out << prefix << "_CAPABILITY_HELP-STRING_VALUE=Feature " << feature << " of " << name
                    << "\n";
                lines += 1;
                for (int msg = 0; msg < 20 && lines + 5 <= kLines; ++msg) {
                    std::string const full = prefix + "_msg" + std::to_string(msg);
                    out << full << "_MSG_READ-WHEN=BEGIN,POLL,END   # sampled\n"
                        << full << "_MSG_READ-WHICH-CPU=ALL\n"
                        << full << "_REGISTER_OFFSET=0x" << std::hex << (0x100 + msg) << std::dec << "\n"
                        << full << "_REGISTER_SIZE=8\n"
                        << full << "_CONSTANT_scale=1000\n";
                    lines += 5;
                }
            }
        }
        return file;
    }();
    // Removed when the program ends.
    static struct Remover {
        ~Remover() { std::remove(path.c_str()); }
    } const remover;
    return path;
}

void BM_ParseGeneratedConfiguration(benchmark::State& state) {
    vrbench::environment();
    BenchCollector collector;
    pwr::SystemMetadata system;
    std::vector<std::string> const files = {generatedFile()};
    pwr::VRConfigFileParser* parser = pwr::VRConfigFileParser::instance();
    for (auto _ : state) {
        int status = parser->parse(files, {&collector}, system);
        if (status != 0) {
            state.SkipWithError("the generated file didn't parse");
            break;
        }
        benchmark::DoNotOptimize(status);
    }
    // Each parse above also deleted the state of the one before it, as a re-parse does.
    parser->destroy();
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kLines));
    state.SetLabel("items = lines");
}
BENCHMARK(BM_ParseGeneratedConfiguration)->Unit(benchmark::kMillisecond);

}  // namespace
