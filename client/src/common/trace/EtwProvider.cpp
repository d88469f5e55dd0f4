// The collection's own events and their packing.

#include "vantrell/trace/EtwProvider.h"

#include "vantrell/platform/TraceFacility.h"
#include "vantrell/support/OsInfo.h"

namespace {

_EVENT_DATA_DESCRIPTOR piece(const void* data, uint32_t size) {
    return {static_cast<uint64_t>(reinterpret_cast<uintptr_t>(data)), size, 0};
}

}  // namespace

EtwProvider::EtwProvider(_GUID const* g) : guid(*g) {
    pwr::platform::traceFacility().eventRegister(&guid, &registrationHandle);
}

EtwProvider::~EtwProvider() {
    pwr::platform::traceFacility().eventUnregister(registrationHandle);
}

bool EtwProvider::WriteEvent(EtwEvent& event) {
    event.PackEvent();
    return pwr::platform::traceFacility().eventWrite(registrationHandle, event.Type(), event.Count(),
                                                     event.Descriptor()) == ERROR_SUCCESS;
}

bool EtwProvider::WriteIntEvent(_EVENT_DESCRIPTOR const* descriptor, unsigned long long value) {
    _EVENT_DATA_DESCRIPTOR data[1] = {piece(&value, 8)};
    return pwr::platform::traceFacility().eventWrite(registrationHandle, descriptor, 1, data) ==
           ERROR_SUCCESS;
}

bool EtwProvider::WriteStructEvent(_EVENT_DESCRIPTOR const* descriptor, char const* bytes, int size) {
    int32_t length = size;
    _EVENT_DATA_DESCRIPTOR data[2] = {piece(&length, 4), piece(bytes, static_cast<uint32_t>(size))};
    return pwr::platform::traceFacility().eventWrite(registrationHandle, descriptor, 2, data) ==
           ERROR_SUCCESS;
}

bool EtwProvider::WriteOrderedStructEvent(_EVENT_DESCRIPTOR const* descriptor, char* bytes, int size,
                                          int order) {
    int32_t position = order;
    int32_t length = size;
    _EVENT_DATA_DESCRIPTOR data[3] = {piece(&position, 4), piece(&length, 4),
                                      piece(bytes, static_cast<uint32_t>(size))};
    return pwr::platform::traceFacility().eventWrite(registrationHandle, descriptor, 3, data) ==
           ERROR_SUCCESS;
}

bool EtwProvider::WriteIntStringPairEvent(_EVENT_DESCRIPTOR const* descriptor, unsigned int value,
                                          std::string text) {
    uint32_t number = value;
    std::u16string wide = pwr::stringToWstring(text);
    _EVENT_DATA_DESCRIPTOR data[2] = {piece(&number, 4),
                                      piece(wide.c_str(), static_cast<uint32_t>(2 * wide.size() + 2))};
    return pwr::platform::traceFacility().eventWrite(registrationHandle, descriptor, 2, data) ==
           ERROR_SUCCESS;
}

char* EtwProvider::ReadStructEvent(_EVENT_RECORD const* record) {
    return static_cast<char*>(record->UserData) + 4;
}

char* EtwProvider::ReadOrderedStructEvent(_EVENT_RECORD const* record) {
    return static_cast<char*>(record->UserData) + 8;
}

EtwEvent::EtwEvent(_EVENT_DESCRIPTOR const* t) : type(t) {}

EtwEvent::~EtwEvent() = default;

uint32_t EtwEvent::PackEvent() {
    count = static_cast<uint32_t>(uint64Values.size() + uint32Values.size() + pointerValues.size() +
                                  stringValues.size());
    descriptors.reset(new _EVENT_DATA_DESCRIPTOR[count]);
    uint32_t at = 0;
    auto add = [this, &at](const void* data, uint32_t bytes) {
        descriptors[at++] = piece(data, bytes);
        size += bytes;
    };
    for (const uint64_t& value : uint64Values) {
        add(&value, 8);
    }
    for (const uint32_t& value : uint32Values) {
        add(&value, 4);
    }
    for (void* const& value : pointerValues) {
        add(&value, 8);
    }
    for (const std::u16string& value : stringValues) {
        add(value.c_str(), static_cast<uint32_t>(2 * value.size() + 2));
    }
    return size;
}
