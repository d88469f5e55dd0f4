#include "support/TestCollector.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "vantrell/config/InputMsg.h"
#include "vantrell/record/Metadata.h"

namespace vrtest {

TestOperation::TestOperation(std::string const& type, std::initializer_list<char const*> categories,
                             bool canWrite)
    : Operation(type), writable(canWrite) {
    for (char const* category : categories) {
        addCategory(category);
    }
}

int TestOperation::set(std::string const& key, std::string const& value) {
    for (auto const& pair : values) {
        if (pair.first == key) {
            return -1;
        }
    }
    values.emplace_back(key, value);
    return 0;
}

pwr::OperationMetadata* TestOperation::getOperationMetadata() const {
    return new pwr::OperationMetadata(getName(), getOperation(), static_cast<unsigned int>(values.size()));
}

bool TestOperation::isValidCommand_i(pwr::VROpCommand command) const {
    return command == pwr::VR_OP_READ || (writable && command == pwr::VR_OP_WRITE);
}

int TestCollector::doImmediateRead(pwr::InputMsg const* message, Pairs& results) {
    calls.push_back("readMsg " + message->getName());
    for (pwr::Operation const* operation : message->getOperations()) {
        results.emplace_back(operation->getName(), operation->getOperation());
    }
    return 0;
}

int TestCollector::doImmediateRead(pwr::Operation* operation, std::string const& key) {
    calls.push_back("read " + operation->getName() + " " + key);
    return 7;
}

int TestCollector::doImmediateWrite(pwr::InputMsg const* message) {
    calls.push_back("writeMsg " + message->getName());
    return 0;
}

}  // namespace vrtest
