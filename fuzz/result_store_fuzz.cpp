// The result file reader over arbitrary bytes, through SQLite's in-memory image of a file: no crash, no
// over-read, no leak; every fault is a text that names the file, and a file that opens and reads without
// a fault hands back only whole messages.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ResultStore.h"
#include "vantrell/VantrellCore.h"

#include "FuzzSupport.h"

namespace {

using vrfuzz::check;

// A machine record read makes a new tree of entities, which the registry keeps until it is destroyed:
// a fresh registry per input keeps memory flat.
struct RegistryRenewal {
    ~RegistryRenewal() {
        pwr::UniqueId::destroy();
        pwr::UniqueId::initialize();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vrfuzz::installEnvironment();
    static bool registry = (pwr::UniqueId::initialize(), true);
    (void)registry;
    RegistryRenewal renewal;
    (void)renewal;

    vantrell::store::ResultReader reader;
    const bool opened = reader.openImage(std::vector<unsigned char>(data, data + size), "fuzz.vrr");
    check(opened || !reader.ok(), "a refused file says why");
    if (opened) {
        reader.readSystemMetadata();
        reader.forEachRecord([](std::unique_ptr<pwr::Metadata> record) {
            check(record != nullptr, "records handed on are whole");
        });
        reader.forEachMessage([](const vr_driver_msg* message, size_t length) {
            check(message != nullptr && length >= vantrell::store::kMessageHeadSize,
                  "messages hold their head");
        });
        reader.forEachTraceEvent([](const vantrell::store::TraceEventRow&) {});
        reader.forEachTableRow([](const std::string&, const std::string&, int64_t,
                                  const std::vector<std::string>& titles,
                                  const std::vector<std::string>& values) {
            check(titles.size() == values.size() && !titles.empty(), "a table row pairs titles and values");
        });
    }
    for (const std::string& text : reader.problems()) {
        check(text.rfind("fuzz.vrr: ", 0) == 0, "every fault names the file");
    }
    return 0;
}
