#pragma once

// The fixture of the collection configuration suites: two collectors (one with REGISTER, CONSTANT
// and an unavailable PCIREG, one with MSR), files written to a scratch directory, the log captured at
// a chosen verbosity and the standard error stream captured around each parse.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestCollector.h"
#include "vantrell/config/InputMsg.h"
#include "vantrell/config/VRConfigFileParser.h"
#include "vantrell/record/SystemMetadata.h"

namespace vrtest {

class ConfigParserTest : public ::testing::Test {
  protected:
    // Every platform without a dash hangs below the root, which a set of files must define.
    static constexpr char kRootLine[] = "ALL_base_CAPABILITY_GROUP_VALUE=all\n";

    explicit ConfigParserTest(uint16_t verbosity = 2) : capture(verbosity) {
        pciReg.addRequirement(&never);
        hw.publish(&reg);
        hw.publish(&constant);
        hw.publish(&pciReg);
        other.publish(&msr);
    }
    ~ConfigParserTest() override { parser().destroy(); }

    static pwr::VRConfigFileParser& parser() { return *pwr::VRConfigFileParser::instance(); }

    // Writes each text to a file and parses them in order, the log and standard error cleared first.
    int parse(std::vector<std::string> const& texts) {
        files = std::make_unique<ConfigFiles>(texts);
        return parsePaths(files->paths());
    }

    int parsePaths(std::vector<std::string> const& paths) {
        capture.clear();
        ::testing::internal::CaptureStderr();
        int status = parser().parse(paths, collectors, system);
        stderrText = ::testing::internal::GetCapturedStderr();
        return status;
    }

    std::vector<pwr::InputMsg*> messagesFor(std::string const& platforms, std::string const& prefix,
                                            std::vector<std::string> const& triggers = {"POLL"},
                                            pwr::CollectionType type = pwr::COLLECTION_NORMAL) {
        std::vector<pwr::InputMsg*> messages;
        parser().getMessagesFor(messages, platforms, prefix, triggers, type);
        return messages;
    }

    // The keys and values of the operation at `index` of `message`.
    static TestOperation::Pairs valuesOf(pwr::InputMsg const* message, size_t index = 0) {
        return static_cast<TestOperation const*>(message->getOperations().at(index))->getValues();
    }

    ScopedLogCapture capture;
    FixedRequirement never{false};
    TestOperation reg{"REGISTER", {"OFFSET", "SIZE"}, true};
    TestOperation constant{"CONSTANT", {}};
    TestOperation pciReg{"PCIREG", {"BUS"}};
    TestOperation msr{"MSR", {"ADDRESS"}};
    TestCollector hw{"hw"};
    TestCollector other{"other"};
    std::vector<CollectorPlugin*> collectors{&hw, &other};
    pwr::SystemMetadata system;
    std::unique_ptr<ConfigFiles> files;
    std::string stderrText;
};

}  // namespace vrtest
