#include "value/DataHelpers.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;

// Truncation to signed 64 bits as the processor does it: a result out of range, or not a number,
// becomes the "integer indefinite" 0x8000000000000000 instead of undefined behaviour.
long long truncateToInt64(double x) {
    if (!(x >= -kTwoTo63 && x < kTwoTo63)) {
        return std::numeric_limits<long long>::min();
    }
    return static_cast<long long>(x);
}

// Full-range conversion back to unsigned 64 bits: results at or above 2^63 keep their size.
unsigned long long truncateToUInt64(double x) {
    if (x < kTwoTo63) {
        return static_cast<unsigned long long>(truncateToInt64(x));
    }
    return static_cast<unsigned long long>(truncateToInt64(x - kTwoTo63)) + (1ULL << 63);
}

long long wrappingAdd(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) + static_cast<unsigned long long>(b));
}

long long roundedProduct(long long value, double factor) {
    return truncateToInt64(std::round(static_cast<double>(value) * factor));
}

const char kNoneTypeText[] = "WARNING: Cannot use data object with type pwr::DataType::NONE\n";

}  // namespace

// ---- Defaults of the two templates ----------------------------------------------------------

// The range kinds have no start values for running statistics: they answer as the base does.
template <DataType kType, typename FormatterType>
int NumberHelper<kType, FormatterType>::initMax(Data& target) const {
    return DataHelper::initMax(target);
}

template <DataType kType, typename FormatterType>
int NumberHelper<kType, FormatterType>::initMin(Data& target) const {
    return DataHelper::initMin(target);
}

template <DataType kType, typename FormatterType>
const Formatter& ComparingHelper<kType, FormatterType>::getFormatter() const {
    return formatter;
}

// ---- VoidHelper -------------------------------------------------------------------------------

template <>
bool VoidHelper::lessThan(const Data&, const Data&) const {
    VR_LOG(2, "%s", kNoneTypeText);
    return false;
}

template <>
bool VoidHelper::equals(const Data&, const Data&) const {
    VR_LOG(2, "%s", kNoneTypeText);
    return true;
}

template <>
const Formatter& VoidHelper::getFormatter() const {
    VR_LOG(2, "%s", kNoneTypeText);
    return formatter;
}

// ---- IntHelper --------------------------------------------------------------------------------

template <>
int IntHelper::initZero(Data& target) const {
    return target.setValue(0LL);
}

template <>
int IntHelper::accumulate(Data& accumulator, const Data& input) const {
    if (input.getType() != DataType::INT) {
        VR_LOG(2, "WARNING: Accumulator must have INT type as input\n");
        return 1;
    }
    return accumulator.setValue(wrappingAdd(intWord(accumulator, 0), intWord(input, 0)));
}

template <>
int IntHelper::multiply(Data& target, double factor) const {
    return target.setValue(roundedProduct(intWord(target, 0), factor));
}

template <>
int IntHelper::initMax(Data& target) const {
    return target.setValue(std::numeric_limits<long long>::min());
}

template <>
int IntHelper::initMin(Data& target) const {
    return target.setValue(std::numeric_limits<long long>::max());
}

template <>
bool IntHelper::lessThan(const Data& left, const Data& right) const {
    return intWord(left, 0) < intWord(right, 0);
}

template <>
bool IntHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && intWord(left, 0) == intWord(right, 0);
}

// ---- UIntHelper -------------------------------------------------------------------------------

template <>
int UIntHelper::initZero(Data& target) const {
    return target.setValue(0ULL);
}

template <>
int UIntHelper::accumulate(Data& accumulator, const Data& input) const {
    if (input.getType() != DataType::UINT) {
        VR_LOG(2, "WARNING: Accumulator must have UINT type as input\n");
        return 1;
    }
    return accumulator.setValue(uintWord(accumulator, 0) + uintWord(input, 0));
}

template <>
int UIntHelper::multiply(Data& target, double factor) const {
    double product = static_cast<double>(uintWord(target, 0)) * factor;
    return target.setValue(truncateToUInt64(std::round(product)));
}

template <>
int UIntHelper::initMax(Data& target) const {
    return target.setValue(0ULL);
}

template <>
int UIntHelper::initMin(Data& target) const {
    return target.setValue(std::numeric_limits<unsigned long long>::max());
}

template <>
bool UIntHelper::lessThan(const Data& left, const Data& right) const {
    return uintWord(left, 0) < uintWord(right, 0);
}

template <>
bool UIntHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && uintWord(left, 0) == uintWord(right, 0);
}

// ---- RealHelper -------------------------------------------------------------------------------

template <>
int RealHelper::initZero(Data& target) const {
    return target.setValue(0.0);
}

template <>
int RealHelper::accumulate(Data& accumulator, const Data& input) const {
    double addend = 0.0;
    switch (input.getType()) {
        case DataType::REAL:
            addend = realWord(input, 0);
            break;
        case DataType::INT:
            addend = static_cast<double>(intWord(input, 0));
            break;
        case DataType::UINT:
            addend = static_cast<double>(uintWord(input, 0));
            break;
        case DataType::REAL_RANGE:
            // A range contributes the sum of its bounds, not their mean.
            addend = realWord(input, 0) + realWord(input, 1);
            break;
        default:
            VR_LOG(2, "WARNING: Accumulator must have REAL, INT, UINT or REAL_RANGE type as input\n");
            return 1;
    }
    return accumulator.setValue(realWord(accumulator, 0) + addend);
}

template <>
int RealHelper::multiply(Data& target, double factor) const {
    return target.setValue(realWord(target, 0) * factor);
}

// The lowest start is the smallest positive normal number, not the most negative one: a running
// maximum over only negative values stays at this tiny positive start.
template <>
int RealHelper::initMax(Data& target) const {
    return target.setValue(DBL_MIN);
}

template <>
int RealHelper::initMin(Data& target) const {
    return target.setValue(DBL_MAX);
}

template <>
bool RealHelper::lessThan(const Data& left, const Data& right) const {
    return realWord(left, 0) < realWord(right, 0);
}

template <>
bool RealHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && realWord(left, 0) == realWord(right, 0);
}

// ---- IntRangeHelper ---------------------------------------------------------------------------

template <>
int IntRangeHelper::initZero(Data& target) const {
    return target.setValue(Data::IntRange(0, 0));
}

template <>
int IntRangeHelper::accumulate(Data& accumulator, const Data& input) const {
    long long first = 0;
    long long second = 0;
    if (input.getType() == DataType::INT) {
        first = second = intWord(input, 0);
    } else if (input.getType() == DataType::INT_RANGE) {
        first = intWord(input, 0);
        second = intWord(input, 1);
    } else {
        VR_LOG(2, "WARNING: IntRange accumulate expects INT type\n");
        return 1;
    }
    return accumulator.setValue(Data::IntRange(wrappingAdd(intWord(accumulator, 0), first),
                                               wrappingAdd(intWord(accumulator, 1), second)));
}

template <>
int IntRangeHelper::multiply(Data& target, double factor) const {
    return target.setValue(Data::IntRange(roundedProduct(intWord(target, 0), factor),
                                          roundedProduct(intWord(target, 1), factor)));
}

template <>
bool IntRangeHelper::lessThan(const Data& left, const Data& right) const {
    return intWord(left, 0) < intWord(right, 0);
}

template <>
bool IntRangeHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && intWord(left, 0) == intWord(right, 0) &&
           intWord(left, 1) == intWord(right, 1);
}

// ---- UIntRangeHelper --------------------------------------------------------------------------

template <>
int UIntRangeHelper::initZero(Data& target) const {
    return target.setValue(Data::UIntRange(0, 0));
}

template <>
int UIntRangeHelper::accumulate(Data& accumulator, const Data& input) const {
    unsigned long long first = 0;
    unsigned long long second = 0;
    if (input.getType() == DataType::UINT) {
        first = second = uintWord(input, 0);
    } else if (input.getType() == DataType::UINT_RANGE) {
        first = uintWord(input, 0);
        second = uintWord(input, 1);
    } else {
        VR_LOG(2, "WARNING: UIntRange accumulate expects UINT type\n");
        return 1;
    }
    return accumulator.setValue(
        Data::UIntRange(uintWord(accumulator, 0) + first, uintWord(accumulator, 1) + second));
}

// Full range on the way in, but the signed truncation on the way back: unlike a UINT scalar, a
// product at or above 2^63 does not survive.
template <>
int UIntRangeHelper::multiply(Data& target, double factor) const {
    auto scale = [factor](unsigned long long bound) {
        return static_cast<unsigned long long>(
            truncateToInt64(std::round(static_cast<double>(bound) * factor)));
    };
    return target.setValue(Data::UIntRange(scale(uintWord(target, 0)), scale(uintWord(target, 1))));
}

template <>
bool UIntRangeHelper::lessThan(const Data& left, const Data& right) const {
    return uintWord(left, 0) < uintWord(right, 0);
}

template <>
bool UIntRangeHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && uintWord(left, 0) == uintWord(right, 0) &&
           uintWord(left, 1) == uintWord(right, 1);
}

// ---- RealRangeHelper --------------------------------------------------------------------------

template <>
int RealRangeHelper::initZero(Data& target) const {
    return target.setValue(Data::RealRange(0.0, 0.0));
}

template <>
int RealRangeHelper::accumulate(Data& accumulator, const Data& input) const {
    double first = 0.0;
    double second = 0.0;
    switch (input.getType()) {
        case DataType::REAL:
            first = second = realWord(input, 0);
            break;
        case DataType::INT:
            first = second = static_cast<double>(intWord(input, 0));
            break;
        case DataType::UINT:
            first = second = static_cast<double>(uintWord(input, 0));
            break;
        case DataType::REAL_RANGE:
            first = realWord(input, 0);
            second = realWord(input, 1);
            break;
        case DataType::INT_RANGE:
            first = static_cast<double>(intWord(input, 0));
            second = static_cast<double>(intWord(input, 1));
            break;
        case DataType::UINT_RANGE:
            first = static_cast<double>(uintWord(input, 0));
            second = static_cast<double>(uintWord(input, 1));
            break;
        default:
            VR_LOG(2, "WARNING: Accumulator must have REAL, INT, or UINT type as input\n");
            return 1;
    }
    return accumulator.setValue(
        Data::RealRange(realWord(accumulator, 0) + first, realWord(accumulator, 1) + second));
}

template <>
int RealRangeHelper::multiply(Data& target, double factor) const {
    return target.setValue(Data::RealRange(realWord(target, 0) * factor, realWord(target, 1) * factor));
}

template <>
bool RealRangeHelper::lessThan(const Data& left, const Data& right) const {
    return realWord(left, 0) < realWord(right, 0);
}

template <>
bool RealRangeHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && realWord(left, 0) == realWord(right, 0) &&
           realWord(left, 1) == realWord(right, 1);
}

// ---- StringHelper and HandleHelper ------------------------------------------------------------

// std::string compares bytes as unsigned characters, then the shorter first.
template <>
bool StringHelper::lessThan(const Data& left, const Data& right) const {
    return stringOf(left) < stringOf(right);
}

template <>
bool StringHelper::equals(const Data& left, const Data& right) const {
    return stringOf(left) == stringOf(right);
}

template <>
bool HandleHelper::lessThan(const Data& left, const Data& right) const {
    return uintWord(left, 0) < uintWord(right, 0);
}

template <>
bool HandleHelper::equals(const Data& left, const Data& right) const {
    return readable(left) == readable(right) && uintWord(left, 0) == uintWord(right, 0);
}

// ---- The family -------------------------------------------------------------------------------

namespace {
// Built at load time. Nothing in the library builds a Data during static initialisation, so these
// exist before any value points at them.
const VoidHelper kVoidHelper;
const IntHelper kIntHelper;
const UIntHelper kUIntHelper;
const RealHelper kRealHelper;
const IntRangeHelper kIntRangeHelper;
const UIntRangeHelper kUIntRangeHelper;
const RealRangeHelper kRealRangeHelper;
const HandleHelper kHandleHelper;
const StringHelper kStringHelper;

const DataHelper* const kHelpers[] = {&kVoidHelper,      &kIntHelper,      &kUIntHelper,
                                      &kRealHelper,      &kIntRangeHelper, &kUIntRangeHelper,
                                      &kRealRangeHelper, &kHandleHelper,   &kStringHelper};
}  // namespace

const DataHelper* DataHelper::forType(DataType type) {
    auto index = static_cast<unsigned>(type);
    return index < sizeof(kHelpers) / sizeof(kHelpers[0]) ? kHelpers[index] : nullptr;
}

DataHelper::~DataHelper() = default;

int DataHelper::initZero(Data&) const {
    return 1;
}

int DataHelper::accumulate(Data&, const Data&) const {
    VR_LOG(2, "WARNING: Attempt to accumulate on unsupported type\n");
    return 1;
}

int DataHelper::multiply(Data&, double) const {
    VR_LOG(2, "WARNING: Multiply only supported for numeric types\n");
    return 1;
}

int DataHelper::initMax(Data&) const {
    return 1;
}

int DataHelper::initMin(Data&) const {
    return 1;
}

}  // namespace pwr
