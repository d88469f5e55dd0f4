#pragma once

// The collection's own events: an EtwProvider writes them into whatever trace sessions enable its GUID,
// from any thread; an EtwEvent packs a variable event of numbers, pointers and wide strings.
//
// Payload layouts (the bytes a replayed _EVENT_RECORD's UserData holds):
//   WriteIntEvent            value, 8 bytes
//   WriteStructEvent         n as 32 bits, then n bytes
//   WriteOrderedStructEvent  order as 32 bits, n as 32 bits, then n bytes
//   WriteIntStringPairEvent  i as 32 bits, then the text widened byte by byte to 16-bit units with a
//                            16-bit terminator (2 * length + 2 bytes)
//   EtwEvent                 all 64-bit values, all 32-bit values, all pointers (8 bytes each), all
//                            strings as 16-bit units with a terminator, in that order
//
// Each write returns true when the facility accepted the event (EventWrite returned 0).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vantrell/Export.h"
#include "vantrell/platform/WinTypes.h"

class EtwEvent;

// Registered for its lifetime. Not copyable (the registration is one). Writes from any thread.
class VR_EXPORT EtwProvider {
  public:
    // Copies the GUID and registers the provider, with no enable callback.
    explicit EtwProvider(_GUID const* guid);
    EtwProvider(const EtwProvider&) = delete;
    EtwProvider& operator=(const EtwProvider&) = delete;
    virtual ~EtwProvider();

    virtual bool WriteEvent(EtwEvent& event);
    virtual bool WriteIntEvent(_EVENT_DESCRIPTOR const* descriptor, unsigned long long value);
    virtual bool WriteStructEvent(_EVENT_DESCRIPTOR const* descriptor, char const* data, int size);
    virtual bool WriteOrderedStructEvent(_EVENT_DESCRIPTOR const* descriptor, char* data, int size,
                                         int order);
    virtual bool WriteIntStringPairEvent(_EVENT_DESCRIPTOR const* descriptor, unsigned int value,
                                         std::string text);

    // The struct bytes of a delivered WriteStructEvent (UserData + 4) and WriteOrderedStructEvent
    // (UserData + 8). They live as long as the record.
    static char* ReadStructEvent(_EVENT_RECORD const* record);
    static char* ReadOrderedStructEvent(_EVENT_RECORD const* record);

  protected:
    uint64_t registrationHandle = 0;
    _GUID guid;
};

// One thread. Not copyable: its descriptors point into its own vectors, which must not change after
// PackEvent.
class VR_EXPORT EtwEvent {
  public:
    explicit EtwEvent(_EVENT_DESCRIPTOR const* type);
    EtwEvent(const EtwEvent&) = delete;
    EtwEvent& operator=(const EtwEvent&) = delete;
    virtual ~EtwEvent();

    // Makes one descriptor per item and adds the items' sizes to Size(), which is not cleared first:
    // packing twice counts everything twice. Returns Size().
    virtual uint32_t PackEvent();

    _EVENT_DATA_DESCRIPTOR* Descriptor() { return descriptors.get(); }
    _EVENT_DESCRIPTOR const* Type() const { return type; }
    uint32_t Count() const { return count; }
    uint32_t Size() const { return size; }

    std::vector<uint64_t> uint64Values;
    std::vector<uint32_t> uint32Values;
    std::vector<void*> pointerValues;
    std::vector<std::u16string> stringValues;

  private:
    std::unique_ptr<_EVENT_DATA_DESCRIPTOR[]> descriptors;
    _EVENT_DESCRIPTOR const* type;
    uint32_t count = 0;
    uint32_t size = 0;
};
