#include "vantrell/config/LineReader.h"

#include <algorithm>
#include <climits>
#include <fstream>

#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr char kBlanks[] = " \r\t\n";
// A line is read in chunks of this buffer, at most one less than its size each.
constexpr size_t kChunkSize = 1024;

// Reads up to `capacity - 1` bytes, stopping behind a newline or at the end of the stream. Unlike fgets
// it reports its length, so that a NUL byte inside a line neither cuts it nor merges it with the next.
size_t readChunk(FILE* fp, char* chunk, size_t capacity) {
    size_t length = 0;
    while (length + 1 < capacity) {
        int c = std::getc(fp);
        if (c == EOF) {
            break;
        }
        chunk[length++] = static_cast<char>(c);
        if (c == '\n') {
            break;
        }
    }
    return length;
}

template <class Lines>
void readNamedFile(char const* path, Lines& lines, bool complain) {
    if (path == nullptr) {
        return;
    }
    std::ifstream in(path);
    if (!in) {
        if (complain) {
            VR_LOG_STREAM(1) << "could NOT open file " << path << "!" << std::endl;
        }
        return;
    }
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
}

template <class Lines>
void readStream(FILE* fp, Lines& lines) {
    if (fp == nullptr) {
        return;
    }
    std::string line;
    while (!std::feof(fp)) {
        // A failing stream is neither at its end nor able to move there: stop rather than spin.
        if (LineReader::getline(fp, line, false) < 0) {
            break;
        }
        LineReader::trim(line);
        lines.push_back(line);
    }
}

}  // namespace

int LineReader::getline(FILE* fp, std::string& line, bool trimLine) {
    if (fp == nullptr) {
        VR_LOG(2, "WARNING: NULL fp in %s:%d!\n", "pwr::LineReader::getline", 200);
        return -1;
    }
    line.clear();
    char chunk[kChunkSize];
    for (;;) {
        size_t length = readChunk(fp, chunk, sizeof(chunk));
        // Can't fire, since a chunk holds at most kChunkSize - 1 bytes; lines of any length are read.
        if (length >= kChunkSize) {
            VR_LOG(2, "WARNING: line too long?!\n");
            return -1;
        }
        if (length == 0) {
            break;
        }
        line.append(chunk, length);
        if (chunk[length - 1] == '\n') {
            break;
        }
    }
    if (std::ferror(fp) && !std::feof(fp)) {
        return -1;
    }
    if (trimLine) {
        trim(line);
    }
    return line.size() > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(line.size());
}

void LineReader::get_all_lines(char const* path, std::vector<std::string>& lines, bool complain) {
    readNamedFile(path, lines, complain);
}

void LineReader::get_all_lines(char const* path, std::deque<std::string>& lines, bool complain) {
    readNamedFile(path, lines, complain);
}

void LineReader::get_all_lines(FILE* fp, std::vector<std::string>& lines) {
    readStream(fp, lines);
}

void LineReader::get_all_lines(FILE* fp, std::deque<std::string>& lines) {
    readStream(fp, lines);
}

void LineReader::trim(std::string& s) {
    size_t first = s.find_first_not_of(kBlanks);
    if (first == std::string::npos) {
        return;  // only blanks: left as it was, unlike the copying form
    }
    size_t last = s.find_last_not_of(kBlanks);
    s.erase(last + 1);
    s.erase(0, first);
}

std::string LineReader::trim(std::string const& s) {
    size_t first = s.find_first_not_of(kBlanks);
    if (first == std::string::npos) {
        return std::string();
    }
    size_t last = s.find_last_not_of(kBlanks);
    return s.substr(first, last - first + 1);
}

void LineReader::strip(std::string& s, char c) {
    s.erase(std::remove(s.begin(), s.end(), c), s.end());
}

}  // namespace pwr
