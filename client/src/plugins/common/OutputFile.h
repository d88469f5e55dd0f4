#pragma once

// Where a writer plug-in writes: standard output when the host gave no output prefix, otherwise a
// file named by the prefix and the writer's suffix. Owns the file; not copyable.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace vantrell::plugins {

class OutputFile {
  public:
    OutputFile() = default;
    ~OutputFile() { close(); }
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    // Opens "<prefix><suffix>" for writing, or takes standard output for an empty prefix. False with
    // a line on standard error when the file can't be made.
    bool open(std::string const& prefix, std::string const& suffix) {
        close();
        if (prefix.empty()) {
            file = stdout;
            return true;
        }
        path = prefix + suffix;
        file = std::fopen(path.c_str(), "w");
        if (file == nullptr) {
            std::fprintf(stderr, "vantrell: can't write %s: %s\n", path.c_str(), std::strerror(errno));
        }
        return file != nullptr;
    }

    void write(std::string const& text) {
        if (file != nullptr) {
            std::fwrite(text.data(), 1, text.size(), file);
        }
    }

    void flush() {
        if (file != nullptr) {
            std::fflush(file);
        }
    }

    // Standard output is flushed, not closed. False when buffered text could not be written.
    bool close() {
        bool ok = true;
        if (file == stdout) {
            ok = std::fflush(file) == 0;
        } else if (file != nullptr) {
            ok = std::fclose(file) == 0;
        }
        file = nullptr;
        return ok;
    }

    bool isOpen() const { return file != nullptr; }
    std::string const& getPath() const { return path; }

  private:
    std::FILE* file = nullptr;
    std::string path;
};

}  // namespace vantrell::plugins
