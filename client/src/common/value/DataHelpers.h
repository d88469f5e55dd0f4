#pragma once

// The concrete helpers, one per DataType. Private to the library: values reach them through
// DataHelper::forType.

#include "vantrell/value/DataHelper.h"
#include "vantrell/value/Formatter.h"

namespace pwr {

class VoidHelper : public DataHelper {
  public:
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override;

  private:
    VoidFormatter formatter;
};

class IntHelper : public DataHelper {
  public:
    int initZero(Data& target) const override;
    int accumulate(Data& accumulator, const Data& input) const override;
    int multiply(Data& target, double factor) const override;
    int initMax(Data& target) const override;
    int initMin(Data& target) const override;
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    IntFormatter formatter;
};

class UIntHelper : public DataHelper {
  public:
    int initZero(Data& target) const override;
    int accumulate(Data& accumulator, const Data& input) const override;
    int multiply(Data& target, double factor) const override;
    int initMax(Data& target) const override;
    int initMin(Data& target) const override;
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    UIntFormatter formatter;
};

class RealHelper : public DataHelper {
  public:
    int initZero(Data& target) const override;
    int accumulate(Data& accumulator, const Data& input) const override;
    int multiply(Data& target, double factor) const override;
    int initMax(Data& target) const override;
    int initMin(Data& target) const override;
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    RealFormatter formatter;
};

class IntRangeHelper : public DataHelper {
  public:
    int initZero(Data& target) const override;
    int accumulate(Data& accumulator, const Data& input) const override;
    int multiply(Data& target, double factor) const override;
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    IntFormatter formatter;
};

class UIntRangeHelper : public DataHelper {
  public:
    int initZero(Data& target) const override;
    int accumulate(Data& accumulator, const Data& input) const override;
    int multiply(Data& target, double factor) const override;
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    UIntFormatter formatter;
};

class RealRangeHelper : public DataHelper {
  public:
    int initZero(Data& target) const override;
    int accumulate(Data& accumulator, const Data& input) const override;
    int multiply(Data& target, double factor) const override;
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    RealFormatter formatter;
};

class StringHelper : public DataHelper {
  public:
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    StringFormatter formatter;
};

class HandleHelper : public DataHelper {
  public:
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override { return formatter; }

  private:
    HandleFormatter formatter;
};

}  // namespace pwr
