#include <memory>
#include <vector>

#include "value/UniqueIdRegistry.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/Description.h"

// Events and data descriptors are interned: a request for a meaning that exists returns the handle
// made first for it, so that tables and writers see one id per meaning.

namespace pwr {
namespace {

// The first member of the key's bucket that is equal to `description`, or a new handle made by
// `make`, appended to the bucket and registered.
template <typename Handle, typename Desc, typename Bucket, typename Make>
const Handle* intern(const Desc& description, Bucket bucketOf, Make make) {
    UniqueIdRegistry* registry = UniqueIdRegistry::instance();
    if (registry == nullptr) {
        return UniqueIdRegistry::add(make());  // reports the missing registry
    }
    std::vector<const Handle*>& bucket = (registry->*bucketOf)(description.getKey());
    for (const Handle* member : bucket) {
        if (member->equal(description)) {
            return member;
        }
    }
    const Handle* made = UniqueIdRegistry::add(make());
    bucket.push_back(made);
    return made;
}

}  // namespace

Event::Event(const EventDescription& description) : DataHandle(description, DataHandleType::EVENT) {
    adoptMap_i(description);
}

const Event* Event::create(const EventDescription& description) {
    return intern<Event>(description, &UniqueIdRegistry::eventBucket,
                         [&] { return std::unique_ptr<Event>(new Event(description)); });
}

bool Event::equal(const EventDescription& description) const {
    return getName() == description.getName() && getAttributeCount() == description.getAttributeCount() &&
           listMatchesMapOf_i(description);
}

DataDescriptor::DataDescriptor(const DataDescriptorBuilder& builder)
    : DataHandle(builder, DataHandleType::DATA_DESCRIPTOR), AttributeValueManager(builder) {}

const DataDescriptor* DataDescriptor::create(const DataDescriptorBuilder& builder) {
    return intern<DataDescriptor>(builder, &UniqueIdRegistry::descriptorBucket, [&] {
        return std::unique_ptr<DataDescriptor>(new DataDescriptor(builder));
    });
}

bool DataDescriptor::equal(const DataDescriptorBuilder& builder) const {
    return getName() == builder.getName() && getAttributeCount() == builder.getAttributeCount() &&
           listMatchesMapOf_i(builder);
}

}  // namespace pwr
