// Metric definition, ingestion and output: construction, setters, the time rules of setData, and the
// order in which writers and accumulators see points, container info and tables.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/MetricFixture.h"
#include "value/RegistryEnvironment.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/writer/TextNotes.h"

namespace {

using pwr::Metric;
using Strings = std::vector<std::string>;

class MetricTest : public vrtest::MetricFixture {
  protected:
    // A SampledValue metric with a recording accumulator behind its built-in one.
    Metric& recorded(Metric::MetricType type = Metric::SampledValue) {
        metric = std::make_unique<Metric>("m", type, "tag", "feat", machine,
                                          type == Metric::SampledResidency ? pwr::Quantity::time() : nullptr);
        EXPECT_EQ(0, metric->addAccumulator(&recorder));
        return *metric;
    }

    vrtest::RecordingAccumulator recorder;
    std::unique_ptr<Metric> metric;
};

std::string thrownText(const std::function<void()>& make) {
    try {
        make();
    } catch (const char* text) {
        return text;
    }
    return "nothing thrown";
}

TEST_F(MetricTest, ConstructionRefusesWhatCannotWork) {
    EXPECT_EQ("Quantity for MetricType::SampledResidency metric must be pwr::Quantity::time()",
              thrownText(
                  [&] { Metric("r", Metric::SampledResidency, "t", "f", machine, pwr::Quantity::power()); }));
    EXPECT_EQ("Quantity for MetricType::SampledResidency metric must be pwr::Quantity::time()",
              thrownText([&] { Metric("r", Metric::SampledResidency, "t", "f", machine, nullptr); }));
    capture.clear();
    Metric unknown("odd", static_cast<Metric::MetricType>(9), "t", "f", machine, nullptr);
    EXPECT_EQ(
        "WARNING: Output config table entries not present for the feature-switch-tag and "
        "metric-container-tag "
        "combo: 'f_t'. Add table entries specific to Metric container type.\n"
        "WARNING: odd: Unrecognized metric type\n",
        capture.text());
    // The other metric types are built without complaint beyond the missing configuration.
    for (auto type :
         {Metric::SampledDelta, Metric::SampledValue, Metric::TracedValueTransition, Metric::TracedEvent}) {
        EXPECT_EQ("nothing thrown", thrownText([&] { Metric("x", type, "t", "f", machine, nullptr); }));
    }
    EXPECT_EQ("nothing thrown", thrownText([&] {
                  Metric("x", Metric::SampledResidency, "t", "f", machine, pwr::Quantity::time());
              }));

    void* stream = capture.environment().getWriterStream();
    capture.environment().setWriterStream(nullptr);
    EXPECT_EQ("Writer stream is not initialized",
              thrownText([&] { Metric("x", Metric::SampledValue, "t", "f", machine, nullptr); }));
    EXPECT_EQ("ERROR: Writer stream is not initialized",
              thrownText([] { vrtest::RecordingAccumulator accumulator; }));
    capture.environment().setWriterStream(stream);
}

TEST_F(MetricTest, IdsComeFromTheMessageCounter) {
    Metric first("a", Metric::SampledValue, "t", "f", machine, nullptr);
    pwr::IdMessage between;
    Metric second("b", Metric::SampledValue, "t", "f", machine, nullptr);
    EXPECT_EQ(first.getId() + 1, between.getMessageId());
    EXPECT_EQ(between.getMessageId() + 1, second.getId());
}

TEST_F(MetricTest, SettersStoreOrRefuseWithTheirTexts) {
    Metric value("val", Metric::SampledValue, "t", "f", machine, nullptr);
    Metric delta("delta", Metric::SampledDelta, "t", "f", machine, nullptr);
    capture.clear();

    EXPECT_EQ(1, value.setFiniteSetValues({c1, nullptr}));
    EXPECT_EQ(1, delta.setFiniteSetValues({c1}));
    EXPECT_EQ(0, delta.setFiniteSetValues({}));
    EXPECT_EQ(0, value.setFiniteSetValues({c1}));
    EXPECT_EQ(0, value.setFiniteSetValues({c6, c1}));
    EXPECT_EQ(
        "WARNING: val: Please provide a valid pointer to DataDescriptor object.\n"
        "WARNING: delta: Finite set of possible values can be provided only for MetricType::SampledValue or "
        "MetricType::TracedValueTransition metric types.\n",
        capture.text());
    ASSERT_EQ(3u, value.getFiniteSetValues().size());
    EXPECT_EQ(pwr::Data(*c6), value.getFiniteSetValues()[1]);
    EXPECT_EQ(pwr::DataType::HANDLE, value.getFiniteSetValues()[0].getType());

    EXPECT_EQ(0, value.setLegacyMetricType(static_cast<pwr::RealTableClass>(17)));
    EXPECT_EQ(1, value.setLegacyMetricType(static_cast<pwr::RealTableClass>(18)));
    EXPECT_EQ(17, static_cast<int>(value.getLegacyMetricType()));

    // A null entity in the second entry keeps the first entry's entity and descriptor listed.
    capture.clear();
    EXPECT_EQ(0, value.setEntityDescriptorCombinations({{cpu0, nullptr}}));
    EXPECT_EQ(1, value.setEntityDescriptorCombinations({{cpu1, c1}, {nullptr, c6}, {cpu0, c6}}));
    EXPECT_EQ("WARNING: val: Entity is required when setting entity-descriptor combinations.\n",
              capture.text());
    EXPECT_EQ((std::vector<const pwr::EntityHandle*>{cpu0, cpu1}), value.getEntityList());
    EXPECT_EQ((std::list<const pwr::DataDescriptor*>{nullptr, c1}), value.getDescriptorList());
    ASSERT_EQ(1u, value.getEntityDescriptorCombinations().size());
    EXPECT_EQ(cpu0, value.getEntityDescriptorCombinations()[0].entity);

    pwr::FieldDescription head("Core", "");
    EXPECT_EQ(0, value.setEntityGroupInfo(head));
    EXPECT_EQ("Core", value.getEntityGroupInfo()->getName());
    EXPECT_EQ(nullptr, value.getValueGroupInfo());

    EXPECT_EQ(nullptr, value.getTextInfo());
    value.setPreMetricTextInfo("before");
    value.setPostMetricTextInfo("after");
    Strings notes;
    ASSERT_TRUE(value.getTextInfo()->getPreTableNotes(notes));
    EXPECT_EQ(Strings{"before"}, notes);
    ASSERT_TRUE(value.getTextInfo()->getPostTableNotes(notes));
    EXPECT_EQ(Strings{"after"}, notes);
}

TEST_F(MetricTest, ContainerInfoSettersPushMessages) {
    Metric value("val", Metric::SampledValue, "t", "f", machine, nullptr);
    Metric residency("res", Metric::SampledResidency, "t", "f", machine, pwr::Quantity::time());
    capture.clear();
    EXPECT_EQ(0, value.setTimelineTableToDisplay(static_cast<pwr::TimelineTableType>(2)));
    EXPECT_EQ(
        "WARNING: Warning: Timeline output table selection is only valid for MetricType::SampledResidency "
        "type "
        "metrics.\nThis request will be ignored.",
        capture.text());
    EXPECT_EQ(0, writer.count("containerInfo"));
    EXPECT_EQ(0, residency.setTimelineTableToDisplay(static_cast<pwr::TimelineTableType>(2)));
    pwr::TableMessage rows("static", nullptr);
    EXPECT_EQ(0, value.addStaticTableRowInfo(&rows));
    EXPECT_EQ(value.getId(), rows.getMetricContainerId());
    EXPECT_EQ(2, writer.count("containerInfo"));
}

TEST_F(MetricTest, DataElementOwnsItsValueAndGuardsItsHandles) {
    pwr::DataElement element(cpu0, nullptr);
    capture.clear();
    EXPECT_EQ(nullptr, element.getValue());
    EXPECT_EQ(nullptr, element.getTracelaneDescriptor());
    EXPECT_EQ(1, element.setEntity(nullptr));
    EXPECT_EQ(1, element.setDescriptor(nullptr));
    EXPECT_EQ(1, element.setAdditionalInfo(nullptr));
    EXPECT_EQ(
        "WARNING: Value is not set in the DataElement object. Returning an invalid Data object.\n"
        "WARNING: Tracelane descriptor is not set. Was this DataElement objectever added to Metric before "
        "calling "
        "getTracelaneDescriptor?\n"
        "WARNING: Please provide a valid entity.\nWARNING: Please provide a valid descriptor.\n"
        "WARNING: Please provide a valid DynamicAttributeValueManager.\n",
        capture.text());

    EXPECT_EQ(0, element.setValue(7ULL));
    EXPECT_EQ(pwr::DataType::UINT, element.getValue()->getType());
    EXPECT_EQ(0, element.setDescriptor(c1));
    EXPECT_EQ(c1, element.getTracelaneDescriptor());
    pwr::DataElement copy(element);
    EXPECT_EQ(0, element.setValue(8ULL));
    EXPECT_EQ(pwr::Data(7ULL), *copy.getValue());
    copy = element;
    EXPECT_EQ(pwr::Data(8ULL), *copy.getValue());
    EXPECT_NE(element.getValue(), copy.getValue());
}

// Every refusal: its text, result 1, and nothing recorded (the metric stays empty).
TEST_F(MetricTest, SetDataRefusalsRecordNothing) {
    struct Case {
        Metric::MetricType type;
        unsigned long long timestamp;
        bool entity;
        bool value;
        bool state;
        bool realValue;
        std::string text;
    };
    const std::vector<Case> cases = {
        {Metric::SampledValue, 0, true, true, false, false,
         "WARNING: m: Please provide a valid non-zero timestamp.\n"},
        {Metric::SampledValue, 2000, false, true, false, false,
         "WARNING: m: Please provide an entity in the DataElement object.\n"},
        {Metric::SampledValue, 2000, true, false, false, false,
         "WARNING: Value is not set in the DataElement object. Returning an invalid Data object.\n"
         "WARNING: m: Please set the value aka measurement in the DataElement object.\n"},
        {Metric::SampledResidency, 2000, true, true, false, false,
         "WARNING: m: Descriptor is required for MetricType::SampledResidency type. Please provide one.\n"},
        {Metric::SampledResidency, 2000, true, true, true, true,
         "WARNING: m: MetricType::SampledResidency type requires values to be given in clock ticks as "
         "pw_u64_t "
         "data type.\n"},
        {Metric::SampledValue, 999, true, true, false, false,
         "WARNING: m: Timestamps must be monotonically increasing. Previous=1000, current=999 for cpu0/ . "
         "Data "
         "discarded.\n"},
        {Metric::TracedEvent, 1500, true, true, true, false,
         "WARNING: m: Timestamps must be monotonically increasing. Previous=1600, current=1500 for cpu0/C1. "
         "Data "
         "discarded.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Metric& m = recorded(c.type);
        if (c.timestamp == 1500) {
            // The pair is known at 1000 (the start itself is allowed once): the same or an earlier time is
            // refused. Prime it, then forget what the priming printed.
            ASSERT_EQ(0, feed(m, 1600, cpu0, 1ULL, 0, c1));
        }
        capture.clear();
        pwr::DataElement element(c.entity ? cpu0 : nullptr, c.state ? c1 : nullptr);
        if (c.value) {
            c.realValue ? element.setValue(1.5) : element.setValue(5ULL);
        }
        EXPECT_EQ(1, m.setData(c.timestamp, element, 0));
        EXPECT_EQ(c.text, capture.text());
        if (c.timestamp != 1500) {
            EXPECT_TRUE(m.isEmpty());
            EXPECT_EQ(1, m.finalize());
            EXPECT_TRUE(recorder.calls.empty());
        }
    }
    // A claimed duration longer than the pair's elapsed time.
    writer.clear();
    Metric& m = recorded();
    capture.clear();
    EXPECT_EQ(1, feed(m, 1500, cpu0, 1ULL, 501));
    EXPECT_EQ(
        "WARNING: m: Duration cannot be more than the elapsed time since last sampling/transition point. "
        "duration=501, elapsed time=500 for cpu0+ . Data discarded.\n",
        capture.text());
    EXPECT_TRUE(m.isEmpty());
    EXPECT_EQ(0, writer.count("metric"));
    // Still empty after refusals: an accumulator may still join.
    vrtest::RecordingAccumulator late;
    EXPECT_EQ(0, m.addAccumulator(&late));
}

TEST_F(MetricTest, TimeRulesPerPairAndPointsFlushedOneStepLate) {
    EXPECT_EQ(0xffffffffffffffffULL, Metric::RESET_DURATION);
    Metric& m = recorded();
    EXPECT_EQ(0, feed(m, kStart, cpu0, 10ULL));         // the start itself, new pair: duration 0
    EXPECT_EQ(1, feed(m, kStart, cpu0, 11ULL));         // the same pair at the same time
    EXPECT_EQ(0, feed(m, kStart, cpu0, 12ULL, 0, c1));  // another pair in the same point
    EXPECT_EQ(0, feed(m, 1400, cpu1, 20ULL));           // new point: flushes 1000; duration 400
    EXPECT_EQ(0, feed(m, 1400, cpu0, 13ULL, 400));      // a duration equal to the elapsed time
    EXPECT_EQ(0, feed(m, 1300, cpu0, 14ULL, 0, c6));    // earlier than the point, new for its pair
    EXPECT_EQ(0, feed(m, 1500, cpu1, 21ULL, Metric::RESET_DURATION));
    EXPECT_EQ(Strings({"1000: cpu0/-=10@0 cpu0/C1=12@0", "1400: cpu1/-=20@400 cpu0/-=13@400",
                       "1300: cpu0/C6=14@300"}),
              recorder.points);
    EXPECT_EQ(3, writer.count("metric"));
    EXPECT_EQ(0, m.finalize());
    EXPECT_EQ("1500: cpu1/-=21@0", recorder.points.back());
    EXPECT_EQ(Strings({"initialize", "processMessage", "processMessage", "processMessage", "processMessage",
                       "finalize"}),
              recorder.calls);
    // Everything the writer got, in order: four points, the container info, then the built-in tables.
    const Strings& calls = writer.calls();
    ASSERT_GE(calls.size(), 6u);
    EXPECT_EQ(Strings({"metric", "metric", "metric", "metric", "containerInfo", "table"}),
              Strings(calls.begin(), calls.begin() + 6));
    EXPECT_EQ("=\nm\n=", writer.containerHeaders().at(0));
}

TEST_F(MetricTest, TracedMetricsPushEveryElementAtOnce) {
    Metric& m = recorded(Metric::TracedValueTransition);
    EXPECT_EQ(0, feed(m, 1200, cpu0, 1ULL, 0, c1));
    EXPECT_EQ(0, feed(m, 1500, cpu0, 2ULL, Metric::RESET_DURATION, c1));  // a reset keeps the elapsed time
    EXPECT_EQ(0, feed(m, 1600, cpu0, 3ULL, 50, c1));
    EXPECT_EQ(Strings({"1200: cpu0/C1=1@200", "1500: cpu0/C1=2@300", "1600: cpu0/C1=3@50"}), recorder.points);
    EXPECT_EQ(0, m.finalize());
    EXPECT_EQ(3u, recorder.points.size());  // no further point at the end
    EXPECT_EQ(3, writer.count("metric"));
}

TEST_F(MetricTest, TracelaneDescriptorIsNamedAfterTheMetricWhenMissing) {
    Metric& m = recorded();
    pwr::DataElement plain(cpu0, nullptr);
    plain.setValue(1ULL);
    ASSERT_EQ(0, m.setData(1100, plain, 0));
    ASSERT_NE(nullptr, plain.getTracelaneDescriptor());
    EXPECT_EQ("m", plain.getTracelaneDescriptor()->getName());
    EXPECT_EQ(nullptr, plain.getDescriptor());
    EXPECT_EQ(100u, plain.getDuration());
    pwr::DataElement state(cpu1, c6);
    state.setValue(1ULL);
    ASSERT_EQ(0, m.setData(1100, state, 0));
    EXPECT_EQ(c6, state.getTracelaneDescriptor());
}

TEST_F(MetricTest, ResidencyPointsWithDisagreeingDurationsAreDropped) {
    Metric& m = recorded(Metric::SampledResidency);
    const pwr::DataDescriptor* c7 = descriptor("C7");
    ASSERT_EQ(0, feed(m, 1100, cpu0, 60ULL, 0, c1));
    ASSERT_EQ(0, feed(m, 1100, cpu0, 50ULL, 0, c6));  // 110 ticks in 100: kept, only a DEBUG line
    capture.environment().setVerbosity(3);
    ASSERT_EQ(0, feed(m, 1200, cpu0, 10ULL, 0, c1));  // flushes 1100; 100 ticks since that point
    EXPECT_NE(
        std::string::npos,
        capture.text().find(
            "DEBUG: m: For cpu0, sum of residencies in various states exceeds the sample duration. \n"));
    capture.environment().setVerbosity(2);
    capture.clear();
    // A state new to cpu0 puts its sampling point back to the start: 200 ticks, unlike C1's 100.
    ASSERT_EQ(0, feed(m, 1200, cpu0, 500ULL, 0, c7));
    EXPECT_EQ(
        "WARNING: m: Clock ticks spent by cpu0 in state C7=500 is greater than the duration=200 since the "
        "last "
        "sampling point. Note this sample at timestamp=1200 will be discarded.\n",
        capture.text());
    capture.clear();
    ASSERT_EQ(0, feed(m, 1300, cpu1, 10ULL, 0, c1));
    EXPECT_EQ(
        "WARNING: m: valid duration since the last sampling point for cpu0 = 100, but that provided for cpu0 "
        "in "
        "state C7= 200. All data provided for the previous sampling point will be discarded.\n",
        capture.text());
    EXPECT_EQ(Strings({"1100: cpu0/C1=60@100 cpu0/C6=50@100"}), recorder.points);
    EXPECT_EQ(1, writer.count("metric"));

    // A claimed duration longer than the time since the entity's last point is cut to it.
    capture.clear();
    ASSERT_EQ(0, feed(m, 1400, cpu1, 10ULL, 150, c6));
    EXPECT_EQ(
        "WARNING: m: Duration provided for MetricType::SampledResidency is greater than the time elapsed "
        "since "
        "last sampling point for entity=cpu1. Resetting duration to be the time since the last sampling "
        "point "
        "for cpu1.\n",
        capture.text());
    EXPECT_EQ("1300: cpu1/C1=10@300", recorder.points.back());
    ASSERT_EQ(0, m.finalize());
    EXPECT_EQ("1400: cpu1/C6=10@100", recorder.points.back());
}

TEST_F(MetricTest, AccumulatorFailuresRetryInitializeAndKeepTheBuffer) {
    Metric& m = recorded();
    recorder.initializeResult = 1;
    ASSERT_EQ(0, feed(m, 1100, cpu0, 1ULL));
    capture.clear();
    ASSERT_EQ(0, feed(m, 1200, cpu0, 2ULL));
    EXPECT_EQ("WARNING: Metric container m couldn't initialize an accumulator!\n", capture.text());
    EXPECT_TRUE(recorder.points.empty());

    recorder.initializeResult = 0;
    recorder.processResult = 1;
    capture.clear();
    ASSERT_EQ(0, feed(m, 1300, cpu0, 3ULL));
    EXPECT_EQ("WARNING: Metric container m reports an accumulator processMessage error!\n", capture.text());
    recorder.processResult = 0;
    ASSERT_EQ(0, feed(m, 1400, cpu0, 4ULL));
    // The point that failed is presented again together with the newer one.
    EXPECT_EQ(Strings({"1200: cpu0/-=2@100", "1300: cpu0/-=2@100 cpu0/-=3@100"}), recorder.points);
    EXPECT_EQ(2, std::count(recorder.calls.begin(), recorder.calls.end(), "initialize"));

    capture.clear();
    EXPECT_EQ(1, m.addAccumulator(nullptr));
    EXPECT_EQ(1, m.addAccumulator(&recorder));
    recorder.finalizeResult = 1;
    EXPECT_EQ(1, m.finalize());
    EXPECT_EQ(
        "WARNING: trying to add a NULL accumulator to Metric container m?!\n"
        "WARNING: trying to add an accumulator to Metric container m after setting data?!\n"
        "WARNING: Metric container m couldn't finalize an accumulator!\n",
        log());
}

TEST_F(MetricTest, EmptyMetricFinalizesToAWarningOnly) {
    Metric m("quiet", Metric::SampledValue, "t", "f", machine, nullptr);
    capture.clear();
    EXPECT_EQ(1, m.finalize());
    EXPECT_EQ("WARNING: No data was provided for metric quiet\n", capture.text());
    EXPECT_TRUE(writer.calls().empty());
}

TEST_F(MetricTest, CopiesShareTheirParts) {
    auto original = std::make_unique<Metric>("m", Metric::SampledValue, "t", "f", machine, nullptr);
    original->setPreMetricTextInfo("note");
    ASSERT_EQ(0, feed(*original, 1100, cpu0, 1ULL));
    Metric copy(*original);
    EXPECT_EQ(original->getId(), copy.getId());
    EXPECT_EQ(original->getTextInfo(), copy.getTextInfo());
    EXPECT_EQ(&original->getData(), &copy.getData());
    original.reset();
    EXPECT_EQ(1u, copy.getData().elements.size());
    EXPECT_EQ(0, copy.finalize());
}

}  // namespace
