#pragma once

// pwr::Quantity: a unit of measure ("Frequency" in "MHz"), with an optional rate link that says what
// the quantity becomes when divided by time (ticks per second are a frequency, bytes per second a
// bandwidth) and the factor that adapts the units.
//
// Twelve quantities are built in by UniqueId::initialize() and reached through the static accessors
// below (null before the first initialize()). Custom quantities come from create(). All belong to
// the UniqueId registry; callers hold const pointers. Copies and moves take the id along.
// No locks: see UniqueId.h.

#include <cstdint>
#include <string>

#include "vantrell/Export.h"
#include "vantrell/value/UniqueId.h"

namespace pwr {

// Numbers below 8 are reserved for the built-in quantities; 8 and 9 are free, as is anything above 13.
enum class QuantityType : uint32_t {
    DUMMY = 0,
    TIME = 1,
    FREQUENCY = 2,
    DATA = 3,
    BANDWIDTH = 4,
    POWER = 5,
    ENERGY = 6,
    TEMPERATURE = 7,
    VOLTAGE = 10,
    CURRENT = 11,
    OPERATIONS = 12,
    THROUGHPUT = 13,
};

class VR_EXPORT Quantity : public UniqueId {
  public:
    Quantity(const Quantity& other) = default;
    Quantity(Quantity&& other) = default;
    Quantity& operator=(const Quantity& other) = default;
    Quantity& operator=(Quantity&& other) = default;
    ~Quantity() override;

    UniqueIdType getIdType() const override { return UniqueIdType::QUANTITY; }

    // The built-in quantities, owned by the registry.
    static const Quantity* time();
    static const Quantity* frequency();
    static const Quantity* data();
    static const Quantity* bandwidth();
    static const Quantity* power();
    static const Quantity* energy();
    static const Quantity* temperature();
    static const Quantity* voltage();
    static const Quantity* current();
    static const Quantity* operations();
    static const Quantity* throughput();

    // A new registered quantity on every call (no duplicate test). A `type` below 8 is reserved:
    // logs "WARNING: Can't create a custom quantity of specified type\n" and returns the built-in
    // "ERROR" quantity instead (null only before the first UniqueId::initialize()). The registry owns
    // the result.
    static const Quantity* create(QuantityType type, const std::string& title, const std::string& units,
                                  const Quantity* rateQuantity, double rateFactor);

    // The title, and " (units)" when there are units: "Frequency (MHz)".
    void toTitleString(std::string& out) const;
    // 0 with the rate quantity and its factor when the quantity has a rate link; otherwise 1 with
    // `rate` null and `factor` 1.0.
    int getRateConversion(const Quantity*& rate, double& factor) const;

    const std::string& toQuantityString() const { return title; }
    const std::string& toUnitsString() const { return units; }
    QuantityType toQuantity() const { return type; }

  private:
    friend class UniqueId;

    Quantity(QuantityType type, const std::string& title, const std::string& units,
             const Quantity* rateQuantity, double rateFactor);

    // Makes the twelve built-in quantities, in the order of their ids, and publishes them.
    static void initDefaults_i();
    // The stand-in for refused custom quantities: type 0, "ERROR" in "ERROR".
    static const Quantity* dummy();

    std::string title;
    std::string units;
    QuantityType type;
    double rateFactor = 1.0;
    const Quantity* rateQuantity = nullptr;

    // The built-in instances; they keep their values after UniqueId::destroy().
    static const Quantity* frequencyQuantity;
    static const Quantity* timeQuantity;
    static const Quantity* bandwidthQuantity;
    static const Quantity* dataQuantity;
    static const Quantity* powerQuantity;
    static const Quantity* energyQuantity;
    static const Quantity* throughputQuantity;
    static const Quantity* operationsQuantity;
    static const Quantity* temperatureQuantity;
    static const Quantity* voltageQuantity;
    static const Quantity* currentQuantity;
    static const Quantity* dummyQuantity;
};

}  // namespace pwr
