#pragma once

// Stream classes that take a finished diagnostic text and hand it to a sink.
//
// A Logger is at once a stream buffer and an output stream over itself: code may stream into it with
// `<<` (each character takes the overflow path into the pending vector, and std::endl's flush reaches
// sync()) or hand it a whole message with logMessage()/writeMessage(). The logger adds nothing to the
// text: no time stamp, no level, no line end. Concrete loggers supply flushPending().
//
// Not copyable. No locks: one thread at a time per logger.

#include <cstdint>
#include <fstream>
#include <ostream>
#include <streambuf>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

class VR_EXPORT Logger : public std::basic_streambuf<char>, public std::basic_ostream<char> {
  public:
    // Both bases name these; the stream buffer's are the ones meant here.
    using int_type = std::basic_streambuf<char>::int_type;
    using traits_type = std::basic_streambuf<char>::traits_type;

    Logger();
    ~Logger() override;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Ignores `level` (present for subclasses) and calls writeMessage(text).
    virtual void logMessage(unsigned int level, const char* text);
    // Appends `text` behind any streamed, unflushed text, calls flushPending(), then empties the
    // pending vector. A null `text` does nothing at all; an empty one still flushes.
    virtual void writeMessage(const char* text);
    // 0: the sink never reports a status.
    virtual int getSinkStatus();

  protected:
    // Sends the pending text to the sink. Declared here, between getSinkStatus() and closeOutput(),
    // because the slot order is part of the contract with loggers built elsewhere.
    virtual void flushPending() = 0;

  public:
    // Does nothing in Logger.
    virtual void closeOutput();

  protected:
    // Appends `ch` to the pending text and marks it dirty; returns 0.
    int_type overflow(int_type ch) override;
    // Calls flushPending(), then empties the pending text and clears `dirty`; returns 0.
    int sync() override;

    std::vector<char> pending;
    uint64_t dirty = 0;
};

// A logger that writes every message straight through to a file, opened for writing with truncation.
// If the file can't be opened the stream's failure bit is set and the logger stays usable but silent.
class VR_EXPORT FileLogger : public Logger {
  public:
    explicit FileLogger(const char* fileName);
    ~FileLogger() override;

    // Closes the file; on failure the stream's failure bit is set.
    void closeOutput() override;

  protected:
    // Writes the pending text to the file and flushes it; does nothing while the file isn't open.
    void flushPending() override;

  private:
    std::ofstream file;
};

}  // namespace pwr
