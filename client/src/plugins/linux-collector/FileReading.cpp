#include "FileReading.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace vantrell::linuxcollector {

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    if (this != &other) {
        if (fd >= 0) {
            ::close(fd);
        }
        fd = other.fd;
        other.fd = -1;
    }
    return *this;
}

FileHandle::~FileHandle() {
    if (fd >= 0) {
        ::close(fd);
    }
}

bool FileHandle::open(const std::string& path) {
    *this = FileHandle(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return fd >= 0;
}

bool readWhole(const FileHandle& file, std::vector<char>& buffer, size_t& size) {
    size = 0;
    if (::lseek(file.get(), 0, SEEK_SET) < 0) {
        return false;
    }
    if (buffer.size() < 4096) {
        buffer.resize(4096);
    }
    for (;;) {
        if (size == buffer.size()) {
            buffer.resize(buffer.size() * 2);
        }
        const ssize_t got = ::read(file.get(), buffer.data() + size, buffer.size() - size);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (got == 0) {
            return true;
        }
        size += static_cast<size_t>(got);
    }
}

std::string_view trimmed(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

namespace {

template <class T>
bool parseWhole(std::string_view text, T& value) {
    text = trimmed(text);
    if (text.empty() || text.front() == '+') {
        return false;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

bool parseUnsigned(std::string_view text, uint64_t& value) {
    return !trimmed(text).empty() && trimmed(text).front() != '-' && parseWhole(text, value);
}

bool parseSigned(std::string_view text, int64_t& value) {
    return parseWhole(text, value);
}

bool parseMegaToKilo(std::string_view text, uint64_t& value) {
    text = trimmed(text);
    const size_t point = text.find('.');
    uint64_t whole = 0;
    if (!parseUnsigned(text.substr(0, point), whole) || whole > UINT64_MAX / 1000) {
        return false;
    }
    uint64_t fraction = 0;
    if (point != std::string_view::npos) {
        std::string_view digits = text.substr(point + 1);
        if (digits.empty() ||
            !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            return false;
        }
        uint64_t scale = 100;
        for (size_t i = 0; i < digits.size() && i < 3; ++i, scale /= 10) {
            fraction += static_cast<uint64_t>(digits[i] - '0') * scale;
        }
    }
    value = whole * 1000 + fraction;
    return true;
}

bool NumberFile::readText(char* scratch, size_t capacity, std::string_view& text) const {
    ssize_t got;
    do {
        got = ::pread(file.get(), scratch, capacity, 0);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        return false;
    }
    // A whole scratch is more than any number of ours: read it as no number rather than cut it.
    text = static_cast<size_t>(got) == capacity ? std::string_view("?")
                                                : trimmed({scratch, static_cast<size_t>(got)});
    return true;
}

NumberFile::Status NumberFile::readUnsigned(uint64_t& value) const {
    char scratch[64];
    std::string_view text;
    if (!readText(scratch, sizeof(scratch), text)) {
        return Status::ReadError;
    }
    return parseUnsigned(text, value) ? Status::Ok : Status::NotANumber;
}

NumberFile::Status NumberFile::readSigned(int64_t& value) const {
    char scratch[64];
    std::string_view text;
    if (!readText(scratch, sizeof(scratch), text)) {
        return Status::ReadError;
    }
    return parseSigned(text, value) ? Status::Ok : Status::NotANumber;
}

bool readSmallText(const std::string& path, std::string& text) {
    FileHandle file;
    std::vector<char> buffer;
    size_t size = 0;
    if (!file.open(path) || !readWhole(file, buffer, size)) {
        return false;
    }
    text = std::string(trimmed({buffer.data(), size}));
    return true;
}

namespace {

template <class F>
void forEachEntryName(const std::string& dir, F&& f) {
    DIR* stream = ::opendir(dir.c_str());
    if (stream == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(stream)) {
        f(std::string_view(entry->d_name));
    }
    ::closedir(stream);
}

}  // namespace

std::vector<NumberedEntry> listNumbered(const std::string& dir, std::string_view prefix, bool allowTail) {
    std::vector<NumberedEntry> entries;
    forEachEntryName(dir, [&](std::string_view name) {
        if (name.substr(0, prefix.size()) != prefix || name.size() == prefix.size()) {
            return;
        }
        const char* begin = name.data() + prefix.size();
        const char* end = name.data() + name.size();
        uint64_t number = 0;
        const auto [stop, error] = std::from_chars(begin, end, number);
        if (error == std::errc() && (stop == end || allowTail)) {
            entries.push_back({number, std::string(name)});
        }
    });
    std::sort(entries.begin(), entries.end(), [](const NumberedEntry& a, const NumberedEntry& b) {
        return a.number != b.number ? a.number < b.number : a.name < b.name;
    });
    return entries;
}

std::vector<std::string> listPrefixed(const std::string& dir, std::string_view prefix) {
    std::vector<std::string> names;
    forEachEntryName(dir, [&](std::string_view name) {
        if (name.substr(0, prefix.size()) == prefix) {
            names.emplace_back(name);
        }
    });
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace vantrell::linuxcollector
