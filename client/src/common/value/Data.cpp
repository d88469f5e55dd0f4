#include "vantrell/value/Data.h"

#include <type_traits>

#include "vantrell/plugin/Logging.h"
#include "vantrell/value/DataHelper.h"
#include "vantrell/value/Formatter.h"

namespace pwr {

// ---- Construction -----------------------------------------------------------------------------

Data::Data() : Data(DataType::NONE) {}

Data::Data(DataType newType)
    : value{}, helper(nullptr), customFormatter(nullptr), type(newType), valid(false), set(false) {
    init_i(newType);
}

// The typed constructors are on the per-sample path: one helper look-up, no type test.
Data::Data(const long long& v) : Data(DataType::INT) {
    value.i[0] = v;
    set = valid = true;
}

Data::Data(const unsigned long long& v) : Data(DataType::UINT) {
    value.u[0] = v;
    set = valid = true;
}

Data::Data(const double& v) : Data(DataType::REAL) {
    value.r[0] = v;
    set = valid = true;
}

Data::Data(const std::string& v) : Data(DataType::STRING) {
    stringValue = v;
    set = valid = true;
}

Data::Data(const IntRange& v) : Data(DataType::INT_RANGE) {
    setPair_i(DataType::INT_RANGE, v.first, v.second);
}

Data::Data(const UIntRange& v) : Data(DataType::UINT_RANGE) {
    setPair_i(DataType::UINT_RANGE, v.first, v.second);
}

Data::Data(const RealRange& v) : Data(DataType::REAL_RANGE) {
    setPair_i(DataType::REAL_RANGE, v.first, v.second);
}

Data::Data(long long first, long long second) : Data(IntRange(first, second)) {}

Data::Data(unsigned long long first, unsigned long long second) : Data(UIntRange(first, second)) {}

Data::Data(double first, double second) : Data(RealRange(first, second)) {}

Data::Data(const Data& other)
    : value(other.value),
      helper(other.helper),
      customFormatter(other.customFormatter != nullptr ? other.customFormatter->clone() : nullptr),
      stringValue(other.stringValue),
      type(other.type),
      valid(other.valid),
      set(other.set) {}

Data::Data(Data&& other) noexcept
    : value(other.value),
      helper(other.helper),
      customFormatter(other.customFormatter),
      stringValue(std::move(other.stringValue)),
      type(other.type),
      valid(other.valid),
      set(other.set) {
    other.customFormatter = nullptr;
}

Data& Data::operator=(const Data& other) {
    if (this != &other) {
        value = other.value;
        helper = other.helper;
        customFormatter = other.customFormatter;
        stringValue = other.stringValue;
        type = other.type;
        valid = other.valid;
        set = other.set;
    }
    return *this;
}

Data& Data::operator=(Data&& other) noexcept {
    if (this != &other) {
        value = other.value;
        helper = other.helper;
        customFormatter = other.customFormatter;
        other.customFormatter = nullptr;
        stringValue = std::move(other.stringValue);
        type = other.type;
        valid = other.valid;
        set = other.set;
    }
    return *this;
}

Data::~Data() {
    delete customFormatter;
}

void Data::init_i(DataType newType) {
    type = newType;
    valid = false;
    set = false;
    customFormatter = nullptr;
    helper = DataHelper::forType(newType);
    if (helper == nullptr) {
        VR_LOG(2, "WARNING: Unhandled type %u\n", static_cast<unsigned>(newType));
        helper = DataHelper::forType(DataType::INT);
    }
}

// ---- Setting ----------------------------------------------------------------------------------

int Data::rejectType_i(DataType expected) {
    VR_LOG(2, "WARNING: Invalid attempt to initialize data of the wrong type (%d != %d)\n",
           static_cast<int>(type), static_cast<int>(expected));
    valid = false;
    return 1;
}

template <typename T>
int Data::setScalar_i(DataType expected, const T& first) {
    if (type == DataType::NONE) {
        init_i(expected);
    } else if (type != expected) {
        return rejectType_i(expected);
    }
    set = true;
    if constexpr (std::is_same_v<T, long long>) {
        value.i[0] = first;
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        value.u[0] = first;
    } else {
        value.r[0] = first;
    }
    valid = true;
    return 0;
}

template <typename T>
int Data::setPair_i(DataType expected, const T& first, const T& second) {
    // Raised ahead of the type test: a refused pair leaves the value set but invalid.
    set = true;
    if (type != expected) {
        return rejectType_i(expected);
    }
    if constexpr (std::is_same_v<T, long long>) {
        value.i[0] = first;
        value.i[1] = second;
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        value.u[0] = first;
        value.u[1] = second;
    } else {
        value.r[0] = first;
        value.r[1] = second;
    }
    valid = true;
    return 0;
}

int Data::setValue(const long long& v) {
    return setScalar_i(DataType::INT, v);
}

int Data::setValue(const unsigned long long& v) {
    return setScalar_i(DataType::UINT, v);
}

int Data::setValue(const double& v) {
    return setScalar_i(DataType::REAL, v);
}

int Data::setValue(const std::string& v) {
    if (type == DataType::NONE) {
        init_i(DataType::STRING);
    } else if (type != DataType::STRING) {
        return rejectType_i(DataType::STRING);
    }
    set = true;
    stringValue = v;
    valid = true;
    return 0;
}

int Data::setValue(const IntRange& v) {
    return setPair_i(DataType::INT_RANGE, v.first, v.second);
}

int Data::setValue(const UIntRange& v) {
    return setPair_i(DataType::UINT_RANGE, v.first, v.second);
}

int Data::setValue(const RealRange& v) {
    return setPair_i(DataType::REAL_RANGE, v.first, v.second);
}

int Data::setHandleId_i(unsigned long long id) {
    set = true;
    if (type != DataType::HANDLE) {
        return rejectType_i(DataType::HANDLE);
    }
    value.u[0] = id;
    valid = true;
    return 0;
}

int Data::setValue(const Data& other) {
    if (type != other.type) {
        VR_LOG(2, "WARNING: Invalid attempt to initialize data of the wrong type (%u != %u)\n",
               static_cast<unsigned>(type), static_cast<unsigned>(other.type));
        valid = false;
        return 1;
    }
    *this = other;
    return 0;
}

// ---- Reading ----------------------------------------------------------------------------------

template <typename T>
int Data::read_i(DataType expected, const char* wrongTypeText, T& out) const {
    if (type != expected) {
        VR_LOG(2, "%s", wrongTypeText);
        return 1;
    }
    if (!readable_i()) {
        return 1;
    }
    if constexpr (std::is_same_v<T, long long>) {
        out = value.i[0];
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        out = value.u[0];
    } else if constexpr (std::is_same_v<T, double>) {
        out = value.r[0];
    } else {
        out = stringValue;
    }
    return 0;
}

template <typename T>
int Data::readPair_i(DataType expected, const char* wrongTypeText, std::pair<T, T>& out) const {
    T first;
    if (read_i(expected, wrongTypeText, first) != 0) {
        return 1;
    }
    if constexpr (std::is_same_v<T, long long>) {
        out = IntRange(value.i[0], value.i[1]);
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        out = UIntRange(value.u[0], value.u[1]);
    } else {
        out = RealRange(value.r[0], value.r[1]);
    }
    return 0;
}

int Data::toInt(long long& out) const {
    return read_i(DataType::INT, "WARNING: Attempt to retrieve a signed value from a non-signed type\n", out);
}

int Data::toInt(long& out) const {
    long long wide = 0;
    int status = toInt(wide);
    if (status == 0) {
        out = static_cast<long>(wide);
    }
    return status;
}

int Data::toUInt(unsigned long long& out) const {
    return read_i(DataType::UINT, "WARNING: Attempt to retrieve an unsigned value from a non-unsigned type\n",
                  out);
}

int Data::toUInt(unsigned long& out) const {
    unsigned long long wide = 0;
    int status = toUInt(wide);
    if (status == 0) {
        out = static_cast<unsigned long>(wide);
    }
    return status;
}

int Data::toReal(double& out) const {
    return read_i(DataType::REAL, "WARNING: Attempt to retrieve a real value from a non-real type\n", out);
}

int Data::toIntRange(IntRange& out) const {
    return readPair_i(DataType::INT_RANGE,
                      "WARNING: Attempt to retrieve a non int range value from a int range type\n", out);
}

int Data::toUIntRange(UIntRange& out) const {
    return readPair_i(DataType::UINT_RANGE,
                      "WARNING: Attempt to retrieve a non unsigned range value from an unsigned range type\n",
                      out);
}

int Data::toRealRange(RealRange& out) const {
    return readPair_i(DataType::REAL_RANGE,
                      "WARNING: Attempt to retrieve a not double range value from a double range type\n",
                      out);
}

int Data::readHandleId_i(unsigned long long& id) const {
    if (type != DataType::HANDLE) {
        VR_LOG(2, "WARNING: Attempt to retrieve handle value from a non-unsigned type\n");
        return 1;
    }
    if (!readable_i()) {
        return 1;
    }
    id = value.u[0];
    return 0;
}

int Data::toString(std::string& out) const {
    return read_i(DataType::STRING, "WARNING: Attempt to retrieve a string from a non-string type\n", out);
}

int Data::toFormattedString(std::string& out) const {
    if (customFormatter != nullptr) {
        return customFormatter->format(out, *this);
    }
    return helper->getFormatter().format(out, *this);
}

// ---- State and arithmetic ---------------------------------------------------------------------

bool Data::isNumeric() const {
    return type >= DataType::INT && type <= DataType::REAL_RANGE;
}

int Data::initZero() {
    return helper->initZero(*this);
}

int Data::initMin() {
    return helper->initMin(*this);
}

int Data::initMax() {
    return helper->initMax(*this);
}

int Data::addValue(const Data& input) {
    return helper->accumulate(*this, input);
}

int Data::multiplyValue(double factor) {
    return helper->multiply(*this, factor);
}

// ---- Comparison -------------------------------------------------------------------------------

bool Data::operator==(const Data& other) const {
    if (type != other.type) {
        return false;
    }
    if (!set) {
        return !other.set;
    }
    if (!valid) {
        return !other.valid;
    }
    return helper->equals(*this, other);
}

bool Data::operator!=(const Data& other) const {
    return !(*this == other);
}

bool Data::operator<(const Data& other) const {
    if (type != other.type) {
        return type < other.type;
    }
    if (!set) {
        return other.set;
    }
    if (!valid) {
        return other.valid;
    }
    return helper->lessThan(*this, other);
}

bool Data::operator>(const Data& other) const {
    return !(*this < other) && !(*this == other);
}

bool Data::operator<=(const Data& other) const {
    return !(*this > other);
}

bool Data::operator>=(const Data& other) const {
    return !(*this < other);
}

// ---- Conversion and formatting ----------------------------------------------------------------

Data Data::convertToReal(const Data* source) {
    const bool readable = source->readable_i();
    switch (source->type) {
        case DataType::REAL:
        case DataType::REAL_RANGE:
            return *source;
        case DataType::INT:
            return Data(readable ? static_cast<double>(source->value.i[0]) : 0.0);
        case DataType::UINT:
            return Data(readable ? static_cast<double>(source->value.u[0]) : 0.0);
        case DataType::INT_RANGE:
            return readable ? Data(static_cast<double>(source->value.i[0]),
                                   static_cast<double>(source->value.i[1]))
                            : Data(0.0, 0.0);
        case DataType::UINT_RANGE:
            return readable ? Data(static_cast<double>(source->value.u[0]),
                                   static_cast<double>(source->value.u[1]))
                            : Data(0.0, 0.0);
        default:
            VR_LOG(2, "WARNING: Cannot convert data object to real type\n");
            return *source;
    }
}

int Data::setCustomFormatter(const Formatter& formatter) {
    // Clone first: `formatter` may be this value's own.
    Formatter* copy = formatter.clone();
    delete customFormatter;
    customFormatter = copy;
    return 0;
}

}  // namespace pwr
