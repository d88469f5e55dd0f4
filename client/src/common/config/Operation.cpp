#include "vantrell/config/Operation.h"

#include "config/ConfigParser.h"
#include "vantrell/plugin/CollectorPlugin.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

Operation::Operation(std::string const& operationType) : operation(operationType) {}

Operation::Operation(std::string const& operationType, std::string const& operationName)
    : operation(operationType), name(operationName) {}

Operation::~Operation() = default;

bool Operation::isValidCategory(std::string const& category) const {
    return categories.count(category) != 0 && canSetCategory(category);
}

PluginRequirementResult Operation::isOperationSuitableFor(SystemMetadata const& system) const {
    PluginRequirementResult result = REQUIREMENTS_NONE_TESTED;
    PluginParams const noParams;
    for (PluginRequirement const* requirement : requirements) {
        if (requirement == nullptr) {
            continue;
        }
        result = REQUIREMENTS_ALL_PASSED;
        // The public test already applies `negative`: its value is the one reported either way.
        bool met = requirement->isPluginRequirementSatisfied(system, noParams);
        if (requirement->isNegative()) {
            VR_LOG(3, "DEBUG: Negative Requirement met: %d\n", met ? 1 : 0);
        } else {
            VR_LOG(3, "DEBUG: Requirement met: %d\n", met ? 1 : 0);
        }
        if (!met) {
            return REQUIREMENTS_NOT_MET;
        }
    }
    return result;
}

bool Operation::canSetCategory(std::string const&) const {
    return true;
}

bool Operation::isValidCommand_i(VROpCommand command) const {
    return command == VR_OP_READ;
}

}  // namespace pwr

namespace pwr {

namespace {

// The collector of `operation`'s type, or null with the reason logged; `verb` is "read" or "write".
CollectorPlugin* dispatchTarget(Operation const* operation, char const* verb) {
    std::string const opName = operation == nullptr ? std::string() : operation->getName();
    char const* fault = nullptr;
    CollectorPlugin* collector = nullptr;
    if (operation == nullptr || operation->getOperation().empty()) {
        fault = " without a valid packet?!";
    } else if (Parser::current() == nullptr) {
        fault = " without a valid parser?!";
    } else if ((collector = Parser::current()->getCollectorFor(operation->getOperation())) == nullptr) {
        VR_LOG_STREAM(1) << "Trying to do immediate " << verb << " of operation " << opName
                         << " with invalid type " << operation->getOperation() << "?!" << std::endl;
        return nullptr;
    }
    if (fault != nullptr) {
        VR_LOG_STREAM(1) << "Trying to do immediate " << verb << " of operation " << opName << fault
                         << std::endl;
        return nullptr;
    }
    VR_LOG(4, "INFO: OK, found collector for operation %s; now dispatching!\n", opName.c_str());
    return collector;
}

}  // namespace

int Operation::dispatchRead(Operation* operation, std::string const& key) {
    CollectorPlugin* collector = dispatchTarget(operation, "read");
    return collector == nullptr ? -1 : collector->doImmediateRead(operation, key);
}

int Operation::dispatchWrite(Operation* operation, std::string const& key) {
    CollectorPlugin* collector = dispatchTarget(operation, "write");
    return collector == nullptr ? -1 : collector->doImmediateWrite(operation, key);
}

int Operation::dispatchRead(Operation*, EntityHandle const*) {
    VR_LOG(2, "WARNING: %s functionality is TODO!\n", "pwr::Operation::dispatchRead");
    return -1;
}

int Operation::dispatchWrite(Operation*, EntityHandle const*) {
    VR_LOG(2, "WARNING: %s functionality is TODO!\n", "pwr::Operation::dispatchWrite");
    return -1;
}

}  // namespace pwr
