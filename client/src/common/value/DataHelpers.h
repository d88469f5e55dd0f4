#pragma once

// The concrete helpers, one per DataType. Private to the library: values reach them through
// DataHelper::forType. Each kind is a specialisation of one of two templates; the behaviour of each
// slot is written per kind in DataHelpers.cpp.

#include "vantrell/value/DataHelper.h"
#include "vantrell/value/Formatter.h"

namespace pwr {

// The number kinds: every slot. The range kinds answer the start-value slots as the base does.
template <DataType kType, typename FormatterType>
class NumberHelper final : public DataHelper {
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
    FormatterType formatter;
};

// The kinds that only compare and format; their arithmetic slots are those of the base.
template <DataType kType, typename FormatterType>
class ComparingHelper final : public DataHelper {
  public:
    bool lessThan(const Data& left, const Data& right) const override;
    bool equals(const Data& left, const Data& right) const override;
    const Formatter& getFormatter() const override;

  private:
    FormatterType formatter;
};

using IntHelper = NumberHelper<DataType::INT, IntFormatter>;
using UIntHelper = NumberHelper<DataType::UINT, UIntFormatter>;
using RealHelper = NumberHelper<DataType::REAL, RealFormatter>;
using IntRangeHelper = NumberHelper<DataType::INT_RANGE, IntFormatter>;
using UIntRangeHelper = NumberHelper<DataType::UINT_RANGE, UIntFormatter>;
using RealRangeHelper = NumberHelper<DataType::REAL_RANGE, RealFormatter>;
using VoidHelper = ComparingHelper<DataType::NONE, VoidFormatter>;
using HandleHelper = ComparingHelper<DataType::HANDLE, HandleFormatter>;
using StringHelper = ComparingHelper<DataType::STRING, StringFormatter>;

}  // namespace pwr
