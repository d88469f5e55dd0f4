#pragma once

// The registry of every object with an id: private to the library. One heap object, built by
// UniqueId::initialize() and freed by UniqueId::destroy(), reached through instance().
//
// It owns what is added to it and frees nothing before destroy(). Besides the objects in creation
// order and the lookup by id it keeps the predefined attributes by type and the interning buckets of
// events and data descriptors. `stream` is the writer stream that hears of new objects; it is set by
// the entity provider once the stream exists. No locks: one thread at a time.

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vantrell/value/Attribute.h"

class WriterStream;

namespace pwr {

class DataDescriptor;
class DataHandle;
class Event;
class UniqueId;

class UniqueIdRegistry {
  public:
    using Objects = std::vector<std::unique_ptr<UniqueId>>;

    UniqueIdRegistry();
    UniqueIdRegistry(const UniqueIdRegistry&) = delete;
    UniqueIdRegistry& operator=(const UniqueIdRegistry&) = delete;
    ~UniqueIdRegistry();

    // The registry between UniqueId::initialize() and UniqueId::destroy(), or null.
    static UniqueIdRegistry* instance();
    // As instance(), but a missing registry is reported (a line at level 0 and "WARNING: ID Manager
    // wasn't initialized!\n") before null is returned.
    static UniqueIdRegistry* require();

    // Publishes a new, empty registry. One still published is kept alive, unused, until destroy().
    static void create();
    // Frees the objects of every registry in creation order, then the registries.
    static void destroy();

    // Registers `object` and returns it; the registry owns it from here. Without a registry the
    // report of require() is logged and the object stays alive, unregistered, until the process ends.
    template <typename T>
    static T* add(std::unique_ptr<T> object) {
        T* raw = object.get();
        addObject_i(std::move(object));
        return raw;
    }

    // add(), then enters the attribute as the predefined one of `type` unless that type has one.
    Attribute* addAttribute(AttributeType type, std::unique_ptr<Attribute> attribute);
    // The predefined attribute of `type`, or null.
    const Attribute* findAttribute(AttributeType type) const;
    bool areAttributesReady() const { return attributesReady; }
    void setAttributesReady() { attributesReady = true; }

    // 0 with the handle of `id`. An unknown id logs "WARNING: Handle id %llu not found in UniqueId
    // map\n" and returns 1, `out` untouched; a non-handle logs "WARNING: UniqueId isn't a DataHandle
    // type\n" and returns 1 with `out` null.
    int lookup(unsigned long long id, const DataHandle*& out) const;

    // The interning bucket of `key`, made empty at first use.
    std::vector<const Event*>& eventBucket(const std::string& key) { return eventsByKey[key]; }
    std::vector<const DataDescriptor*>& descriptorBucket(const std::string& key) {
        return descriptorsByKey[key];
    }

    // Tells the stream, if one is set, that `object` changed (a process or thread learnt its end
    // time): pushes one IdMessage holding it. Without a stream, or for a null object, nothing happens.
    void notifyChanged(const UniqueId* object);

    // Every registered object in creation order.
    const Objects& getObjects() const { return objects; }
    // The stream that hears of every object registered from now on (one IdMessage each), or null.
    // Not owned.
    WriterStream* getStream() const { return stream; }
    void setStream(WriterStream* newStream) { stream = newStream; }

  private:
    static void addObject_i(std::unique_ptr<UniqueId> object);
    void insert_i(std::unique_ptr<UniqueId> object);
    // Pushes one IdMessage holding `object` to `stream`, if set.
    void announce_i(const UniqueId* object) const;

    WriterStream* stream = nullptr;
    Objects objects;
    std::map<std::string, std::vector<const Event*>> eventsByKey;
    std::map<std::string, std::vector<const DataDescriptor*>> descriptorsByKey;
    std::map<unsigned long long, UniqueId*> objectsById;
    std::map<AttributeType, Attribute*> attributesByType;
    bool attributesReady = false;
};

}  // namespace pwr
