#pragma once

// For suites that need a running UniqueId registry: include this header once in the test file. The
// registry is built before the first test and freed after the last, as a host does at start and end.

#include <gtest/gtest.h>

#include "vantrell/value/UniqueId.h"

namespace vrtest {

class RegistryEnvironment : public ::testing::Environment {
  public:
    void SetUp() override { pwr::UniqueId::initialize(); }
    void TearDown() override { pwr::UniqueId::destroy(); }
};

// Registered during static initialisation, ahead of RUN_ALL_TESTS.
inline ::testing::Environment* const registryEnvironment =
    ::testing::AddGlobalTestEnvironment(new RegistryEnvironment);

}  // namespace vrtest
