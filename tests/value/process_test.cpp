// Processes and threads become handles on first reference; what the trace said before fills them.

#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"
#include "support/TestWriter.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Process.h"

namespace {

using pwr::Process;
using pwr::ProcessManager;
using pwr::Thread;
using vrtest::ScopedWriterStream;
using vrtest::TestWriter;

std::string shown(const pwr::DataHandle& handle) {
    std::string out;
    EXPECT_EQ(pwr::HandleFormatter(6).format(out, pwr::Data(handle)), 0);
    return out;
}

TEST(ProcessManager, DescriptionsFillHandlesOnFirstReferenceAndUnknownIdsAreMadeUp) {
    ProcessManager::create(pwr::ProcessDescription(100, 5, 1, "/usr/bin/make"));
    ProcessManager::create(pwr::ProcessDescription(100, 9, 2, "dropped: 100 is pending"));
    ProcessManager::create(pwr::ThreadDescription(101, 6, 100, "worker"));
    const Process* make = Process::get(100);
    ASSERT_NE(make, nullptr);
    EXPECT_EQ(make->getPath() + " " + std::to_string(make->getStartTime()) + " " +
                  std::to_string(make->getParentPid()) + " " + std::to_string(make->getEndTime()),
              "/usr/bin/make 5 1 0");
    EXPECT_EQ(Process::get(100), make);
    const Thread* worker = Thread::get(101);
    EXPECT_EQ(worker->getName() + " " + std::to_string(worker->getPid()), "worker 100");

    // A second description of a pid that has a handle waits unused; the old handle answers.
    ProcessManager::create(pwr::ProcessDescription(100, 50, 3, "reused pid"));
    EXPECT_EQ(Process::get(100), make);
    EXPECT_EQ(make->getPath(), "/usr/bin/make");

    const Process* stranger = Process::get(7);
    EXPECT_EQ(stranger->getPath() + " " + std::to_string(stranger->getStartTime()) + " " +
                  std::to_string(stranger->getParentPid()),
              "unknown 0 0");
    const Thread* loose = Thread::get(7);
    EXPECT_EQ(loose->getTid(), 7);
    EXPECT_EQ(loose->getPid(), 7);
    EXPECT_NE(static_cast<const void*>(loose), static_cast<const void*>(stranger));
    // A value of either prints its number, widened like any handle.
    EXPECT_EQ(shown(*make) + "|" + shown(*worker), "   100|   101");
}

TEST(ProcessManager, EndTimesForgetPendingIdsAndAnnounceHandles) {
    TestWriter writer("ids");
    ScopedWriterStream scope({&writer}, ScopedWriterStream::Registry::kConnect);
    ProcessManager::create(pwr::ThreadDescription(200, 1, 20, "short-lived"));
    EXPECT_EQ(ProcessManager::addThreadEndTime(200, 2), 0);
    EXPECT_EQ(Thread::get(200)->getName(), "unknown");  // it vanished before anybody referred to it

    const Process* process = Process::get(300);
    const size_t before = writer.announcedIds().size();
    EXPECT_EQ(ProcessManager::addProcessEndTime(300, 77), 0);
    EXPECT_EQ(process->getEndTime(), 77u);
    ASSERT_EQ(writer.announcedIds().size(), before + 1);
    EXPECT_EQ(writer.announcedIds().back(), process);
    EXPECT_EQ(ProcessManager::addThreadEndTime(200, 9), 0);
    EXPECT_EQ(Thread::get(200)->getEndTime(), 9u);

    EXPECT_EQ(ProcessManager::addProcessEndTime(999, 1), 1);
    EXPECT_EQ(ProcessManager::addThreadEndTime(999, 1), 1);
}

}  // namespace
