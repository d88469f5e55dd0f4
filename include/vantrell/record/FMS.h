#pragma once

// A processor's identity as family, model and stepping, one unsigned byte each, in this order.
//
// A stepping of 0 is a wildcard: two values are equal when family and model agree and, unless either
// stepping is 0, the steppings agree too. That equality is not transitive (6.0x8e.1 == 6.0x8e.0 ==
// 6.0x8e.2, yet 6.0x8e.1 != 6.0x8e.2), so FMS defines no ordering; compare numbers with getValue().
// A plain value: copyable, no ownership, no shared state.

#include <cstdint>
#include <ios>
#include <ostream>

namespace pwr {

struct FMS {
    uint8_t family = 0;
    uint8_t model = 0;
    uint8_t stepping = 0;

    constexpr FMS() = default;
    constexpr FMS(uint8_t familyValue, uint8_t modelValue, uint8_t steppingValue)
        : family(familyValue), model(modelValue), stepping(steppingValue) {}

    // family * 65536 + model * 256 + stepping.
    constexpr uint32_t getValue() const {
        return (static_cast<uint32_t>(family) << 16) | (static_cast<uint32_t>(model) << 8) | stepping;
    }
};

// Equal when family and model agree and the steppings agree or either of them is 0.
constexpr bool operator==(const FMS& a, const FMS& b) {
    return a.family == b.family && a.model == b.model &&
           (a.stepping == 0 || b.stepping == 0 || a.stepping == b.stepping);
}

constexpr bool operator!=(const FMS& a, const FMS& b) {
    return !(a == b);
}

// "0x" followed by family, model and stepping in hexadecimal, each without padding (6.0x8e.9 gives
// "0x68e9"). The stream's number base is left as it was found.
inline std::ostream& operator<<(std::ostream& out, const FMS& fms) {
    std::ios_base::fmtflags saved = out.flags();
    out << "0x" << std::hex << static_cast<unsigned>(fms.family) << static_cast<unsigned>(fms.model)
        << static_cast<unsigned>(fms.stepping);
    out.flags(saved);
    return out;
}

}  // namespace pwr
