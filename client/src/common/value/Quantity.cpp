#include "vantrell/value/Quantity.h"

#include <memory>

#include "value/UniqueIdRegistry.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {
namespace {

// Types below this number belong to the built-in quantities.
constexpr uint32_t kFirstCustomType = 8;

}  // namespace

const Quantity* Quantity::frequencyQuantity = nullptr;
const Quantity* Quantity::timeQuantity = nullptr;
const Quantity* Quantity::bandwidthQuantity = nullptr;
const Quantity* Quantity::dataQuantity = nullptr;
const Quantity* Quantity::powerQuantity = nullptr;
const Quantity* Quantity::energyQuantity = nullptr;
const Quantity* Quantity::throughputQuantity = nullptr;
const Quantity* Quantity::operationsQuantity = nullptr;
const Quantity* Quantity::temperatureQuantity = nullptr;
const Quantity* Quantity::voltageQuantity = nullptr;
const Quantity* Quantity::currentQuantity = nullptr;
const Quantity* Quantity::dummyQuantity = nullptr;

Quantity::Quantity(QuantityType type, const std::string& title, const std::string& units,
                   const Quantity* rateQuantity, double rateFactor)
    : title(title), units(units), type(type), rateFactor(rateFactor), rateQuantity(rateQuantity) {}

Quantity::~Quantity() = default;

void Quantity::initDefaults_i() {
    auto make = [](QuantityType type, const char* title, const char* units, const Quantity* rate,
                   double factor) {
        return UniqueIdRegistry::add(
            std::unique_ptr<Quantity>(new Quantity(type, title, units, rate, factor)));
    };
    // The order is the order of the ids; a rate quantity comes before the quantity that refers to it.
    frequencyQuantity = make(QuantityType::FREQUENCY, "Frequency", "MHz", nullptr, 1.0);
    timeQuantity = make(QuantityType::TIME, "Time", "ticks", frequencyQuantity, 0.000001);
    bandwidthQuantity = make(QuantityType::BANDWIDTH, "Bandwidth", "MB/s", nullptr, 1.0);
    dataQuantity = make(QuantityType::DATA, "Data", "bytes", bandwidthQuantity, 0.000001);
    powerQuantity = make(QuantityType::POWER, "Power", "mW", nullptr, 1.0);
    energyQuantity = make(QuantityType::ENERGY, "Energy", "mJ", powerQuantity, 1.0);
    throughputQuantity = make(QuantityType::THROUGHPUT, "Throughput", "Ops/sec", nullptr, 1.0);
    operationsQuantity = make(QuantityType::OPERATIONS, "Operations", "OpsCount", throughputQuantity, 1.0);
    temperatureQuantity = make(QuantityType::TEMPERATURE, "Temperature", "oC", nullptr, 1.0);
    voltageQuantity = make(QuantityType::VOLTAGE, "Voltage", "mV", nullptr, 1.0);
    currentQuantity = make(QuantityType::CURRENT, "Current", "mA", nullptr, 1.0);
    dummyQuantity = make(QuantityType::DUMMY, "ERROR", "ERROR", nullptr, 1.0);
}

const Quantity* Quantity::time() {
    return timeQuantity;
}
const Quantity* Quantity::frequency() {
    return frequencyQuantity;
}
const Quantity* Quantity::data() {
    return dataQuantity;
}
const Quantity* Quantity::bandwidth() {
    return bandwidthQuantity;
}
const Quantity* Quantity::power() {
    return powerQuantity;
}
const Quantity* Quantity::energy() {
    return energyQuantity;
}
const Quantity* Quantity::temperature() {
    return temperatureQuantity;
}
const Quantity* Quantity::voltage() {
    return voltageQuantity;
}
const Quantity* Quantity::current() {
    return currentQuantity;
}
const Quantity* Quantity::operations() {
    return operationsQuantity;
}
const Quantity* Quantity::throughput() {
    return throughputQuantity;
}
const Quantity* Quantity::dummy() {
    return dummyQuantity;
}

const Quantity* Quantity::create(QuantityType type, const std::string& title, const std::string& units,
                                 const Quantity* rateQuantity, double rateFactor) {
    if (static_cast<uint32_t>(type) < kFirstCustomType) {
        VR_LOG(2, "WARNING: Can't create a custom quantity of specified type\n");
        return dummy();
    }
    return UniqueIdRegistry::add(
        std::unique_ptr<Quantity>(new Quantity(type, title, units, rateQuantity, rateFactor)));
}

void Quantity::toTitleString(std::string& out) const {
    out = title;
    if (!units.empty()) {
        out += " (";
        out += units;
        out += ")";
    }
}

int Quantity::getRateConversion(const Quantity*& rate, double& factor) const {
    rate = nullptr;
    factor = 1.0;
    if (rateQuantity == nullptr) {
        return 1;
    }
    rate = rateQuantity;
    factor = rateFactor;
    return 0;
}

}  // namespace pwr
