#pragma once

// The ordered set of the configuration and metadata classes (group names, triggers, categories).
// Ordered, so that a stored set is written sorted and two runs store the same bytes.

#include <set>

namespace pwr {

template <class T>
using PWSet = std::set<T>;

}  // namespace pwr
