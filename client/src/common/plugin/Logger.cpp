#include "vantrell/plugin/Logger.h"

#include <cstdio>

namespace pwr {

Logger::Logger() : std::basic_ostream<char>(this) {}

Logger::~Logger() = default;

void Logger::logMessage(unsigned int /*level*/, const char* text) {
    writeMessage(text);
}

void Logger::writeMessage(const char* text) {
    if (text == nullptr) {
        return;
    }
    int length = std::snprintf(nullptr, 0, "%s", text);
    if (length > 0) {
        pending.insert(pending.end(), text, text + length);
    }
    flushPending();
    pending.clear();
    dirty = 0;
}

int Logger::getSinkStatus() {
    return 0;
}

void Logger::closeOutput() {}

Logger::int_type Logger::overflow(int_type ch) {
    // EOF is the flush request of the stream, not a byte of text.
    if (!traits_type::eq_int_type(ch, traits_type::eof())) {
        pending.push_back(traits_type::to_char_type(ch));
        dirty = 1;
    }
    return 0;
}

int Logger::sync() {
    flushPending();
    pending.clear();
    dirty = 0;
    return 0;
}

FileLogger::FileLogger(const char* fileName) {
    if (fileName != nullptr) {
        file.open(fileName, std::ios_base::out);
    } else {
        file.setstate(std::ios_base::failbit);
    }
}

FileLogger::~FileLogger() {
    if (file.is_open()) {
        file.close();
    }
}

void FileLogger::closeOutput() {
    file.close();
}

void FileLogger::flushPending() {
    if (!file.is_open()) {
        return;
    }
    dirty = 0;
    file.write(pending.data(), static_cast<std::streamsize>(pending.size()));
    file.flush();
}

}  // namespace pwr
