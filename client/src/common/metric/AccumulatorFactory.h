#pragma once

// The one place that knows which built-in accumulator serves which metric type, and the table-type
// strings of each type (the names by which the output configuration speaks of its tables).

#include <string>
#include <vector>

#include "vantrell/metric/Metric.h"

namespace pwr {
namespace metric_detail {

// The table-type strings of `type` in Summary order; null for a type outside 0 to 4.
const std::vector<std::string>* summaryStringsFor(Metric::MetricType type);

// A new built-in accumulator for `type` over the Summary values `summaries`, owned by the caller; null
// for a type outside 0 to 4.
Accumulator* createBuiltInAccumulator(Metric::MetricType type, const std::vector<int>& summaries);

}  // namespace metric_detail
}  // namespace pwr
