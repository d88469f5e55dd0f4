// The main of every test binary: a PluginEnvironment with capturing loggers is in place before any
// test runs, so that no log site meets an empty environment. Tests that assert texts install their
// own ScopedLogCapture on top of it.

#include <gtest/gtest.h>

#include "support/LogCapture.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    vrtest::ScopedLogCapture processEnvironment(1);
    return RUN_ALL_TESTS();
}
