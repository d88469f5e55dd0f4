// Registry reads through the platform seam.

#include "vantrell/support/Registry.h"

#include <cstdint>

#include "vantrell/platform/OsServices.h"
#include "vantrell/support/OsInfo.h"
#include "vantrell/support/PwUtils.h"

namespace pwr {

namespace {
constexpr uint32_t kKeyRead = 1;
}

bool Registry::RegReadDword(std::string key, std::string value, unsigned long long& out) {
    uint64_t handle = 0;
    long status = platform::regOpenKey(key, kKeyRead, handle);
    if (status != 0) {
        RegError(status);
        return false;
    }
    uint32_t data = 0;
    status = platform::regQueryDword(handle, value, data);
    platform::regCloseKey(handle);
    if (status != 0) {
        RegError(status);
        return false;
    }
    out = data;
    return true;
}

std::string Registry::NormalizeRegKey(std::string const& key, std::string const& prefix) {
    return StringOps::getSubString(key, prefix);
}

bool Registry::RegError(long code) {
    if (code == 0) {
        return false;
    }
    // The text is made so that a debugger shows why; nobody logs it.
    std::string text = formatErrorMessage(static_cast<unsigned long>(code));
    (void)text;
    return true;
}

}  // namespace pwr
