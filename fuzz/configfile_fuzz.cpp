// The collection configuration parser over arbitrary file contents: no crash, no hang, no leak; the
// status is 0 or -1 (or the C string of a zero PCI/PMT identity); a second parse of the same bytes
// gives the same status and the same log; a line reported as unsplittable is one that a reference
// splitter can't cut into six tokens, and a file that parses holds only lines that it can cut. The
// queries then run over whatever was built.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "vantrell/config/ConfigCap.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/Operation.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/plugin/CollectorPlugin.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/record/Metadata.h"
#include "vantrell/record/SystemMetadata.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;

class KeepingLogger : public pwr::Logger {
  public:
    std::string text;

  protected:
    void flushPending() override { text.append(pending.begin(), pending.end()); }
};

class FuzzOperation : public pwr::Operation {
  public:
    FuzzOperation(std::string const& type, bool writable) : Operation(type), writable(writable) {
        addCategory("OFFSET");
        addCategory("SIZE");
    }
    int set(std::string const& key, std::string const&) override {
        return key == "SIZE" && ++sizes > 1 ? -1 : 0;
    }
    pwr::OperationMetadata* getOperationMetadata() const override {
        return new pwr::OperationMetadata(getName(), getOperation(), 0);
    }
    pwr::Operation* clone() const override { return new FuzzOperation(*this); }

  protected:
    bool isValidCommand_i(pwr::VROpCommand command) const override {
        return command == pwr::VR_OP_READ || (writable && command == pwr::VR_OP_WRITE);
    }

  private:
    bool writable;
    int sizes = 0;
};

class Never : public pwr::PluginRequirement {
  public:
    Never() : PluginRequirement("NEVER", false) {}

  protected:
    bool isPluginRequirementSatisfied_i(pwr::SystemMetadata const&, pwr::PluginParams const&) const override {
        return false;
    }
};

class FuzzCollector : public CollectorPlugin {
  public:
    using CollectorPlugin::doImmediateRead;
    explicit FuzzCollector(std::string const& uuid) : CollectorPlugin(uuid) {}
    void publish(pwr::Operation const* operation) { addOperation(operation); }
    int initializePlugin() override { return 0; }
    int terminatePlugin() override { return 0; }
    int startCollection(std::vector<pwr::InputMsg*> const&, pwr::SystemMetadata const&) override { return 0; }
    int stopCollection() override { return 0; }
    int pollOnce() override { return 0; }
    int doImmediateRead(pwr::InputMsg const*, Pairs&) override { return 0; }
};

// The six tokens of a line as the language defines them, or none.
bool referenceSplit(std::string const& line, std::vector<std::string>& tokens) {
    tokens.clear();
    if (line.find('=') == std::string::npos) {
        return false;
    }
    size_t start = 0;
    for (char delimiter : {'_', '_', '_', '_', '='}) {
        size_t cut = line.find(delimiter, start);
        if (cut == std::string::npos) {
            return false;
        }
        tokens.push_back(line.substr(start, cut - start));
        start = cut + 1;
    }
    tokens.push_back(line.substr(start));
    return true;
}

// The meaningful lines: comment cut, blanks trimmed, empty ones dropped.
std::vector<std::string> referenceLines(std::string const& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        std::string line = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        start = end == std::string::npos ? text.size() : end + 1;
        line = line.substr(0, line.find('#'));
        size_t first = line.find_first_not_of(" \r\t\n");
        if (first == std::string::npos) {
            continue;
        }
        lines.push_back(line.substr(first, line.find_last_not_of(" \r\t\n") - first + 1));
    }
    return lines;
}

struct Outcome {
    int status = 0;
    std::string thrown;
    std::string log;
};

struct Harness {
    KeepingLogger logger;
    PluginEnvironment env;
    Never never;
    FuzzOperation reg{"REGISTER", true};
    FuzzOperation constant{"CONSTANT", false};
    FuzzOperation absent{"PCIREG", false};
    FuzzOperation msr{"MSR", false};
    FuzzCollector hw{"hw"};
    FuzzCollector other{"other"};
    pwr::SystemMetadata system;
    std::string path;

    Harness() {
        env.setErrorLogger(&logger);
        env.setDebugLogger(&logger);
        env.setNullLogger(&logger);
        env.setVerbosity(4);
        env.addPrefixForDebugLogging("config-parser");
        g_pluginEnvironment = &env;
        absent.addRequirement(&never);
        hw.publish(&reg);
        hw.publish(&constant);
        hw.publish(&absent);
        other.publish(&msr);
        // A file in memory where there is such a file system: the parser reads only named files.
        std::string const dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path = dir + "/vr-configfile-fuzz-" + std::to_string(getpid()) + ".txt";
    }

    Outcome parse(std::string const& text) {
        FILE* fp = std::fopen(path.c_str(), "wb");
        check(fp != nullptr, "scratch file");
        std::fwrite(text.data(), 1, text.size(), fp);
        std::fclose(fp);
        // The state of an earlier parse goes first, so that its farewells don't enter this log.
        pwr::VRConfigFileParser::instance()->destroy();
        logger.text.clear();
        Outcome outcome;
        try {
            outcome.status = pwr::VRConfigFileParser::instance()->parse({path}, {&hw, &other}, system);
        } catch (char const* thrown) {
            outcome.thrown = thrown;
        }
        outcome.log = logger.text;
        return outcome;
    }
};

void askQueries(std::vector<std::string> const& lines) {
    pwr::VRConfigFileParser* parser = pwr::VRConfigFileParser::instance();
    std::string name;
    parser->getPlatformName(name, {"FMS", "6.85.4"});
    std::vector<std::string> tokens;
    for (size_t i = 0; i < lines.size() && i < 8; ++i) {
        if (!referenceSplit(lines[i], tokens)) {
            continue;
        }
        std::string const names = "FMS=" + tokens[0] + ",PCI=" + name;
        std::vector<pwr::ConfigCap const*> caps;
        parser->getCapabilitiesFor(caps, names);
        for (int type = 0; type < 3; ++type) {
            std::vector<pwr::InputMsg*> messages;
            parser->getMessagesFor(messages, names, tokens[1], {"INIT", "POLL", "TRACEPOINT", "END"},
                                   static_cast<pwr::CollectionType>(type));
            for (pwr::InputMsg* message : messages) {
                std::vector<std::pair<std::string, std::string>> results;
                message->execute(results);
            }
        }
        parser->isPlatformPrefixSupported(names, tokens[1]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Harness harness;
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::vector<std::string> const lines = referenceLines(text);
    std::vector<std::string> tokens;
    for (std::string const& line : lines) {
        // An INHERIT line with other words than MODE and VALUE ends in the grammar's assertion, by design.
        if (referenceSplit(line, tokens) && tokens[1] != "MODEL" && tokens[2] == "INHERIT" &&
            (tokens[3] != "MODE" || tokens[4] != "VALUE")) {
            return 0;
        }
    }

    Outcome first = harness.parse(text);
    check(first.status == 0 || first.status == -1, "status is 0 or -1");
    check(first.thrown.empty() || first.thrown == "Invalid version and/or device passed to PCI specifier" ||
              first.thrown == "Invalid version and/or device passed to PMT specifier",
          "only the zero identity escapes parse");
    if (first.status == 0 && first.thrown.empty()) {
        for (std::string const& line : lines) {
            check(referenceSplit(line, tokens), "a file that parses holds only lines of six tokens");
        }
    }
    std::string const caught = "EXCEPTION CAUGHT:ERROR parsing line ";
    size_t at = first.log.find(caught);
    if (at != std::string::npos) {
        size_t end = first.log.find('\n', at);
        std::string const line = first.log.substr(at + caught.size(), end - at - caught.size());
        check(line.find('\n') == std::string::npos && !referenceSplit(line, tokens),
              "a line caught as unsplittable can't be cut");
    }
    askQueries(lines);

    Outcome second = harness.parse(text);
    check(second.status == first.status && second.thrown == first.thrown,
          "a second parse gives the same status");
    check(second.log == first.log, "a second parse logs the same");
    pwr::VRConfigFileParser::instance()->destroy();
    return 0;
}
