#pragma once

// pwr::UniqueId: the base of everything a value can refer to or be measured in (handles and
// quantities). Each construction takes the next number of one process-wide 64-bit counter, which
// starts at 0 and is never reset, not even by destroy(). Copies take the id of their source.
//
// The objects made through the `create` operations of the derived classes belong to one registry,
// built by initialize() and freed by destroy(); users hold plain const pointers and free nothing.
//
// No locks: the counter is a plain number and the registry is unguarded, so ids are made on one
// thread at a time.

#include <cstdint>

#include "vantrell/Export.h"

namespace pwr {

enum class UniqueIdType : uint32_t {
    QUANTITY = 0,
    DATA_HANDLE = 1,
};

class VR_EXPORT UniqueId {
  public:
    // A copy has the id of its source and consumes no number.
    UniqueId(const UniqueId& other) = default;
    UniqueId& operator=(const UniqueId& other) = default;
    virtual ~UniqueId();

    virtual UniqueIdType getIdType() const = 0;
    unsigned long long getId() const { return id; }

    // Builds the registry and the twelve built-in quantities (Quantity.h). The host calls it once at
    // start-up, before any handle is made; nothing inside the library calls it. A registry that is
    // still in place is not freed (its objects stay valid until destroy()) but no longer used.
    static void initialize();
    // Frees every registered object, in creation order, then the registry. Pointers handed out
    // before become dangling; the built-in quantity accessors keep returning their old values. Until
    // the next initialize(), making an object logs the uninitialised-registry report.
    static void destroy();

  protected:
    // Takes the next number of the counter.
    UniqueId();

  private:
    unsigned long long id;
};

}  // namespace pwr
