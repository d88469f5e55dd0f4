#include "vantrell/config/CONSTANTOperation.h"

#include <algorithm>

#include "vantrell/plugin/Logging.h"

namespace pwr {

CONSTANTOperation::CONSTANTOperation(std::string const& name) : Operation("CONSTANT", name) {}

int CONSTANTOperation::set(std::string const& key, std::string const& value) {
    const bool known =
        std::any_of(values.begin(), values.end(),
                    [&key](const std::pair<std::string, std::string>& pair) { return pair.first == key; });
    if (known) {
        VR_LOG(1, "ERROR: key %s already set!\n", key.c_str());
        return -1;
    }
    values.emplace_back(key, value);
    return 0;
}

OperationMetadata* CONSTANTOperation::getOperationMetadata() const {
    return new CONSTANTOperationMetadata(getName(), values);
}

Operation* CONSTANTOperation::clone() const {
    return new CONSTANTOperation(*this);
}

CONSTANTOperationMetadata::CONSTANTOperationMetadata(std::string const& name)
    : OperationMetadata(name, "CONSTANT", 0) {}

CONSTANTOperationMetadata::CONSTANTOperationMetadata(std::string const& name, Pairs const& values)
    : OperationMetadata(name, "CONSTANT", 0), values(values) {}

}  // namespace pwr
