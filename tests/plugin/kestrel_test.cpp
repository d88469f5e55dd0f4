#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>

#include "support/LogCapture.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/PluginEnvironment.h"

namespace {

// The fake counter libraries stand beside the test executable.
std::string fakeLibraryPath(const char* variant) {
    std::string self;
    EXPECT_TRUE(pwr::platform::getModuleFileName(self));
    std::string native = pwr::platform::toNativePath(self);
    return native.substr(0, native.rfind('/') + 1) + "libvr_fakecounter_" + variant + ".so";
}

// A capturing environment holding a freshly loaded fake counter library.
class CounterLibrary : public ::testing::Test {
  protected:
    explicit CounterLibrary(const char* variant = "full") : path(fakeLibraryPath(variant)) {
        handle = pwr::platform::openLibrary(path);
        env().setKestrelDllHandle(handle);
    }
    void SetUp() override { ASSERT_NE(handle, nullptr) << pwr::platform::getLastErrorText(); }
    ~CounterLibrary() override {
        if (!unloaded) {
            pwr::platform::closeLibrary(handle);
        }
    }
    PluginEnvironment& env() { return capture.environment(); }
    void setStatus(const char* entry, int status) {
        auto set = reinterpret_cast<void (*)(const char*, int)>(
            pwr::platform::findSymbol(handle, "fakeCounterSetStatus"));
        set(entry, status);
    }
    int calls() {
        return reinterpret_cast<int (*)()>(pwr::platform::findSymbol(handle, "fakeCounterCalls"))();
    }
    bool isLoaded() {
        void* probe = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (probe != nullptr) {
            dlclose(probe);
        }
        return probe != nullptr;
    }

    vrtest::ScopedLogCapture capture{1};
    std::string path;
    void* handle = nullptr;
    bool unloaded = false;
};

class PartialCounterLibrary : public CounterLibrary {
  protected:
    PartialCounterLibrary() : CounterLibrary("partial") {}
};

TEST_F(CounterLibrary, WithoutConfigurationEverythingRefusesSilently) {
    capture.environment().setVerbosity(4);
    unsigned a = 0, b = 0, c = 0;
    EXPECT_FALSE(env().configureKestrel());
    EXPECT_FALSE(env().getKestrelVersion(&a, &b, &c));
    EXPECT_FALSE(env().startKestrel());
    EXPECT_FALSE(env().stopKestrel());
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(calls(), 0);

    env().setKestrelConfigFileName("cfg.txt");
    env().setKestrelDllHandle(nullptr);
    EXPECT_FALSE(env().configureKestrel()) << "no library: no word";
    EXPECT_FALSE(env().getKestrelVersion(&a, &b, &c));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(CounterLibrary, ConfigureVersionStartAndStop) {
    capture.environment().setVerbosity(4);
    env().setKestrelConfigFileName("bw config.txt");
    EXPECT_TRUE(env().configureKestrel());
    unsigned major = 0, minor = 0, patch = 0;
    EXPECT_TRUE(env().getKestrelVersion(&major, &minor, &patch));
    EXPECT_EQ(major * 10000 + minor * 100 + patch, 31415u);
    setStatus("version", 2);
    EXPECT_FALSE(env().getKestrelVersion(&major, &minor, &patch));
    EXPECT_TRUE(env().startKestrel());
    EXPECT_TRUE(env().stopKestrel());
    unloaded = true;
    EXPECT_FALSE(isLoaded());
    EXPECT_EQ(capture.text(),
              "DEBUG: Reconfigured KESTREL interface (bw config.txt)!\n"
              "INFO: SIGTAP: KESTREL_Start_Collection return status - 0\n"
              "INFO: OK, starting KESTREL collection!\n"
              "INFO: SIGTAP: KESTREL_Stop_Collection return status - 0\n"
              "INFO: OK, stopped KESTREL collection!\n");
    EXPECT_EQ(env().getKestrelDllHandle(), handle) << "the stale handle stays";
}

TEST_F(CounterLibrary, FailingConfigurationClearsTheFileName) {
    setStatus("config", 7);
    env().setKestrelConfigFileName("cfg.txt");
    EXPECT_FALSE(env().configureKestrel());
    EXPECT_EQ(capture.text(), "ERROR: System not configured to allow access to bandwidth data.\n");
    EXPECT_EQ(env().getKestrelConfigFileName(), "");
    EXPECT_FALSE(env().startKestrel()) << "refuses without a word";

    capture.clear();
    env().addPrefixForDebugLogging("kestrel");
    env().setKestrelConfigFileName("cfg.txt");
    EXPECT_FALSE(env().configureKestrel());
    EXPECT_EQ(capture.text(),
              "ERROR: System not configured to allow access to bandwidth data.\n"
              "WARNING: KESTREL configuration error: fake counters unavailable.\n");

    capture.clear();
    env().setVerbosity(0);
    env().setKestrelConfigFileName("cfg.txt");
    EXPECT_FALSE(env().configureKestrel());
    EXPECT_EQ(capture.text(), "WARNING: KESTREL configuration error: fake counters unavailable.\n")
        << "the area alone opens the warning";
}

TEST_F(CounterLibrary, FailingStartAndStopStillUnload) {
    env().setVerbosity(2);
    env().setKestrelConfigFileName("cfg.txt");
    setStatus("start", 1);
    setStatus("stop", 1);
    EXPECT_FALSE(env().startKestrel());
    EXPECT_FALSE(env().stopKestrel());
    unloaded = true;
    EXPECT_FALSE(isLoaded());
    EXPECT_EQ(
        capture.text(),
        "WARNING: ERROR starting a KESTREL collection!\nWARNING: ERROR stopping a KESTREL collection!\n");
}

TEST_F(PartialCounterLibrary, MissingEntryPointsRefuse) {
    env().setVerbosity(2);
    env().setKestrelConfigFileName("cfg.txt");
    unsigned a = 0, b = 0, c = 0;
    EXPECT_FALSE(env().getKestrelVersion(&a, &b, &c));
    EXPECT_FALSE(env().startKestrel());
    EXPECT_FALSE(env().stopKestrel());
    EXPECT_TRUE(isLoaded()) << "a stop that can't be called unloads nothing";
    EXPECT_EQ(
        capture.text(),
        "WARNING: Error due to NULL kestrelDllHandle or invalid address for KESTREL_Start_Collection "
        "function "
        "!\n !\n"
        "WARNING: Error due to NULL kestrelDllHandle or invalid address for KESTREL_Stop_Collection function "
        "!\n");

    capture.clear();
    setStatus("config", 3);
    env().addPrefixForDebugLogging("kestrel");
    EXPECT_FALSE(env().configureKestrel()) << "no error text to be had";
    EXPECT_EQ(capture.text(), "ERROR: System not configured to allow access to bandwidth data.\n");
    EXPECT_EQ(env().getKestrelConfigFileName(), "");
}

}  // namespace
