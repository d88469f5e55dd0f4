#include "vantrell/value/Formatter.h"

#include <charconv>
#include <system_error>

#include "vantrell/plugin/Logging.h"
#include "vantrell/value/Data.h"

namespace pwr {
namespace {

// The texts below are what a default ("C" locale) output string stream produces; they are written with
// std::to_chars, which is locale-independent and allocation-free, into text that grows as needed.

template <typename T>
void appendDecimal(std::string& out, T value) {
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof(digits), value);
    out.append(digits, result.ptr);
}

// Hexadecimal with base prefix, lower case; zero stays "0" as with std::showbase. Signed values show
// their two's-complement pattern.
template <typename T>
void appendHex(std::string& out, T value) {
    auto bits = static_cast<unsigned long long>(value);
    if (bits != 0) {
        out += "0x";
    }
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof(digits), bits, 16);
    out.append(digits, result.ptr);
}

template <typename T>
void appendInteger(std::string& out, T value, bool hex) {
    if (hex) {
        appendHex(out, value);
    } else {
        appendDecimal(out, value);
    }
}

// Fixed notation; a negative precision means the stream default of 6.
void appendFixed(std::string& out, double value, int precision) {
    if (precision < 0) {
        precision = 6;
    }
    size_t start = out.size();
    // Room for 309 integer digits, sign, point and the decimals; grown if ever too small.
    size_t room = 320 + static_cast<size_t>(precision);
    for (;;) {
        out.resize(start + room);
        auto result =
            std::to_chars(&out[start], &out[start] + room, value, std::chars_format::fixed, precision);
        if (result.ec == std::errc()) {
            out.resize(static_cast<size_t>(result.ptr - out.data()));
            return;
        }
        room *= 2;
    }
}

constexpr char kRangeSeparator[] = " -- ";

// Appends the suffix and widens: the common tail of every number rule.
int finish(const Formatter& formatter, std::string& out) {
    out += formatter.getSuffix();
    return Formatter::widen(out, formatter.getWidth());
}

}  // namespace

Formatter::Formatter(int width) : width(width) {}

Formatter::~Formatter() = default;

int Formatter::widen(std::string& text, int width) {
    if (width > 0 && text.size() < static_cast<size_t>(width)) {
        text.insert(0, static_cast<size_t>(width) - text.size(), ' ');
    }
    return 0;
}

int Formatter::formatInt(const Formatter& formatter, std::string& out, const Data& value) {
    if (value.getType() == DataType::INT_RANGE) {
        return formatIntRange(formatter, out, value);
    }
    out.clear();
    long long number = 0;
    if (value.toInt(number) != 0) {
        return 1;
    }
    appendInteger(out, number, formatter.isHex());
    return finish(formatter, out);
}

int Formatter::formatUInt(const Formatter& formatter, std::string& out, const Data& value) {
    if (value.getType() == DataType::UINT_RANGE) {
        return formatUIntRange(formatter, out, value);
    }
    out.clear();
    unsigned long long number = 0;
    if (value.toUInt(number) != 0) {
        return 1;
    }
    appendInteger(out, number, formatter.isHex());
    return finish(formatter, out);
}

int Formatter::formatReal(const Formatter& formatter, std::string& out, const Data& value) {
    if (value.getType() == DataType::REAL_RANGE) {
        return formatRealRange(formatter, out, value);
    }
    out.clear();
    double number = 0.0;
    if (value.toReal(number) != 0) {
        return 1;
    }
    appendFixed(out, number, formatter.getPrecision());
    return finish(formatter, out);
}

int Formatter::formatIntRange(const Formatter& formatter, std::string& out, const Data& value) {
    out.clear();
    Data::IntRange range;
    if (value.toIntRange(range) != 0) {
        return 1;
    }
    appendInteger(out, range.first, formatter.isHex());
    out += kRangeSeparator;
    appendInteger(out, range.second, formatter.isHex());
    return finish(formatter, out);
}

int Formatter::formatUIntRange(const Formatter& formatter, std::string& out, const Data& value) {
    out.clear();
    Data::UIntRange range;
    if (value.toUIntRange(range) != 0) {
        return 1;
    }
    appendInteger(out, range.first, formatter.isHex());
    out += kRangeSeparator;
    appendInteger(out, range.second, formatter.isHex());
    return finish(formatter, out);
}

int Formatter::formatRealRange(const Formatter& formatter, std::string& out, const Data& value) {
    out.clear();
    Data::RealRange range;
    if (value.toRealRange(range) != 0) {
        return 1;
    }
    appendFixed(out, range.first, formatter.getPrecision());
    out += kRangeSeparator;
    appendFixed(out, range.second, formatter.getPrecision());
    return finish(formatter, out);
}

int Formatter::formatString(const Formatter& formatter, std::string& out, const Data& value) {
    out.clear();
    if (value.toString(out) != 0) {
        return 1;
    }
    return widen(out, formatter.getWidth());
}

// ---- The kinds --------------------------------------------------------------------------------

VoidFormatter::VoidFormatter() : Formatter(0) {}

int VoidFormatter::format(std::string& out, const Data&) const {
    VR_LOG(2, "WARNING: Data of type pwr::DataType::NONE can't be formatted\n");
    out = "INVALID";
    return 1;
}

Formatter* VoidFormatter::clone() const {
    return new VoidFormatter(*this);
}

HandleFormatter::HandleFormatter(int width) : Formatter(width) {}

int HandleFormatter::format(std::string& out, const Data& value) const {
    return formatHandle(*this, out, value);
}

Formatter* HandleFormatter::clone() const {
    return new HandleFormatter(*this);
}

StringFormatter::StringFormatter(int width) : Formatter(width) {}

int StringFormatter::format(std::string& out, const Data& value) const {
    return formatString(*this, out, value);
}

Formatter* StringFormatter::clone() const {
    return new StringFormatter(*this);
}

IntFormatter::IntFormatter(int width, bool hexadecimal) : IntFormatter(std::string(), width, hexadecimal) {}

IntFormatter::IntFormatter(const std::string& text, int width, bool hexadecimal) : Formatter(width) {
    suffix = text;
    hex = hexadecimal;
}

int IntFormatter::format(std::string& out, const Data& value) const {
    return formatInt(*this, out, value);
}

Formatter* IntFormatter::clone() const {
    return new IntFormatter(*this);
}

UIntFormatter::UIntFormatter(int width, bool hexadecimal)
    : UIntFormatter(std::string(), width, hexadecimal) {}

UIntFormatter::UIntFormatter(const std::string& text, int width, bool hexadecimal) : Formatter(width) {
    suffix = text;
    hex = hexadecimal;
}

int UIntFormatter::format(std::string& out, const Data& value) const {
    return formatUInt(*this, out, value);
}

Formatter* UIntFormatter::clone() const {
    return new UIntFormatter(*this);
}

RealFormatter::RealFormatter(int width, int decimals) : RealFormatter(std::string(), width, decimals) {}

RealFormatter::RealFormatter(const std::string& text, int width, int decimals) : Formatter(width) {
    suffix = text;
    precision = decimals;
}

int RealFormatter::format(std::string& out, const Data& value) const {
    return formatReal(*this, out, value);
}

Formatter* RealFormatter::clone() const {
    return new RealFormatter(*this);
}

std::string doubleToString(double value, int precision) {
    std::string text;
    appendFixed(text, value, precision);
    return text;
}

}  // namespace pwr
