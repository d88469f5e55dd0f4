#pragma once

// The DataHelper family: stateless strategy objects that hold all type-specific behaviour of a Data
// (zeroing, accumulating, multiplying, start values for running statistics, comparing, the default
// formatter). One process-wide instance per DataType, built at load time, immutable afterwards and
// safe to read from any thread. A Data points at the helper of its type and never owns it.

#include "vantrell/Export.h"
#include "vantrell/value/Data.h"

namespace pwr {

class Formatter;

class VR_EXPORT DataHelper {
  public:
    virtual ~DataHelper();

    // Brings `target` to zero; the base changes nothing and returns 1.
    virtual int initZero(Data& target) const;
    // Adds `input` onto `accumulator`; the base logs "WARNING: Attempt to accumulate on unsupported
    // type\n" and returns 1.
    virtual int accumulate(Data& accumulator, const Data& input) const;
    // Multiplies `target` by `factor`; the base logs "WARNING: Multiply only supported for numeric
    // types\n" and returns 1.
    virtual int multiply(Data& target, double factor) const;
    // Stores the lowest value of the type, the start of a running maximum; the base returns 1.
    virtual int initMax(Data& target) const;
    // Stores the highest value of the type, the start of a running minimum; the base returns 1.
    virtual int initMin(Data& target) const;
    virtual bool lessThan(const Data& left, const Data& right) const = 0;
    virtual bool equals(const Data& left, const Data& right) const = 0;
    // The default formatter of the type.
    virtual const Formatter& getFormatter() const = 0;

    // The helper of `type`, or null for a number outside 0 to 8.
    static const DataHelper* forType(DataType type);

  protected:
    DataHelper() = default;

    // Raw access to a value for the family. A side that is unset or invalid reads as 0.
    static bool readable(const Data& data) { return data.readable_i(); }
    static long long intWord(const Data& data, int index) {
        return data.readable_i() ? data.value.i[index] : 0;
    }
    static unsigned long long uintWord(const Data& data, int index) {
        return data.readable_i() ? data.value.u[index] : 0;
    }
    static double realWord(const Data& data, int index) {
        return data.readable_i() ? data.value.r[index] : 0.0;
    }
    static const std::string& stringOf(const Data& data) { return data.stringValue; }
};

}  // namespace pwr
