#pragma once

// Fakes for the requirement and capability suites: a requirement whose answer a test chooses and
// whose evaluations and deletion it counts, and a driver that reports a chosen version.

#include <cstdint>

#include "vantrell/plugin/DriverRequirement.h"
#include "vantrell/plugin/PluginRequirement.h"

namespace vrtest {

// Outlives the requirement it counts for.
struct RequirementCounts {
    int evaluations = 0;
    int deletions = 0;
};

class FakeRequirement : public pwr::PluginRequirement {
  public:
    FakeRequirement(bool answer, RequirementCounts* counts, bool negative = false)
        : PluginRequirement("FAKE", negative), answer(answer), counts(counts) {}
    ~FakeRequirement() override { ++counts->deletions; }

  protected:
    bool isPluginRequirementSatisfied_i(const pwr::SystemMetadata&, const pwr::PluginParams&) const override {
        ++counts->evaluations;
        return answer;
    }

  private:
    bool answer;
    RequirementCounts* counts;
};

class FakeDriver : public pwr::DriverInterface {
  public:
    explicit FakeDriver(uint64_t version) : version(version) {}
    bool isDriverPresent() override { return true; }
    uint64_t getDriverVersion() override { return version; }

  private:
    uint64_t version;
};

}  // namespace vrtest
