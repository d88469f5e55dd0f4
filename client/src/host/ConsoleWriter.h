#pragma once

// The host's console writer: prints each table it is given to a stdio stream, the shared cells as
// "name: value" lines and the plain cells as one aligned line per entity. It reads the table only by
// handle, through the writer base, as any writer plug-in does.

#include <cstdio>

#include "vantrell/writer/WriterPlugin.h"

namespace vantrell {

class ConsoleWriter : public WriterPlugin {
  public:
    explicit ConsoleWriter(std::FILE* sink);

    int openOutput() override { return 0; }
    int closeOutput() override;

  private:
    int writeMessage(const pwr::TableMessage& table) override;

    std::FILE* sink;
};

}  // namespace vantrell
