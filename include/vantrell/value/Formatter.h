#pragma once

// pwr::Formatter: turns one Data into the text of one table cell. It holds the presentation of a field:
// a suffix right behind the number, a minimum width (blanks on the left, text never cut), hexadecimal
// or not, and the number of decimals.
//
// A small cloneable value: each DataHelper holds a default one, a Data may carry a custom one, and each
// field of a table carries one. The rules are static functions so that a formatter written by a plug-in
// can reuse them. Immutable once built; safe to share between threads.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"

namespace pwr {

class Data;

class VR_EXPORT Formatter {
  public:
    explicit Formatter(int width = 0);
    Formatter(const Formatter& other) = default;
    Formatter& operator=(const Formatter& other) = default;
    virtual ~Formatter();

    // Writes the text of `value` into `out`; 0 on success, 1 when the value can't be read.
    virtual int format(std::string& out, const Data& value) const = 0;
    // A new copy of the same kind with all four fields; the caller owns it.
    virtual Formatter* clone() const = 0;

    const std::string& getSuffix() const { return suffix; }
    bool isHex() const { return hex; }
    int getWidth() const { return width; }
    int getPrecision() const { return precision; }

    // Scalar rules. Each empties `out`, reads the value (failure: 1, `out` empty, the reader's warning
    // on a wrong type), renders it, appends the suffix and widens to the width. A range value is handed
    // on to the matching range rule, so that one formatter kind serves a scalar and its range.
    static int formatInt(const Formatter& formatter, std::string& out, const Data& value);
    static int formatUInt(const Formatter& formatter, std::string& out, const Data& value);
    static int formatReal(const Formatter& formatter, std::string& out, const Data& value);
    // Range rules: first bound, " -- ", second bound, then the suffix once and the width on the whole.
    static int formatIntRange(const Formatter& formatter, std::string& out, const Data& value);
    static int formatUIntRange(const Formatter& formatter, std::string& out, const Data& value);
    static int formatRealRange(const Formatter& formatter, std::string& out, const Data& value);
    // A handle's text by its kind, widened; no suffix. Failure to read leaves `out` as it was.
    static int formatHandle(const Formatter& formatter, std::string& out, const Data& value);
    // The string widened to the width; no suffix.
    static int formatString(const Formatter& formatter, std::string& out, const Data& value);
    // Pads `text` with blanks on its left up to `width`; longer text stays whole. Always returns 0.
    static int widen(std::string& text, int width);

  protected:
    std::string suffix;
    bool hex = false;
    int32_t width;
    int32_t precision = 0;
};

// Formats nothing: logs "WARNING: Data of type pwr::DataType::NONE can't be formatted\n", writes
// "INVALID" and returns 1.
class VR_EXPORT VoidFormatter : public Formatter {
  public:
    VoidFormatter();
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

class VR_EXPORT HandleFormatter : public Formatter {
  public:
    explicit HandleFormatter(int width = 0);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

class VR_EXPORT StringFormatter : public Formatter {
  public:
    explicit StringFormatter(int width = 0);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

// INT and INT_RANGE values; hexadecimal with a "0x" prefix shows the two's-complement pattern.
class VR_EXPORT IntFormatter : public Formatter {
  public:
    explicit IntFormatter(int width = 0, bool hex = false);
    IntFormatter(const std::string& suffix, int width, bool hex);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

// UINT and UINT_RANGE values.
class VR_EXPORT UIntFormatter : public Formatter {
  public:
    explicit UIntFormatter(int width = 0, bool hex = false);
    UIntFormatter(const std::string& suffix, int width, bool hex);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

// REAL and REAL_RANGE values in fixed notation with `precision` decimals (1 by default).
class VR_EXPORT RealFormatter : public Formatter {
  public:
    explicit RealFormatter(int width = 0, int precision = 1);
    RealFormatter(const std::string& suffix, int width, int precision);
    int format(std::string& out, const Data& value) const override;
    Formatter* clone() const override;
};

// `value` in fixed notation with `precision` decimals; no width, no suffix.
VR_EXPORT std::string doubleToString(double value, int precision);

}  // namespace pwr
