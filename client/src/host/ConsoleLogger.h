#pragma once

// The host's console loggers: the error logger writes to standard error, the debug logger to standard
// output, and the null logger discards what the shut stream-form sites send it.

#include <cstdio>

#include "vantrell/plugin/Logger.h"

namespace vantrell {

class ConsoleLogger : public pwr::Logger {
  public:
    explicit ConsoleLogger(std::FILE* sink) : sink(sink) {}
    void setSink(std::FILE* file) { sink = file; }

  protected:
    void flushPending() override {
        if (sink != nullptr && !pending.empty()) {
            std::fwrite(pending.data(), 1, pending.size(), sink);
            std::fflush(sink);
        }
    }

  private:
    std::FILE* sink;
};

}  // namespace vantrell
