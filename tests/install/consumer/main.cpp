// An outside program: includes the umbrella header and links the installed library.
#include <vantrell/VantrellCore.h>

#include <cstdio>

namespace {
class StdoutLogger : public pwr::Logger {
  protected:
    void flushPending() override { std::fwrite(pending.data(), 1, pending.size(), stdout); }
};
}  // namespace

int main() {
    StdoutLogger logger;
    PluginEnvironment env;
    env.setErrorLogger(&logger);
    env.setDebugLogger(&logger);
    env.setNullLogger(&logger);
    g_pluginEnvironment = &env;
    VR_LOG(0, "consumer %d\n", 42);
    return 0;
}
