// The process-wide merge list and the merge thread, in a process of their own (the list is never
// cleared); and the packing of variable events.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "trace/TraceFakes.h"
#include "vantrell/trace/EtwProvider.h"

namespace {

using ::testing::ElementsAre;

// Answers the merge entry point with a recorder of its arguments.
class RecordingMerge : public vrtest::ScriptedFacility {
  public:
    void* getProcAddress(void*, const char* name) override {
        lookedUp = name;
        return entry;
    }
    static unsigned long record(const char16_t* output, const char16_t** inputs, unsigned long count,
                                unsigned long flags) {
        seenOutput = output;
        seenInputs.assign(inputs, inputs + count);
        seenFlags = flags;
        return 0;
    }
    void* entry = reinterpret_cast<void*>(&RecordingMerge::record);
    std::string lookedUp;
    static inline std::u16string seenOutput;
    static inline std::vector<std::u16string> seenInputs;
    static inline unsigned long seenFlags = 0;
};

TEST(EtwMerge, ListAndThreadFromAFreshProcess) {
    vrtest::ScopedLogCapture capture(4);
    EXPECT_FALSE(EtwSession::isMergeRequired());
    EtwSession::waitForMergeComplete();  // nothing started: no message
    EXPECT_EQ(capture.text(), "");

    EtwSession::addMergeFile("_user");
    EtwSession::addMergeFile("_kernel");
    EXPECT_TRUE(EtwSession::isMergeRequired());
    {
        RecordingMerge facility;
        char target[] = "r.etl";
        EXPECT_EQ(EtwSession::mergeThread(target), 0u);
        EXPECT_EQ(facility.lookedUp, "CreateMergedTraceFile");
        EXPECT_THAT(facility.calls, ElementsAre("load"));
    }
    EXPECT_EQ(RecordingMerge::seenOutput, u"r_Capture.etl");
    EXPECT_THAT(RecordingMerge::seenInputs, ElementsAre(u"r_user.etl", u"r_kernel.etl"));
    EXPECT_EQ(RecordingMerge::seenFlags, ~0UL);
    EXPECT_EQ(capture.text(), "Merging ETW files to \"r_Capture.etl\" started.\n");

    struct Case {
        bool loadFails;
        void* entry;
        unsigned long result;
        std::string log;
    } cases[] = {{true, nullptr, 126, "WARNING: Unable to merge trace files because LoadLibrary() failed.\n"},
                 {false, nullptr, 127,
                  "Merging ETW files to \"r_Capture.etl\" started.\nWARNING: Trace merge experienced an "
                  "unknown error. (127: Success)\n"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.result);
        capture.clear();
        RecordingMerge facility;
        facility.loadFails = {c.loadFails};
        facility.entry = c.entry;
        pwr::platform::setLastError(0);
        char target[] = "r.etl";
        EXPECT_EQ(EtwSession::mergeThread(target), c.result);
        EXPECT_EQ(capture.text(), c.log);
    }

    // The system's merge of inputs that aren't there fails with the system's reason, on its own thread.
    vrtest::LockedLogger log;  // the merge thread logs while this one does
    capture.environment().setDebugLogger(&log);
    std::string target = vrtest::ScratchDir().file("none.etl");
    ASSERT_TRUE(EtwSession::mergeLogs(target));
    EtwSession::waitForMergeComplete();
    EXPECT_THAT(
        log.messages(),
        ::testing::UnorderedElementsAre(
            "Merging ETW files to \"" + target.substr(0, target.size() - 4) + "_Capture.etl\" started.\n",
            "WARNING: Trace merge experienced an unknown error. (2: No such file or directory)\n",
            "Waiting for merge to complete.\n"));
}

TEST(EtwEvent, PacksEveryItemInOrderAndCountsSizesCumulatively) {
    const _EVENT_DESCRIPTOR type = {1, 0, 0, 4, 0, 0, 0};
    EtwEvent event(&type);
    event.uint64Values = {1};
    event.uint32Values = {2};
    event.stringValues = {u"ab"};
    EXPECT_EQ(event.PackEvent(), 18u);
    EXPECT_EQ(event.Count(), 3u);
    EXPECT_EQ(event.Size(), 18u);
    EXPECT_EQ(event.Type(), &type);
    const _EVENT_DATA_DESCRIPTOR* d = event.Descriptor();
    EXPECT_EQ(d[0].Ptr, reinterpret_cast<uintptr_t>(event.uint64Values.data()));
    EXPECT_EQ(d[1].Ptr, reinterpret_cast<uintptr_t>(event.uint32Values.data()));
    EXPECT_EQ(d[2].Ptr, reinterpret_cast<uintptr_t>(event.stringValues[0].c_str()));
    EXPECT_EQ(d[2].Size, 6u);
    EXPECT_EQ(d[2].Reserved, 0u);

    event.pointerValues = {&event, nullptr};
    EXPECT_EQ(event.PackEvent(), 18u + 34u);  // not cleared: the second packing adds everything again
    EXPECT_EQ(event.Count(), 5u);
    EXPECT_EQ(event.Descriptor()[2].Size, 8u);
    EXPECT_EQ(event.Descriptor()[2].Ptr, reinterpret_cast<uintptr_t>(event.pointerValues.data()));
}

}  // namespace
