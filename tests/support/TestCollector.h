#pragma once

// A collector plug-in for the configuration suites, its operations, a requirement with a fixed
// answer, and configuration files written to a scratch directory.
//
// TestOperation keeps the keys and values the parser sets, in order, and refuses a key set twice.
// TestCollector publishes the operations given to it (borrowed) and records immediate reads and
// writes. One thread at a time.

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "support/ConfigFiles.h"
#include "vantrell/config/Operation.h"
#include "vantrell/plugin/CollectorPlugin.h"
#include "vantrell/plugin/PluginRequirement.h"

namespace vrtest {

class TestOperation : public pwr::Operation {
  public:
    using Pairs = std::vector<std::pair<std::string, std::string>>;

    TestOperation(std::string const& type, std::initializer_list<char const*> categories,
                  bool writable = false);

    // -1 for a key already set, which keeps its first value.
    int set(std::string const& key, std::string const& value) override;
    pwr::OperationMetadata* getOperationMetadata() const override;
    pwr::Operation* clone() const override { return new TestOperation(*this); }

    Pairs const& getValues() const { return values; }

  protected:
    bool isValidCommand_i(pwr::VROpCommand command) const override;

  private:
    Pairs values;
    bool writable;
};

class FixedRequirement : public pwr::PluginRequirement {
  public:
    explicit FixedRequirement(bool answer, bool negative = false)
        : PluginRequirement("FIXED", negative), answer(answer) {}

  protected:
    bool isPluginRequirementSatisfied_i(pwr::SystemMetadata const&, pwr::PluginParams const&) const override {
        return answer;
    }

  private:
    bool answer;
};

class TestCollector : public CollectorPlugin {
  public:
    using CollectorPlugin::doImmediateRead;
    using CollectorPlugin::doImmediateWrite;

    explicit TestCollector(std::string const& uuid) : CollectorPlugin(uuid) {}

    void publish(pwr::Operation const* operation) { addOperation(operation); }

    int initializePlugin() override { return 0; }
    int terminatePlugin() override { return 0; }
    int startCollection(std::vector<pwr::InputMsg*> const&, pwr::SystemMetadata const&) override { return 0; }
    int stopCollection() override { return 0; }
    int pollOnce() override { return 0; }
    // Answers one pair per operation of the message: its name and its type.
    int doImmediateRead(pwr::InputMsg const* message, Pairs& results) override;
    int doImmediateRead(pwr::Operation* operation, std::string const& key) override;
    int doImmediateWrite(pwr::InputMsg const* message) override;

    // "read <operation name> <key>", "readMsg <message name>", "writeMsg <message name>".
    std::vector<std::string> calls;
};

// Writes each text to a file of its own in a fresh scratch directory, removed with the object.

}  // namespace vrtest
