// ThermalSampleHandler: one temperature metric shared by several plug-ins, its count of users, the
// alignment of a cycle's readings on one timestamp, and the tables the last release produces.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/metric/ThermalSampleHandler.h"

namespace {

using pwr::ThermalSampleHandler;
using Strings = std::vector<std::string>;

class ThermalSampleHandlerTest : public vrtest::MetricFixture {
  protected:
    ThermalSampleHandlerTest() {
        configure({"ALL_TEMP_ALL-THERMAL-DATA_MIN-MAX-AVG_TABLE=NO",
                   "ALL_TEMP_ALL-THERMAL-DATA_NUMBER-OF-OCCURENCES_TABLE=NO",
                   "ALL_TEMP_ALL-THERMAL-DATA_RELATIVE-FREQUENCY-PERCENTAGE_TABLE=NO",
                   "ALL_TEMP_ALL-THERMAL-DATA_APPROXIMATED-RESIDENCY_TABLE=NO"});
    }
    ~ThermalSampleHandlerTest() override { ThermalSampleHandler::freeInstance(); }

    // The handler with cpu0 and cpu1 added, registered for plug-in `a`.
    ThermalSampleHandler* handler() {
        ThermalSampleHandler* made = ThermalSampleHandler::getInstance(machine, a);
        EXPECT_EQ(0, made->addEntity(cpu0));
        EXPECT_EQ(0, made->addEntity(cpu1));
        return made;
    }

    // Plug-ins are only told apart by address.
    char pluginA = 0;
    char pluginB = 0;
    const MetricPlugin* a = reinterpret_cast<const MetricPlugin*>(&pluginA);
    const MetricPlugin* b = reinterpret_cast<const MetricPlugin*>(&pluginB);
};

TEST_F(ThermalSampleHandlerTest, ReadingsOfACycleShareItsFirstTimestamp) {
    ThermalSampleHandler* thermal = handler();
    ASSERT_EQ(0, thermal->setTemperature(cpu0, 2000, 40, false));
    ASSERT_EQ(0, thermal->setTemperature(cpu1, 2050, 42, false));
    EXPECT_EQ(0, writer.count("metric"));  // one point so far, still buffered
    ASSERT_EQ(0, thermal->setTemperature(cpu0, 3000, 45, false));
    EXPECT_EQ(1, writer.count("metric"));
    ASSERT_EQ(0, thermal->setTemperature(cpu1, 3040, 47, false));
    EXPECT_EQ(0, ThermalSampleHandler::release(a));
    // cpu1's readings count from 2000 and 3000: its interval is 1 ms, as cpu0's.
    EXPECT_EQ(
        Strings({"Temperature Metrics Summary - Sampled: Total Samples Received | ,Total # of samples,Min "
                 "sampling interval (msec),Max sampling interval (msec),Avg sampling interval (msec)",
                 "cpu0,2,1.00,1.00,1.00", "cpu1,2,1.00,1.00,1.00",
                 "Temperature Metrics Summary - Sampled: Min/Max | ,Min (oC),Max (oC)", "cpu0,40,45",
                 "cpu1,42,47"}),
        printed());
    EXPECT_EQ(1, writer.count("containerInfo"));
    EXPECT_EQ("", log());
}

TEST_F(ThermalSampleHandlerTest, LowOverheadModeKeepsTheCallersTimestamps) {
    machine.lowOverheadMode = true;
    ThermalSampleHandler* thermal = handler();
    ASSERT_EQ(0, thermal->setTemperature(cpu0, 2000, 40, false));
    ASSERT_EQ(0, thermal->setTemperature(cpu1, 2050, 42, false));
    EXPECT_EQ(1, writer.count("metric"));
}

TEST_F(ThermalSampleHandlerTest, RefusalsAndTheCountOfUsers) {
    EXPECT_EQ(1, ThermalSampleHandler::release(a));
    ThermalSampleHandler* thermal = handler();
    EXPECT_EQ(thermal, ThermalSampleHandler::getInstance(machine, a));  // a second registration
    EXPECT_EQ(1, thermal->addEntity(nullptr));
    EXPECT_EQ(1, thermal->addEntity(cpu0));
    EXPECT_EQ(1, thermal->setTemperature(nullptr, 2000, 40, false));
    EXPECT_EQ(1, thermal->setTemperature(pwr::EntityHandle::create("gpu", nullptr), 2000, 40, false));
    ASSERT_EQ(0, thermal->setTemperature(cpu0, 2000, 40, false));
    ASSERT_EQ(0, thermal->setTemperature(cpu0, 2100, 41, false));  // cpu1 missed the first cycle
    EXPECT_EQ(1, ThermalSampleHandler::release(b));
    EXPECT_EQ(0, ThermalSampleHandler::release(a));
    EXPECT_EQ(0, writer.count("containerInfo"));  // a registration remains
    EXPECT_EQ(0, ThermalSampleHandler::release(a));
    EXPECT_EQ(1, writer.count("containerInfo"));
    EXPECT_EQ(
        "WARNING: Attempt to unregister a plugin from a non-existant ThermalSampleHandler\n"
        "WARNING: ThermalSampleHandler: please provide a valid entity.\n"
        "WARNING: ThermalSampleHandler: Entity cpu0 already added\n"
        "WARNING: ThermalSampleHandler: Please provide a valid entity when setting temperature.\n"
        "WARNING: ThermalSampleHandler: cannot set temperature for an entity that has not been added yet.\n"
        "WARNING: Temperature values were not set for all the entities at 2000.\n"
        "WARNING: ThermalSampleHandler: Attempt to unregister a plugin that has not been registered or it "
        "may have already been unregistered.\n",
        log());
}

TEST_F(ThermalSampleHandlerTest, LastReleaseOfAnEmptyMetricFinalizesNothing) {
    handler();
    EXPECT_EQ(0, ThermalSampleHandler::release(a));
    EXPECT_EQ(0, writer.count("containerInfo"));
    EXPECT_EQ("", log());
}

TEST_F(ThermalSampleHandlerTest, ResetWritesAPointOfZeroDuration) {
    ThermalSampleHandler* thermal = handler();
    std::vector<const pwr::EntityHandle*> both = {cpu0, cpu1};
    ASSERT_EQ(0, thermal->resetTemperatures(both, 2000, 30));
    ASSERT_EQ(0, thermal->setTemperature(cpu0, 3000, 50, false));
    ASSERT_EQ(0, thermal->setTemperature(cpu1, 3000, 52, false));
    std::vector<const pwr::EntityHandle*> broken = {cpu0, nullptr};
    EXPECT_EQ(1, thermal->resetTemperatures(broken, 4000, 30));
    EXPECT_EQ(0, ThermalSampleHandler::release(a));
    // The reset point holds no time: each entity's first reading counts with zero weight.
    EXPECT_NE(std::string::npos, log().find("WARNING: SampledValueAccumulator has zero weight!\n"));
    EXPECT_EQ(
        Strings({"Temperature Metrics Summary - Sampled: Total Samples Received | ,Total # of samples,Min "
                 "sampling interval (msec),Max sampling interval (msec),Avg sampling interval (msec)",
                 "cpu0,3,1.00,1.00,1.00", "cpu1,2,1.00,1.00,1.00",
                 "Temperature Metrics Summary - Sampled: Min/Max | ,Min (oC),Max (oC)", "cpu0,30,50",
                 "cpu1,30,52"}),
        printed());
}

}  // namespace
