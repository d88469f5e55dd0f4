// The HANDLE side of Data and Formatter: a handle value stores only the id of its DataHandle, and
// reading or printing it goes through the UniqueId registry.

#include <string>

#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Formatter.h"

namespace pwr {
namespace {

// "<number> - <name>"; empty when the type tag and the class disagree.
std::string nameValuePairText(const DataHandle& handle) {
    const auto* pair = dynamic_cast<const NameValuePair*>(&handle);
    if (pair == nullptr) {
        return std::string();
    }
    return std::to_string(pair->getValue()) + " - " + pair->getName();
}

}  // namespace

Data::Data(const DataHandle& handle) : Data(DataType::HANDLE) {
    setHandleId_i(handle.getId());
}

int Data::setValue(const DataHandle& handle) {
    return setHandleId_i(handle.getId());
}

int Data::toHandle(const DataHandle*& out) const {
    unsigned long long id = 0;
    if (readHandleId_i(id) != 0) {
        return 1;
    }
    return DataHandle::get(id, out);
}

int Formatter::formatHandle(const Formatter& formatter, std::string& out, const Data& value) {
    const DataHandle* handle = nullptr;
    if (value.toHandle(handle) != 0) {
        return 1;
    }
    // Process and thread handles have no classes of their own yet and print by qualified name.
    if (handle->getHandleType() == DataHandleType::NAME_VALUE_PAIR) {
        out = nameValuePairText(*handle);
    } else {
        out = handle->getQualifiedName();
    }
    return widen(out, formatter.getWidth());
}

}  // namespace pwr
