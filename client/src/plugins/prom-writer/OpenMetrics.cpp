#include "OpenMetrics.h"

#include <cctype>
#include <cmath>
#include <cstdio>

namespace vantrell::plugins::openmetrics {
namespace {

bool alnum(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

struct UnitRule {
    const char* units;
    const char* suffix;
    double scale;
};

// The units that the library's quantities and the built-in accumulators write into column titles,
// and their common spellings.
constexpr UnitRule kUnits[] = {
    {"%", "ratio", 0.01},
    {"msec", "seconds", 1e-3},
    {"ms", "seconds", 1e-3},
    {"usec", "seconds", 1e-6},
    {"us", "seconds", 1e-6},
    {"sec", "seconds", 1.0},
    {"s", "seconds", 1.0},
    {"Hz", "hertz", 1.0},
    {"kHz", "hertz", 1e3},
    {"MHz", "hertz", 1e6},
    {"GHz", "hertz", 1e9},
    {"W", "watts", 1.0},
    {"mW", "watts", 1e-3},
    {"uW", "watts", 1e-6},
    {"J", "joules", 1.0},
    {"mJ", "joules", 1e-3},
    {"uJ", "joules", 1e-6},
    {"oC", "celsius", 1.0},
    {"C", "celsius", 1.0},
    {"degC", "celsius", 1.0},
    {"mV", "volts", 1e-3},
    {"V", "volts", 1.0},
    {"mA", "amperes", 1e-3},
    {"A", "amperes", 1.0},
    {"bytes", "bytes", 1.0},
    {"MB/s", "bytes_per_second", 1e6},
    // Counts have no unit; their rates are per second.
    {"count", "", 1.0},
    {"OpsCount", "", 1.0},
    {"/s", "per_second", 1.0},
    {"Ops/sec", "per_second", 1.0},
};

}  // namespace

std::string slug(const std::string& text) {
    std::string out;
    size_t wordLength = 0;
    bool gap = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (alnum(c)) {
            if (gap && !out.empty()) {
                out += '_';
            }
            gap = false;
            out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            ++wordLength;
            continue;
        }
        const bool joins = c == '-' && wordLength == 1 && i + 1 < text.size() && alnum(text[i + 1]);
        gap = gap || !joins;
        wordLength = joins ? wordLength : 0;
    }
    return out;
}

void splitUnits(const std::string& title, std::string& base, std::string& units) {
    base = title;
    units.clear();
    const size_t open = title.rfind(" (");
    if (title.empty() || title.back() != ')' || open == std::string::npos) {
        return;
    }
    units = title.substr(open + 2, title.size() - open - 3);
    base = title.substr(0, open);
}

bool baseUnit(const std::string& units, std::string& suffix, double& scale) {
    for (const UnitRule& rule : kUnits) {
        if (units == rule.units) {
            suffix = rule.suffix;
            scale = rule.scale;
            return true;
        }
    }
    return false;
}

std::string validUtf8(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const size_t length = lead < 0x80           ? 1
                              : (lead >> 5) == 0x6  ? 2
                              : (lead >> 4) == 0xE  ? 3
                              : (lead >> 3) == 0x1E ? 4
                                                    : 0;
        bool whole = length != 0 && i + length <= text.size() && !(length == 2 && lead < 0xC2);
        for (size_t k = 1; whole && k < length; ++k) {
            whole = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
        }
        if (whole && length == 3) {  // no overlong forms, no surrogates
            const auto second = static_cast<unsigned char>(text[i + 1]);
            whole = !(lead == 0xE0 && second < 0xA0) && !(lead == 0xED && second >= 0xA0);
        }
        if (whole && length == 4) {
            const auto second = static_cast<unsigned char>(text[i + 1]);
            whole = lead <= 0xF4 && !(lead == 0xF0 && second < 0x90) && !(lead == 0xF4 && second >= 0x90);
        }
        out += whole ? text.substr(i, length) : "\xEF\xBF\xBD";
        i += whole ? length : 1;
    }
    return out;
}

std::string escape(const std::string& raw) {
    const std::string text = validUtf8(raw);
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '"') {
            out += "\\\"";
        } else if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out;
}

std::string formatValue(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "+Inf" : "-Inf";
    }
    // Fifteen digits: exact for the counts and readings, and without the noise that scaling to base
    // units adds in the last bits (0.0009, not 0.0009000000000000001).
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%.15g", value);
    return buffer;
}

bool isMetricName(const std::string& name) {
    if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0]))) {
        return false;
    }
    for (const char c : name) {
        if (!alnum(c) && c != '_' && c != ':') {
            return false;
        }
    }
    return true;
}

bool isLabelName(const std::string& name) {
    if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) || name.rfind("__", 0) == 0) {
        return false;
    }
    for (const char c : name) {
        if (!alnum(c) && c != '_') {
            return false;
        }
    }
    return true;
}

}  // namespace vantrell::plugins::openmetrics
