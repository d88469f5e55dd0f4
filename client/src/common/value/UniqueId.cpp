#include "vantrell/value/UniqueId.h"

#include "value/UniqueIdRegistry.h"
#include "vantrell/value/Quantity.h"

namespace pwr {
namespace {

// Process-wide and never reset, so that no two objects of one run share an id by accident. A plain
// number: objects with ids are made on one thread at a time.
unsigned long long nextId = 0;

}  // namespace

UniqueId::UniqueId() : id(nextId++) {}

UniqueId::~UniqueId() = default;

void UniqueId::initialize() {
    UniqueIdRegistry::create();
    Quantity::initDefaults_i();
}

void UniqueId::destroy() {
    UniqueIdRegistry::destroy();
}

}  // namespace pwr
