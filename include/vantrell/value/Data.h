#pragma once

// pwr::Data: the one value type of the library. Every number, range, text or handle reference that a
// collector measures, a metric stores, an accumulator sums or a writer prints travels as a Data.
//
// A Data knows its DataType, whether it was ever given a value (isSet) and whether that value can be
// trusted (isValid). Type-specific behaviour lives in the stateless DataHelper family (DataHelper.h),
// one static instance per type; a Data holds a pointer to the helper of its type.
//
// Plain value, no locks, one thread at a time. Numeric values never allocate. Statuses are int:
// 0 success, 1 failure; failures log a "WARNING: " line where noted and never throw.
//
// Ownership of the custom formatter: the copy constructor clones it, so a copy owns its own. Assignment
// (copy and move) copies the pointer as it stands and does not release the target's previous formatter:
// after `a = b`, a and b share b's formatter, so a value with a custom formatter must not be assigned to
// another that outlives it.

#include <cstdint>
#include <string>
#include <utility>

#include "vantrell/Export.h"

namespace pwr {

class DataHandle;
class DataHelper;
class Formatter;

enum class DataType : uint8_t {
    NONE = 0,
    INT = 1,
    UINT = 2,
    REAL = 3,
    INT_RANGE = 4,
    UINT_RANGE = 5,
    REAL_RANGE = 6,
    HANDLE = 7,
    STRING = 8,
};

class VR_EXPORT Data {
  public:
    using IntRange = std::pair<long long, long long>;
    using UIntRange = std::pair<unsigned long long, unsigned long long>;
    using RealRange = std::pair<double, double>;

    // Type NONE: adopts the type of the first scalar or string it is given.
    Data();
    // The given type, unset. A number outside 0 to 8 logs "WARNING: Unhandled type %u\n".
    explicit Data(DataType type);
    Data(const long long& value);
    Data(const unsigned long long& value);
    Data(const double& value);
    Data(const std::string& value);
    // A HANDLE value holding the id of `handle`.
    Data(const DataHandle& handle);
    Data(const IntRange& value);
    Data(const UIntRange& value);
    Data(const RealRange& value);
    Data(long long first, long long second);
    Data(unsigned long long first, unsigned long long second);
    Data(double first, double second);
    // On LP64, int64_t and uint64_t are long and unsigned long: these keep such arguments unambiguous.
    Data(const long& value) : Data(static_cast<long long>(value)) {}
    Data(const unsigned long& value) : Data(static_cast<unsigned long long>(value)) {}
    Data(const int& value) : Data(static_cast<long long>(value)) {}
    Data(const unsigned int& value) : Data(static_cast<unsigned long long>(value)) {}
    Data(const char* value) : Data(std::string(value != nullptr ? value : "")) {}

    // Copies as assignment does, then replaces a copied custom formatter by a clone of it.
    Data(const Data& other);
    // Takes the custom formatter over from `other`, which is left without one.
    Data(Data&& other) noexcept;
    // Member by member, custom formatter pointer included (shared, not cloned; see the header comment).
    Data& operator=(const Data& other);
    // As copy assignment; `other` gives up its formatter pointer, so only this value owns it.
    Data& operator=(Data&& other) noexcept;
    ~Data();

    // Scalars and strings: a NONE value adopts the argument's type; another type is refused with
    // "WARNING: Invalid attempt to initialize data of the wrong type (%d != %d)\n", valid cleared,
    // set unchanged, status 1. Success sets both flags and returns 0.
    int setValue(const long long& value);
    int setValue(const unsigned long long& value);
    int setValue(const double& value);
    int setValue(const std::string& value);
    int setValue(const long& value) { return setValue(static_cast<long long>(value)); }
    int setValue(const unsigned long& value) { return setValue(static_cast<unsigned long long>(value)); }
    // Pairs and handles: no adoption (a NONE value refuses them), and `set` is raised before the type
    // test, so a refused call leaves set true and valid false.
    int setValue(const DataHandle& handle);
    int setValue(const IntRange& value);
    int setValue(const UIntRange& value);
    int setValue(const RealRange& value);
    // Types must be equal, else "WARNING: Invalid attempt to initialize data of the wrong type
    // (%u != %u)\n", valid cleared, status 1. Equal types: assignment, status 0.
    int setValue(const Data& other);

    // Readers: a wrong type logs its warning and returns 1; an unset or invalid value returns 1
    // silently. The output is written only on success (status 0).
    int toInt(long long& out) const;
    int toInt(long& out) const;
    int toUInt(unsigned long long& out) const;
    int toUInt(unsigned long& out) const;
    int toReal(double& out) const;
    int toIntRange(IntRange& out) const;
    int toUIntRange(UIntRange& out) const;
    int toRealRange(RealRange& out) const;
    // Looks the stored id up in the UniqueId registry. Unknown id: "WARNING: Handle id %llu not found
    // in UniqueId map\n", status 1. Not a DataHandle: "WARNING: UniqueId isn't a DataHandle type\n",
    // null stored in `out`, status 1. The pointer belongs to the registry.
    int toHandle(const DataHandle*& out) const;
    int toString(std::string& out) const;
    // The text of the value through its custom formatter, or else the default formatter of its type;
    // returns what the formatter returns.
    int toFormattedString(std::string& out) const;

    DataType getType() const { return type; }
    bool isSet() const { return set; }
    bool isValid() const { return valid; }
    // True for INT, UINT, REAL and the three range types.
    bool isNumeric() const;
    // Clears valid only: payload and set stay, but no reader hands the value out.
    void invalidate() { valid = false; }

    // Each forwards to the helper of the type with this value as the target (see DataHelper.h).
    int initZero();
    int initMin();
    int initMax();
    int addValue(const Data& input);
    int multiplyValue(double factor);

    // Different types order by type number and are never equal. An unset value equals only an unset
    // one and is less than a set one; likewise for invalid values. Otherwise the helper decides;
    // ranges order by their first bound but compare equal by both.
    bool operator==(const Data& other) const;
    bool operator!=(const Data& other) const;
    bool operator<(const Data& other) const;
    bool operator>(const Data& other) const;
    bool operator<=(const Data& other) const;
    bool operator>=(const Data& other) const;

    // A new value of REAL or REAL_RANGE type for the numeric kinds (see the implementation for the
    // table); other kinds log "WARNING: Cannot convert data object to real type\n" and are copied.
    static Data convertToReal(const Data* source);

    // Replaces any held formatter by a clone of `formatter`; returns 0.
    int setCustomFormatter(const Formatter& formatter);
    // The custom formatter, or null; owned by this value.
    const Formatter* getCustomFormatter() const { return customFormatter; }

  protected:
    // Sets the type and selects its helper, clears both flags, and forgets (does not destroy) the
    // custom formatter. A number outside 0 to 8 logs "WARNING: Unhandled type %u\n", is kept as the
    // type, and gets the INT helper.
    void init_i(DataType newType);

  private:
    friend class DataHelper;

    union Payload {
        long long i[2];
        unsigned long long u[2];
        double r[2];
    };

    // The refusal of a setValue of another type: logs, clears valid, returns 1.
    int rejectType_i(DataType expected);
    bool readable_i() const { return set && valid; }
    // The handle id, stored with the rules of a pair (no adoption, set raised first).
    int setHandleId_i(unsigned long long id);
    // The type test and flags of toHandle: 0 with the id when readable; 1 otherwise (a wrong type
    // logs its warning).
    int readHandleId_i(unsigned long long& id) const;
    template <typename T>
    int setScalar_i(DataType expected, const T& first);
    template <typename T>
    int setPair_i(DataType expected, const T& first, const T& second);
    template <typename T>
    int read_i(DataType expected, const char* wrongTypeText, T& out) const;
    template <typename T>
    int readPair_i(DataType expected, const char* wrongTypeText, std::pair<T, T>& out) const;

    Payload value;
    const DataHelper* helper;
    Formatter* customFormatter;
    std::string stringValue;
    DataType type;
    bool valid;
    bool set;
};

}  // namespace pwr
