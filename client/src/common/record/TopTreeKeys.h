#pragma once

// The packing of topology map keys, shared by the builders and the tree format: each level adds 16 bits
// below the key of the level above, so ids at or above 65536 collide.

namespace pwr {
namespace topology_key {

// (high << 16) | low, with `low` sign-extended: a -1 at any level
// gives the key -1. Computed unsigned, because shifting a negative number is undefined.
inline long long pack(long long high, long long low) {
    return static_cast<long long>((static_cast<unsigned long long>(high) << 16) |
                                  static_cast<unsigned long long>(low));
}

}  // namespace topology_key
}  // namespace pwr
