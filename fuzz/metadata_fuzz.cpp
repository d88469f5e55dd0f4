// Metadata::deserialize over arbitrary bytes: no crash, no over-read, no leak, and a record that was
// read writes a form that reads back to the same record (writing it again gives the same bytes).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "vantrell/record/Metadata.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/SystemMetadata.h"
#include "vantrell/value/UniqueId.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;

std::vector<char> write(const pwr::Metadata& record) {
    pwr::Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

// Files of versions before 2020.3.0 hold the quantum in 16 bits, which today's writer doesn't
// reproduce: such a record is rewritten in the current form and can't be expected to read the same.
bool rewritesInOwnForm(const pwr::Metadata& record) {
    if (record.getType() != pwr::SYSTEM_METADATA) {
        return true;
    }
    return static_cast<const pwr::SystemMetadata&>(record).appVersion >= 0x07E40300;
}

}  // namespace

// Each machine record read (also one nested in a message) makes a new tree of entities, which the
// registry keeps until it is destroyed: a fresh registry per input keeps memory flat over millions.
struct RegistryRenewal {
    ~RegistryRenewal() {
        pwr::UniqueId::destroy();
        pwr::UniqueId::initialize();
    }
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    static bool registry = (pwr::UniqueId::initialize(), true);
    (void)registry;
    RegistryRenewal renewal;
    (void)renewal;
    pwr::Serializer in(
        std::vector<char>(reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size));
    std::unique_ptr<pwr::Metadata> record(pwr::Metadata::deserialize(in, 0));
    check(in.empty(), "reading never writes");
    if (!record || !rewritesInOwnForm(*record)) {
        return 0;
    }
    std::vector<char> first = write(*record);
    pwr::Serializer again(first);
    std::unique_ptr<pwr::Metadata> reread(pwr::Metadata::deserialize(again, 0));
    check(reread != nullptr, "a record written by this code must read back");
    check(reread->getType() == record->getType(), "the type survives a round trip");
    check(write(*reread) == first, "a record read back writes the same bytes");
    return 0;
}
