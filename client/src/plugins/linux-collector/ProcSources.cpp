// The sources of /proc: one text file each, read whole at every sample into a buffer that keeps its
// size, and parsed in place. Keys point into the buffer or are literals, so a read allocates nothing.

#include <algorithm>
#include <vector>

#include "FileReading.h"
#include "Sources.h"

namespace vantrell::linuxcollector {

namespace {

using vantrell::plugins::kSystemCpu;
using vantrell::plugins::SampleWriter;

// Calls f(line) for each line of `text`, without its line end.
template <class F>
void forEachLine(std::string_view text, F&& f) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        f(text.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
        text.remove_prefix(end + 1);
    }
}

// The next blank-separated word of `text`, which moves past it; empty at the end.
std::string_view nextWord(std::string_view& text) {
    const size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        text = {};
        return {};
    }
    const size_t end = std::min(text.find_first_of(" \t", begin), text.size());
    std::string_view word = text.substr(begin, end - begin);
    text.remove_prefix(end);
    return word;
}

// A file of /proc, read whole at each sample.
class TextSource : public Source {
  public:
    bool open(const std::string& sourcePath, std::string& problem) override {
        path = sourcePath;
        if (!file.open(path)) {
            problem = "can't open " + path;
            return false;
        }
        std::string_view text;
        if (!load(text) || !recognise(text)) {
            problem = std::string("no ") + expected() + " in " + path;
            return false;
        }
        return true;
    }

    void read(SampleWriter& out, uint8_t) override {
        std::string_view text;
        if (!load(text)) {
            reportOnce(reported, "can't read", path);
        } else if (!parse(text, out)) {
            reportOnce(reported, "garbled lines in", path);
        }
    }

  protected:
    // Whether the text at open holds what this source reads.
    virtual bool recognise(std::string_view text) = 0;
    // Appends the entries; false when a line was garbled (the others are still read) or nothing of
    // what the source reads was found.
    virtual bool parse(std::string_view text, SampleWriter& out) = 0;
    // What a good file holds, for the log: "per-CPU lines", ...
    virtual const char* expected() const = 0;

  private:
    bool load(std::string_view& text) {
        size_t size = 0;
        if (!readWhole(file, buffer, size)) {
            return false;
        }
        text = std::string_view(buffer.data(), size);
        return true;
    }

    std::string path;
    FileHandle file;
    std::vector<char> buffer;
    bool reported = false;
};

// "cpu<N> user nice system idle iowait irq softirq steal ..." in USER_HZ ticks; the machine's total
// line "cpu" is left to the reader, who can add.
class ProcStatSource : public TextSource {
  protected:
    bool recognise(std::string_view text) override {
        bool any = false;
        forEachLine(text, [&](std::string_view line) { any = any || cpuOf(line) >= 0; });
        return any;
    }
    bool parse(std::string_view text, SampleWriter& out) override {
        static constexpr const char* kKeys[] = {"user",   "nice", "system",  "idle",
                                                "iowait", "irq",  "softirq", "steal"};
        bool good = true;
        bool any = false;
        forEachLine(text, [&](std::string_view line) {
            const long cpu = cpuOf(line);
            if (cpu < 0) {
                return;
            }
            any = true;
            nextWord(line);
            for (const char* key : kKeys) {
                const std::string_view word = nextWord(line);
                uint64_t value = 0;
                if (word.empty()) {
                    break;  // older kernels have fewer columns
                }
                if (!parseUnsigned(word, value)) {
                    good = false;
                    break;
                }
                out.add(static_cast<uint16_t>(cpu), key, value);
            }
        });
        return good && any;
    }
    const char* expected() const override { return "per-CPU lines"; }

  private:
    // N of a line "cpu<N> ...", else -1.
    static long cpuOf(std::string_view line) {
        std::string_view word = nextWord(line);
        uint64_t cpu = 0;
        if (word.size() < 4 || word.substr(0, 3) != "cpu" || !parseUnsigned(word.substr(3), cpu) ||
            cpu >= kSystemCpu) {
            return -1;
        }
        return static_cast<long>(cpu);
    }
};

// "processor : N" and "cpu MHz : 2596.098" of each block: key "nominal", value kHz. The kernel's
// figure is a nominal or last-known one, hence the key. CPUs that cpufreq covers are left out.
class CpuinfoSource : public TextSource {
  public:
    bool exclude(const std::set<uint16_t>& cpus) override {
        excluded = cpus;
        return std::any_of(found.begin(), found.end(),
                           [&](uint16_t cpu) { return excluded.count(cpu) == 0; });
    }

  protected:
    bool recognise(std::string_view text) override {
        found.clear();
        scan(text, [&](uint16_t cpu, uint64_t) { found.push_back(cpu); });
        return !found.empty();
    }
    bool parse(std::string_view text, SampleWriter& out) override {
        bool any = false;
        const bool good = scan(text, [&](uint16_t cpu, uint64_t kHz) {
            any = true;
            if (excluded.count(cpu) == 0) {
                out.add(cpu, "nominal", kHz);
            }
        });
        return good && any;
    }
    const char* expected() const override { return "\"cpu MHz\" lines"; }

  private:
    template <class F>
    static bool scan(std::string_view text, F&& f) {
        bool good = true;
        long cpu = -1;
        forEachLine(text, [&](std::string_view line) {
            const size_t colon = line.find(':');
            if (colon == std::string_view::npos) {
                return;
            }
            const std::string_view name = trimmed(line.substr(0, colon));
            const std::string_view value = line.substr(colon + 1);
            uint64_t number = 0;
            if (name == "processor") {
                cpu = parseUnsigned(value, number) && number < kSystemCpu ? static_cast<long>(number) : -1;
                good = good && cpu >= 0;
            } else if (name == "cpu MHz" && cpu >= 0) {
                if (parseMegaToKilo(value, number)) {
                    f(static_cast<uint16_t>(cpu), number);
                } else {
                    good = false;
                }
            }
        });
        return good;
    }

    std::vector<uint16_t> found;
    std::set<uint16_t> excluded;
};

// A header "CPU0 CPU1 ..." names the columns; each line "<label>: <count per column> <description>".
// The error counters ("ERR", "MIS") are machine-wide totals, not interrupts a CPU took: the protocol
// has entries per CPU only, so they are left out.
class InterruptsSource : public TextSource {
  protected:
    bool recognise(std::string_view text) override {
        const size_t end = text.find('\n');
        return readHeader(text.substr(0, end));
    }
    bool parse(std::string_view text, SampleWriter& out) override {
        const size_t end = text.find('\n');
        if (!readHeader(text.substr(0, end)) || end == std::string_view::npos) {
            return false;
        }
        bool good = true;
        forEachLine(text.substr(end + 1),
                    [&](std::string_view line) { good = parseLine(line, out) && good; });
        return good;
    }
    const char* expected() const override { return "interrupt counts"; }

  private:
    bool readHeader(std::string_view header) {
        columns.clear();
        for (std::string_view word = nextWord(header); !word.empty(); word = nextWord(header)) {
            uint64_t cpu = 0;
            if (word.substr(0, 3) != "CPU" || !parseUnsigned(word.substr(3), cpu) || cpu >= kSystemCpu) {
                return false;
            }
            columns.push_back(static_cast<uint16_t>(cpu));
        }
        return !columns.empty();
    }

    bool parseLine(std::string_view line, SampleWriter& out) {
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos) {
            return trimmed(line).empty();
        }
        const std::string_view label = trimmed(line.substr(0, colon));
        std::string_view rest = line.substr(colon + 1);
        if (label == "ERR" || label == "MIS") {
            return true;
        }
        size_t count = 0;
        for (; count < columns.size(); ++count) {
            uint64_t value = 0;
            if (!parseUnsigned(nextWord(rest), value)) {
                break;  // the description that follows the counts
            }
            out.add(columns[count], label, value);
        }
        return !label.empty() && count > 0;
    }

    std::vector<uint16_t> columns;
};

}  // namespace

std::unique_ptr<Source> makeProcStatSource() {
    return std::make_unique<ProcStatSource>();
}
std::unique_ptr<Source> makeCpuinfoSource() {
    return std::make_unique<CpuinfoSource>();
}
std::unique_ptr<Source> makeInterruptsSource() {
    return std::make_unique<InterruptsSource>();
}

}  // namespace vantrell::linuxcollector
