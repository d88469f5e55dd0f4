// The module-and-die warning goes out once per process, so it is watched in a process of its own.

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "vantrell/record/TopTree.h"

namespace {

const char kModuleAndDie[] =
    "WARNING: Unknown topology has both a module AND a die ID -- choosing to report module ID only\n";

TEST(TopTreeBuild, ModuleAndDieWarningOncePerProcessUnderItsArea) {
    // Verbosity 1 shuts level 2; the open area lets the warning out all the same.
    vrtest::ScopedLogCapture capture(1);
    capture.environment().addPrefixForDebugLogging("TopTree::buildTopology");

    pwr::TopTree first;
    first.buildTopology("0 0 0 0 1 0 0 0", 2);
    EXPECT_EQ(capture.text(), kModuleAndDie);
    EXPECT_EQ(first.getNumDies(), 0u);
    EXPECT_EQ(first.getNumModules(), 1u);

    capture.clear();
    pwr::TopTree second;
    second.buildTopology("0 0 0 1 1 0 2 1", 1);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(second.getNumDies(), 0u);
    EXPECT_EQ(second.getNumModules(), 2u);
}

}  // namespace
