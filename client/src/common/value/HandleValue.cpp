// The HANDLE side of Data and Formatter: a handle value stores only the id of its DataHandle, and
// reading or printing it goes through the UniqueId registry.

#include <string>

#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Process.h"

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

// The pid or tid in decimal; empty when the type tag and the class disagree.
template <typename Kind>
std::string numberText(const DataHandle& handle, int (Kind::*number)() const) {
    const auto* kind = dynamic_cast<const Kind*>(&handle);
    return kind == nullptr ? std::string() : std::to_string((kind->*number)());
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
    switch (handle->getHandleType()) {
        case DataHandleType::PROCESS:
            out = numberText<Process>(*handle, &Process::getPid);
            break;
        case DataHandleType::THREAD:
            out = numberText<Thread>(*handle, &Thread::getTid);
            break;
        case DataHandleType::NAME_VALUE_PAIR:
            out = nameValuePairText(*handle);
            break;
        default:
            out = handle->getQualifiedName();
    }
    return widen(out, formatter.getWidth());
}

}  // namespace pwr
