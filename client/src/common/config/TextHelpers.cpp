#include "vantrell/config/TextHelpers.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <map>

#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

bool isDecimalDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c) {
    return isDecimalDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// The sign strtoul sees: the first character behind leading white space.
bool isNegativeText(std::string const& text) {
    size_t i = 0;
    while (i < text.size() && isBlank(text[i])) {
        ++i;
    }
    return i < text.size() && text[i] == '-';
}

}  // namespace

bool isNumber(std::string const& text) {
    if (text.empty() || text == "-") {
        return false;
    }
    size_t i = text[0] == '-' ? 1 : 0;
    bool hex = text.size() >= 3 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hex) {
        i = 2;
    }
    for (; i < text.size(); ++i) {
        char c = text[i];
        if (c != '.' && !(hex ? isHexDigit(c) : isDecimalDigit(c))) {
            return false;
        }
    }
    return true;
}

// The result is a 32-bit number whatever the width of unsigned long, so that stored configuration reads
// the same on every platform: wrap-around of a negative text and saturation happen in 32 bits.
unsigned long extract_number_i(std::string const& text) {
    int base = 10;
    if (!text.empty() && (text[0] == '0' || text[0] == 'x' || text[0] == 'X')) {
        base = 16;
    }
    errno = 0;
    unsigned long long raw = std::strtoull(text.c_str(), nullptr, base);
    if (errno == ERANGE) {
        return UINT32_MAX;
    }
    bool negative = isNegativeText(text);
    unsigned long long magnitude = negative ? 0ULL - raw : raw;
    if (magnitude > UINT32_MAX) {
        return UINT32_MAX;
    }
    uint32_t value = static_cast<uint32_t>(magnitude);
    return negative ? static_cast<uint32_t>(0U - value) : value;
}

int getUniqueIDFor(std::string const& name) {
    // Never destroyed, so that a call during the process's exit still finds it.
    static auto* nextIds = new std::map<std::string, int>();
    return (*nextIds)[name]++;
}

std::string getUniqueName(std::string const& name) {
    return name + "-" + std::to_string(getUniqueIDFor(name));
}

void extract_dir_and_file_from_path(std::string const& path, std::string& dir, std::string& file) {
    size_t separator = path.rfind('/');
    if (separator == std::string::npos) {
        dir = "./";
        file = path;
        return;
    }
    dir = path.substr(0, separator + 1);
    file = path.substr(separator + 1);
}

bool check_env(char const* name) {
    if (name == nullptr) {
        VR_LOG(2, "WARNING: NULL name passed to check_env!\n");
        return false;
    }
    char const* value = std::getenv(name);
    return value != nullptr && (value[0] == 'y' || value[0] == 'Y') && value[1] == '\0';
}

}  // namespace pwr
